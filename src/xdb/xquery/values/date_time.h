#ifndef XDB_XQUERY_VALUES_DATE_TIME_H_
#define XDB_XQUERY_VALUES_DATE_TIME_H_

#include <optional>

#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

// Each takes a value of a type that has the part, and answers as its function
// does: integers, decimals for the seconds of a time or a duration.
Item YearOf(const Item& value);
Item MonthOf(const Item& value);
Item DayOf(const Item& value);
Item HoursOf(const Item& value);
Item MinutesOf(const Item& value);
Item SecondsOf(const Item& value);
// An xs:dayTimeDuration; none (Type::None) when the value has no zone.
Item TimezoneOf(const Item& value);

// fn:adjust-date-to-timezone and its kin: of a dateTime, date or time; without
// a zone the value loses its own. FODT0003 for a duration that is no zone is
// ZoneOf's.
Item AdjustToTimezone(const Item& value, std::optional<int> zone);
// Minutes of an xs:dayTimeDuration that is a time zone; FODT0003 otherwise.
int ZoneOf(const Item& duration);

// fn:dateTime; FORG0008 when both have a zone and not the same.
Item JoinDateAndTime(const Item& date, const Item& time);

// A dateTime of so many nanoseconds since 1970-01-01T00:00:00Z on the clock of
// `zone`, for fn:current-dateTime.
Item DateTimeOfUnix(std::int64_t nanoseconds, int zone);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_DATE_TIME_H_
