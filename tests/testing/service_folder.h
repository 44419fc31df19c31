#ifndef TESTING_SERVICE_FOLDER_H_
#define TESTING_SERVICE_FOLDER_H_

#include <filesystem>
#include <string>

#include "kiv/mq/config.h"
#include "testing/test_log.h"

namespace kiv::testing {

// The configuration without the process's one instance.
class TestConfig : public mq::Config {
 public:
  explicit TestConfig(bool load = true) : Config(load) {}
  using Config::GetConfigPath;
  using Config::Load;
};

// A fresh folder with bin/ and conf/; bin/ is the current one.
class ServiceFolder {
 public:
  ServiceFolder() {
    std::filesystem::create_directory("conf");
    std::filesystem::create_directory("lib");
    std::filesystem::create_directory("bin");
    std::filesystem::current_path("bin");
  }

  std::filesystem::path path() const { return folder_.path(); }

  void WriteQueueFile(const std::string& text) const {
    WriteTestFile("../conf/queue.xml", text);
  }
  void WriteQueues(const std::string& queues) const {
    WriteQueueFile("<service><queues>" + queues + "</queues></service>");
  }

 private:
  const TestFolder folder_;

 public:
  const TestLog log{path() / "bin"};
};

}  // namespace kiv::testing

#endif  // TESTING_SERVICE_FOLDER_H_
