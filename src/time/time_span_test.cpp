#include "kiv/time_span.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <tuple>

namespace kiv {
namespace {

constexpr long long kMillisecond = TimeSpan::TicksPerMillisecond;
constexpr long long kMinute = TimeSpan::TicksPerMinute;
constexpr long long kHour = TimeSpan::TicksPerHour;

TEST(TimeSpan, DefaultIsTheMissingValueWhichHasNoNegative) {
  EXPECT_EQ(TimeSpan().Ticks(), TimeSpan::MinValue);
  EXPECT_EQ(TimeSpan().Duration(), TimeSpan());
  EXPECT_EQ(TimeSpan::Compare(TimeSpan(), TimeSpan(TimeSpan::Zero)), -1);
  EXPECT_EQ(TimeSpan(5).Negate().Ticks(), -5);
  try {
    TimeSpan().Negate();
    FAIL();
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(),
                 "TimeSpan::Negate: This TimeSpan value is MinValue and cannot "
                 "be negated.");
  }
}

TEST(TimeSpan, FoldsInComponentsBeyondTheirUnitAndWraps) {
  EXPECT_EQ(TimeSpan(1, 25, 0, 0).Ticks(), 49 * kHour);
  EXPECT_EQ(TimeSpan(-3, 70, 1).Ticks(),
            -3 * kHour + 70 * kMinute + TimeSpan::TicksPerSecond);
  EXPECT_EQ(TimeSpan(0, 0, 0, 0, -1500).Ticks(), -1500 * kMillisecond);
  EXPECT_EQ(static_cast<unsigned long long>(TimeSpan(INT_MAX, 0, 0, 0).Ticks()),
            2147483647ull * 864000000000ull);
  EXPECT_EQ((TimeSpan(TimeSpan::MaxValue) + TimeSpan(1)).Ticks(),
            TimeSpan::MinValue);
  EXPECT_EQ((TimeSpan(TimeSpan::MinValue) - TimeSpan(1)).Ticks(),
            TimeSpan::MaxValue);
}

TEST(TimeSpan, ComponentsCarryTheSign) {
  const TimeSpan span(-49 * kHour - 30 * kMinute - 7 * kMillisecond - 3);
  EXPECT_EQ(span.Days() * 100 + span.Hours(), -201);
  EXPECT_EQ(span.Minutes() * 100 + span.Seconds(), -3000);
  EXPECT_EQ(span.Milliseconds(), -7);
}

TEST(TimeSpan, TotalsMultiplyByTheReciprocal) {
  const TimeSpan span(123456789012345);
  const auto count = static_cast<double>(span.Ticks());
  EXPECT_EQ(span.TotalDays(), count * 1.1574074074074074e-12);
  EXPECT_EQ(span.TotalHours(), count * 2.7777777777777777e-11);
  EXPECT_EQ(span.TotalMinutes(), count * 1.6666666666666667e-9);
  EXPECT_EQ(span.TotalSeconds(), count * 1e-7);
  EXPECT_EQ(span.TotalMilliseconds(), count * 0.0001);
}

TEST(TimeSpan, FromADoubleIsCutToWholeMilliseconds) {
  const std::tuple<TimeSpan (*)(double), double, long long> cases[] = {
      {TimeSpan::FromMilliseconds, -2.9, -2 * kMillisecond},
      {TimeSpan::FromSeconds, 1.0009, 1000 * kMillisecond},
      {TimeSpan::FromSeconds, -1.5, -1500 * kMillisecond},
      {TimeSpan::FromMinutes, 1.5, 90000 * kMillisecond},
      {TimeSpan::FromHours, -2.25, -135 * kMinute},
      {TimeSpan::FromDays, 0.5, 12 * kHour},
      // Held within 32 bits.
      {TimeSpan::FromMilliseconds, 3e9, INT_MAX * kMillisecond},
      {TimeSpan::FromMilliseconds, -std::numeric_limits<double>::infinity(),
       INT_MIN * kMillisecond},
      {TimeSpan::FromDays, std::nan(""), 0}};
  for (const auto& [from, number, ticks] : cases)
    EXPECT_EQ(from(number).Ticks(), ticks) << number;
}

}  // namespace
}  // namespace kiv
