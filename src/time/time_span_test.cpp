#include "kiv/time_span.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace kiv {
namespace {

constexpr long long kMillisecond = TimeSpan::TicksPerMillisecond;
constexpr long long kMinute = TimeSpan::TicksPerMinute;
constexpr long long kHour = TimeSpan::TicksPerHour;

TEST(TimeSpan, DefaultIsTheMissingValueAndNotZero) {
  EXPECT_EQ(TimeSpan().Ticks(), TimeSpan::MinValue);
  EXPECT_EQ(TimeSpan().Duration(), TimeSpan());
  EXPECT_EQ(TimeSpan::Compare(TimeSpan(), TimeSpan(TimeSpan::Zero)), -1);
}

TEST(TimeSpan, FoldsInComponentsBeyondTheirUnit) {
  EXPECT_EQ(TimeSpan(1, 25, 0, 0).Ticks(), 49 * kHour);
  EXPECT_EQ(TimeSpan(-3, 70, 1).Ticks(),
            -3 * kHour + 70 * kMinute + TimeSpan::TicksPerSecond);
  EXPECT_EQ(TimeSpan(0, 0, 0, 0, -1500).Ticks(), -1500 * kMillisecond);
}

TEST(TimeSpan, WrapsInsteadOfOverflowing) {
  EXPECT_EQ(static_cast<unsigned long long>(TimeSpan(INT_MAX, 0, 0, 0).Ticks()),
            2147483647ull * 864000000000ull);
  EXPECT_EQ((TimeSpan(TimeSpan::MaxValue) + TimeSpan(1)).Ticks(),
            TimeSpan::MinValue);
  EXPECT_EQ((TimeSpan(TimeSpan::MinValue) - TimeSpan(1)).Ticks(),
            TimeSpan::MaxValue);
}

TEST(TimeSpan, ComponentsCarryTheSign) {
  const TimeSpan span(-90 * kMinute - 7 * kMillisecond - 3);
  EXPECT_EQ(span.Days(), 0);
  EXPECT_EQ(span.Hours(), -1);
  EXPECT_EQ(span.Minutes(), -30);
  EXPECT_EQ(span.Seconds(), 0);
  EXPECT_EQ(span.Milliseconds(), -7);
  const TimeSpan folded(1, 25, 61, 62, 1003);
  EXPECT_EQ(folded.Days(), 2);
  EXPECT_EQ(folded.Hours(), 2);
  EXPECT_EQ(folded.Minutes(), 2);
  EXPECT_EQ(folded.Seconds(), 3);
  EXPECT_EQ(folded.Milliseconds(), 3);
}

TEST(TimeSpan, TotalsMultiplyByTheReciprocal) {
  const long long ticks = 123456789012345;
  const auto count = static_cast<double>(ticks);
  EXPECT_EQ(TimeSpan(ticks).TotalDays(), count * 1.1574074074074074e-12);
  EXPECT_EQ(TimeSpan(ticks).TotalHours(), count * 2.7777777777777777e-11);
  EXPECT_EQ(TimeSpan(ticks).TotalMinutes(), count * 1.6666666666666667e-9);
  EXPECT_EQ(TimeSpan(ticks).TotalSeconds(), count * 1e-7);
  EXPECT_EQ(TimeSpan(ticks).TotalMilliseconds(), count * 0.0001);
}

TEST(TimeSpan, NegateRefusesTheMissingValue) {
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

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(TimeSpanFromDouble, IsCutToWholeMilliseconds) {
  const struct {
    const char* name;
    TimeSpan (*from)(double);
    double number;
    long long ticks;
  } cases[] = {
      {"MillisecondsDropTheirFraction", TimeSpan::FromMilliseconds, 2.9,
       2 * kMillisecond},
      {"NegativeMilliseconds", TimeSpan::FromMilliseconds, -2.9,
       -2 * kMillisecond},
      {"SecondsAreCutNotRounded", TimeSpan::FromSeconds, 1.0009,
       1000 * kMillisecond},
      {"NegativeSeconds", TimeSpan::FromSeconds, -1.5, -1500 * kMillisecond},
      {"Minutes", TimeSpan::FromMinutes, 1.5, 90000 * 10000ll},
      {"Hours", TimeSpan::FromHours, -2.25, -135 * kMinute},
      {"HalfADay", TimeSpan::FromDays, 0.5, 12 * kHour},
      {"BeyondTheWholePart", TimeSpan::FromMilliseconds, 3e9,
       INT_MAX * kMillisecond},
      {"InfiniteIsHeld", TimeSpan::FromMilliseconds, -kInfinity,
       INT_MIN * kMillisecond},
      {"NotANumber", TimeSpan::FromDays, std::nan(""), 0}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.from(row.number).Ticks(), row.ticks);
  }
}

}  // namespace
}  // namespace kiv
