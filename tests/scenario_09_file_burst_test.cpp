// Files that come faster than they are handled, in folders that come and move.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "testing/file_queue_folder.h"

namespace kiv {
namespace {

using testing::Eventually;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario09FileBurst : public testing::FileQueueTest {
 protected:
  // Every message is the number of its file from now on, counted where it is
  // received.
  void CountMessages(std::size_t files) {
    seen_ = std::vector<std::atomic<int>>(files);
    folder_.processor.keeps_messages = false;
    folder_.processor.answer = [this](std::string_view message, void*) {
      holds_.wait(true);
      ++seen_.at(std::stoul(std::string(message)));
      ++total_;
      return true;
    };
  }
  void PutNumbers(std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
      folder_.Put(std::to_string(i), std::to_string(i));
  }
  void ExpectEachOnce() {
    EXPECT_TRUE(Eventually([&] { return total_ >= seen_.size(); },
                           std::chrono::seconds(90)));
    EXPECT_TRUE(Eventually([&] { return folder_.Files().empty(); }));
    EXPECT_TRUE(queue_.Stop(20000));
    EXPECT_EQ(total_, seen_.size());
    for (const std::atomic<int>& times : seen_) ASSERT_EQ(times, 1);
  }

  std::vector<std::atomic<int>> seen_;
  std::atomic<std::size_t> total_{0};
  std::atomic<bool> holds_{false};
};

TEST_F(Scenario09FileBurst, OfFiftyThousandIsProcessedEachExactlyOnce) {
  CountMessages(50'000);
  holds_ = true;
  Start();
  // The worker stands still over the first file until the system's queue has
  // run over, and then has the writer beside it.
  PutNumbers(0, 30'000);
  holds_ = false;
  holds_.notify_all();
  PutNumbers(30'000, 50'000);
  ExpectEachOnce();
  EXPECT_TRUE(folder_.service.log.Has("came faster than they were handled"));
}

TEST_F(Scenario09FileBurst, IsSharedByTwoHostsAndProcessedOnce) {
  CountMessages(3'000);
  // Two of them in one process are as strange to each other as two processes.
  msgq::FileQueue other;
  Start();
  ASSERT_TRUE(other.Start());
  PutNumbers(0, 3'000);
  ExpectEachOnce();
  EXPECT_TRUE(other.Stop(20000));
}

TEST_F(Scenario09FileBurst, InFoldersThatAreMadeAtOnceLosesNone) {
  Start();
  Names expected{"last", "later"};
  for (int i = 0; i < 200; ++i) {
    const std::string n = std::to_string(i);
    const fs::path leaf = fs::path("a" + n) / "b" / "c";
    fs::create_directories(folder_.in() / leaf);
    folder_.Put(leaf / "file", n);
    folder_.Put(leaf.parent_path() / "file", n + " above");
    expected.insert(expected.end(), {n, n + " above"});
  }
  ASSERT_TRUE(folder_.processor.WaitForMessages(400));
  // The folders are watched by now, and stay so.
  folder_.Put("a7/b/c/later", "later");
  folder_.Put("last", "last");
  ASSERT_TRUE(folder_.processor.WaitForMessages(402));
  EXPECT_TRUE(queue_.Stop(20000));
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(folder_.Messages(), expected);
  EXPECT_EQ(folder_.Files(), Names{});
}

TEST_F(Scenario09FileBurst, IsFollowedThroughWhatIsRenamed) {
  fs::create_directories(folder_.in() / "old/below");
  fs::create_directories("../out/tree");
  WriteTestFile("../out/file", "0");
  WriteTestFile("../out/tree/file", "6");
  Start("process='true' deleteAfterProcess='false'");
  fs::rename("../out/file", folder_.in() / "old/in");
  folder_.Put("old/below/1", "1");
  fs::rename(folder_.in() / "old", folder_.in() / "new");
  folder_.Put("new/below/2", "2");
  fs::rename(folder_.in() / "new/below", folder_.in() / "beside");
  folder_.Put("beside/3", "3");
  ASSERT_TRUE(folder_.processor.WaitForMessages(4));
  // Out of the tree it is no business of ours.
  fs::rename(folder_.in() / "beside", "../outside");
  WriteTestFile("../outside/4", "4");
  folder_.Put("5", "5");
  fs::rename("../out/tree", folder_.in() / "tree");
  ASSERT_TRUE(folder_.processor.WaitForMessages(6));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(), (Names{"0", "1", "2", "3", "5", "6"}));
  EXPECT_TRUE(fs::exists("../outside/4"));
  EXPECT_TRUE(folder_.Has(".done/5"));
  EXPECT_TRUE(folder_.Has(".done/beside/3"));
}

}  // namespace
}  // namespace kiv
