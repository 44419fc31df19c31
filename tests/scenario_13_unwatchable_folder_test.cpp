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

#include "kiv/startup.h"
#include "testing/eventually.h"
#include "testing/file_queue_folder.h"
#include "testing/xml_probe.h"

namespace kiv {
namespace {

using testing::Eventually;
using testing::FileQueueTest;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario13UnwatchableFolder : public FileQueueTest {
 protected:
  mq::QueueState State() { return queue_.Directories().at(0).status.state; }
  bool WaitForState(mq::QueueState state) {
    return Eventually([&] { return State() == state; });
  }
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
    if (!queue_.Start()) std::_Exit(1);
    if (!folder_.processor.WaitForMessages(1)) std::_Exit(2);
    folder_.Put("c/late", "late");
    if (!folder_.processor.WaitForMessages(2)) std::_Exit(3);
    if (State() != mq::QueueState::Polling) std::_Exit(4);
    if (!queue_.Stop(20000)) std::_Exit(5);
    if (folder_.service.log.Count(
            "is polled instead of watched: no watches are left; raise "
            "fs.inotify.max_user_watches") != 1)
      std::_Exit(6);
    std::_Exit(0);
  });
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kSkipped)
    GTEST_SKIP() << "a watch limit of its own needs a user namespace";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

// As on a file system whose changes come from elsewhere.
TEST_F(Scenario13UnwatchableFolder, IsPolledAsOftenAsItsOwnerSays) {
  folder_.Put("early", "early");
  folder_.Write("process='true' poll='1'");
  ASSERT_TRUE(queue_.Start());
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
TEST_F(Scenario13UnwatchableFolder, IsWatchedAgainWhereverItIsLost) {
  const fs::path up = folder_.service.path() / "far/up";
  fs::create_directories(up / "in");
  folder_.WriteAll("<directory name='in' process='true'><path>" +
                   (up / "in").string() + "</path>" +
                   testing::FileQueueFolder::kProcessor + "</directory>");
  ASSERT_TRUE(queue_.Start());
  int round = 0;
  for (const fs::path& moved : {up, up.parent_path()}) {
    const std::string n = std::to_string(++round);
    fs::rename(moved, folder_.service.path() / ("aside" + n));
    fs::create_directories(up / "in");
    ASSERT_TRUE(Eventually([&] {
      return folder_.service.log.Count("'in' is back") == round;
    })) << folder_.service.log.Text();
    WriteTestFile(up / "in/file", n);
    ASSERT_TRUE(folder_.processor.WaitForMessages(round));
  }
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(), (Names{"1", "2"}));
}

class Scenario13LostFolder : public Scenario13UnwatchableFolder,
                             public ::testing::WithParamInterface<const char*> {
};

TEST_P(Scenario13LostFolder, IsWatchedAgainWhenItIsBack) {
  folder_.Write(GetParam());
  ASSERT_TRUE(queue_.Start());
  folder_.Put("before", "before");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  for (int round = 1; round <= 2; ++round) {
    // Once deleted, once put aside, and another one in its place.
    if (round == 1)
      fs::remove_all(folder_.in());
    else
      fs::rename(folder_.in(), "../aside");
    ASSERT_TRUE(WaitForState(mq::QueueState::Gone));
    const std::string n = std::to_string(round);
    fs::create_directories("../fresh/sub");
    WriteTestFile("../fresh/sub/within", "within" + n);
    fs::rename("../fresh", folder_.in());
    ASSERT_TRUE(folder_.processor.WaitForMessages(2 * round));
    folder_.Put("after", "after" + n);
    ASSERT_TRUE(folder_.processor.WaitForMessages(2 * round + 1));
    EXPECT_EQ(folder_.service.log.Count("'in' is gone"), round);
    EXPECT_EQ(folder_.service.log.Count("'in' is back"), round);
  }
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(),
            (Names{"after1", "after2", "before", "within1", "within2"}));
}

INSTANTIATE_TEST_SUITE_P(Watched, Scenario13LostFolder,
                         ::testing::Values("process='true'"));
INSTANTIATE_TEST_SUITE_P(Polled, Scenario13LostFolder,
                         ::testing::Values("process='true' poll='1'"));

}  // namespace
}  // namespace kiv
