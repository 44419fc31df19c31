// The start of the library, and the end of a process whose queues still run.
#include "kiv/startup.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "dm/dm.h"
#include "kiv/mq/factory.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

bool IsStarted() { return GlobalTranscoder() != nullptr; }

TEST(Startup, ManyInitsAreUndoneByOneUninit) {
  ASSERT_FALSE(IsStarted());
  EXPECT_EQ(dm_o_get_metadata("int"), nullptr);
  for (int round = 0; round < 20; ++round) {
    GlobalInit();
    EXPECT_TRUE(IsStarted());
    EXPECT_EQ(dm_o_get_metadata("int"), dm_o_int32_metadata());
    EXPECT_EQ(dm_o_get_metadata("Weight"), nullptr);
    void* const text = dm_o_create_instance("string");
    ASSERT_TRUE(dm_o_typedef(dm_o_int32_metadata(), "Weight", false));
    GlobalInit();  // counts as one with the first: names stay
    EXPECT_NE(dm_o_get_metadata("Weight"), nullptr);
    GlobalUninit();
    EXPECT_FALSE(IsStarted());
    EXPECT_EQ(dm_o_registry(), nullptr);
    EXPECT_EQ(dm_o_inner_release(text), 0);
  }
}

// In a process of its own: there is no way back.
TEST(Startup, OneUninitTooManyDisablesTheNextInit) {
  EXPECT_EXIT(
      {
        GlobalUninit();
        GlobalInit();
        std::_Exit(IsStarted() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(Startup, ThreadsMayStartAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      const ThreadInit com;
      GlobalInit();
      EXPECT_TRUE(IsStarted());
    });
  }
  for (std::thread& thread : threads) thread.join();
  GlobalUninit();
  EXPECT_FALSE(IsStarted());
}

TEST(Identity, NamesItsBuildAndItsOwners) {
  EXPECT_STREQ(BuildInfo(), "BuildInfo");
  EXPECT_NE(*WhereAmI(), '\0');
  EXPECT_LE(std::string(WhereAmI()).size(), 260u);
  EXPECT_EQ(std::string(Copyright()).substr(0, 4), "\xB0\xE6\xC8\xA8");  // 版权
}

// Runs a host on a serial line and exits while it reads; `is_busy`: while its
// processor is at work and will not end.
[[noreturn]] void HostAndExit(bool is_busy) {
  GlobalInit();
  // Still there while the process ends.
  static const auto& service = *new testing::ServiceFolder;
  static auto& processor = *new testing::TestProcessor("../lib/p.so");
  static auto& line = *new testing::PseudoTerminal;
  if (is_busy)
    processor.answer = [](std::string_view, void*) {
      std::this_thread::sleep_for(std::chrono::hours(1));
      return true;
    };
  service.WriteQueues("<q type='com' name='" + line.Device() +
                      "' processor='dll://../lib/p:Record'/>");
  const bool is_listening = mq::Factory::GetConfig()->StartListen();
  line.Send("message\r");
  const bool is_received = processor.WaitForMessages(1);
  std::error_code ignored;
  std::filesystem::remove_all(service.path(), ignored);
  std::exit(is_listening && is_received ? 7 : 1);
}

TEST(QueueHostEnd, StopsTheReadersAndDoesNotWaitForAProcessorThatHangs) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const bool is_busy : {false, true}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(HostAndExit(is_busy), ::testing::ExitedWithCode(7), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(30));
  }
}

}  // namespace
}  // namespace kiv
