// The log across midnight, clock changes, forks and threads: every entry once,
// whole, in the file of its day.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "gmock/gmock.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::time_t kHour = 3600;

class Scenario07Log : public LogTest {
 protected:
  Scenario07Log() { log_.Open(Folder(), true); }

  // Runs `child` in a forked process; its result, or -1 when it hangs.
  static int InChild(const std::function<int()>& child) {
    const pid_t id = ::fork();
    if (id == 0) ::_exit(child());
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int status = 0;
    while (::waitpid(id, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        ::kill(id, SIGKILL);
        ::waitpid(id, &status, 0);
        return -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  Log log_;
};

TEST_F(Scenario07Log, FollowsTheDateInBothDirections) {
  clock_.Set(HandClock::kNoon + 12 * kHour - 1);
  Put(log_, "last second");
  clock_.Move(1);
  Put(log_, "midnight");
  clock_.Move(kHour);
  Put(log_, "one o'clock");
  clock_.Move(-2 * kHour);
  Put(log_, "set back");
  clock_.Move(2 * kHour);
  Put(log_, "on again");
  log_.Close();
  EXPECT_THAT(Lines(In(kDay)),
              ElementsAre("23:59:59 last second", "23:00:00 set back"));
  EXPECT_THAT(Lines(In(kNextDay)),
              ElementsAre("00:00:00 midnight", "01:00:00 one o'clock",
                          "01:00:00 on again"));
}

TEST_F(Scenario07Log, LeavesBufferedEntriesToTheParentOfAFork) {
  Put(log_, "before");
  EXPECT_EQ(InChild([this] {
              Put(log_, "child");
              log_.Close();
              return 0;
            }),
            0);
  Put(log_, "parent");
  log_.Close();
  EXPECT_THAT(Lines(In(kDay)), ElementsAre("12:00:00 before", "12:00:00 child",
                                           "12:00:00 parent"));
}

TEST_F(Scenario07Log, LeavesEntriesThatWaitForSpaceToTheParent) {
  std::filesystem::create_symlink("/dev/full", In(kDay));
  Put(log_, "waits");
  EXPECT_EQ(InChild([this] {
              std::filesystem::remove(In(kDay));
              Put(log_, "child");
              log_.Close();
              return 0;
            }),
            0);
  Put(log_, "parent");
  log_.Close();
  EXPECT_THAT(Lines(In(kDay)),
              ElementsAre("12:00:00 child", HasSubstr(Lost(0)),
                          "12:00:00 waits", "12:00:00 parent"));
}

TEST_F(Scenario07Log, CanBeWrittenInAChildForkedWhileThreadsLog) {
  std::atomic<bool> is_over = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      while (!is_over) Put(log_, "thread");
    });
  int failed = 0;
  for (int i = 0; i < 20; ++i)
    failed += InChild([&] {
      Put(log_, "child");
      log_.Close();
      return 0;
    });
  is_over = true;
  for (std::thread& thread : threads) thread.join();
  log_.Close();
  EXPECT_EQ(failed, 0);
  std::map<std::string, int> counts;
  for (const std::string& line : Lines(In(kDay))) ++counts[line];
  EXPECT_EQ(counts.size(), 2U);
  EXPECT_EQ(counts["12:00:00 child"], 20);
}

// Two logs, each written from inside an entry of the other, as a host's layout
// may do: a fork that waited for one while holding the other would hang.
class ForwardingLog : public Log {
 public:
  Log* to = nullptr;

 protected:
  void BuildOutput(const char* message, const char* source,
                   const char* category, bool time_only,
                   std::ostream& out) override {
    to->Output(message, source, category, FileSystemPath(), true);
    Log::BuildOutput(message, source, category, time_only, out);
  }
};

TEST_F(Scenario07Log, ForksWhileOneLogIsWrittenFromInsideAnother) {
  // Newer logs are looked at first.
  ForwardingLog forwarding;
  Log newest;
  forwarding.Open(Folder() / FileSystemPath("forwarding"), true);
  newest.Open(Folder() / FileSystemPath("newest"), true);
  forwarding.to = &newest;
  std::atomic<bool> is_over = false;
  std::thread thread([&] {
    while (!is_over) Put(forwarding, "x");
  });
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(InChild([&] {
                Put(forwarding, "child");
                return 0;
              }),
              0);
  is_over = true;
  thread.join();
}

TEST_F(Scenario07Log, LosesAndTearsNoLineOfEightThreads) {
  constexpr int kThreads = 8;
  constexpr int kEntries = 10'000;
  clock_.Set(HandClock::kNoon + 12 * kHour - 1);
  std::atomic<int> written = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] {
      const std::string source = std::to_string(thread);
      for (int i = 0; i < kEntries; ++i) {
        log_.Output(std::to_string(i).c_str(), source.c_str(), "",
                    FileSystemPath(), true);
        // Midnight comes half-way.
        if (++written == kThreads * kEntries / 2) clock_.Move(1);
      }
    });
  while (written < kThreads * kEntries) log_.LockedFlush();
  for (std::thread& thread : threads) thread.join();
  log_.Close();

  // What each thread is to write next; the files in the order of the days.
  std::vector<int> next(kThreads, 0);
  for (const auto& [file, stamp] :
       {std::pair(kDay, "23:59:59 "), std::pair(kNextDay, "00:00:00 ")}) {
    const auto lines = Lines(In(file));
    EXPECT_FALSE(lines.empty());
    for (const std::string& line : lines) {
      const auto thread = static_cast<unsigned>(line.at(9) - '0');
      ASSERT_LT(thread, next.size()) << line;
      ASSERT_EQ(line, stamp + std::to_string(thread) + ": " +
                          std::to_string(next[thread]++));
    }
  }
  EXPECT_THAT(next, testing::Each(kEntries));
}

}  // namespace
}  // namespace kiv
