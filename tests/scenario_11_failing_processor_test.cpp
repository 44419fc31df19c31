// Processors that fail, and hosts that die over a file.
//
// What holds when a host is killed: a file is in the watched folder, in
// .processing, or ended (deleted, in .done, in .failed). One that has ended is
// never handed to a processor again. One that lies in .processing may have been
// handed over, wholly or in part, and is handed over again: no host can know
// how far a processor came that died with it.
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/mount.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "testing/file_queue_folder.h"
#include "testing/running_program.h"

namespace kiv {
namespace {

using testing::Eventually;
using testing::RunningProgram;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario11FailingProcessor : public testing::FileQueueTest {
 protected:
  bool HasReason(const std::string& name, const std::string& text) {
    return folder_.WaitForText(".failed/" + name + ".reason", text + "\n");
  }
  bool WaitForLog(const std::string& text) {
    return Eventually([&] { return folder_.service.log.Has(text); });
  }
};

TEST_F(Scenario11FailingProcessor, ThatAnswersFalseFindsTheFileInFailed) {
  folder_.processor.answer = [](std::string_view, void*) { return false; };
  fs::create_directory(folder_.in() / "sub");
  Start();
  folder_.Put("sub/order", "1");
  ASSERT_TRUE(HasReason("sub/order", "the processor answered false"));
  // A second one of that name is no reason to lose the first.
  folder_.Put("sub/order", "2");
  ASSERT_TRUE(Eventually([&] { return folder_.Files().size() == 4; }));
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/sub/order"), "1");
  // What an operator tidies away is made again.
  fs::remove_all(folder_.in() / ".failed");
  folder_.Put("sub/order", "3");
  ASSERT_TRUE(HasReason("sub/order", "the processor answered false"));
  const auto status = queue_.Directories().at(0).status;
  EXPECT_EQ(status.messages, 3u);
  EXPECT_EQ(status.failures, 3u);
}

TEST_F(Scenario11FailingProcessor, ThatThrowsFindsTheFileInFailed) {
  folder_.Write("process='true'",
                "<processor>dll://../lib/p:Throw</processor>");
  ASSERT_TRUE(queue_.Start());
  const std::string longest(255, 'n');
  folder_.Put(longest, "1");
  ASSERT_TRUE(HasReason(longest.substr(0, 248),
                        "the processor failed: it threw: out of paper"));
  EXPECT_TRUE(folder_.Has(".failed/" + longest));
}

// The reason does not fit on the disk; the file, which is on it, moves.
TEST_F(Scenario11FailingProcessor, OnAFullDiskStillFindsTheFileInFailed) {
  const std::string place = folder_.in().string();
  if (::mount("tmpfs", place.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "a full disk needs the right to mount one";
  folder_.processor.answer = [](std::string_view, void*) { return false; };
  Start();
  std::ofstream(folder_.in() / ".filler") << std::string(1 << 20, 'x');
  fs::create_hard_link(folder_.in() / ".filler", folder_.in() / ".link");
  fs::rename(folder_.in() / ".link", folder_.in() / "order");
  EXPECT_TRUE(WaitForLog(
      "'order' of directory 'in' was moved to .failed: the processor answered "
      "false"));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Files(), (Names{".failed/order", ".filler"}));
  ::umount(place.c_str());
}

TEST_F(Scenario11FailingProcessor, WhoseFileCannotBeMovedIsNotAskedAgain) {
  // A host that is not root, for the thread that moves.
  folder_.processor.answer = [](std::string_view, void*) {
    ::setfsuid(65534);
    return false;
  };
  fs::permissions(folder_.in(), fs::perms::all);
  Start();
  ASSERT_TRUE(Eventually([&] { return folder_.Has(".done"); }));
  fs::permissions(folder_.in() / ".failed", fs::perms::none);
  folder_.Put("order", "1");
  EXPECT_TRUE(
      WaitForLog("'order' of directory 'in' stays in .processing, "
                 "because it could not be moved on: Permission denied; "
                 "that is tried again"));
  // A new file of the name waits beside it.
  folder_.Put("order", "2");
  EXPECT_TRUE(WaitForLog("an earlier file of this name is still in"));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Messages(), Names{"1"});
  EXPECT_EQ(folder_.Files().size(), 2u);
  // The next start finds both.
  fs::permissions(folder_.in() / ".failed", fs::perms::all);
  ASSERT_TRUE(queue_.Start());
  EXPECT_TRUE(Eventually([&] { return folder_.Files().size() == 4; }));
  EXPECT_EQ(folder_.Messages(), (Names{"1", "1", "2"}));
}

class Scenario11KilledHost : public Scenario11FailingProcessor {
 protected:
  using Numbers = std::map<std::string, int>;

  Scenario11KilledHost() {
    folder_.Write("process='true'",
                  "<processor>dll://../lib/p:Journal</processor>");
  }

  std::unique_ptr<RunningProgram> Host() const {
    const fs::path place = folder_.service.path();
    return std::make_unique<RunningProgram>(
        KIV_PROGRAM, Names{"host", place.string()},
        RunningProgram::Surroundings{
            .files = place, .variables = {"KIV_TEST_JOURNAL=" + journal_}});
  }
  std::size_t JournalSize() const { return ReadTestFile(journal_).size(); }
  // How often each message was begun or ended, whichever the word says.
  Numbers Count(const std::string& word) const {
    Numbers count;
    std::ifstream journal(journal_);
    std::string verb;
    std::string message;
    while (journal >> verb >> message)
      if (verb == word) ++count[message];
    return count;
  }
  bool WaitForCount(const std::string& word, const std::string& message,
                    int count) const {
    return Eventually([&] { return Count(word)[message] == count; });
  }
  std::set<std::string> InProcessing() const {
    std::set<std::string> names;
    for (const std::string& file : folder_.Files())
      if (file.starts_with(".processing/"))
        names.insert(fs::path(file).filename());
    return names;
  }
  static void End(RunningProgram& host, int signal, int result) {
    host.Send(signal);
    EXPECT_EQ(host.WaitForEnd(), result);
  }

  const std::string journal_ = (folder_.service.path() / "journal").string();
};

// Every other host is killed somewhere between its being spawned and its being
// at work for a while, the others between their first file and their last.
TEST_F(Scenario11KilledHost, LosesNothingAndRepeatsNothingThatHadEnded) {
  constexpr int kKills = 120;
  constexpr int kFilesEach = 20;
  std::mt19937 random(20051103);
  std::set<std::string> put;
  Numbers ended;  // begun so often by then, and gone from everywhere
  int kills_before_work = 0;
  int kills_in_the_middle = 0;
  const auto expect_no_more_of_what_ended = [&](const Numbers& begun) {
    for (const auto& [name, times] : ended)
      EXPECT_EQ(begun.at(name), times) << name << " was processed again";
  };
  for (int kill = 0; kill < kKills; ++kill) {
    for (int i = 0; i < kFilesEach; ++i) {
      const std::string name = std::to_string(kill) + "-" + std::to_string(i);
      folder_.Put(name, name);
      put.insert(name);
    }
    const std::size_t before = JournalSize();
    const auto host = Host();
    const bool is_at_work = kill % 2 == 0;
    if (is_at_work) {
      ASSERT_TRUE(Eventually([&] { return JournalSize() > before; }));
    }
    std::this_thread::sleep_for(
        std::chrono::microseconds(random() % (is_at_work ? 15'000 : 40'000)));
    End(*host, SIGKILL, -SIGKILL);

    const std::set<std::string> in_processing = InProcessing();
    EXPECT_LE(in_processing.size(), 1u);
    kills_before_work += JournalSize() == before ? 1 : 0;
    kills_in_the_middle += static_cast<int>(in_processing.size());
    const Numbers begun = Count("begin");
    expect_no_more_of_what_ended(begun);
    for (const auto& [name, times] : begun)
      if (!in_processing.contains(name)) ended.emplace(name, times);
    // What was never begun is where it was put, or on its way.
    for (const std::string& name : put)
      EXPECT_TRUE(begun.contains(name) || in_processing.contains(name) ||
                  folder_.Has(name) || folder_.Has(".failed/" + name))
          << name << " is lost";
  }
  // The points were where they were meant to be.
  EXPECT_GT(kills_before_work, 0);
  EXPECT_GT(kills_in_the_middle, kKills / 12);

  // So that the host has something to do, and is there when it is to end.
  folder_.Put("last", "last");
  put.insert("last");
  const auto host = Host();
  EXPECT_TRUE(Eventually([&] {
    const Numbers finished = Count("end");
    return std::all_of(put.begin(), put.end(), [&](const std::string& name) {
      return (finished.contains(name) || folder_.Has(".failed/" + name)) &&
             !folder_.Has(name);
    });
  })) << "some are lost, or still there";
  End(*host, SIGTERM, 0);
  expect_no_more_of_what_ended(Count("begin"));
}

TEST_F(Scenario11KilledHost, GivesAFileUpOverWhichItDiesThreeTimes) {
  folder_.Put("hang", "hang");
  for (int attempt = 1; attempt <= 3; ++attempt) {
    const auto host = Host();
    ASSERT_TRUE(WaitForCount("begin", "hang", attempt));
    End(*host, SIGKILL, -SIGKILL);
    EXPECT_EQ(InProcessing(), std::set<std::string>{"hang"});
  }
  // Whoever may write into the watched folder may write there, too.
  const std::string odd = ".processing/run-odd/2147483647";
  fs::create_directories(folder_.in() / odd);
  folder_.Put(odd + "/order", "1");
  const auto host = Host();
  folder_.Put("next", "next");
  for (const auto& [name, times] : {std::pair("hang", "3"), {"order", "1000"}})
    ASSERT_TRUE(
        HasReason(name, std::string("its processing was begun ") + times +
                            " times, and each time the host ended over it"));
  ASSERT_TRUE(WaitForCount("end", "next", 1));
  EXPECT_EQ(Count("begin")["hang"], 3);
  End(*host, SIGTERM, 0);
  EXPECT_EQ(folder_.Files(), (Names{".failed/hang", ".failed/hang.reason",
                                    ".failed/order", ".failed/order.reason"}));
}

// A host that lives keeps what it has taken, whoever starts beside it.
TEST_F(Scenario11KilledHost, LeavesTheFilesOfALivingHostAlone) {
  folder_.Put("hang", "hang");
  const auto first = Host();
  ASSERT_TRUE(WaitForCount("begin", "hang", 1));
  // What somebody put there by hand is taken, too.
  folder_.Put(".processing/byhand", "byhand");
  const auto second = Host();
  EXPECT_TRUE(WaitForCount("end", "byhand", 1));
  folder_.Put("next", "next");
  EXPECT_TRUE(WaitForCount("end", "next", 1));
  EXPECT_EQ(InProcessing(), std::set<std::string>{"hang"});
  EXPECT_EQ(Count("begin")["hang"], 1);
}

}  // namespace
}  // namespace kiv
