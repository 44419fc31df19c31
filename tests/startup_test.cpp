#include "kiv/startup.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "dm/dm.h"

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
      testing::ExitedWithCode(0), "");
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

TEST(Identity, NamesTheModuleAndItsBuild) {
  const std::string where = WhereAmI();
  EXPECT_FALSE(where.empty());
  EXPECT_LE(where.size(), 260u);
  EXPECT_EQ(WhereAmI(), WhereAmI());
  EXPECT_STREQ(BuildInfo(), "BuildInfo");
  EXPECT_EQ(std::string(Copyright()).substr(0, 4), "\xB0\xE6\xC8\xA8");  // 版权
}

}  // namespace
}  // namespace kiv
