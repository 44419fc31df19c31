#include "kiv/date_time.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "port/clock.h"

namespace kiv {
namespace {

constexpr long long kDay = TimeSpan::TicksPerDay;
constexpr long long kMillisecond = TimeSpan::TicksPerMillisecond;
constexpr const char* kUnrepresentable =
    "Parameters describe an unrepresentable DateTime.";

DateTime Midnight(int year, int month, int day) {
  return DateTime(year, month, day, 0, 0, 0, 0);
}

template <class Call>
std::string ThrownText(Call call) {
  try {
    call();
  } catch (const std::out_of_range& e) {
    return e.what();
  }
  return "nothing was thrown";
}

struct Fields {
  int year, month, day, day_of_year;
  bool operator==(const Fields&) const = default;
};

// The plain reading by 400, 100, 4 and 1 years that the fast one has to equal.
Fields PlainReading(int n) {
  const int y400 = n / DateTime::dp400;
  n -= y400 * DateTime::dp400;
  int y100 = n / DateTime::dp100;
  if (y100 == 4) y100 = 3;
  n -= y100 * DateTime::dp100;
  const int y4 = n / DateTime::dp4;
  n -= y4 * DateTime::dp4;
  int y1 = n / 365;
  if (y1 == 4) y1 = 3;
  n -= y1 * 365;
  Fields fields{y400 * 400 + y100 * 100 + y4 * 4 + y1 + 1, 1, 0, n + 1};
  const bool is_leap = y1 == 3 && (y4 != 24 || y100 == 3);
  const int* lengths = is_leap ? DateTime::daysmonthleap : DateTime::daysmonth;
  while (n >= lengths[fields.month]) n -= lengths[fields.month++];
  fields.day = n + 1;
  return fields;
}

TEST(DateTime, ReadsEveryDayAsThePlainDecompositionDoes) {
  const int days = static_cast<int>(DateTime::MaxValue / kDay);
  int wrong = 0;
  for (int n = 0; n <= days; ++n) {
    // The last tick of the day: nothing may round up into the next.
    const DateTime time(n * kDay + kDay - 1);
    const Fields plain = PlainReading(n);
    const Fields read{time.Year(), time.Month(), time.Day(), time.DayOfYear()};
    const bool same =
        read == plain &&
        Midnight(read.year, read.month, read.day).Ticks() == n * kDay &&
        time.getDayOfWeek() == static_cast<DayOfWeek>((n + 1) % 7) &&
        DateTime::IsLeapYear(read.year) ==
            (DateTime::DaysInMonth(read.year, 2) == 29);
    if (!same && ++wrong < 5) ADD_FAILURE() << "day " << n;
  }
  EXPECT_EQ(wrong, 0);
}

TEST(DateTime, KnowsLeapYearsOnBothSidesOfZero) {
  for (const int year : {-4, 0}) EXPECT_TRUE(DateTime::IsLeapYear(year));
  for (const int year : {-1, -100}) EXPECT_FALSE(DateTime::IsLeapYear(year));
}

TEST(DateTime, DefaultIsMissingAndComparesBelowEveryDate) {
  EXPECT_EQ(DateTime().Ticks(), TimeSpan::MinValue);
  EXPECT_LT(DateTime(), DateTime(DateTime::MinValue));
  EXPECT_EQ(ThrownText([] { DateTime().AddTicks(LLONG_MIN); }),
            "Argument Out Of Range in DateTime::AddTicks");
  EXPECT_EQ(ThrownText([] { DateTime().AddMonths(-300000); }),
            kUnrepresentable);
  EXPECT_EQ(ThrownText([] { DateTime().Date(); }), kUnrepresentable);
}

TEST(DateTime, TickCountIsCheckedAtBothEnds) {
  const std::string text =
      "ArgumentOutOfRange in DateTime::Set( local, newticks )";
  EXPECT_EQ(DateTime(DateTime::MaxValue).Year(), 9999);
  EXPECT_EQ(DateTime(0LL), Midnight(1, 1, 1));
  EXPECT_EQ(ThrownText([] { DateTime(-1LL); }), text);
  EXPECT_EQ(ThrownText([] { DateTime(DateTime::MaxValue + 1); }), text);
}

TEST(DateTime, FieldsAreCheckedButNotTheMillisecond) {
  EXPECT_EQ(DateTime(2004, 2, 29, 23, 59, 59, 1500),
            DateTime(2004, 3, 1, 0, 0, 0, 500));
  const auto made = [](const std::array<int, 6>& f) {
    return ThrownText(
        [&f] { DateTime(f[0], f[1], f[2], f[3], f[4], f[5], INT_MAX); });
  };
  const std::pair<std::size_t, int> bad[] = {
      {0, 0},  {0, 10000}, {1, 0},  {1, 13}, {2, 0},
      {2, 32}, {3, 24},    {3, -1}, {4, 60}, {5, 60}};
  for (const auto& [field, value] : bad) {
    std::array<int, 6> fields = {2004, 1, 1, 0, 0, 0};
    fields[field] = value;
    EXPECT_EQ(made(fields), kUnrepresentable) << field << ' ' << value;
  }
  EXPECT_EQ(made({2004, 2, 30}), kUnrepresentable);
  EXPECT_EQ(made({2003, 2, 29}), kUnrepresentable);
  EXPECT_EQ(made({INT_MIN, INT_MIN, INT_MIN}), kUnrepresentable);
  EXPECT_EQ(made({INT_MAX, INT_MAX, 1}), kUnrepresentable);
  EXPECT_EQ(ThrownText([] { DateTime::DaysInMonth(2004, 13); }),
            "Out of range in DateTime::DaysInMonth");
}

// What a derived class sees of the protected operations.
class OpenDateTime : public DateTime {
 public:
  using DateTime::Set;
};

TEST(DateTime, SetStoresBeforeItChecks) {
  OpenDateTime time;
  EXPECT_THROW(time.Set(2004, 2, 30, 0, 0, 0, 0), std::out_of_range);
  EXPECT_EQ(time.Ticks(), Midnight(2004, 3, 1).Ticks());
  EXPECT_THROW(time.Set(false, -7), std::out_of_range);
  EXPECT_EQ(time.Ticks(), -7);
  EXPECT_THROW(time.Set(true, 5), std::invalid_argument);
  EXPECT_EQ(time.Ticks(), -7);
}

TEST(DateTime, TimeOfDayAndDateTakeTheValueApart) {
  const DateTime time(2005, 11, 3, 9, 5, 7, 250);
  EXPECT_EQ(time.Hour(), 9);
  EXPECT_EQ(time.Minute(), 5);
  EXPECT_EQ(time.Second(), 7);
  EXPECT_EQ(time.Millisecond(), 250);
  EXPECT_EQ(time.TimeOfDay(), TimeSpan(0, 9, 5, 7, 250));
  EXPECT_EQ(time.Date(), Midnight(2005, 11, 3));
  const int day_of_week = Midnight(2005, 1, 1).getDayOfWeek();
  EXPECT_EQ(day_of_week, 6);
  EXPECT_EQ(Midnight(1, 1, 1).getDayOfWeek(), DayOfWeek::Monday);
}

TEST(DateTime, ArithmeticStaysInRange) {
  const std::string by_span =
      "ArgumentOutOfRangeException in DateTime::DateTime( bool check, TimeSpan "
      "value)";
  const DateTime last(DateTime::MaxValue);
  EXPECT_EQ(last - TimeSpan(DateTime::MaxValue), DateTime(0LL));
  EXPECT_EQ(ThrownText([&] { last + TimeSpan(1); }), by_span);
  EXPECT_EQ(ThrownText([] { DateTime(0LL) - TimeSpan(1); }), by_span);
  EXPECT_EQ(ThrownText([&] { last.AddTicks(1); }),
            "Argument Out Of Range in DateTime::AddTicks");
  EXPECT_EQ(ThrownText([&] { last.AddTicks(LLONG_MAX); }),
            "Argument Out Of Range in DateTime::AddTicks");
}

TEST(DateTime, AddMillisecondsRoundsHalfAwayFromZero) {
  const DateTime noon(2005, 11, 3, 12, 0, 0, 0);
  const std::pair<double, int> cases[] = {{0.4, 0},   {0.5, 1}, {-0.4, 0},
                                          {-0.5, -1}, {0.0, 0}, {1.5, 2}};
  for (const auto& [milliseconds, added] : cases) {
    EXPECT_EQ(noon.AddMilliseconds(milliseconds).Ticks() - noon.Ticks(),
              added * kMillisecond)
        << milliseconds;
  }
}

TEST(DateTime, AddOfADoubleRefusesWhatCannotBeCounted) {
  const std::string text = "Argument Out Of Range in DateTime::AddMilliseconds";
  const DateTime time = Midnight(2005, 11, 3);
  for (const double number :
       {std::nan(""), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), 922337203685478.0, -1e300}) {
    EXPECT_EQ(ThrownText([&] { time.AddMilliseconds(number); }), text)
        << number;
    EXPECT_EQ(ThrownText([&] { time.AddDays(number); }), text) << number;
  }
  EXPECT_EQ(ThrownText([&] { time.AddMilliseconds(9e14); }),
            "Argument Out Of Range in DateTime::AddTicks");
  EXPECT_EQ(time.AddSeconds(-0.0015), time.AddTicks(-2 * kMillisecond));
  EXPECT_EQ(time.AddMinutes(1.5), time.AddSeconds(90));
  EXPECT_EQ(time.AddHours(36), time.AddDays(1.5));
}

TEST(DateTimeAddMonths, CutsTheDayAndKeepsTheTime) {
  const struct {
    const char* name;
    DateTime from;
    int months;
    DateTime to;
  } cases[] = {
      {"IntoFebruary", Midnight(2003, 1, 31), 1, Midnight(2003, 2, 28)},
      {"IntoALeapFebruary", Midnight(2004, 1, 31), 1, Midnight(2004, 2, 29)},
      {"BackIntoFebruary", Midnight(2003, 3, 31), -1, Midnight(2003, 2, 28)},
      {"BackOverAYear", Midnight(2003, 1, 15), -13, Midnight(2001, 12, 15)},
      {"BackToDecember", Midnight(2003, 1, 15), -1, Midnight(2002, 12, 15)},
      {"OverNewYear", Midnight(2003, 12, 31), 1, Midnight(2004, 1, 31)},
      {"FromEndToEnd", Midnight(1, 1, 31), 9998 * 12 + 11,
       Midnight(9999, 12, 31)}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const TimeSpan time_of_day(0, 23, 59, 59, 999);
    EXPECT_EQ((row.from + time_of_day).AddMonths(row.months),
              row.to + time_of_day);
  }
}

TEST(DateTime, AddMonthsAndYearsRefuseToLeaveTheCalendar) {
  const DateTime time = Midnight(2004, 2, 29);
  EXPECT_EQ(time.AddYears(-1), Midnight(2003, 2, 28));
  for (const int count : {INT_MAX, INT_MIN, 8000 * 12, -2004 * 12}) {
    EXPECT_EQ(ThrownText([&] { time.AddMonths(count); }), kUnrepresentable);
    EXPECT_EQ(ThrownText([&] { time.AddYears(count); }), kUnrepresentable);
  }
  // 12 times this wraps to 8 in 32 bits.
  EXPECT_EQ(ThrownText([&] { time.AddYears(357913942); }), kUnrepresentable);
}

TEST(DateTime, TakesFileTimesAndAutomationDates) {
  EXPECT_EQ(DateTime::FromFileTime(0), Midnight(1601, 1, 1));
  EXPECT_EQ(ThrownText([] { DateTime::FromFileTime(LLONG_MAX); }),
            "ArgumentOutOfRangeException in DateTime::DateTime( bool check, "
            "TimeSpan value)");
  EXPECT_EQ(DateTime::FromOADate(0.0), Midnight(1899, 12, 30));
  EXPECT_EQ(DateTime::FromOADate(38659.75), DateTime(2005, 11, 3, 18, 0, 0, 0));
  // Linear: the fraction of a negative date counts backwards.
  EXPECT_EQ(DateTime::FromOADate(-1.25), DateTime(1899, 12, 28, 18, 0, 0, 0));
  EXPECT_EQ(ThrownText([] { DateTime::FromOADate(2958466.0); }),
            "Argument Out Of Range in DateTime::AddTicks");
  for (const double number : {2958466.5, -657435.5, std::nan("")}) {
    EXPECT_EQ(ThrownText([&] { DateTime::FromOADate(number); }),
              "Overflow in DateTime::FromOADate");
  }
}

// Stands at 2005-11-03 01:05:07.1234567 UTC, eight hours later on the wall.
class StoppedClock : public port::Clock {
 public:
  long long UnixTicks() const override {
    return 1130979907LL * 10000000 + 1234567;
  }
  bool LocalTime(std::time_t second, std::tm& out) const override {
    const std::time_t shifted = second + 8 * 3600;
    out = *std::gmtime(&shifted);
    return true;
  }
};

TEST(DateTime, ReadsTheWallClockInEveryForm) {
  const StoppedClock clock;
  const port::ClockOverride override(clock);
  const DateTime now = DateTime(2005, 11, 3, 9, 5, 7, 0).AddTicks(1234567);
  EXPECT_EQ(DateTime::Now(), now);
  EXPECT_EQ(DateTime::UtcNow(), now);
  EXPECT_EQ(DateTime::Today(), Midnight(2005, 11, 3));
  EXPECT_EQ(DateTime::NowTime(),
            DateTime(1, 1, 1, 9, 5, 7, 0).AddTicks(1234567));
}

TEST(DateTimeDuration, IsClosedWhicheverEndComesFirst) {
  const DateTime early = Midnight(2005, 1, 1);
  const DateTime late = Midnight(2006, 1, 1);
  const DateTimeDuration duration(late, early);
  EXPECT_EQ(duration.GetStart(), early);
  EXPECT_EQ(duration.GetStop(), late);
  EXPECT_TRUE(duration.IsInScope(early));
  EXPECT_TRUE(duration.IsInScope(late));
  EXPECT_FALSE(duration.IsInScope(early.AddTicks(-1)));
  EXPECT_FALSE(duration.IsInScope(late.AddTicks(1)));
}

}  // namespace
}  // namespace kiv
