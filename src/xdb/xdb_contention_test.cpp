// Several at one container: who waits, for how long, and who is given up.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "testing/eventually.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

// Locks are waited for half a second.
class XDbContentionTest : public XDbTest {
 protected:
  XDbContentionTest() {
    std::filesystem::create_directory("db");
    std::ofstream("db/DB_CONFIG") << "set_lock_timeout 500000\n";
    EXPECT_TRUE(manager_.Open("db", 0x0C, nullptr, nullptr));
    EXPECT_TRUE(manager_.CreateContainer("c", container_, 0x0C));
  }

  XDbManager manager_;
  XDbContainer container_;
};

// Whoever holds it may be the one who waits: another try helps nobody.
TEST_F(XDbContentionTest, WaitsOnceForWhatATransactionHolds) {
  std::string name = "a";
  ASSERT_TRUE(container_.PutDocument(name, "<a/>"));
  XDbDocument renamed;
  ASSERT_TRUE(container_.GetDocument("a", renamed));
  ASSERT_TRUE(renamed.SetName("b"));
  Changes changes(manager_);
  ASSERT_TRUE(container_.DeleteDocument("a", changes.context));

  const auto start = steady_clock::now();
  XDbDocument document;
  EXPECT_FALSE(container_.GetDocument("a", document));
  EXPECT_TRUE(XDbManager::IsWorthRetrying());
  EXPECT_FALSE(container_.update(renamed));
  EXPECT_TRUE(XDbManager::IsWorthRetrying());
  EXPECT_LT(steady_clock::now() - start, seconds(6));
  EXPECT_TRUE(changes.transaction.Abort());
  EXPECT_TRUE(container_.GetDocument("a", document));
  EXPECT_FALSE(container_.del("missing"));
  EXPECT_FALSE(XDbManager::IsWorthRetrying());
}

// Each wants what the other holds; the one that is refused tries again.
TEST_F(XDbContentionTest, LetsOneOfTwoGoOn) {
  XDbContainer other_container;
  ASSERT_TRUE(manager_.CreateContainer("other", other_container, 0x0C));
  std::atomic<int> holding = 0, retries = 0, done = 0;
  const auto put_in_both = [&](const char* name, XDbContainer& first,
                               XDbContainer& second) {
    for (;;) {
      Changes changes(manager_);
      std::string stored = name;
      bool is_done = first.PutDocument(stored, "<a/>", changes.context);
      if (is_done) {
        ++holding;
        // Until both hold one; a second round finds that so already.
        while (holding < 2) std::this_thread::yield();
        is_done = second.PutDocument(stored, "<a/>", changes.context);
      }
      if (is_done && changes.transaction.Commit()) {
        ++done;
        return;
      }
      EXPECT_TRUE(XDbManager::IsWorthRetrying());
      if (!XDbManager::IsWorthRetrying()) return;
      ++retries;
    }
  };
  std::thread other([&] { put_in_both("b", other_container, container_); });
  put_in_both("a", container_, other_container);
  other.join();
  EXPECT_EQ(done, 2);
  EXPECT_GE(retries, 1);
  XDbEnvironmentStatistics state;
  EXPECT_TRUE(manager_.GetStatistics(state));
  EXPECT_GE(state.deadlock_count, 1u);
}

// All that it compares is of one time.
TEST_F(XDbContentionTest, IsFoundSoundWhileOthersWrite) {
  std::atomic<bool> is_over = false;
  std::atomic<int> committed = 0;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 2; ++writer)
    writers.emplace_back([&, writer] {
      for (int i = 0; !is_over; ++i) {
        Changes changes(manager_);
        bool is_done = true;
        for (int k = 10; k > 0 && is_done; --k) {
          std::string name = std::to_string(i * k % 97);
          for (const int n : {k, writer, i}) name += "-" + std::to_string(n);
          is_done = container_.PutDocument(name, "<a>x</a>", changes.context);
        }
        if (is_done && changes.transaction.Commit())
          ++committed;
        else
          EXPECT_TRUE(XDbManager::IsWorthRetrying());
      }
    });
  EXPECT_TRUE(testing::Eventually([&] { return committed >= 20; }));
  int sound = 0;
  for (int i = 0; i < 10; ++i) {
    std::vector<std::string> problems;
    if (container_.Verify(problems)) {
      ++sound;
      continue;
    }
    EXPECT_TRUE(problems.empty()) << problems.front();
    EXPECT_TRUE(XDbManager::IsWorthRetrying());
  }
  is_over = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_GT(sound, 0);
}

}  // namespace
}  // namespace kiv::xdb
