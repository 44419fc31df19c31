#ifndef XDB_XQUERY_VALUES_CALENDAR_H_
#define XDB_XQUERY_VALUES_CALENDAR_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "xdb/xquery/values/fault.h"
#include "xdb/xquery/values/int128.h"
#include "xdb/xquery/values/types.h"

namespace kiv::xdb::xq {

// Seconds are kept to 18 digits behind the point; further ones are cut off.
inline constexpr std::int64_t kAttoseconds = 1'000'000'000'000'000'000;
inline constexpr std::int64_t kSecondsPerDay = 86'400;

inline constexpr std::int16_t kNoZone = INT16_MIN;
// The widest time zone, 14:00, in minutes.
inline constexpr std::int16_t kMaxZone = 14 * 60;

// A span: months, and attoseconds of which the whole seconds fit 64 bits. Both
// have the same sign or are zero.
struct Duration {
  std::int64_t months = 0;
  Int128 attoseconds = 0;

  friend bool operator==(const Duration&, const Duration&) = default;
};

// A point of the proleptic Gregorian calendar on the clock of its own zone: a
// date, a time, both, or a part of a date, whose missing parts are filled: date
// and gX types with 00:00:00, times with 1972-12-31, gMonthDay, gDay and gMonth
// with 1972, gDay with December, gYear with January, all else with the first.
// So two values of a type compare as their instants.
struct CalendarValue {
  // Since 0001-01-01T00:00:00; the year before year 1 is -1 when written.
  std::int64_t seconds = 0;
  std::int64_t attoseconds = 0;  // 0 .. kAttoseconds - 1
  std::int16_t zone = kNoZone;   // minutes east of UTC

  friend bool operator==(const CalendarValue&, const CalendarValue&) = default;
};

// A day of the calendar; years count 1, 0, -1 (astronomical).
struct CivilDate {
  std::int64_t year = 1;
  int month = 1;  // 1..12
  int day = 1;    // 1..31
};

// The years of calendar values are -kMaxYear..kMaxYear; the seconds of one
// leave room for a zone.
inline constexpr std::int64_t kMaxYear = 292'277'024'000;

// Days since 0001-01-01, for the years above.
std::int64_t DaysOf(const CivilDate& date);
CivilDate DateOfDays(std::int64_t days);
int DaysInMonth(std::int64_t year, int month);

// As it is written, without a year 0.
inline std::int64_t WrittenYear(std::int64_t year) {
  return year <= 0 ? year - 1 : year;
}

// False when the year is out of range.
bool IsInRange(Int128 seconds_since_year_1);

inline std::int64_t FloorDivide(std::int64_t value, std::int64_t by) {
  return value / by - (value % by < 0 ? 1 : 0);
}
inline std::int64_t WholeDays(const CalendarValue& value) {
  return FloorDivide(value.seconds, kSecondsPerDay);
}
inline CivilDate DateOf(const CalendarValue& value) {
  return DateOfDays(WholeDays(value));
}
inline int SecondOfDay(const CalendarValue& value) {
  return static_cast<int>(value.seconds - WholeDays(value) * kSecondsPerDay);
}

// The value with the parts that `type` lacks filled as said above.
CalendarValue FilledFor(Type type, const CalendarValue& value);

// White space is gone already.
Fault ParseCalendar(std::string_view text, Type type, CalendarValue& value);
Fault ParseDuration(std::string_view text, Type type, Duration& value);
void AppendCalendar(const CalendarValue& value, Type type, std::string& text);
void AppendDuration(const Duration& value, Type type, std::string& text);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_CALENDAR_H_
