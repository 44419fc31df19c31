#ifndef TESTING_PSEUDO_TERMINAL_H_
#define TESTING_PSEUDO_TERMINAL_H_

#include <asm/termbits.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace kiv::testing {

// A serial port without hardware: what is sent here comes out of Device().
class PseudoTerminal {
 public:
  PseudoTerminal() : far_end_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    char device[128];
    if (far_end_ < 0 || ::grantpt(far_end_) != 0 || ::unlockpt(far_end_) != 0 ||
        ::ptsname_r(far_end_, device, sizeof device) != 0)
      throw std::runtime_error("no pseudo-terminal");
    device_ = device;
    // No echo of what is sent before a reader opens the device.
    termios2 mode{};
    ::ioctl(far_end_, TCGETS2, &mode);
    mode.c_lflag = 0;
    mode.c_iflag = 0;
    mode.c_oflag = 0;
    ::ioctl(far_end_, TCSETS2, &mode);
  }
  ~PseudoTerminal() { Unplug(); }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  const std::string& Device() const { return device_; }
  int FarEnd() const { return far_end_; }

  // Waits for a reader that is slower than we are.
  void Send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::write(far_end_, bytes.data(), bytes.size());
      if (sent < 0 && errno == EINTR) continue;
      if (sent <= 0) throw std::runtime_error("the line takes no bytes");
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  void Unplug() {
    if (far_end_ >= 0) ::close(std::exchange(far_end_, -1));
  }

 private:
  int far_end_;
  std::string device_;
};

// `link` leads to the device from now on, in one step.
inline void LinkTo(const std::filesystem::path& link,
                   const std::string& device) {
  const std::filesystem::path fresh = link.string() + ".new";
  std::filesystem::create_symlink(device, fresh);
  std::filesystem::rename(fresh, link);
}

}  // namespace kiv::testing

#endif  // TESTING_PSEUDO_TERMINAL_H_
