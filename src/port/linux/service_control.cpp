#include "port/service_control.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstring>

#include "port/environment.h"
#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/wake_event.h"

namespace kiv::port {
namespace {

using Clock = std::chrono::steady_clock;

// The service manager's socket and its protocol, a datagram of lines
// NAME=value.
class Notifier {
 public:
  explicit Notifier(bool tells) {
    std::string path;
    if (!tells || !GetEnvironmentUtf8("NOTIFY_SOCKET", path) || path.empty() ||
        path.size() >= sizeof address_.sun_path)
      return;
    socket_ = Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    address_.sun_family = AF_UNIX;
    std::memcpy(address_.sun_path, path.data(), path.size());
    // A name that lies in no folder.
    if (path[0] == '@') address_.sun_path[0] = '\0';
    size_ =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  }

  bool IsThere() const { return socket_.is_open(); }

  void Tell(const std::string& line) const {
    if (!IsThere()) return;
    // One that does not listen is no reason to fail.
    Retry([&] {
      return ::sendto(socket_.get(), line.data(), line.size(), MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&address_), size_);
    });
  }

 private:
  Descriptor socket_;
  sockaddr_un address_{};
  socklen_t size_ = 0;
};

bool ReadNumber(const char* name, long long& out) {
  std::string text;
  return GetEnvironmentUtf8(name, text) &&
         std::from_chars(text.data(), text.data() + text.size(), out).ec ==
             std::errc();
}

// How often the service manager wants to hear of us: twice in its time. No time
// at all when it does not ask.
Clock::duration ReportInterval() {
  long long process = 0;
  long long time_us = 0;
  if ((ReadNumber("WATCHDOG_PID", process) && process != ::getpid()) ||
      !ReadNumber("WATCHDOG_USEC", time_us) || time_us <= 0)
    return {};
  return std::chrono::microseconds(time_us) / 2;
}

class LinuxServiceControl final : public ServiceControl {
 public:
  explicit LinuxServiceControl(bool tells)
      : notifier_(tells),
        interval_(notifier_.IsThere() ? ReportInterval() : Clock::duration{}) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
      sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
    signals_ = Descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals_.is_open()) Fail();
  }
  ~LinuxServiceControl() override {
    // One that came and was not waited for has its say no more: the service is
    // at its end.
    std::string ignored;
    while (TakeSignal(ignored)) {
    }
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  LinuxServiceControl(const LinuxServiceControl&) = delete;
  LinuxServiceControl& operator=(const LinuxServiceControl&) = delete;

  bool IsOpen() const { return signals_.is_open(); }
  bool IsManaged() const override { return notifier_.IsThere(); }
  void ReportRunning() override { notifier_.Tell("READY=1"); }
  void ReportStopPending() override { notifier_.Tell("STOPPING=1"); }
  void ReportText(const std::string& text) override {
    std::string line = "STATUS=" + text;
    std::replace(line.begin(), line.end(), '\n', ' ');
    notifier_.Tell(line);
  }

  bool WaitForStop(int timeout_ms, const WakeEvent& event,
                   std::string& source) override {
    const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
      ReportAlive();
      auto next = end;
      if (interval_ != Clock::duration{}) next = std::min(next, next_report_);
      pollfd waits[] = {{signals_.get(), POLLIN, 0},
                        {event.Handle(), POLLIN, 0}};
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now())
              .count();
      ::poll(waits, std::size(waits),
             static_cast<int>(std::clamp<long long>(left, 0, INT_MAX)));
      if (TakeSignal(source)) return true;
      if (event.WaitFor(0)) {
        source = "the program itself";
        return true;
      }
      if (Clock::now() >= end) return false;
    }
  }

 private:
  void ReportAlive() {
    if (interval_ == Clock::duration{} || Clock::now() < next_report_) return;
    notifier_.Tell("WATCHDOG=1");
    next_report_ = Clock::now() + interval_;
  }

  bool TakeSignal(std::string& source) const {
    signalfd_siginfo signal{};
    const ssize_t got =
        Retry([&] { return ::read(signals_.get(), &signal, sizeof signal); });
    if (got != static_cast<ssize_t>(sizeof signal)) return false;
    const char* const name = ::sigabbrev_np(static_cast<int>(signal.ssi_signo));
    source = std::string("SIG") + (name != nullptr ? name : "?") +
             " of process " + std::to_string(signal.ssi_pid);
    return true;
  }

  const Notifier notifier_;
  const Clock::duration interval_;
  Clock::time_point next_report_{};
  sigset_t before_{};
  Descriptor signals_;
};

}  // namespace

std::unique_ptr<ServiceControl> ServiceControl::Take(bool tells) {
  auto control = std::make_unique<LinuxServiceControl>(tells);
  if (!control->IsOpen()) return nullptr;
  return control;
}

}  // namespace kiv::port
