#include "xdb/xquery/values/calendar.h"

#include <algorithm>
#include <array>

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

// Reads from the front of a text.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool IsAtEnd() const { return rest_.empty(); }
  char Peek() const { return rest_.empty() ? '\0' : rest_.front(); }
  bool Skip(char c) {
    if (Peek() != c || rest_.empty()) return false;
    rest_.remove_prefix(1);
    return true;
  }
  std::string_view Digits() {
    std::size_t count = 0;
    while (count < rest_.size() && rest_[count] >= '0' && rest_[count] <= '9')
      ++count;
    const std::string_view digits = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return digits;
  }
  bool TwoDigits(int least, int most, int& value) {
    if (rest_.size() < 2 || !IsDigit(rest_[0]) || !IsDigit(rest_[1]))
      return false;
    value = (rest_[0] - '0') * 10 + (rest_[1] - '0');
    rest_.remove_prefix(2);
    return value >= least && value <= most;
  }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view rest_;
};

// Saturates, far above anything that is allowed.
constexpr Int128 kTooLarge = Int128{10'000'000'000} * 10'000'000'000;

Int128 NumberOf(std::string_view digits) {
  Int128 number = 0;
  for (const char c : digits)
    number = std::min(number * 10 + (c - '0'), kTooLarge);
  return number;
}

// The digits behind a point as attoseconds.
std::int64_t FractionOf(std::string_view digits) {
  std::int64_t fraction = 0, unit = kAttoseconds;
  for (const char c : digits.substr(0, 18)) {
    unit /= 10;
    fraction += (c - '0') * unit;
  }
  return fraction;
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

void AppendPadded(std::uint64_t number, std::size_t width, std::string& text) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) text.append(width - digits.size(), '0');
  text += digits;
}

void AppendFraction(std::int64_t attoseconds, std::string& text) {
  if (attoseconds == 0) return;
  text += '.';
  AppendPadded(static_cast<std::uint64_t>(attoseconds), 18, text);
  text.erase(text.find_last_not_of('0') + 1);
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

namespace {

// The parts of a duration in the order in which they are written.
struct Unit {
  char letter;
  bool is_of_time;
  std::int64_t months;
  std::int64_t seconds;
};
constexpr Unit kUnits[] = {
    {'Y', false, 12, 0},  {'M', false, 1, 0}, {'D', false, 0, kSecondsPerDay},
    {'H', true, 0, 3600}, {'M', true, 0, 60}, {'S', true, 0, 1},
};

bool IsAllowed(const Unit& unit, Type type) {
  return (type != Type::YearMonthDuration || unit.months != 0) &&
         (type != Type::DayTimeDuration || unit.seconds != 0);
}

struct Sums {
  Int128 months = 0;
  Int128 seconds = 0;
  std::int64_t attoseconds = 0;
};

bool ReadUnits(Scanner& scanner, Type type, Sums& sums) {
  std::size_t next = 0;
  bool is_time = false, has_part = false;
  while (!scanner.IsAtEnd()) {
    if (!is_time && scanner.Skip('T')) {
      is_time = true;
      has_part = false;
    }
    const std::string_view digits = scanner.Digits();
    if (digits.empty()) return false;
    std::string_view fraction;
    if (scanner.Skip('.')) {
      fraction = scanner.Digits();
      if (fraction.empty()) return false;
    }
    while (next < std::size(kUnits) && (kUnits[next].is_of_time != is_time ||
                                        kUnits[next].letter != scanner.Peek()))
      ++next;
    if (next == std::size(kUnits)) return false;
    const Unit& unit = kUnits[next++];
    if (!IsAllowed(unit, type)) return false;
    if (!fraction.empty() && unit.letter != 'S') return false;
    scanner.Skip(unit.letter);
    sums.months += NumberOf(digits) * unit.months;
    sums.seconds += NumberOf(digits) * unit.seconds;
    sums.attoseconds += FractionOf(fraction);
    has_part = true;
  }
  return has_part;
}

}  // namespace

Fault ParseDuration(std::string_view text, Type type, Duration& value) {
  Scanner scanner(text);
  const bool is_negative = scanner.Skip('-');
  Sums sums;
  if (!scanner.Skip('P') || !ReadUnits(scanner, type, sums))
    return Fault::NotOfType;
  if (!FitsInt64(sums.months) || !FitsInt64(sums.seconds))
    return Fault::DurationTooLarge;
  value.months = static_cast<std::int64_t>(sums.months);
  value.attoseconds = sums.seconds * kAttoseconds + sums.attoseconds;
  if (is_negative) {
    value.months = -value.months;
    value.attoseconds = -value.attoseconds;
  }
  return Fault::None;
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

void AppendDuration(const Duration& value, Type type, std::string& text) {
  if (value.months == 0 && value.attoseconds == 0) {
    text += type == Type::YearMonthDuration ? "P0M" : "PT0S";
    return;
  }
  if (value.months < 0 || value.attoseconds < 0) text += '-';
  text += 'P';
  const auto append = [&text](Uint128 number, char letter) {
    if (number == 0) return;
    text += std::to_string(static_cast<std::uint64_t>(number));
    text += letter;
  };
  const Uint128 months = Magnitude(value.months);
  append(months / 12, 'Y');
  append(months % 12, 'M');
  const Uint128 attoseconds = Magnitude(value.attoseconds);
  const Uint128 seconds = attoseconds / kAttoseconds;
  const auto fraction = static_cast<std::int64_t>(attoseconds % kAttoseconds);
  append(seconds / kSecondsPerDay, 'D');
  const Uint128 rest = seconds % kSecondsPerDay;
  if (rest == 0 && fraction == 0) return;
  text += 'T';
  append(rest / 3600, 'H');
  append(rest / 60 % 60, 'M');
  if (rest % 60 == 0 && fraction == 0) return;
  text += std::to_string(static_cast<std::uint64_t>(rest % 60));
  AppendFraction(fraction, text);
  text += 'S';
}

}  // namespace kiv::xdb::xq
