#ifndef PORT_LINUX_DESCRIPTOR_H_
#define PORT_LINUX_DESCRIPTOR_H_

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

namespace kiv::port {

// Repeats a call that a signal interrupted.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// False with errno at the first failure; part of the text may be written.
inline bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written =
        Retry([&] { return ::write(fd, text.data(), text.size()); });
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Owns a file descriptor. Closing leaves errno alone.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ < 0) return;
    const int error = errno;
    ::close(fd_);
    errno = error;
  }

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }

  // To one who closes it himself.
  int Release() { return std::exchange(fd_, -1); }

  // For a file that was written: some file systems tell of a full disk only
  // here. Interrupted counts as closed, which on Linux it is.
  bool Close() {
    const int fd = std::exchange(fd_, -1);
    return ::close(fd) == 0 || errno == EINTR;
  }

 private:
  int fd_ = -1;
};

}  // namespace kiv::port

#endif  // PORT_LINUX_DESCRIPTOR_H_
