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

TEST(DateTime, HasPartsThatCanBeTakenOut) {
  EXPECT_EQ(Shown(YearOf(ValueOf("date -0001-12-31"))), "integer -1");
  EXPECT_EQ(Shown(SecondsOf(ValueOf("time 00:00:59.000000000000000001"))),
            "decimal 59.000000000000000001");
  EXPECT_EQ(Shown(MonthOf(ValueOf("yearMonthDuration -P15M"))), "integer -3");
  EXPECT_EQ(Shown(MinutesOf(ValueOf("duration P1YT3661S"))), "integer 1");
}

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
