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

#include "port/test_folder.h"
#include "testing/certificate.h"
#include "testing/eventually.h"
#include "testing/loopback.h"
#include "testing/running_program.h"

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
  Broker() : folder_(MakeFolder()) {
    WriteTestFile(folder_ / "enabled_plugins", "[].\n");
    MakeCertificate(folder_ / "broker");
    WriteTestFile(
        folder_ / "rabbitmq.conf",
        "log.file.level = error\ndisk_free_limit.absolute = 1MB\n"
        "listeners.ssl.1 = 127.0.0.1:" +
            std::to_string(ports_.Get(3)) +
            "\nssl_options.certfile = " + Certificate() +
            "\nssl_options.keyfile = " + (folder_ / "broker.key").string() +
            "\nssl_options.verify = verify_none\n"
            "ssl_options.fail_if_no_peer_cert = false\n");
    const std::string names = std::to_string(ports_.Get(0));
    variables_ = {
        "HOME=" + folder_.string(), "ERL_EPMD_PORT=" + names,
        "ERL_EPMD_ADDRESS=127.0.0.1",
        "RABBITMQ_NODENAME=kiv-" + names + "@localhost",
        "RABBITMQ_NODE_IP_ADDRESS=127.0.0.1",
        "RABBITMQ_NODE_PORT=" + std::to_string(Port()),
        "RABBITMQ_DIST_PORT=" + std::to_string(ports_.Get(2)),
        "RABBITMQ_MNESIA_BASE=" + (folder_ / "mnesia").string(),
        "RABBITMQ_LOG_BASE=" + (folder_ / "log").string(),
        "RABBITMQ_PID_FILE=" + (folder_ / "pid").string(),
        "RABBITMQ_CONF_ENV_FILE=" + (folder_ / "none").string(),
        "RABBITMQ_CONFIG_FILE=" + (folder_ / "rabbitmq.conf").string(),
        "RABBITMQ_ADVANCED_CONFIG_FILE=" + (folder_ / "none").string(),
        "RABBITMQ_ENABLED_PLUGINS_FILE=" +
            (folder_ / "enabled_plugins").string(),
        "RABBITMQ_SERVER_ADDITIONAL_ERL_ARGS=-kernel inet_dist_use_interface "
        "{127,0,0,1} +S 2:2",
        // The script then becomes the broker instead of its parent.
        "RUNNING_UNDER_SYSTEMD=true"};
    names_ = Run("/usr/bin/epmd", {"-port", names, "-address", "127.0.0.1"});
    // A broker that finds none there starts one that nobody ends.
    if (!Eventually([this] { return LoopbackSocket().Connect(ports_.Get(0)); }))
      throw std::runtime_error("no names for the broker: " + names_->Errors());
    Start();
  }
  ~Broker() {
    Kill();
    names_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  void Start() {
    broker_ = Run(kProgram, {});
    if (!Eventually([this] { return Answers(); }, std::chrono::seconds(90)))
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
  void Kill() {
    if (broker_ == nullptr) return;
    broker_->Send(SIGKILL);
    broker_->WaitForEnd();
    broker_.reset();
  }

  // It keeps its connections and says nothing.
  void Suspend() {
    broker_->Send(SIGSTOP);
    // Its threads do not stop at once.
    if (!Eventually([this] { return !Answers(); }))
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

  int Port() const { return ports_.Get(1); }
  std::string Url(const std::string& user = "guest:guest") const {
    return "amqp://" + user + "@127.0.0.1:" + std::to_string(Port());
  }
  std::string TlsUrl(const std::string& host = "localhost") const {
    return "amqps://guest:guest@" + host + ":" + std::to_string(ports_.Get(3));
  }
  // The file that a client of the second port has to trust.
  std::string Certificate() const { return (folder_ / "broker.pem").string(); }
  // Of somebody else who says that he is the broker.
  std::string StrangersCertificate() {
    MakeCertificate(folder_ / "stranger");
    return (folder_ / "stranger.pem").string();
  }

 private:
  // Free when asked for; nobody else is likely to take them meanwhile.
  class FreePorts {
   public:
    FreePorts() {
      // All at the same time, so that each is another one.
      const std::array<LoopbackSocket, kPorts> sockets{};
      for (std::size_t i = 0; i < kPorts; ++i) ports_[i] = sockets[i].Bind();
    }
    int Get(std::size_t index) const { return ports_.at(index); }

   private:
    static constexpr std::size_t kPorts = 4;
    std::array<int, kPorts> ports_{};
  };

  static std::filesystem::path MakeFolder() {
    std::string name =
        (std::filesystem::temp_directory_path() / "kiv-broker-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder for the broker");
    return name;
  }

  std::unique_ptr<RunningProgram> Run(const std::string& file,
                                      std::vector<std::string> arguments) {
    return std::make_unique<RunningProgram>(
        file, std::move(arguments),
        RunningProgram::Surroundings{
            .files = folder_, .terminal = nullptr, .variables = variables_});
  }

  bool Answers() const { return IsAt(Port()); }

  const FreePorts ports_;
  const std::filesystem::path folder_;
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
