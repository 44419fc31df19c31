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

TEST(DateTime, ZonesAreWholeMinutesWithin14Hours) {
  constexpr const char* kRows[][2] = {{"-PT14H", "integer -840"},
                                      {"PT14H1M", "FODT0003"},
                                      {"PT60.000000000000000001S", "FODT0003"}};
  for (const auto& [duration, zone] : kRows) {
    const Item value = ValueOf(std::string("dayTimeDuration ") + duration);
    EXPECT_EQ(ShownOrCode([&] { return Item::OfInteger(ZoneOf(value)); }),
              zone);
  }
}

TEST(DateTime, IsMadeOfTheClock) {
  EXPECT_EQ(Shown(DateTimeOfUnix(-1, 90)),
            "dateTime 1970-01-01T01:29:59.999999999+01:30");
}

}  // namespace
}  // namespace kiv::xdb::xq
