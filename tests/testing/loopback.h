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
    sockaddr_in address = {AF_INET,
                           htons(static_cast<std::uint16_t>(port)),
                           {htonl(INADDR_LOOPBACK)},
                           {}};
    return ::connect(socket_, reinterpret_cast<sockaddr*>(&address),
                     sizeof address) == 0;
  }
  // The free port that it now has.
  int Bind() const {
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket_, any, size) != 0 ||
        ::getsockname(socket_, any, &size) != 0)
      throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
  }

 private:
  int socket_;
};

}  // namespace kiv::testing

#endif  // TESTING_LOOPBACK_H_
