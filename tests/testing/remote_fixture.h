#ifndef TESTING_REMOTE_FIXTURE_H_
#define TESTING_REMOTE_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "rmt/rmt.h"
#include "testing/running_program.h"
#include "testing/test_log.h"

namespace kiv::testing {

// tests/programs/test_servant.py on a free port of this machine, for as long as
// this lives.
class RemoteServant {
 public:
  explicit RemoteServant(
      const std::string& endpoint = "tcp -h 127.0.0.1 -p 0",
      const std::vector<std::string>& properties = {},
      const std::filesystem::path& files = std::filesystem::current_path(),
      const std::string& slice_file = KIV_SLICE_FILE) {
    std::vector<std::string> words{KIV_TEST_SERVANT, slice_file, endpoint};
    words.insert(words.end(), properties.begin(), properties.end());
    program_ = std::make_unique<RunningProgram>(
        KIV_SYSTEM_PYTHON, words, RunningProgram::Surroundings{.files = files});
    if (!program_->WaitForOutput("\n"))
      throw std::runtime_error("no servant: " + program_->Errors());
    port_ = std::atoi(program_->Output().c_str() + sizeof "port");
  }

  int Port() const { return port_; }
  std::string Address() const { return "127.0.0.1:" + std::to_string(port_); }
  // Connections stay. Returns when it stands still: what comes next is not
  // answered any more.
  void Freeze() const { program_->Suspend(); }
  void Kill() { program_.reset(); }

 private:
  std::unique_ptr<RunningProgram> program_;
  int port_ = 0;
};

// A communicator and a list.
class RemoteClient {
 public:
  RemoteClient()
      : communicator_(rmt_create_communicator()),
        list_(rmt_create_proxy_list(communicator_)) {}
  ~RemoteClient() {
    rmt_delete_proxy_list(list_);
    rmt_delete_communicator(communicator_);
  }
  RemoteClient(const RemoteClient&) = delete;
  RemoteClient& operator=(const RemoteClient&) = delete;

  RemoteCommunicator* Communicator() const { return communicator_; }
  RemoteProxyList* List() const { return list_; }
  RemoteProxy* Proxy(int port, int timeout_ms = 0) const {
    return rmt_get_proxy2(list_, ("127.0.0.1:" + std::to_string(port)).c_str(),
                          nullptr, "Svc", 0, 0, timeout_ms);
  }

 private:
  RemoteCommunicator* const communicator_;
  RemoteProxyList* const list_;
};

// The reply of a command; "-" and the failure when it is not answered.
inline std::string Command(RemoteProxy* proxy, const std::string& command) {
  RemoteStringValue* const reply = rmt_new_string_value();
  const bool is_answered = rmt_send_command(proxy, command.c_str(), reply) ||
                           rmt_last_error_code() == RMT_ANSWERED_NO;
  std::string text(rmt_string_value_text(reply), rmt_string_value_size(reply));
  rmt_delete_string_value(reply);
  return is_answered ? text : std::string("-") + rmt_last_error();
}

// What is in an array, which is released.
inline std::vector<std::string> Texts(char** array) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < rmt_string_array_count(array); ++i)
    texts.emplace_back(rmt_string_array_item(array, i));
  rmt_delete_string_array(array);
  return texts;
}

// A fresh service folder, bin/ the current one, and the library running.
class RemoteTest : public ::testing::Test {
 protected:
  RemoteTest() {
    GlobalInit();
    std::filesystem::create_directory("conf");
    std::filesystem::create_directory("bin");
    std::filesystem::current_path("bin");
  }
  ~RemoteTest() override { GlobalUninit(); }

  const TestFolder folder_;
  const TestLog log_{folder_.path() / "bin"};
};

}  // namespace kiv::testing

#endif  // TESTING_REMOTE_FIXTURE_H_
