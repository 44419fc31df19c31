#include "time/date_text.h"

#include <gtest/gtest.h>

#include <optional>

#include "kiv/date_time.h"

namespace kiv {
namespace {

using Ticks = std::optional<std::int64_t>;

Ticks TicksOf(int year, int month, int day, int hour, int minute, int second,
              int fraction = 0) {
  return DateTime(year, month, day, hour, minute, second, 0).Ticks() + fraction;
}

TEST(DatesOfDatabases, AreReadWithOrWithoutSeconds) {
  const struct {
    const char* text;
    Ticks may_lack;
    Ticks must_stand;
  } rows[] = {
      {"2004-01-31", TicksOf(2004, 1, 31, 0, 0, 0),
       TicksOf(2004, 1, 31, 0, 0, 0)},
      {"2004-01-31 09:05", TicksOf(2004, 1, 31, 9, 5, 0), {}},
      {"9:05", TicksOf(1899, 12, 30, 9, 5, 0), {}},
      {"4-1-3T9:5:7", TicksOf(4, 1, 3, 9, 5, 7), TicksOf(4, 1, 3, 9, 5, 7)},
      {"23:59:59.123456789", TicksOf(1899, 12, 30, 23, 59, 59, 1234567),
       TicksOf(1899, 12, 30, 23, 59, 59, 1234567)},
      {"2004-01-31 00:00:00.25", TicksOf(2004, 1, 31, 0, 0, 0, 2500000),
       TicksOf(2004, 1, 31, 0, 0, 0, 2500000)},
      {"2004-02-30", {}, {}},
      {"2004-01-31 24:00:00", {}, {}},
      {"2004-01-31 23:60:00", {}, {}},
      {"2004-01-31 23:59:60", {}, {}},
      {"2004-01-31 23:59:", {}, {}},
      {"2004-01-31 23:59:59.", {}, {}},
      {"2004-01-31 23:59:59Z", {}, {}},
      {"2004-01-31 ", {}, {}},
      {"2004-01", {}, {}},
      {"", {}, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(TicksOfText(row.text, Seconds::MayLack), row.may_lack)
        << row.text;
    EXPECT_EQ(TicksOfText(row.text, Seconds::MustStand), row.must_stand)
        << row.text;
  }
}

}  // namespace
}  // namespace kiv
