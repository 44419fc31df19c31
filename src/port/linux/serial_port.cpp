#include "port/serial_port.h"

#include <asm/termbits.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

constexpr const char* kInUse =
    "the port is in use by another program: close that program or give the "
    "queue another port";

std::string OpenErrorText(int error) {
  // EBUSY: opened exclusively elsewhere.
  if (error == EBUSY || error == EWOULDBLOCK) return kInUse;
  if (error == EACCES)
    return ErrorText(error) + ": give this account access (group dialout)";
  if (error == ENOENT)
    return ErrorText(error) + ": check the cable and the queue's name";
  return ErrorText(error);
}

// Device nodes are opened only when they are characters: opening a FIFO would
// make us its reader, opening a file proves nothing.
bool IsCharacterDevice(const std::string& path, std::string& reason) {
  struct stat found {};
  if (::stat(path.c_str(), &found) != 0) {
    reason = OpenErrorText(errno);
    return false;
  }
  if (S_ISCHR(found.st_mode)) return true;
  reason = "this is no serial device";
  return false;
}

class LinuxSerialPort final : public SerialPort {
 public:
  explicit LinuxSerialPort(Descriptor port) : port_(std::move(port)) {}
  ~LinuxSerialPort() override { ::ioctl(port_.get(), TIOCNXCL); }

  bool MakeRaw() {
    termios2 mode{};
    if (!Get(mode)) return false;
    // Bytes as they come: no line editing, no flow control, no translation, and
    // a break is no byte.
    mode.c_iflag = IGNBRK;
    mode.c_oflag = 0;
    mode.c_lflag = 0;
    mode.c_cflag &= ~(CRTSCTS | CSIZE);
    mode.c_cflag |= CREAD | CLOCAL | CS8;
    // With 0 a read without bytes would give 0, which means unplugged.
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    return Set(mode);
  }

  bool Configure(const SerialSettings& settings, std::string& reason) override {
    std::string refused;
    const auto note = [&refused](bool is_taken, const std::string& name) {
      if (is_taken) return;
      if (!refused.empty()) refused += ", ";
      refused += name;
    };
    note(SetBaudRate(settings.baud_rate),
         "BaudRate " + std::to_string(settings.baud_rate));
    note(SetDataBits(settings.data_bits),
         "DataLength " + std::to_string(settings.data_bits));
    note(SetParity(settings.parity), std::string("Parity ") + settings.parity);
    note(SetStopBits(settings.stop_bits),
         "StopBits " + std::to_string(settings.stop_bits));
    if (refused.empty()) return true;
    reason = refused;
    return false;
  }

  Outcome Read(char* out, std::size_t room, int timeout_ms,
               const WakeEvent& stop, std::size_t& size) override {
    // A full read leaves more behind, as a rule: no need to ask.
    if (was_full_) {
      const Outcome outcome = ReadNow(out, room, size);
      if (outcome != Outcome::TimedOut) return outcome;
    }
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    int left_ms = timeout_ms < 0 ? 0 : timeout_ms;
    for (;;) {
      pollfd states[2] = {{port_.get(), POLLIN, 0}, {stop.Handle(), POLLIN, 0}};
      const int ready = ::poll(states, 2, left_ms);
      if (ready > 0 && states[1].revents != 0) return Outcome::Stopped;
      if (ready > 0) {
        const Outcome outcome = ReadNow(out, room, size);
        if (outcome != Outcome::TimedOut) return outcome;
        // Hung up, and nothing left to read.
        if ((states[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0)
          return Outcome::Unplugged;
      }
      if (ready == 0) return Outcome::TimedOut;
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
      if (left.count() <= 0) return Outcome::TimedOut;
      left_ms = static_cast<int>(left.count());
    }
  }

 private:
  // TimedOut: nothing to read.
  Outcome ReadNow(char* out, std::size_t room, std::size_t& size) {
    const ssize_t got = Retry([&] { return ::read(port_.get(), out, room); });
    was_full_ = false;
    if (got > 0) {
      size = static_cast<std::size_t>(got);
      was_full_ = size == room || size >= kManyBytes;
      return Outcome::Bytes;
    }
    return got < 0 && errno == EAGAIN ? Outcome::TimedOut : Outcome::Unplugged;
  }

  bool Get(termios2& mode) const {
    return Retry([&] { return ::ioctl(port_.get(), TCGETS2, &mode); }) == 0;
  }
  bool Set(const termios2& mode) const {
    return Retry([&] { return ::ioctl(port_.get(), TCSETS2, &mode); }) == 0;
  }

  // Drivers take what they like of a setting and report success: what counts is
  // what they say afterwards.
  bool SetBaudRate(int rate) const {
    termios2 mode{};
    if (rate <= 0 || !Get(mode)) return false;
    const auto wanted = static_cast<speed_t>(rate);
    mode.c_cflag &= ~(CBAUD | (CBAUD << IBSHIFT));
    mode.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
    mode.c_ispeed = wanted;
    mode.c_ospeed = wanted;
    if (!Set(mode) || !Get(mode)) return false;
    // A divisor seldom hits the rate; receivers stand 2 % easily.
    const speed_t off = mode.c_ospeed > wanted ? mode.c_ospeed - wanted
                                               : wanted - mode.c_ospeed;
    return static_cast<unsigned long long>(off) * 50 <= wanted;
  }

  bool SetFlags(tcflag_t mask, tcflag_t flags) const {
    termios2 mode{};
    if (!Get(mode)) return false;
    mode.c_cflag = (mode.c_cflag & ~mask) | flags;
    return Set(mode) && Get(mode) && (mode.c_cflag & mask) == flags;
  }

  bool SetDataBits(int bits) const {
    constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};
    return bits >= 5 && bits <= 8 && SetFlags(CSIZE, kSizes[bits - 5]);
  }

  bool SetParity(char parity) const {
    constexpr tcflag_t kMask = PARENB | PARODD | CMSPAR;
    switch (parity) {
      case 'N':
        return SetFlags(kMask, 0);
      case 'E':
        return SetFlags(kMask, PARENB);
      case 'O':
        return SetFlags(kMask, PARENB | PARODD);
      case 'M':
        return SetFlags(kMask, PARENB | PARODD | CMSPAR);
      case 'S':
        return SetFlags(kMask, PARENB | CMSPAR);
      default:
        return false;
    }
  }

  bool SetStopBits(int bits) const {
    return (bits == 1 || bits == 2) && SetFlags(CSTOPB, bits == 2 ? CSTOPB : 0);
  }

  static constexpr std::size_t kManyBytes = 2048;

  Descriptor port_;
  bool was_full_ = false;
};

}  // namespace

std::string SerialDevice(const std::string& name, int port_index) {
  if (name.starts_with('/')) return name;
  if (port_index < 0) return {};
  const std::string variable = "KIV_COM" + std::to_string(port_index + 1LL);
  const char* device = std::getenv(variable.c_str());
  if (device != nullptr && *device != '\0') return device;
  return "/dev/ttyS" + std::to_string(port_index);
}

std::string SerialIdentity(const std::string& device) {
  struct stat found {};
  if (::stat(SystemPath(device).c_str(), &found) != 0 ||
      !S_ISCHR(found.st_mode))
    return device;
  return std::to_string(::major(found.st_rdev)) + ":" +
         std::to_string(::minor(found.st_rdev));
}

std::unique_ptr<SerialPort> SerialPort::Open(const std::string& device,
                                             std::string& reason) {
  const std::string path = SystemPath(device);
  if (!IsCharacterDevice(path, reason)) return nullptr;
  Descriptor port(Retry([&] {
    return ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  }));
  if (!port.is_open()) {
    reason = OpenErrorText(errno);
    return nullptr;
  }
  // /dev/ttyS entries exist for ports that the machine lacks; asking for the
  // line's mode finds them out.
  if (::isatty(port.get()) == 0) {
    reason = "there is no serial port behind this device";
    return nullptr;
  }
  // Root may open an exclusive terminal, so that TIOCEXCL alone would not keep
  // two hosts apart.
  if (Retry([&] { return ::flock(port.get(), LOCK_EX | LOCK_NB); }) != 0) {
    reason = OpenErrorText(errno);
    return nullptr;
  }
  if (::ioctl(port.get(), TIOCEXCL) != 0) {
    reason = ErrorText(errno);
    return nullptr;
  }
  auto opened = std::make_unique<LinuxSerialPort>(std::move(port));
  if (!opened->MakeRaw()) {
    reason = ErrorText(errno);
    return nullptr;
  }
  return opened;
}

}  // namespace kiv::port
