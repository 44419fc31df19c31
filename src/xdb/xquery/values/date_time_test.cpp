#include "xdb/xquery/values/date_time.h"

#include <gtest/gtest.h>

#include <string>

#include "testing/xquery_values.h"
#include "xdb/xquery/values/calendar.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::Shown;
using kiv::testing::ShownOrCode;
using kiv::testing::ValueOf;

TEST(Calendar, CountsEveryDayOnce) {
  for (const std::int64_t first_year : {-402L, 1L, 1896L, 99'999'999'998L}) {
    CivilDate date{first_year, 1, 1};
    std::int64_t days = DaysOf(date);
    for (int i = 0; i < 6 * 366; ++i) {
      const CivilDate back = DateOfDays(days);
      ASSERT_EQ(DaysOf(date), days++);
      ASSERT_TRUE(back.year == date.year && back.month == date.month &&
                  back.day == date.day);
      if (++date.day <= DaysInMonth(date.year, date.month)) continue;
      date.day = 1;
      if (++date.month <= 12) continue;
      date.month = 1;
      ++date.year;
    }
  }
  EXPECT_EQ(DaysOf(CivilDate{1, 1, 1}), 0);
  EXPECT_EQ(DaysOf(CivilDate{1970, 1, 1}), 719'162);
}

struct PartCase {
  const char* name;
  const char* value;
  Item (*part)(const Item&);
  const char* result;
};

class PartOf : public ::testing::TestWithParam<PartCase> {};

TEST_P(PartOf, IsTakenOut) {
  EXPECT_EQ(Shown(GetParam().part(ValueOf(GetParam().value))),
            GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Values, PartOf,
    ::testing::Values(
        PartCase{"YearBeforeFirst", "date -0001-12-31", YearOf, "integer -1"},
        PartCase{"LocalDay", "dateTime 2000-02-29T23:00:00-14:00", DayOf,
                 "integer 29"},
        PartCase{"Month", "date 2000-02-29", MonthOf, "integer 2"},
        PartCase{"Hours", "time 23:59:59", HoursOf, "integer 23"},
        PartCase{"Minutes", "dateTime -0044-03-15T23:59:59", MinutesOf,
                 "integer 59"},
        PartCase{"Seconds", "time 00:00:59.000000000000000001", SecondsOf,
                 "decimal 59.000000000000000001"},
        PartCase{"WholeSeconds", "time 00:00:59", SecondsOf, "decimal 59"},
        PartCase{"Zone", "date 2000-01-01-05:30", TimezoneOf,
                 "dayTimeDuration -PT5H30M"},
        PartCase{"NoZone", "time 00:00:00", TimezoneOf, "none"},
        PartCase{"YearsOfMonths", "yearMonthDuration -P15M", YearOf,
                 "integer -1"},
        PartCase{"MonthsOfMonths", "yearMonthDuration -P15M", MonthOf,
                 "integer -3"},
        PartCase{"DaysOfTimes", "dayTimeDuration -PT49H", DayOf, "integer -2"},
        PartCase{"HoursOfTimes", "dayTimeDuration -PT49H", HoursOf,
                 "integer -1"},
        PartCase{"MinutesOfPlain", "duration P1YT3661S", MinutesOf,
                 "integer 1"},
        PartCase{"SecondsOfTimes", "dayTimeDuration -PT61.5S", SecondsOf,
                 "decimal -1.5"},
        PartCase{"MonthsHaveNoDays", "yearMonthDuration P1M", DayOf,
                 "integer 0"}),
    [](const auto& row) { return row.param.name; });

struct ZoneCase {
  const char* name;
  const char* value;
  std::optional<int> zone;
  const char* result;
};

class Adjusted : public ::testing::TestWithParam<ZoneCase> {};

TEST_P(Adjusted, ToAZoneOrNone) {
  EXPECT_EQ(Shown(AdjustToTimezone(ValueOf(GetParam().value), GetParam().zone)),
            GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Values, Adjusted,
    ::testing::Values(ZoneCase{"Moves", "dateTime 2002-03-07T10:00:00-07:00",
                               600, "dateTime 2002-03-08T03:00:00+10:00"},
                      ZoneCase{"Gains", "dateTime 2002-03-07T10:00:00", -300,
                               "dateTime 2002-03-07T10:00:00-05:00"},
                      ZoneCase{"Loses", "time 10:00:00-07:00", std::nullopt,
                               "time 10:00:00"},
                      ZoneCase{"DateMovesBack", "date 2002-03-07-07:00", -600,
                               "date 2002-03-06-10:00"},
                      ZoneCase{"TimeWraps", "time 10:00:00-07:00", 600,
                               "time 03:00:00+10:00"}),
    [](const auto& row) { return row.param.name; });

TEST(DateTime, ZonesAreWholeMinutesWithin14Hours) {
  const auto zone = [](const char* duration) {
    return ShownOrCode(
        [&] { return Item::OfInteger(ZoneOf(ValueOf(duration))); });
  };
  EXPECT_EQ(zone("dayTimeDuration -PT14H"), "integer -840");
  EXPECT_EQ(zone("dayTimeDuration PT14H1M"), "FODT0003");
  EXPECT_EQ(zone("dayTimeDuration PT1S"), "FODT0003");
  EXPECT_EQ(zone("dayTimeDuration PT60.000000000000000001S"), "FODT0003");
}

TEST(DateTime, IsJoinedOfADateAndATimeOfOneZone) {
  const auto joined = [](const char* date, const char* time) {
    return ShownOrCode(
        [&] { return JoinDateAndTime(ValueOf(date), ValueOf(time)); });
  };
  EXPECT_EQ(joined("date 1999-12-31", "time 24:00:00"),
            "dateTime 1999-12-31T00:00:00");
  EXPECT_EQ(joined("date -0001-12-31+01:00", "time 12:00:00.25"),
            "dateTime -0001-12-31T12:00:00.25+01:00");
  EXPECT_EQ(joined("date 1999-12-31", "time 12:00:00Z"),
            "dateTime 1999-12-31T12:00:00Z");
  EXPECT_EQ(joined("date 1999-12-31+01:00", "time 12:00:00Z"), "FORG0008");
}

TEST(DateTime, IsMadeOfTheClock) {
  EXPECT_EQ(Shown(DateTimeOfUnix(-1, 90)),
            "dateTime 1970-01-01T01:29:59.999999999+01:30");
  EXPECT_EQ(Shown(DateTimeOfUnix(951'782'400'500'000'000, 0)),
            "dateTime 2000-02-29T00:00:00.5Z");
}

}  // namespace
}  // namespace kiv::xdb::xq
