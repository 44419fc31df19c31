// Folders that cannot be watched, or not for long.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "testing/file_queue_folder.h"
#include "testing/xml_probe.h"

namespace kiv {
namespace {

using testing::Eventually;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario13UnwatchableFolder : public testing::FileQueueTest {
 protected:
  mq::QueueState State() { return queue_.Directories().at(0).status.state; }
};

TEST_F(Scenario13UnwatchableFolder, IsPolledWhereTheSystemGivesNoWatches) {
  for (const char* sub : {"a", "b", "c", "d"})
    fs::create_directory(folder_.in() / sub);
  folder_.Put("d/early", "early");
  folder_.Write();
  constexpr int kSkipped = 77;
  // A child with so few watches for itself.
  const int status = testing::InChild([&] {
    const std::string user = std::to_string(::geteuid());
    if (::unshare(CLONE_NEWUSER) != 0) std::_Exit(kSkipped);
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    std::ofstream limit("/proc/sys/user/max_inotify_watches");
    if (!(limit << 3 << std::flush)) std::_Exit(kSkipped);
    bool is_good = queue_.Start() && folder_.processor.WaitForMessages(1);
    folder_.Put("c/late", "late");
    is_good = is_good && folder_.processor.WaitForMessages(2) &&
              State() == mq::QueueState::Polling && queue_.Stop(20000) &&
              folder_.service.log.Count(
                  "is polled instead of watched: no watches are left; raise "
                  "fs.inotify.max_user_watches") == 1;
    std::_Exit(is_good ? 0 : 1);
  });
  if (WIFEXITED(status) && WEXITSTATUS(status) == kSkipped)
    GTEST_SKIP() << "a watch limit of its own needs a user namespace";
  EXPECT_EQ(status, 0);
}

// As on a file system whose changes come from elsewhere.
TEST_F(Scenario13UnwatchableFolder, IsPolledAsOftenAsItsOwnerSays) {
  folder_.Put("early", "early");
  Start("process='true' poll='1'");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_EQ(State(), mq::QueueState::Polling);
  // One that looks the same in several looks while its writer rests is not
  // taken either.
  std::ofstream grows(folder_.in() / "grows");
  grows << "begins, " << std::flush;
  std::this_thread::sleep_for(std::chrono::milliseconds(3500));
  EXPECT_EQ(folder_.Messages(), Names{"early"});
  grows << "ends";
  grows.close();
  fs::create_directories(folder_.in() / "a/b");
  folder_.Put("a/b/file", "below");
  ASSERT_TRUE(folder_.processor.WaitForMessages(3));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(), (Names{"begins, ends", "below", "early"}));
  EXPECT_EQ(folder_.Files(), Names{});
}

// It goes away with a folder further up, and another one comes at once.
TEST_F(Scenario13UnwatchableFolder, IsWatchedAgainWhenAFolderFurtherUpMoved) {
  const fs::path in = folder_.service.path() / "far/up/in";
  fs::create_directories(in);
  folder_.WriteAll("<directory name='in' process='true'><path>" + in.string() +
                   "</path>" + testing::FileQueueFolder::kProcessor +
                   "</directory>");
  ASSERT_TRUE(queue_.Start());
  fs::rename("../far", "../aside");
  fs::create_directories(in);
  ASSERT_TRUE(
      Eventually([&] { return folder_.service.log.Has("'in' is back"); }));
  WriteTestFile(in / "file", "1");
  EXPECT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_TRUE(queue_.Stop(20000));
}

class Scenario13LostFolder : public Scenario13UnwatchableFolder,
                             public ::testing::WithParamInterface<const char*> {
};

TEST_P(Scenario13LostFolder, IsWatchedAgainWhenItIsBack) {
  Start(GetParam());
  Names expected;
  for (const bool is_deleted : {true, false}) {
    // Or put aside, and another one in its place.
    if (is_deleted)
      fs::remove_all(folder_.in());
    else
      fs::rename(folder_.in(), "../aside");
    ASSERT_TRUE(Eventually([&] { return State() == mq::QueueState::Gone; }));
    fs::create_directories("../fresh/sub");
    WriteTestFile("../fresh/sub/within", "within");
    fs::rename("../fresh", folder_.in());
    expected.emplace_back("within");
    ASSERT_TRUE(folder_.processor.WaitForMessages(expected.size()));
    folder_.Put("after", "after");
    expected.emplace_back("after");
    ASSERT_TRUE(folder_.processor.WaitForMessages(expected.size()));
  }
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.processor.Messages(), expected);
  EXPECT_EQ(folder_.service.log.Count("'in' is gone"), 2);
  EXPECT_EQ(folder_.service.log.Count("'in' is back"), 2);
}

INSTANTIATE_TEST_SUITE_P(Watched, Scenario13LostFolder,
                         ::testing::Values("process='true'"));
INSTANTIATE_TEST_SUITE_P(Polled, Scenario13LostFolder,
                         ::testing::Values("process='true' poll='1'"));

}  // namespace
}  // namespace kiv
