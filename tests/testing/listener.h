#ifndef TESTING_LISTENER_H_
#define TESTING_LISTENER_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kiv::testing {

// Something that accepts connections on a port of this machine, says what it
// was given, if anything, and then closes (with a greeting) or stays silent.
class Listener {
 public:
  explicit Listener(std::string greeting = "")
      : greeting_(std::move(greeting)),
        socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(socket_, 64) != 0 ||
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) !=
            0)
      throw std::runtime_error("no listener");
    port_ = ::ntohs(address.sin_port);
    thread_ = std::thread([this] { Accept(); });
  }
  ~Listener() {
    ::shutdown(socket_, SHUT_RDWR);
    thread_.join();
    ::close(socket_);
    for (const int connection : connections_) ::close(connection);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int Port() const { return port_; }

 private:
  void Accept() {
    for (;;) {
      const int connection = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
      if (connection < 0) return;
      if (greeting_.empty()) {
        connections_.push_back(connection);
        continue;
      }
      static_cast<void>(
          ::send(connection, greeting_.data(), greeting_.size(), MSG_NOSIGNAL));
      ::close(connection);
    }
  }

  const std::string greeting_;
  const int socket_;
  int port_ = 0;
  std::vector<int> connections_;  // the thread's, until it has ended
  std::thread thread_;
};

}  // namespace kiv::testing

#endif  // TESTING_LISTENER_H_
