#ifndef PORT_CLOCK_H_
#define PORT_CLOCK_H_

#include <ctime>

namespace kiv::port {

// What the time is: GetSystemTimeAsFileTime and localtime on Windows.
// Everything in the library that asks for the time asks here, so that a test
// can put another clock in its place.
class Clock {
 public:
  virtual ~Clock() = default;
  // Since 1970-01-01 UTC, in ticks of 100 ns.
  virtual long long UnixTicks() const = 0;
  // The second alone, as std::time tells it: cheaper, and some milliseconds
  // late when it changes.
  virtual std::time_t UnixSecond() const {
    constexpr long long kTicksPerSecond = 10'000'000;
    const long long ticks = UnixTicks();
    const long long second = ticks / kTicksPerSecond;
    return static_cast<std::time_t>(ticks % kTicksPerSecond < 0 ? second - 1
                                                                : second);
  }
  // False when the second has no local form.
  virtual bool LocalTime(std::time_t second, std::tm& out) const = 0;
};

// The clock in use; the system's unless a ClockOverride lives. Any thread.
const Clock& CurrentClock();

// Puts a clock in the place of the system's for as long as it lives. For tests:
// one at a time, made and destroyed while no other thread reads the time.
class ClockOverride {
 public:
  explicit ClockOverride(const Clock& clock);
  ~ClockOverride();
  ClockOverride(const ClockOverride&) = delete;
  ClockOverride& operator=(const ClockOverride&) = delete;
};

}  // namespace kiv::port

#endif  // PORT_CLOCK_H_
