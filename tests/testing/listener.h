#ifndef TESTING_LISTENER_H_
#define TESTING_LISTENER_H_

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "testing/loopback.h"

namespace kiv::testing {

// Something that accepts connections on a port of this machine, says what it
// was given, if anything, and then closes (with a greeting) or stays silent.
class Listener {
 public:
  explicit Listener(std::string greeting = "")
      : greeting_(std::move(greeting)), port_(socket_.Bind()) {
    if (::listen(socket_.Get(), 64) != 0)
      throw std::runtime_error("no listener");
    thread_ = std::thread([this] { Accept(); });
  }
  ~Listener() {
    ::shutdown(socket_.Get(), SHUT_RDWR);
    thread_.join();
    for (const int connection : connections_) ::close(connection);
  }

  int Port() const { return port_; }

 private:
  void Accept() {
    int connection;
    while ((connection = ::accept4(socket_.Get(), nullptr, nullptr,
                                   SOCK_CLOEXEC)) >= 0) {
      connections_.push_back(connection);
      if (greeting_.empty()) continue;
      ::send(connection, greeting_.data(), greeting_.size(), MSG_NOSIGNAL);
      ::shutdown(connection, SHUT_RDWR);
    }
  }

  const std::string greeting_;
  const LoopbackSocket socket_;
  const int port_;
  std::vector<int> connections_;  // the thread's, until it has ended
  std::thread thread_;
};

}  // namespace kiv::testing

#endif  // TESTING_LISTENER_H_
