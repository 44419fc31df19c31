#include "kiv/time_span.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "time/wrapping.h"

namespace kiv {
namespace {

// Cut toward zero and held within 32 bits, where a conversion alone would have
// no defined result.
std::int32_t Whole(double number) {
  constexpr double kMin = std::numeric_limits<std::int32_t>::min();
  constexpr double kMax = std::numeric_limits<std::int32_t>::max();
  if (std::isnan(number)) return 0;
  if (number <= kMin) return std::numeric_limits<std::int32_t>::min();
  if (number >= kMax) return std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(number);
}

// A whole number of units, and the rest of the number for the next smaller
// unit.
TimeSpan WholeUnits(double number, long long ticks_per_unit, double& rest) {
  const std::int32_t whole = Whole(number);
  rest = number - whole;
  return TimeSpan(WrappedMultiply(whole, ticks_per_unit));
}

}  // namespace

TimeSpan::TimeSpan(int hours, int minutes, int seconds)
    : TimeSpan(0, hours, minutes, seconds, 0) {}

TimeSpan::TimeSpan(int days, int hours, int minutes, int seconds)
    : TimeSpan(days, hours, minutes, seconds, 0) {}

TimeSpan::TimeSpan(int days, int hours, int minutes, int seconds,
                   int milliseconds) {
  Set(false, days, hours, minutes, seconds, milliseconds, 0);
}

void TimeSpan::Set(bool negative, int days, int hours, int minutes, int seconds,
                   int milliseconds, long long ticks) {
  long long sum = days;
  sum = WrappedAdd(WrappedMultiply(sum, 24), hours);
  sum = WrappedAdd(WrappedMultiply(sum, 60), minutes);
  sum = WrappedAdd(WrappedMultiply(sum, 60), seconds);
  sum = WrappedAdd(WrappedMultiply(sum, 1000), milliseconds);
  sum = WrappedAdd(WrappedMultiply(sum, TicksPerMillisecond), ticks);
  ticks_ = negative ? WrappedSubtract(0, sum) : sum;
}

// Stored figures were made with these reciprocals; a division gives other last
// digits.
double TimeSpan::TotalDays() const {
  return static_cast<double>(ticks_) * 1.1574074074074074e-12;
}

double TimeSpan::TotalHours() const {
  return static_cast<double>(ticks_) * 2.7777777777777777e-11;
}

double TimeSpan::TotalMinutes() const {
  return static_cast<double>(ticks_) * 1.6666666666666667e-9;
}

double TimeSpan::TotalSeconds() const {
  return static_cast<double>(ticks_) * 1e-7;
}

double TimeSpan::TotalMilliseconds() const {
  return static_cast<double>(ticks_) * 0.0001;
}

TimeSpan TimeSpan::Add(const TimeSpan& other) const {
  return TimeSpan(WrappedAdd(ticks_, other.ticks_));
}

TimeSpan TimeSpan::Subtract(const TimeSpan& other) const {
  return TimeSpan(WrappedSubtract(ticks_, other.ticks_));
}

TimeSpan TimeSpan::Duration() const {
  return TimeSpan(ticks_ < 0 ? WrappedSubtract(0, ticks_) : ticks_);
}

TimeSpan TimeSpan::Negate() const {
  if (ticks_ == MinValue) {
    throw std::out_of_range(
        "TimeSpan::Negate: This TimeSpan value is MinValue and cannot be "
        "negated.");
  }
  return TimeSpan(-ticks_);
}

int TimeSpan::Compare(const TimeSpan& a, const TimeSpan& b) {
  return (a.ticks_ > b.ticks_) - (a.ticks_ < b.ticks_);
}

TimeSpan TimeSpan::FromTicks(std::int32_t ticks) { return TimeSpan(ticks); }

TimeSpan TimeSpan::FromMilliseconds(double milliseconds) {
  double below;
  return WholeUnits(milliseconds, TicksPerMillisecond, below);
}

TimeSpan TimeSpan::FromSeconds(double seconds) {
  double rest;
  const TimeSpan whole = WholeUnits(seconds, TicksPerSecond, rest);
  return whole + FromMilliseconds(rest * 1000.0);
}

TimeSpan TimeSpan::FromMinutes(double minutes) {
  double rest;
  const TimeSpan whole = WholeUnits(minutes, TicksPerMinute, rest);
  return whole + FromSeconds(rest * 60);
}

TimeSpan TimeSpan::FromHours(double hours) {
  double rest;
  const TimeSpan whole = WholeUnits(hours, TicksPerHour, rest);
  return whole + FromMinutes(rest * 60);
}

TimeSpan TimeSpan::FromDays(double days) {
  double rest;
  const TimeSpan whole = WholeUnits(days, TicksPerDay, rest);
  return whole + FromHours(rest * 24);
}

}  // namespace kiv
