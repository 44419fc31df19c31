#ifndef TESTING_LOOPBACK_H_
#define TESTING_LOOPBACK_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace kiv::testing {

// A TCP socket of this machine; closed at its end.
class LoopbackSocket {
 public:
  LoopbackSocket()
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  ~LoopbackSocket() {
    if (socket_ >= 0) ::close(socket_);
  }
  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;

  int Get() const { return socket_; }
  // For somebody else to close.
  int Release() { return std::exchange(socket_, -1); }
  bool Connect(int port) const {
    const sockaddr_in address = Address(port);
    return ::connect(socket_, reinterpret_cast<const sockaddr*>(&address),
                     sizeof address) == 0;
  }
  // The free port that it now has.
  int Bind() const {
    sockaddr_in address = Address(0);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket_, any, size) != 0 ||
        ::getsockname(socket_, any, &size) != 0)
      throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
  }

 private:
  static sockaddr_in Address(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
  }

  int socket_;
};

}  // namespace kiv::testing

#endif  // TESTING_LOOPBACK_H_
