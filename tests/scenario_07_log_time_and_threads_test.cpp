// The log across midnight, clock changes, forks and threads: every entry once,
// whole, in the file of its day.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
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

  // In a forked process, which does not hang.
  static void ExpectToEndInChild(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(20);
      work();
      ::_exit(0);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  void PutAndClose(const char* message) {
    Put(log_, message);
    log_.Close();
  }
  // Does it again and again on threads while there are twenty forks.
  static void ForkWhile(int threads, const std::function<void()>& busy,
                        const std::function<void()>& in_child) {
    std::atomic<bool> is_over = false;
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i)
      running.emplace_back([&] {
        while (!is_over) busy();
      });
    for (int i = 0; i < 20; ++i) ExpectToEndInChild(in_child);
    is_over = true;
    for (std::thread& thread : running) thread.join();
  }

  Log log_;
};

TEST_F(Scenario07Log, FollowsTheDateInBothDirections) {
  clock_.Set(HandClock::kNoon + 12 * kHour - 1);
  Put(log_, "last second");
  clock_.Move(1);
  Put(log_, "midnight");
  clock_.Move(-kHour);
  Put(log_, "set back");
  clock_.Move(2 * kHour);
  PutAndClose("on again");
  EXPECT_THAT(Lines(In(kDay)),
              ElementsAre("23:59:59 last second", "23:00:00 set back"));
  EXPECT_THAT(Lines(In(kNextDay)),
              ElementsAre("00:00:00 midnight", "01:00:00 on again"));
}

TEST_F(Scenario07Log, LeavesWhatItHoldsToTheParentOfAFork) {
  Put(log_, "buffered");
  ExpectToEndInChild([this] { PutAndClose("child"); });
  log_.Flush();
  EXPECT_THAT(Lines(In(kDay)),
              ElementsAre("12:00:00 buffered", "12:00:00 child"));
  std::filesystem::remove(In(kDay));
  std::filesystem::create_symlink("/dev/full", In(kDay));
  Put(log_, "waits for space");
  ExpectToEndInChild([this] {
    std::filesystem::remove(In(kDay));
    PutAndClose("child");
  });
  PutAndClose("parent");
  EXPECT_THAT(Lines(In(kDay)),
              ElementsAre("12:00:00 child", HasSubstr(Lost(0)),
                          "12:00:00 waits for space", "12:00:00 parent"));
}

TEST_F(Scenario07Log, CanBeWrittenInAChildForkedWhileThreadsLog) {
  ForkWhile(
      4, [this] { Put(log_, "thread"); }, [this] { PutAndClose("child"); });
  log_.Close();
  const auto lines = Lines(In(kDay));
  const auto of_children =
      std::count(lines.begin(), lines.end(), "12:00:00 child");
  EXPECT_EQ(of_children, 20);
  EXPECT_EQ(
      std::count(lines.begin(), lines.end(), "12:00:00 thread") + of_children,
      lines.size());
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
  const auto put = [&] { Put(forwarding, "x"); };
  ForkWhile(1, put, put);
}

TEST_F(Scenario07Log, LosesAndTearsNoLineOfEightThreads) {
  constexpr int kThreads = 8;
  constexpr int kEntries = 10'000;
  clock_.Set(HandClock::kNoon + 12 * kHour - 1);
  std::atomic<int> written = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, source = std::to_string(thread)] {
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
    for (const std::string& line : Lines(In(file))) {
      const auto thread = static_cast<unsigned>(line.at(9) - '0');
      ASSERT_EQ(line, stamp + std::to_string(thread) + ": " +
                          std::to_string(next.at(thread)++));
    }
  }
  EXPECT_THAT(next, testing::Each(kEntries));
}

}  // namespace
}  // namespace kiv
