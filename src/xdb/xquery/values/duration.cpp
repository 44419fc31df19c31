#include <iterator>

#include "xdb/xquery/values/calendar_text.h"

namespace kiv::xdb::xq {
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
    if (!is_time && scanner.Skip('T')) is_time = true;
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
