// Files that come faster than they are handled, in folders that come and move.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "testing/eventually.h"
#include "testing/file_queue_folder.h"
#include "testing/running_program.h"

namespace kiv {
namespace {

using testing::Eventually;
using testing::FileQueueTest;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario09FileBurst : public FileQueueTest {};

// Every message is the number of its file, counted where it is received.
class Tally {
 public:
  explicit Tally(std::size_t count) : seen_(count) {}
  bool Count(std::string_view message) {
    const std::size_t number = std::stoul(std::string(message));
    const std::lock_guard lock(mutex_);
    ++seen_.at(number);
    ++total_;
    return true;
  }
  std::size_t Total() const { return total_; }
  bool IsEachOnce() const {
    const std::lock_guard lock(mutex_);
    return std::all_of(seen_.begin(), seen_.end(),
                       [](int times) { return times == 1; });
  }

 private:
  mutable std::mutex mutex_;
  std::vector<int> seen_;
  std::atomic<std::size_t> total_{0};
};

TEST_F(Scenario09FileBurst, OfFiftyThousandIsProcessedEachExactlyOnce) {
  constexpr std::size_t kFiles = 50'000;
  constexpr std::size_t kBehindTheHold = 30'000;
  Tally tally(kFiles);
  std::atomic<bool> holds{true};
  folder_.processor.keeps_messages = false;
  folder_.processor.answer = [&](std::string_view message, void*) {
    holds.wait(true);
    return tally.Count(message);
  };
  Start();
  // The worker stands still over the first file until the system's queue has
  // run over, and then has the writer beside it.
  for (std::size_t i = 0; i < kFiles; ++i) {
    if (i == kBehindTheHold) {
      holds = false;
      holds.notify_all();
    }
    folder_.Put(std::to_string(i), std::to_string(i));
  }
  EXPECT_TRUE(Eventually([&] { return tally.Total() >= kFiles; },
                         std::chrono::seconds(90)))
      << tally.Total();
  EXPECT_TRUE(Eventually([&] { return folder_.Files().empty(); }));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(tally.Total(), kFiles);
  EXPECT_TRUE(tally.IsEachOnce());
  EXPECT_TRUE(folder_.service.log.Has("came faster than they were handled"));
}

TEST_F(Scenario09FileBurst, InFoldersThatAreMadeAtOnceLosesNone) {
  constexpr int kTrees = 200;
  Start();
  for (int i = 0; i < kTrees; ++i) {
    const std::string n = std::to_string(i);
    const fs::path leaf = fs::path("a" + n) / "b" / "c";
    fs::create_directories(folder_.in() / leaf);
    folder_.Put(leaf / "file", n);
    folder_.Put(leaf.parent_path() / "file", n + " above");
  }
  ASSERT_TRUE(folder_.processor.WaitForMessages(2 * kTrees));
  // The folders are watched by now, and stay so.
  folder_.Put("a7/b/c/later", "later");
  folder_.Put("last", "last");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2 * kTrees + 2));
  EXPECT_TRUE(queue_.Stop(20000));
  Names expected{"last", "later"};
  for (int i = 0; i < kTrees; ++i) {
    expected.push_back(std::to_string(i));
    expected.push_back(std::to_string(i) + " above");
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(folder_.Messages(), expected);
  EXPECT_EQ(folder_.Files(), Names{});
}

TEST_F(Scenario09FileBurst, TakesWhatIsRenamedIn) {
  fs::create_directories(folder_.in() / "deep");
  Start();
  fs::create_directories("../out/tree/below");
  WriteTestFile("../out/one", "one");
  WriteTestFile("../out/two", "two");
  WriteTestFile("../out/tree/below/three", "three");
  fs::rename("../out/one", folder_.in() / "one");
  fs::rename("../out/two", folder_.in() / "deep/two");
  fs::rename("../out/tree", folder_.in() / "tree");
  ASSERT_TRUE(folder_.processor.WaitForMessages(3));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(), (Names{"one", "three", "two"}));
}

TEST_F(Scenario09FileBurst, FollowsASubDirectoryThatIsRenamed) {
  fs::create_directories(folder_.in() / "old/below");
  Start("process='true' deleteAfterProcess='false'");
  folder_.Put("old/below/1", "1");
  fs::rename(folder_.in() / "old", folder_.in() / "new");
  folder_.Put("new/below/2", "2");
  fs::rename(folder_.in() / "new/below", folder_.in() / "beside");
  folder_.Put("beside/3", "3");
  ASSERT_TRUE(folder_.processor.WaitForMessages(3));
  // Out of the tree it is no business of ours.
  fs::rename(folder_.in() / "beside", "../outside");
  WriteTestFile("../outside/4", "4");
  folder_.Put("5", "5");
  ASSERT_TRUE(folder_.processor.WaitForMessages(4));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(), (Names{"1", "2", "3", "5"}));
  EXPECT_TRUE(fs::exists("../outside/4"));
  EXPECT_TRUE(folder_.Has(".done/5"));
  EXPECT_TRUE(folder_.Has(".done/beside/3"));
}

TEST_F(Scenario09FileBurst, IsSharedByTwoHostsAndProcessedOnce) {
  constexpr std::size_t kFiles = 3'000;
  folder_.Write();
  Tally tally(kFiles);
  folder_.processor.keeps_messages = false;
  folder_.processor.answer = [&](std::string_view message, void*) {
    return tally.Count(message);
  };
  // Two of them in one process are as strange to each other as two processes.
  msgq::FileQueue other;
  ASSERT_TRUE(queue_.Start());
  ASSERT_TRUE(other.Start());
  for (std::size_t i = 0; i < kFiles; ++i)
    folder_.Put(std::to_string(i), std::to_string(i));
  EXPECT_TRUE(Eventually([&] { return tally.Total() >= kFiles; }));
  EXPECT_TRUE(Eventually([&] { return folder_.Files().empty(); }));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_TRUE(other.Stop(20000));
  EXPECT_TRUE(tally.IsEachOnce());
  const auto files = [](msgq::FileQueue& queue) {
    return queue.Directories().at(0).status.messages;
  };
  EXPECT_EQ(files(queue_) + files(other), kFiles);
}

}  // namespace
}  // namespace kiv
