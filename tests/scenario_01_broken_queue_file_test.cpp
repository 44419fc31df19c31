// A queue file that is broken off, unclosed or no XML at all: nothing of it is
// run, and the log says where it is broken.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "kiv/startup.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

using testing::TestConfig;

struct BrokenFile {
  const char* name;
  // QUEUES stands for a good queue, a line of its own.
  const char* text;
  const char* place;
};

// The test's name in a list of tests.
void PrintTo(const BrokenFile& file, std::ostream* out) { *out << file.name; }

class Scenario01BrokenQueueFile : public ::testing::TestWithParam<BrokenFile> {
 protected:
  static void SetUpTestSuite() { GlobalInit(); }
  static void TearDownTestSuite() { GlobalUninit(); }

  std::string Queue(const std::string& device) const {
    return "<q type='com' name='" + device +
           "' processor='dll://../lib/p:Record'/>\n";
  }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
  testing::PseudoTerminal line_;
};

TEST_P(Scenario01BrokenQueueFile, StartsNoQueueAndNamesThePlace) {
  std::string text = GetParam().text;
  const std::string queues = Queue(line_.Device());
  if (const auto at = text.find("QUEUES"); at != std::string::npos)
    text.replace(at, 6, queues);
  service_.WriteQueueFile(text);
  const TestConfig config;
  EXPECT_FALSE(config.IsLoaded());
  EXPECT_TRUE(config.Queues().empty());

  const std::string path = (service_.path() / "conf/queue.xml").string();
  const std::string log = service_.log.Text();
  EXPECT_TRUE(service_.log.Has(
      "[\xB4\xED\xCE\xF3] mq: Config::Load Failed: parser config file '" +
      path + "' failed\r\n"))
      << log;
  EXPECT_TRUE(service_.log.Has(
      "[\xB4\xED\xCE\xF3] mq: Config::Config Error: Load return failed\r\n"))
      << log;
  EXPECT_TRUE(service_.log.Has(GetParam().place)) << log;
}

INSTANTIATE_TEST_SUITE_P(
    File, Scenario01BrokenQueueFile,
    ::testing::Values(
        BrokenFile{"BrokenOffInATag",
                   "<service>\n<queues>\nQUEUES<q type='com' na",
                   ", line 4, char "},
        BrokenFile{"BrokenOffBetweenTags", "<service>\n<queues>\nQUEUES",
                   ", line 4, char "},
        BrokenFile{"UnclosedTag",
                   "<service>\n<queues>\nQUEUES<q>\n</queues>\n</service>",
                   ", line 5, char "},
        BrokenFile{"TwoRoots",
                   "<service>\n<queues>\nQUEUES</queues>\n</service>\n<more/>",
                   ", line 6, char "},
        BrokenFile{"AttributeTwice",
                   "<service>\n<queues>\nQUEUES<q type='com' type='com'/>\n"
                   "</queues>\n</service>",
                   ", line 4, char "},
        BrokenFile{"BareAmpersand",
                   "<service>\n<queues>\nQUEUES<q name='a & b'/>\n</queues>\n"
                   "</service>",
                   ", line 4, char "},
        BrokenFile{"NoXml", "[queues]\ncom1=dll://p:F\n", ", line 1, char "},
        BrokenFile{"Empty", "", ", line "}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kiv
