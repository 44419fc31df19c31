#include "port/wake_event.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>

#include "port/linux/descriptor.h"

namespace kiv::port {

WakeEvent::WakeEvent() : handle_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (handle_ < 0)
    throw std::system_error(errno, std::generic_category(), "eventfd");
}

WakeEvent::~WakeEvent() { ::close(handle_); }

void WakeEvent::Set() {
  const std::uint64_t one = 1;
  Retry([&] { return ::write(handle_, &one, sizeof one); });
}

void WakeEvent::Reset() {
  std::uint64_t count;
  Retry([&] { return ::read(handle_, &count, sizeof count); });
}

bool WakeEvent::WaitFor(int timeout_ms) const {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
  pollfd state{handle_, POLLIN, 0};
  int left_ms = timeout_ms < 0 ? 0 : timeout_ms;
  for (;;) {
    const int ready = ::poll(&state, 1, left_ms);
    if (ready > 0) return true;
    if (ready == 0) return false;
    // A signal: on with what is left of the time.
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    left_ms = left.count() > 0 ? static_cast<int>(left.count()) : 0;
  }
}

}  // namespace kiv::port
