#include "port/clock.h"

#include <time.h>

#include <atomic>

namespace kiv::port {
namespace {

class SystemClock : public Clock {
 public:
  long long UnixTicks() const override {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<long long>(now.tv_sec) * 10'000'000 + now.tv_nsec / 100;
  }

  std::time_t UnixSecond() const override { return ::time(nullptr); }

  bool LocalTime(std::time_t second, std::tm& out) const override {
    std::tm local{};
    if (::localtime_r(&second, &local) == nullptr) return false;
    out = local;
    return true;
  }
};

// Constant initialised and never destroyed: the log asks for the time from
// other libraries' initialisers and from exit handlers.
union Immortal {
  constexpr Immortal() : clock() {}
  ~Immortal() {}
  SystemClock clock;
};
constinit const Immortal system_time;
constinit std::atomic<const Clock*> current{&system_time.clock};

}  // namespace

const Clock& CurrentClock() { return *current.load(std::memory_order_acquire); }

ClockOverride::ClockOverride(const Clock& clock) {
  current.store(&clock, std::memory_order_release);
}

ClockOverride::~ClockOverride() {
  current.store(&system_time.clock, std::memory_order_release);
}

}  // namespace kiv::port
