#include "kiv/date_time.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <climits>
#include <cmath>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include "port/clock.h"

namespace kiv {
namespace {

constexpr long long kDay = TimeSpan::TicksPerDay;
constexpr long long kMillisecond = TimeSpan::TicksPerMillisecond;
constexpr char kUnrepresentable[] =
    "Parameters describe an unrepresentable DateTime.";
constexpr char kAddTicks[] = "Argument Out Of Range in DateTime::AddTicks";
constexpr char kSum[] =
    "ArgumentOutOfRangeException in DateTime::DateTime( bool check, TimeSpan "
    "value)";

DateTime Midnight(int year, int month, int day) {
  return DateTime(year, month, day, 0, 0, 0, 0);
}

template <class Call>
std::string Thrown(Call call) {
  try {
    call();
  } catch (const std::out_of_range& e) {
    return e.what();
  }
  return "nothing was thrown";
}

TEST(DateTime, ReadsEveryDayAsTheStandardLibraryDoes) {
  using std::chrono::sys_days;
  const sys_days first = std::chrono::year{1} / 1 / 1;
  const int days = static_cast<int>(DateTime::MaxValue / kDay);
  int wrong = 0;
  for (int n = 0; n <= days; ++n) {
    const sys_days day = first + std::chrono::days{n};
    const std::chrono::year_month_day date = day;
    const int year = static_cast<int>(date.year());
    // The last tick of the day: nothing may round up into the next.
    const DateTime time(n * kDay + kDay - 1);
    const bool same =
        time.Year() == year &&
        time.Month() == static_cast<int>(unsigned{date.month()}) &&
        time.Day() == static_cast<int>(unsigned{date.day()}) &&
        time.DayOfYear() == (day - sys_days{date.year() / 1 / 1}).count() + 1 &&
        time.getDayOfWeek() == std::chrono::weekday{day}.c_encoding() &&
        Midnight(year, time.Month(), time.Day()).Ticks() == n * kDay &&
        DateTime::IsLeapYear(year) == date.year().is_leap() &&
        DateTime::DaysInMonth(year, 2) == (date.year().is_leap() ? 29 : 28);
    if (!same && ++wrong < 5) ADD_FAILURE() << "day " << n;
  }
  EXPECT_EQ(wrong, 0);
  for (const int year : {-4, 0}) EXPECT_TRUE(DateTime::IsLeapYear(year));
  for (const int year : {-1, -100}) EXPECT_FALSE(DateTime::IsLeapYear(year));
}

TEST(DateTime, TickCountIsCheckedAtBothEnds) {
  constexpr char kTicks[] =
      "ArgumentOutOfRange in DateTime::Set( local, newticks )";
  const DateTime first(0LL);
  const DateTime last(DateTime::MaxValue);
  EXPECT_EQ(Thrown([] { DateTime(-1LL); }), kTicks);
  EXPECT_EQ(Thrown([] { DateTime(DateTime::MaxValue + 1); }), kTicks);
  EXPECT_EQ(last - TimeSpan(DateTime::MaxValue), first);
  EXPECT_EQ(Thrown([&] { last + TimeSpan(1); }), kSum);
  EXPECT_EQ(Thrown([&] { first - TimeSpan(1); }), kSum);
  EXPECT_EQ(Thrown([&] { last.AddTicks(1); }), kAddTicks);
  EXPECT_EQ(Thrown([&] { last.AddTicks(LLONG_MAX); }), kAddTicks);
  // Missing is below every date.
  EXPECT_LT(DateTime(), first);
  EXPECT_EQ(Thrown([] { DateTime().AddTicks(LLONG_MIN); }), kAddTicks);
  EXPECT_EQ(Thrown([] { DateTime().AddMonths(-300000); }), kUnrepresentable);
  EXPECT_EQ(Thrown([] { DateTime().Date(); }), kUnrepresentable);
}

TEST(DateTime, FieldsAreCheckedButNotTheMillisecond) {
  EXPECT_EQ(DateTime(2004, 2, 29, 23, 59, 59, 1500),
            DateTime(2004, 3, 1, 0, 0, 0, 500));
  const std::array<int, 6> bad[] = {{0, 1, 1},
                                    {10000, 1, 1},
                                    {2004, 0, 1},
                                    {2004, 13, 1},
                                    {2004, 1, 0},
                                    {2004, 1, 32},
                                    {2004, 1, 1, 24},
                                    {2004, 1, 1, -1},
                                    {2004, 1, 1, 0, 60},
                                    {2004, 2, 30},
                                    {2003, 2, 29},
                                    {2004, 1, 1, 0, 0, 60},
                                    {INT_MIN, INT_MIN, INT_MIN},
                                    {INT_MAX, INT_MAX, 1}};
  for (const auto& f : bad)
    EXPECT_EQ(
        Thrown([&f] { DateTime(f[0], f[1], f[2], f[3], f[4], f[5], INT_MAX); }),
        kUnrepresentable)
        << ::testing::PrintToString(f);
  EXPECT_EQ(Thrown([] { DateTime::DaysInMonth(2004, 13); }),
            "Out of range in DateTime::DaysInMonth");
}

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
  EXPECT_EQ(time.Hour() * 10000 + time.Minute() * 100 + time.Second(), 90507);
  EXPECT_EQ(time.Millisecond(), 250);
  EXPECT_EQ(time.TimeOfDay(), TimeSpan(0, 9, 5, 7, 250));
  EXPECT_EQ(time.Date(), Midnight(2005, 11, 3));
}

TEST(DateTime, AddOfADoubleRoundsHalfAwayFromZeroOrRefuses) {
  const DateTime time = Midnight(2005, 11, 3);
  const std::pair<double, int> cases[] = {
      {0.4, 0}, {0.5, 1}, {-0.4, 0}, {-0.5, -1}, {1.5, 2}};
  for (const auto& [milliseconds, added] : cases)
    EXPECT_EQ(time.AddMilliseconds(milliseconds),
              time.AddTicks(added * kMillisecond))
        << milliseconds;
  EXPECT_EQ(time.AddSeconds(-0.0015), time.AddTicks(-2 * kMillisecond));
  EXPECT_EQ(time.AddMinutes(1.5), time.AddSeconds(90));
  EXPECT_EQ(time.AddHours(36), time.AddDays(1.5));
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double number :
       {std::nan(""), kInfinity, -kInfinity, 922337203685478.0, -1e300})
    EXPECT_EQ(Thrown([&] { time.AddMilliseconds(number); }),
              "Argument Out Of Range in DateTime::AddMilliseconds")
        << number;
  EXPECT_EQ(Thrown([&] { time.AddMilliseconds(9e14); }), kAddTicks);
}

TEST(DateTime, AddMonthsCutsTheDayAndKeepsTheTimeWithinTheCalendar) {
  const std::tuple<DateTime, int, DateTime> cases[] = {
      {Midnight(2003, 1, 31), 1, Midnight(2003, 2, 28)},
      {Midnight(2004, 1, 31), 1, Midnight(2004, 2, 29)},
      {Midnight(2003, 1, 15), -13, Midnight(2001, 12, 15)},
      {Midnight(2003, 12, 31), 1, Midnight(2004, 1, 31)},
      {Midnight(1, 1, 31), 9998 * 12 + 11, Midnight(9999, 12, 31)}};
  const TimeSpan time_of_day(0, 23, 59, 59, 999);
  for (const auto& [from, months, to] : cases)
    EXPECT_EQ((from + time_of_day).AddMonths(months), to + time_of_day)
        << months;
  const DateTime time = Midnight(2004, 2, 29);
  EXPECT_EQ(time.AddYears(-1), Midnight(2003, 2, 28));
  for (const int months : {INT_MAX, INT_MIN, 7995 * 12 + 11, -2003 * 12 - 2})
    EXPECT_EQ(Thrown([&] { time.AddMonths(months); }), kUnrepresentable);
  // 12 times this wraps to 8 in 32 bits.
  EXPECT_EQ(Thrown([&] { time.AddYears(357913942); }), kUnrepresentable);
}

TEST(DateTime, TakesFileTimesAndAutomationDates) {
  EXPECT_EQ(DateTime::FromFileTime(0), Midnight(1601, 1, 1));
  EXPECT_EQ(Thrown([] { DateTime::FromFileTime(LLONG_MAX); }), kSum);
  EXPECT_EQ(DateTime::FromOADate(38659.75), DateTime(2005, 11, 3, 18, 0, 0, 0));
  // Linear: the fraction of a negative date counts backwards.
  EXPECT_EQ(DateTime::FromOADate(-1.25), DateTime(1899, 12, 28, 18, 0, 0, 0));
  EXPECT_EQ(Thrown([] { DateTime::FromOADate(2958466.0); }), kAddTicks);
  for (const double number : {2958466.5, -657435.5, std::nan("")})
    EXPECT_EQ(Thrown([&] { DateTime::FromOADate(number); }),
              "Overflow in DateTime::FromOADate");
}

// Of a zone eight hours east.
class StoppedClock : public port::Clock {
 public:
  long long UnixTicks() const override { return 1130979907'1234567; }
  bool LocalTime(std::time_t second, std::tm& out) const override {
    const std::time_t shifted = second + 8 * 3600;
    return ::gmtime_r(&shifted, &out) != nullptr;
  }
};

TEST(DateTime, ReadsTheWallClockInEveryForm) {
  const StoppedClock clock;
  const port::ClockOverride override(clock);
  const DateTime now = DateTime(2005, 11, 3, 9, 5, 7, 0).AddTicks(1234567);
  EXPECT_EQ(DateTime::Now(), now);
  EXPECT_EQ(DateTime::UtcNow(), now);
  EXPECT_EQ(DateTime::Today(), Midnight(2005, 11, 3));
  EXPECT_EQ(DateTime::NowTime().Ticks(), now.TimeOfDay().Ticks());
}

TEST(DateTimeDuration, IsClosedWhicheverEndComesFirst) {
  const DateTimeDuration duration(Midnight(2006, 1, 1), Midnight(2005, 1, 1));
  for (const DateTime& end : {duration.GetStart(), duration.GetStop()})
    EXPECT_TRUE(duration.IsInScope(end));
  EXPECT_FALSE(duration.IsInScope(Midnight(2005, 1, 1).AddTicks(-1)));
  EXPECT_FALSE(duration.IsInScope(Midnight(2006, 1, 1).AddTicks(1)));
}

}  // namespace
}  // namespace kiv
