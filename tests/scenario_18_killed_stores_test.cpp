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
#include "testing/running_program.h"
#include "testing/service_folder.h"
#include "testing/xdb_journal.h"
#include "xdb/container/store_error.h"

namespace kiv::testing {
namespace {

using std::chrono::steady_clock;

class Scenario18KilledStores : public ::testing::Test {
 protected:
  Scenario18KilledStores() {
    GlobalInit();
    std::filesystem::create_directory("home");
  }
  ~Scenario18KilledStores() override { GlobalUninit(); }

  static std::string NameOf(int worker) {
    return "worker" + std::to_string(worker);
  }
  static XdbAccount AccountOf(int worker) { return XdbAccount(NameOf(worker)); }
  void Start(int worker) {
    workers_[worker] = std::make_unique<RunningProgram>(
        KIV_XDB_WORKER, std::vector<std::string>{NameOf(worker)},
        RunningProgram::Surroundings{});
  }
  void Kill(int worker) {
    workers_[worker]->Send(SIGKILL);
    // One who found something wrong ended by himself.
    ASSERT_EQ(workers_[worker]->WaitForEnd(), -SIGKILL)
        << AccountOf(worker).problems << workers_[worker]->Errors();
  }
  void KillBoth() {
    for (const int worker : {0, 1}) workers_[worker]->Send(SIGKILL);
    for (const int worker : {0, 1}) ASSERT_NO_FATAL_FAILURE(Kill(worker));
  }
  void WaitForChanges(int worker, int more) const {
    const int before = AccountOf(worker).done;
    ASSERT_TRUE(Eventually([&] {
      return AccountOf(worker).done >= before + more;
    })) << AccountOf(worker).problems
        << workers_[worker]->Errors();
  }
  void SleepUpTo(unsigned longest_us) {
    std::this_thread::sleep_for(
        std::chrono::microseconds(random_() % longest_us));
  }

  // How often it was recovered. Nobody has it open.
  std::uint64_t ExpectWhole() {
    const auto environment = std::make_shared<xdb::Environment>();
    const auto start = steady_clock::now();
    EXPECT_EQ(environment->Open("home", kXdbEnvironment, ""), 0)
        << environment->ErrorText();
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(
        xdb::OpenContainer(environment, "orders.xdb", kXdbContainer)->Verify(),
        std::vector<std::string>());
    for (const int worker : {0, 1}) {
      EXPECT_EQ(AccountOf(worker).problems, "");
      EXPECT_LT(AccountOf(worker).longest_open_ms, 5000);
    }
    return environment->Statistics().recovery_count;
  }

  const ServiceFolder service_;
  std::mt19937 random_{std::random_device()()};
  std::unique_ptr<RunningProgram> workers_[2];
};

TEST_F(Scenario18KilledStores, KeepWhatTheyAcknowledged) {
  const int rounds = AreLongTestsWanted() ? 100 : 20;
  for (int round = 1; round <= rounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // Both open at once what the last round left; each compares first.
    for (const int worker : {0, 1}) Start(worker);
    // Now and then, they are killed while they do so.
    for (int worker = 0; round % 8 != 0 && worker < 2; ++worker)
      ASSERT_NO_FATAL_FAILURE(WaitForChanges(worker, 1));
    SleepUpTo(60'000);
    ASSERT_NO_FATAL_FAILURE(KillBoth());
    if (round % 10 == 0) ExpectWhole();
    if (round != 7) continue;
    EXPECT_EQ(ExpectWhole(), 7u) << "once for each crash";
    EXPECT_EQ(ExpectWhole(), 7u) << "it was closed in good order";
  }
}

// Killed in the middle of calls, and now and then between two.
TEST_F(Scenario18KilledStores, LeaveTheOthersToGoOn) {
  const int kills = AreLongTestsWanted() ? 60 : 15;
  Start(0);
  ASSERT_NO_FATAL_FAILURE(WaitForChanges(0, 5));
  for (int kill = 0; kill < kills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    Start(1);
    if (kill % 5 != 4) {
      ASSERT_NO_FATAL_FAILURE(WaitForChanges(1, 1));
    }
    SleepUpTo(50'000);
    ASSERT_NO_FATAL_FAILURE(Kill(1));
    ASSERT_NO_FATAL_FAILURE(WaitForChanges(0, 3));
  }
  ASSERT_NO_FATAL_FAILURE(Kill(0));
  ExpectWhole();
}

}  // namespace
}  // namespace kiv::testing
