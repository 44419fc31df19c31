#include "xdb/xquery/values/date_time.h"

#include "xdb/xquery/values/calendar.h"
#include "xdb/xquery/values/date_arithmetic.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

constexpr Int128 kMinute = Int128{60} * kAttoseconds;

// The parts of the time of a duration have its sign.
Item PartOfTime(const Item& value, std::int64_t unit, std::int64_t in_next) {
  if (IsDuration(value.type())) {
    const Int128 seconds = value.AsDuration().attoseconds / kAttoseconds;
    return Item::OfInteger(static_cast<std::int64_t>(seconds / unit % in_next));
  }
  return Item::OfInteger(SecondOfDay(value.AsCalendar()) / unit % in_next);
}

constexpr std::int64_t kAnyNumber = INT64_MAX;
constexpr std::int64_t kDaysToUnixEpoch = 719'162;

}  // namespace

Item YearOf(const Item& value) {
  if (IsDuration(value.type()))
    return Item::OfInteger(value.AsDuration().months / 12);
  return Item::OfInteger(WrittenYear(DateOf(value.AsCalendar()).year));
}

Item MonthOf(const Item& value) {
  if (IsDuration(value.type()))
    return Item::OfInteger(value.AsDuration().months % 12);
  return Item::OfInteger(DateOf(value.AsCalendar()).month);
}

Item DayOf(const Item& value) {
  if (IsDuration(value.type()))
    return PartOfTime(value, kSecondsPerDay, kAnyNumber);
  return Item::OfInteger(DateOf(value.AsCalendar()).day);
}

Item HoursOf(const Item& value) { return PartOfTime(value, 3600, 24); }

Item MinutesOf(const Item& value) { return PartOfTime(value, 60, 60); }

Item SecondsOf(const Item& value) {
  if (IsDuration(value.type())) {
    return Item::OfDecimal(
        Decimal::FromInt128(value.AsDuration().attoseconds % kMinute, 18));
  }
  const CalendarValue point = value.AsCalendar();
  return Item::OfDecimal(Decimal::FromInt128(
      SecondOfDay(point) % 60 * Int128{kAttoseconds} + point.attoseconds, 18));
}

Item TimezoneOf(const Item& value) {
  const std::int16_t zone = value.AsCalendar().zone;
  if (zone == kNoZone) return {};
  return Item::OfDuration({0, zone * kMinute}, Type::DayTimeDuration);
}

Item AdjustToTimezone(const Item& value, std::optional<int> zone) {
  CalendarValue point = value.AsCalendar();
  if (zone && point.zone != kNoZone)
    point = Later(point, (*zone - point.zone) * kMinute);
  point.zone = zone ? static_cast<std::int16_t>(*zone) : kNoZone;
  return Item::OfCalendar(
      value.type() == Type::DateTime ? point : FilledFor(value.type(), point),
      value.type());
}

int ZoneOf(const Item& duration) {
  const Int128 span = duration.AsDuration().attoseconds;
  const Int128 minutes = span / kMinute;
  if (span % kMinute != 0 || minutes > kMaxZone || minutes < -kMaxZone) {
    throw Error("FODT0003",
                "a time zone is whole minutes between -14:00 and 14:00");
  }
  return static_cast<int>(minutes);
}

Item JoinDateAndTime(const Item& date, const Item& time) {
  CalendarValue joined = date.AsCalendar();
  const CalendarValue clock = time.AsCalendar();
  if (joined.zone == kNoZone) {
    joined.zone = clock.zone;
  } else if (clock.zone != kNoZone && clock.zone != joined.zone) {
    throw Error("FORG0008", "the date and the time have different time zones");
  }
  joined.seconds += SecondOfDay(clock);
  joined.attoseconds = clock.attoseconds;
  return Item::OfCalendar(joined, Type::DateTime);
}

Item DateTimeOfUnix(std::int64_t nanoseconds, int zone) {
  constexpr std::int64_t kPerSecond = 1'000'000'000;
  const std::int64_t seconds = FloorDivide(nanoseconds, kPerSecond);
  CalendarValue point;
  point.seconds =
      kDaysToUnixEpoch * kSecondsPerDay + seconds + std::int64_t{60} * zone;
  point.attoseconds = (nanoseconds - seconds * kPerSecond) * kPerSecond;
  point.zone = static_cast<std::int16_t>(zone);
  return Item::OfCalendar(point, Type::DateTime);
}

}  // namespace kiv::xdb::xq
