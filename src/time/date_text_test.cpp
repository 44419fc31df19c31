#include "time/date_text.h"

#include <gtest/gtest.h>

#include <optional>
#include <tuple>

#include "kiv/date_time.h"

namespace kiv {
namespace {

using Ticks = std::optional<std::int64_t>;

Ticks At(int year, int month, int day, int hour, int minute, int second,
         int fraction = 0) {
  return DateTime(year, month, day, hour, minute, second, 0).Ticks() + fraction;
}

TEST(DatesOfDatabases, AreReadWithOrWithoutSeconds) {
  // Of seconds that may lack, and that must stand.
  const std::tuple<const char*, Ticks, Ticks> rows[] = {
      {"2004-01-31", At(2004, 1, 31, 0, 0, 0), At(2004, 1, 31, 0, 0, 0)},
      {"2004-01-31 09:05", At(2004, 1, 31, 9, 5, 0), {}},
      {"9:05", At(1899, 12, 30, 9, 5, 0), {}},
      {"4-1-3T9:5:7", At(4, 1, 3, 9, 5, 7), At(4, 1, 3, 9, 5, 7)},
      {"23:59:59.123456789", At(1899, 12, 30, 23, 59, 59, 1234567),
       At(1899, 12, 30, 23, 59, 59, 1234567)},
      {"4-1-3 0:0:0.25", At(4, 1, 3, 0, 0, 0, 2500000),
       At(4, 1, 3, 0, 0, 0, 2500000)}};
  for (const auto& [text, may_lack, must_stand] : rows) {
    EXPECT_EQ(TicksOfText(text, Seconds::MayLack), may_lack) << text;
    EXPECT_EQ(TicksOfText(text, Seconds::MustStand), must_stand) << text;
  }
  for (const char* const none :
       {"2004-02-30", "24:00:00", "23:60:00", "23:59:60", "23:59:", "23:59:59.",
        "23:59:59Z", "2004-01-31 ", "2004-01", ""})
    EXPECT_EQ(TicksOfText(none, Seconds::MayLack), Ticks()) << none;
}

}  // namespace
}  // namespace kiv
