#ifndef TESTING_BROKER_H_
#define TESTING_BROKER_H_

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/certificate.h"
#include "testing/loopback.h"

namespace kiv::testing {

// A message broker of the test's own: an ordinary program in a folder of its
// own, on free ports of the loopback, without plugins. It shares nothing with a
// broker that may run as a service, and does not outlive a test that is killed;
// start it on a thread that lives as long.
//
// On its second port it speaks TLS, with a certificate for "localhost".
class Broker {
 public:
  static constexpr char kProgram[] = "/usr/lib/rabbitmq/bin/rabbitmq-server";
  static constexpr char kWhyNot[] =
      "no broker is installed: scripts/test --broker installs rabbitmq-server "
      "without starting it";

  static bool IsInstalled() { return std::filesystem::exists(kProgram); }

  // Starts it.
  Broker() {
    std::string name =
        std::filesystem::temp_directory_path() / "kiv-broker-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder for the broker");
    folder_ = name;
    {
      // All at the same time, so that each is another one. Nobody else is
      // likely to take them meanwhile.
      const std::array<LoopbackSocket, 4> sockets{};
      for (std::size_t i = 0; i < 4; ++i)
        ports_[i] = std::to_string(sockets[i].Bind());
    }
    MakeCertificate(folder_ / "broker");
    WriteTestFile(folder_ / "plugins", "[].\n");
    WriteTestFile(folder_ / "rabbitmq.conf",
                  "log.file.level = error\ndisk_free_limit.absolute = 1MB\n"
                  "listeners.ssl.1 = 127.0.0.1:" +
                      ports_[3] + "\nssl_options.certfile = " + Certificate() +
                      "\nssl_options.keyfile = " + In("broker.key") +
                      "\nssl_options.verify = verify_none\n"
                      "ssl_options.fail_if_no_peer_cert = false\n");
    variables_ = {
        "HOME=" + name, "ERL_EPMD_PORT=" + ports_[0],
        "ERL_EPMD_ADDRESS=127.0.0.1",
        "RABBITMQ_NODENAME=kiv-" + ports_[0] + "@localhost",
        "RABBITMQ_NODE_IP_ADDRESS=127.0.0.1", "RABBITMQ_NODE_PORT=" + ports_[1],
        "RABBITMQ_DIST_PORT=" + ports_[2],
        "RABBITMQ_MNESIA_BASE=" + In("mnesia"),
        "RABBITMQ_LOG_BASE=" + In("log"), "RABBITMQ_PID_FILE=" + In("pid"),
        "RABBITMQ_CONF_ENV_FILE=" + In("none"),
        "RABBITMQ_CONFIG_FILE=" + In("rabbitmq.conf"),
        "RABBITMQ_ADVANCED_CONFIG_FILE=" + In("none"),
        "RABBITMQ_ENABLED_PLUGINS_FILE=" + In("plugins"),
        "RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS=-kernel inet_dist_use_interface "
        "{127,0,0,1} +S 2:2",
        // The script then becomes the broker instead of its parent.
        "RUNNING_UNDER_SYSTEMD=true"};
    names_ =
        Run("/usr/bin/epmd", {"-port", ports_[0], "-address", "127.0.0.1"});
    // A broker that finds none there starts one that nobody ends.
    if (!Eventually(
            [this] { return LoopbackSocket().Connect(std::stoi(ports_[0])); }))
      throw std::runtime_error("no names for the broker: " + names_->Errors());
    Start();
  }
  ~Broker() {
    Kill();
    names_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void Start() {
    broker_ = Run(kProgram, {});
    if (!Eventually([this] { return IsAt(Port()); }, std::chrono::seconds(90)))
      throw std::runtime_error("the broker does not start: " +
                               broker_->Output() + broker_->Errors());
  }
  // In good order. A broker that is killed within a moment of making a queue
  // loses the queue, with what it has confirmed: call it before the first kill.
  void Restart() {
    broker_->Send(SIGTERM);
    broker_->WaitForEnd();
    Start();
  }
  // As a power failure would.
  void Kill() { broker_.reset(); }

  // It keeps its connections and says nothing.
  void Suspend() {
    broker_->Send(SIGSTOP);
    // Its threads do not stop at once.
    if (!Eventually([this] { return !IsAt(Port()); }))
      throw std::runtime_error("the broker does not stop");
  }
  void Resume() { broker_->Send(SIGCONT); }

  // A broker greets a client: its port is open before it can do anything.
  static bool IsAt(int port) {
    const LoopbackSocket socket;
    const timeval patience{2, 0};
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience,
                 sizeof patience);
    char answer = 0;
    return socket.Connect(port) &&
           ::send(socket.Get(), "AMQP\0\0\x09\x01", 8, MSG_NOSIGNAL) == 8 &&
           ::recv(socket.Get(), &answer, 1, 0) == 1;
  }

  int Port() const { return std::stoi(ports_[1]); }
  std::string Url(const std::string& user = "guest:guest") const {
    return "amqp://" + user + "@127.0.0.1:" + ports_[1];
  }
  std::string TlsUrl(const std::string& host = "localhost") const {
    return "amqps://guest:guest@" + host + ":" + ports_[3];
  }
  // The file that a client of the second port has to trust.
  std::string Certificate() const { return In("broker.pem"); }
  // Of somebody else who says that he is the broker.
  std::string StrangersCertificate() {
    MakeCertificate(folder_ / "stranger");
    return In("stranger.pem");
  }

 private:
  std::string In(const char* name) const { return folder_ / name; }
  std::unique_ptr<RunningProgram> Run(const std::string& file,
                                      const std::vector<std::string>& words) {
    return std::make_unique<RunningProgram>(
        file, words,
        RunningProgram::Surroundings{.files = folder_,
                                     .variables = variables_});
  }

  std::array<std::string, 4> ports_;
  std::filesystem::path folder_;
  std::vector<std::string> variables_;
  std::unique_ptr<RunningProgram> names_;  // where the broker's parts meet
  std::unique_ptr<RunningProgram> broker_;
};

// One for the tests of a program that leave it as it is: it takes seconds to
// start.
inline Broker& SharedBroker() {
  static Broker broker;
  return broker;
}

}  // namespace kiv::testing

#endif  // TESTING_BROKER_H_
