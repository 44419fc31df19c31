#include "xdb/xquery/values/calendar.h"

#include "xdb/xquery/values/calendar_text.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::int64_t kDaysPer400Years = 146'097;
// From 0000-03-01, where counting starts because the leap day then comes last.
constexpr std::int64_t kDaysToYear1 = 306;

constexpr bool IsLeap(std::int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

std::int64_t AstronomicalYear(std::int64_t written) {
  return written < 0 ? written + 1 : written;
}

// The parts of a date that each type writes, and how the others are filled.
struct Parts {
  Type type;
  bool year, month, day, time;
};
constexpr Parts kParts[] = {
    {Type::DateTime, true, true, true, true},
    {Type::Date, true, true, true, false},
    {Type::Time, false, false, false, true},
    {Type::GYearMonth, true, true, false, false},
    {Type::GYear, true, false, false, false},
    {Type::GMonthDay, false, true, true, false},
    {Type::GDay, false, false, true, false},
    {Type::GMonth, false, true, false, false},
};

const Parts& PartsOf(Type type) {
  return kParts[static_cast<int>(type) - static_cast<int>(Type::DateTime)];
}

constexpr std::int64_t kFillYear = 1972;

CivilDate Fill(const Parts& parts, const CivilDate& date) {
  CivilDate filled;
  filled.year = parts.year ? date.year : kFillYear;
  filled.month = parts.month ? date.month : parts.year ? 1 : 12;
  filled.day = parts.day ? date.day : parts.type == Type::Time ? 31 : 1;
  return filled;
}

// Four digits at least, more only without a zero in front; no year 0.
bool ReadYear(Scanner& scanner, Int128& year) {
  const bool is_negative = scanner.Skip('-');
  const std::string_view digits = scanner.Digits();
  if (digits.size() < 4 || (digits.size() > 4 && digits[0] == '0'))
    return false;
  year = NumberOf(digits);
  if (year == 0) return false;
  if (is_negative) year = -year;
  return true;
}

bool ReadDate(Scanner& scanner, const Parts& parts, Int128& year,
              CivilDate& date) {
  if (parts.year && !ReadYear(scanner, year)) return false;
  if (parts.month || parts.day) {
    // --MM-DD, --MM and ---DD begin with the hyphens of what is left out.
    if (!parts.year && !scanner.Skip('-')) return false;
    if (!scanner.Skip('-')) return false;
  }
  if (parts.month && !scanner.TwoDigits(1, 12, date.month)) return false;
  if (parts.day && (!scanner.Skip('-') || !scanner.TwoDigits(1, 31, date.day)))
    return false;
  return true;
}

// Seconds of the day, 86400 for 24:00:00.
bool ReadTime(Scanner& scanner, CalendarValue& value) {
  int hour, minute, second;
  if (!scanner.TwoDigits(0, 24, hour) || !scanner.Skip(':') ||
      !scanner.TwoDigits(0, 59, minute) || !scanner.Skip(':') ||
      !scanner.TwoDigits(0, 59, second))
    return false;
  if (scanner.Skip('.')) {
    const std::string_view digits = scanner.Digits();
    if (digits.empty()) return false;
    value.attoseconds = FractionOf(digits);
    if (hour == 24 && digits.find_first_not_of('0') != digits.npos)
      return false;
  }
  value.seconds = hour * 3600 + minute * 60 + second;
  return value.seconds <= kSecondsPerDay;
}

bool ReadZone(Scanner& scanner, std::int16_t& zone) {
  zone = kNoZone;
  if (scanner.IsAtEnd()) return true;
  if (scanner.Skip('Z')) {
    zone = 0;
  } else {
    const bool is_west = scanner.Skip('-');
    int hour, minute;
    if ((!is_west && !scanner.Skip('+')) || !scanner.TwoDigits(0, 14, hour) ||
        !scanner.Skip(':') || !scanner.TwoDigits(0, 59, minute))
      return false;
    const int minutes = hour * 60 + minute;
    if (minutes > kMaxZone) return false;
    zone = static_cast<std::int16_t>(is_west ? -minutes : minutes);
  }
  return scanner.IsAtEnd();
}

void AppendZone(std::int16_t zone, std::string& text) {
  if (zone == kNoZone) return;
  if (zone == 0) {
    text += 'Z';
    return;
  }
  const auto minutes = static_cast<std::uint64_t>(zone < 0 ? -zone : zone);
  text += zone < 0 ? '-' : '+';
  AppendPadded(minutes / 60, 2, text);
  text += ':';
  AppendPadded(minutes % 60, 2, text);
}

}  // namespace

std::int64_t DaysOf(const CivilDate& date) {
  const std::int64_t year = date.month <= 2 ? date.year - 1 : date.year;
  const std::int64_t era = FloorDivide(year, 400);
  const std::int64_t year_of_era = year - era * 400;
  const int months_from_march = (date.month + 9) % 12;
  const std::int64_t day_of_year =
      (153 * months_from_march + 2) / 5 + date.day - 1;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * kDaysPer400Years + day_of_era - kDaysToYear1;
}

CivilDate DateOfDays(std::int64_t days) {
  days += kDaysToYear1;
  const std::int64_t era = FloorDivide(days, kDaysPer400Years);
  const std::int64_t day_of_era = days - era * kDaysPer400Years;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36'524 -
       day_of_era / (kDaysPer400Years - 1)) /
      365;
  const auto day_of_year = static_cast<int>(
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100));
  const int months_from_march = (5 * day_of_year + 2) / 153;
  CivilDate date;
  date.day = day_of_year - (153 * months_from_march + 2) / 5 + 1;
  date.month =
      months_from_march < 10 ? months_from_march + 3 : months_from_march - 9;
  date.year = year_of_era + era * 400 + (date.month <= 2 ? 1 : 0);
  return date;
}

int DaysInMonth(std::int64_t year, int month) {
  if (month == 2) return IsLeap(year) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool IsInRange(Int128 seconds) {
  static const std::int64_t least =
      DaysOf({-kMaxYear + 1, 1, 1}) * kSecondsPerDay;
  static const std::int64_t end = DaysOf({kMaxYear + 1, 1, 1}) * kSecondsPerDay;
  return seconds >= least && seconds < end;
}

CalendarValue FilledFor(Type type, const CalendarValue& value) {
  const Parts& parts = PartsOf(type);
  CalendarValue filled;
  filled.seconds = DaysOf(Fill(parts, DateOf(value))) * kSecondsPerDay;
  filled.zone = value.zone;
  if (parts.time) {
    filled.seconds += SecondOfDay(value);
    filled.attoseconds = value.attoseconds;
  }
  return filled;
}

Fault ParseCalendar(std::string_view text, Type type, CalendarValue& value) {
  const Parts& parts = PartsOf(type);
  Scanner scanner(text);
  Int128 year = kFillYear;
  CivilDate date = Fill(parts, {});
  value = {};
  if (!ReadDate(scanner, parts, year, date)) return Fault::NotOfType;
  if (parts.time && parts.year && !scanner.Skip('T')) return Fault::NotOfType;
  if (parts.time && !ReadTime(scanner, value)) return Fault::NotOfType;
  if (!ReadZone(scanner, value.zone)) return Fault::NotOfType;
  const bool is_too_large = year > kMaxYear || year < -kMaxYear;
  // The calendar repeats, so a year too large has the leap day of its
  // remainder.
  date.year = AstronomicalYear(
      static_cast<std::int64_t>(is_too_large ? year % 400 : year));
  if (date.day > DaysInMonth(date.year, date.month)) return Fault::NotOfType;
  if (is_too_large) return Fault::DateTooLarge;
  if (type == Type::Time) value.seconds %= kSecondsPerDay;
  value.seconds += DaysOf(date) * kSecondsPerDay;
  return IsInRange(value.seconds) ? Fault::None : Fault::DateTooLarge;
}

void AppendCalendar(const CalendarValue& value, Type type, std::string& text) {
  const Parts& parts = PartsOf(type);
  const CivilDate date = DateOf(value);
  if (parts.year) {
    const std::int64_t year = WrittenYear(date.year);
    if (year < 0) text += '-';
    AppendPadded(static_cast<std::uint64_t>(year < 0 ? -year : year), 4, text);
  } else if (parts.month || parts.day) {
    text += '-';
  }
  if (parts.month || parts.day) text += '-';
  if (parts.month)
    AppendPadded(static_cast<std::uint64_t>(date.month), 2, text);
  if (parts.day) {
    text += '-';
    AppendPadded(static_cast<std::uint64_t>(date.day), 2, text);
  }
  if (parts.time) {
    if (parts.year) text += 'T';
    const auto second = static_cast<std::uint64_t>(SecondOfDay(value));
    AppendPadded(second / 3600, 2, text);
    text += ':';
    AppendPadded(second / 60 % 60, 2, text);
    text += ':';
    AppendPadded(second % 60, 2, text);
    AppendFraction(value.attoseconds, text);
  }
  AppendZone(value.zone, text);
}

}  // namespace kiv::xdb::xq
