// A queue file that is broken off, unclosed or has two roots: nothing of it is
// run, and the log says where it is broken.
#include <gtest/gtest.h>

#include <string>

#include "kiv/startup.h"
#include "testing/service_folder.h"

namespace kiv {
namespace {

TEST(Scenario01BrokenQueueFile, StartsNoQueueAndNamesThePlace) {
  const std::string good =
      "<service>\n<queues>\n<q type='com' name='COM1' processor='dll://p:F'/>";
  const struct {
    const char* name;
    std::string text;
    const char* place;
  } files[] = {
      {"BrokenOff", good + "\n<q type='com' na", "line 4, char "},
      {"UnclosedTag", good + "<q>\n</queues>\n</service>", "line 4, char "},
      {"TwoRoots", good + "</queues>\n</service>\n<more/>", "line 5, char "}};
  GlobalInit();
  for (const auto& file : files) {
    SCOPED_TRACE(file.name);
    const testing::ServiceFolder service;
    service.WriteQueueFile(file.text);
    const testing::TestConfig config;
    EXPECT_FALSE(config.IsLoaded());
    EXPECT_TRUE(config.Queues().empty());
    for (const std::string& line :
         {"[\xB4\xED\xCE\xF3] mq: Config::Load Failed: parser config file '" +
              (service.path() / "conf/queue.xml").string() + "' failed\r\n",
          std::string("[\xB4\xED\xCE\xF3] mq: Config::Config Error: Load "
                      "return failed\r\n"),
          std::string(file.place)})
      EXPECT_TRUE(service.log.Has(line)) << line << service.log.Text();
  }
  GlobalUninit();
}

}  // namespace
}  // namespace kiv
