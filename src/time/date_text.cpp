#include "time/date_text.h"

#include "kiv/date_time.h"
#include "util/gb_text.h"

namespace kiv {
namespace {

std::optional<int> Digits(std::string_view& text, std::size_t most) {
  int value = 0;
  std::size_t count = 0;
  while (count < most && count < text.size() && IsAsciiDigit(text[count]))
    value = 10 * value + (text[count++] - '0');
  if (count == 0) return std::nullopt;
  text.remove_prefix(count);
  return value;
}

bool Take(std::string_view& text, char expected) {
  if (!text.starts_with(expected)) return false;
  text.remove_prefix(1);
  return true;
}

std::optional<std::int64_t> TimeTicks(std::string_view text, Seconds seconds) {
  const auto hour = Digits(text, 2);
  if (!hour || !Take(text, ':')) return std::nullopt;
  const auto minute = Digits(text, 2);
  if (!minute) return std::nullopt;
  std::optional<int> second;
  if (seconds == Seconds::MayLack) second = 0;
  std::int64_t fraction = 0;
  if (Take(text, ':')) {
    second = Digits(text, 2);
    if (second && Take(text, '.')) {
      constexpr std::size_t kDigitsOfTick = 7;
      const std::size_t before = text.size();
      const auto digits = Digits(text, 9);
      if (!digits) return std::nullopt;
      fraction = *digits;
      std::size_t count = before - text.size();
      for (; count < kDigitsOfTick; ++count) fraction *= 10;
      for (; count > kDigitsOfTick; --count) fraction /= 10;
    }
  }
  if (!second || !text.empty() || *hour > 23 || *minute > 59 || *second > 59)
    return std::nullopt;
  return ((*hour * 60 + *minute) * 60LL + *second) * TimeSpan::TicksPerSecond +
         fraction;
}

}  // namespace

std::optional<std::int64_t> TicksOfDay(int year, int month, int day) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DateTime::DaysInMonth(year, month))
    return std::nullopt;
  return DateTime(year, month, day, 0, 0, 0, 0).Ticks();
}

std::optional<std::int64_t> TicksOfText(std::string_view text,
                                        Seconds seconds) {
  std::optional<std::int64_t> date = kTicksOfDayZero;
  if (text.find('-') != std::string_view::npos) {
    const auto year = Digits(text, 4);
    if (!year || !Take(text, '-')) return std::nullopt;
    const auto month = Digits(text, 2);
    if (!month || !Take(text, '-')) return std::nullopt;
    const auto day = Digits(text, 2);
    if (!day) return std::nullopt;
    date = TicksOfDay(*year, *month, *day);
    if (!date || text.empty()) return date;
    if (!Take(text, ' ') && !Take(text, 'T')) return std::nullopt;
  }
  const auto time = TimeTicks(text, seconds);
  if (!time) return std::nullopt;
  return *date + *time;
}

}  // namespace kiv
