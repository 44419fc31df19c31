#ifndef TIME_DATE_TEXT_H_
#define TIME_DATE_TEXT_H_

#include <cstdint>
#include <optional>
#include <string_view>

// Dates and times as databases write them, whatever the locale.
namespace kiv {

// Of 1899-12-30, the day 0 of a date that is a number.
inline constexpr std::int64_t kTicksOfDayZero = 599264352000000000;

// Nothing for a day that the calendar lacks.
std::optional<std::int64_t> TicksOfDay(int year, int month, int day);

// "2004-01-31 9:05:07.25" with a blank or "T" between, a date alone, or a time
// alone, which is one of the day 0. Up to nine digits behind the point, of
// which seven count.
enum class Seconds { MayLack, MustStand };
std::optional<std::int64_t> TicksOfText(std::string_view text, Seconds seconds);

}  // namespace kiv

#endif  // TIME_DATE_TEXT_H_
