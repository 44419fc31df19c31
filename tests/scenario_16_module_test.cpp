// Processors that cannot be loaded, must not be loaded, or fail.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "kiv/module/dll_file_module.h"
#include "kiv/startup.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using module::Module;
using mq::QueueState;
using testing::Eventually;

// [错误] module: DllFileModule 构造函数无法装载 '
constexpr char kNotLoaded[] =
    "[\xB4\xED\xCE\xF3] module: DllFileModule "
    "\xB9\xB9\xD4\xEC\xBA\xAF\xCA\xFD\xCE\xDE\xB7\xA8\xD7\xB0\xD4\xD8 '";
// 在执行客户代码时遇到异常
constexpr char kThrew[] =
    "DllFileModule::process_mem \xD4\xDA\xD6\xB4\xD0\xD0\xBF\xCD\xBB\xA7\xB4"
    "\xFA\xC2\xEB\xCA\xB1\xD3\xF6\xB5\xBD\xD2\xEC\xB3\xA3";

class Scenario16Module : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { GlobalInit(); }
  static void TearDownTestSuite() { GlobalUninit(); }

  // A module that is made but does nothing, and why.
  void ExpectDead(const std::string& description, const std::string& reason) {
    const auto made = Module::create(("dll://../lib/" + description).c_str());
    ASSERT_NE(made, nullptr) << service_.log.Text();
    EXPECT_FALSE(made->process_mem("x", 1, nullptr));
    EXPECT_TRUE(service_.log.Has(kNotLoaded + reason)) << service_.log.Text();
  }
  static void WriteLibrary(const std::string& file, const std::string& bytes) {
    WriteTestFile(file, bytes);
    fs::permissions(file, fs::perms::owner_all);
  }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
};

TEST_F(Scenario16Module, OfAMissingFileIsNotCreated) {
  EXPECT_EQ(Module::create("dll://../lib/q:Record"), nullptr);
  EXPECT_TRUE(
      service_.log.Has("module: Module::create Failed,  "
                       "'../LIB/Q.DLL'"));
}

TEST_F(Scenario16Module, OfAnotherMachineSaysSo) {
  std::string arm = ReadTestFile(KIV_TEST_PROCESSOR);
  arm.replace(18, 2, std::string("\xB7\0", 2));
  WriteLibrary("../lib/arm.so", arm);
  ExpectDead("arm:Record",
             "..\\LIB\\ARM.DLL': the library is built for another machine");
}

TEST_F(Scenario16Module, BrokenOffIsRefusedAndNotMapped) {
  WriteLibrary("../lib/half.so",
               ReadTestFile(KIV_TEST_PROCESSOR).substr(0, 2000));
  ExpectDead("half:Record", "..\\LIB\\HALF.DLL': the file is broken off");
}

TEST_F(Scenario16Module, WithoutTheFunctionSaysWhichOne) {
  // 文件中的 and 函数, then the loader's words.
  ExpectDead("p:record",
             "..\\LIB\\P.DLL' \xCE\xC4\xBC\xFE\xD6\xD0\xB5\xC4 "
             "'record'\xBA\xAF\xCA\xFD: ");
  EXPECT_TRUE(service_.log.Has("undefined symbol: record"));
}

TEST_F(Scenario16Module, InAFolderThatAnybodyMayWriteIsRefused) {
  ASSERT_EQ(::chmod("../lib", 01777), 0);
  ExpectDead("p:Record", "..\\LIB\\P.DLL': refused, since '" +
                             (service_.path() / "lib").string() +
                             "' may be written by everybody");
  EXPECT_TRUE(service_.log.Has("KIV_MODULE_TRUST=any"));
  EXPECT_TRUE(processor_.Messages().empty());
}

TEST_F(Scenario16Module, ThatThrowsFailsTheMessageAndNothingElse) {
  const auto throws = Module::create("dll://../lib/p:Throw");
  const auto throws_number = Module::create("dll://../lib/p:ThrowNumber");
  ASSERT_NE(throws, nullptr);
  ASSERT_NE(throws_number, nullptr);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(throws->process_mem("x", 1, nullptr));
    EXPECT_FALSE(throws_number->process_mem("x", 1, nullptr));
  }
  EXPECT_EQ(service_.log.Count(std::string(kThrew) + ": out of paper\r\n"), 3);
  EXPECT_EQ(service_.log.Count(std::string(kThrew) + "\r\n"), 3);
}

TEST_F(Scenario16Module, ThatFailsLeavesTheOtherQueuesAlone) {
  testing::PseudoTerminal bad;
  testing::PseudoTerminal good;
  service_.WriteQueues("<q type='com' name='" + bad.Device() +
                       "' processor='dll://../lib/p:Throw'/>"
                       "<q type='com' name='" +
                       good.Device() +
                       "' processor='dll://../lib/p:Record'/>"
                       "<q type='com' name='COM1' "
                       "processor='dll://../lib/q:Record'/>");
  testing::TestConfig config;
  EXPECT_FALSE(config.StartListen());
  bad.Send("a\rb\r");
  good.Send("c\r");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_TRUE(
      Eventually([&] { return config.Queues()[0]->Status().failures == 2; }));
  EXPECT_EQ(config.Queues()[0]->Status().state, QueueState::Reading);
  EXPECT_EQ(config.Queues()[2]->Status().state, QueueState::Failed);
  EXPECT_TRUE(config.Stop(20000));
}

}  // namespace
}  // namespace kiv
