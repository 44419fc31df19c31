// Programs that change documents of one container and are killed at any moment:
// what was acknowledged is there, what was not is not, and the next to open
// puts everything right once.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kiv/startup.h"
#include "testing/eventually.h"
#include "testing/long_tests.h"
#include "testing/running_program.h"
#include "testing/service_folder.h"
#include "testing/xdb_journal.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"

namespace kiv::testing {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int kLongestOpenMs = 5000;
constexpr xdb::EnvironmentSwitches kAll = {
    .thread = true, .lock = true, .log = true, .transactions = true};
constexpr xdb::ContainerSwitches kTransactional = {
    .create = false, .encrypted = false, .thread = true, .transactional = true};

class Scenario18KilledStores : public ::testing::Test {
 protected:
  Scenario18KilledStores() {
    GlobalInit();
    std::filesystem::create_directory("home");
    std::printf("seed %u\n", seed_);
  }
  ~Scenario18KilledStores() override { GlobalUninit(); }

  std::string JournalOf(int worker) const {
    return std::filesystem::absolute("journal" + std::to_string(worker));
  }
  void Start(int worker) {
    workers_[worker] = std::make_unique<RunningProgram>(
        KIV_XDB_WORKER,
        std::vector<std::string>{"home", JournalOf(worker),
                                 "worker" + std::to_string(worker),
                                 std::to_string(random_())},
        RunningProgram::Surroundings{});
  }
  void Kill(int worker) {
    workers_[worker]->Send(SIGKILL);
    // One who found something wrong ended by himself.
    ASSERT_EQ(workers_[worker]->WaitForEnd(), -SIGKILL) << ProblemsOf(worker);
  }
  void KillBoth() {
    for (const int worker : {0, 1}) workers_[worker]->Send(SIGKILL);
    for (const int worker : {0, 1}) ASSERT_NO_FATAL_FAILURE(Kill(worker));
  }
  std::string ProblemsOf(int worker) const {
    std::string text;
    for (const std::string& problem : XdbAccount(JournalOf(worker)).problems)
      text += problem + "\n";
    return text + workers_[worker]->Errors();
  }
  bool WaitForChanges(int worker, int more) const {
    const int before = XdbAccount(JournalOf(worker)).done;
    return Eventually(
        [&] { return XdbAccount(JournalOf(worker)).done >= before + more; });
  }
  void SleepUpTo(int longest_us) {
    std::this_thread::sleep_for(
        microseconds(random_() % static_cast<unsigned>(longest_us)));
  }

  // Nobody has it open.
  std::uint64_t ExpectWhole() {
    const auto environment = std::make_shared<xdb::Environment>();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(environment->Open("home", kAll, ""), 0)
        << environment->ErrorText();
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              milliseconds(kLongestOpenMs));
    if (!environment->IsOpen()) return 0;
    const auto container =
        xdb::OpenContainer(environment, "orders.xdb", kTransactional);
    for (const std::string& problem : container->Verify())
      ADD_FAILURE() << problem;
    return environment->Statistics().recovery_count;
  }

  const ServiceFolder service_;
  const unsigned seed_ = std::random_device()();
  std::mt19937 random_{seed_};
  std::unique_ptr<RunningProgram> workers_[2];
};

TEST_F(Scenario18KilledStores, KeepWhatTheyAcknowledged) {
  const int rounds = AreLongTestsWanted() ? 100 : 20;
  std::uint64_t recoveries = 0;
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // Both open at once what the last round left; each compares first.
    for (const int worker : {0, 1}) Start(worker);
    if (round % 8 != 7) {
      for (const int worker : {0, 1})
        ASSERT_TRUE(WaitForChanges(worker, 1)) << ProblemsOf(worker);
    }
    SleepUpTo(60'000);
    ASSERT_NO_FATAL_FAILURE(KillBoth());
    if (round % 10 == 9) {
      const std::uint64_t now = ExpectWhole();
      EXPECT_GT(now, recoveries);
      recoveries = now;
    }
  }
  int longest_open_ms = 0;
  int done = 0;
  for (const int worker : {0, 1}) {
    const XdbAccount account(JournalOf(worker));
    EXPECT_TRUE(account.problems.empty()) << account.problems.front();
    longest_open_ms = std::max(longest_open_ms, account.longest_open_ms);
    done += account.done;
  }
  EXPECT_LE(recoveries, static_cast<std::uint64_t>(rounds));
  EXPECT_LT(longest_open_ms, kLongestOpenMs);
  std::printf(
      "%d kills: %d transactions done, %llu recoveries, longest open "
      "%d ms\n",
      2 * rounds, done, static_cast<unsigned long long>(recoveries),
      longest_open_ms);
}

// Killed in the middle of calls, and now and then between two.
TEST_F(Scenario18KilledStores, LeaveTheOthersToGoOn) {
  const int kills = AreLongTestsWanted() ? 60 : 15;
  Start(0);
  ASSERT_TRUE(WaitForChanges(0, 5)) << ProblemsOf(0);
  milliseconds longest(0);
  for (int kill = 0; kill < kills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    Start(1);
    if (kill % 5 != 4) {
      ASSERT_TRUE(WaitForChanges(1, 1)) << ProblemsOf(1);
    }
    SleepUpTo(50'000);
    ASSERT_NO_FATAL_FAILURE(Kill(1));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(WaitForChanges(0, 3)) << ProblemsOf(0);
    longest = std::max(longest, std::chrono::duration_cast<milliseconds>(
                                    std::chrono::steady_clock::now() - start));
  }
  ASSERT_NO_FATAL_FAILURE(Kill(0));
  ExpectWhole();
  const XdbAccount account(JournalOf(0));
  EXPECT_TRUE(account.problems.empty()) << account.problems.front();
  EXPECT_LT(account.longest_open_ms, kLongestOpenMs);
  std::printf(
      "%d kills: the other opened it %d times, at most %d ms; it went "
      "on after %lld ms at most\n",
      kills, account.opened, account.longest_open_ms,
      static_cast<long long>(longest.count()));
}

TEST_F(Scenario18KilledStores, AreRecoveredOnceForEachCrash) {
  constexpr int kCrashes = 6;
  for (int crash = 0; crash < kCrashes; ++crash) {
    SCOPED_TRACE("crash " + std::to_string(crash));
    for (const int worker : {0, 1}) Start(worker);
    for (const int worker : {0, 1})
      ASSERT_TRUE(WaitForChanges(worker, 2)) << ProblemsOf(worker);
    ASSERT_NO_FATAL_FAILURE(KillBoth());
    const auto expected = static_cast<std::uint64_t>(crash) + 1;
    EXPECT_EQ(ExpectWhole(), expected);
    // It was closed in good order: nothing to recover.
    EXPECT_EQ(ExpectWhole(), expected);
  }
}

}  // namespace
}  // namespace kiv::testing
