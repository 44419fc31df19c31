// Processors that fail, and hosts that die over a file.
//
// What holds when a host is killed: a file is in the watched folder, in
// .processing, or ended (deleted, in .done, in .failed). One that has ended is
// never handed to a processor again. One that lies in .processing may have been
// handed over, wholly or in part, and is handed over again: no host can know
// how far a processor came that died with it.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
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

#include "kiv/startup.h"
#include "mq/file_taker.h"
#include "testing/eventually.h"
#include "testing/file_queue_folder.h"
#include "testing/running_program.h"

namespace kiv {
namespace {

using testing::Eventually;
using testing::FileQueueTest;
using testing::RunningProgram;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario11FailingProcessor : public FileQueueTest {
 protected:
  bool WaitFor(const std::string& name) {
    return Eventually([&] { return folder_.Has(name); });
  }
  bool HasReason(const std::string& name, const std::string& text) {
    return folder_.WaitForText(".failed/" + name + ".reason", text + "\n");
  }
};

// Whoever may write into the watched folder may write there, too.
TEST_F(Scenario11FailingProcessor, IsGivenWhatLiesUnderAnyNumber) {
  const std::string odd = ".processing/run-odd/2147483647";
  fs::create_directories(folder_.in() / odd);
  folder_.Put(odd + "/order", "1");
  Start();
  EXPECT_TRUE(HasReason("order",
                        "its processing was begun 1000 times, and each "
                        "time the host ended over it"));
  folder_.Put("next", "2");
  EXPECT_TRUE(folder_.processor.WaitForMessages(1));
}

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
  const auto status = queue_.Directories().at(0).status;
  EXPECT_EQ(status.messages, 2u);
  EXPECT_EQ(status.failures, 2u);
  EXPECT_TRUE(queue_.Stop(20000));
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

TEST_F(Scenario11FailingProcessor, KeepsAProcessedFileWhenToldTo) {
  Start("process='true' deleteAfterProcess='false'");
  folder_.Put("kept", "1");
  ASSERT_TRUE(WaitFor(".done/kept"));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Files(), Names{".done/kept"});
}

// What an operator tidies away is made again.
TEST_F(Scenario11FailingProcessor, OutlivesTheRemovalOfItsFolders) {
  folder_.processor.answer = [](std::string_view message, void*) {
    return message != "fails";
  };
  fs::create_directory(folder_.in() / "sub");
  Start("process='true' deleteAfterProcess='false'");
  folder_.Put("first", "1");
  ASSERT_TRUE(WaitFor(".done/first"));
  for (const char* name : {".processing", ".failed", ".done"})
    fs::remove_all(folder_.in() / name);
  folder_.Put("sub/second", "2");
  folder_.Put("third", "fails");
  ASSERT_TRUE(HasReason("third", "the processor answered false"));
  ASSERT_TRUE(WaitFor(".done/sub/second"));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Files(), (Names{".done/sub/second", ".failed/third",
                                    ".failed/third.reason"}));
}

// The reason does not fit on the disk; the file, which is on it, moves.
TEST_F(Scenario11FailingProcessor, OnAFullDiskStillFindsTheFileInFailed) {
  const std::string place = folder_.in().string();
  if (::mount("tmpfs", place.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "a full disk needs the right to mount one";
  folder_.processor.answer = [](std::string_view, void*) { return false; };
  Start();
  {
    std::ofstream filler(folder_.in() / ".filler");
    const std::string page(4096, 'x');
    while (filler << page << std::flush) {
    }
  }
  fs::create_hard_link(folder_.in() / ".filler", folder_.in() / ".link");
  fs::rename(folder_.in() / ".link", folder_.in() / "order");
  EXPECT_TRUE(WaitFor(".failed/order"));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_FALSE(folder_.Has(".failed/order.reason"));
  EXPECT_TRUE(folder_.service.log.Has(
      "'order' of directory 'in' was moved to .failed: the processor answered "
      "false"))
      << folder_.service.log.Text();
  ::umount(place.c_str());
}

// Claims that cannot be moved on while the disk is full.
class FullDisk final : public port::FileClaims {
 public:
  FullDisk(std::unique_ptr<port::FileClaims> real, bool& is_full)
      : real_(std::move(real)), is_full_(is_full) {}
  port::FileLook LookAt(const std::string& name) override {
    return real_->LookAt(name);
  }
  Taking Take(const std::string& name, port::ChangeRecord::Certainty certainty,
              std::size_t most_bytes, std::string& bytes) override {
    return real_->Take(name, certainty, most_bytes, bytes);
  }
  std::vector<port::Leftover> Leftovers() override {
    return real_->Leftovers();
  }
  Taking TakeLeftover(const port::Leftover& leftover, std::size_t most_bytes,
                      std::string& bytes) override {
    return real_->TakeLeftover(leftover, most_bytes, bytes);
  }
  bool HasChanged(const port::FileClaim& claim) override {
    return real_->HasChanged(claim);
  }
  bool Delete(const port::FileClaim& claim) override {
    return !is_full_ && real_->Delete(claim);
  }
  bool MoveToDone(const port::FileClaim& claim) override {
    return !is_full_ && real_->MoveToDone(claim);
  }
  bool MoveToFailed(const port::FileClaim& claim,
                    const std::string& reason) override {
    return !is_full_ && real_->MoveToFailed(claim, reason);
  }
  void Tidy() override { real_->Tidy(); }

 private:
  const std::unique_ptr<port::FileClaims> real_;
  bool& is_full_;
};

TEST_F(Scenario11FailingProcessor, WhoseFileCannotBeMovedIsNotAskedAgain) {
  int calls = 0;
  folder_.processor.answer = [&](std::string_view, void*) {
    ++calls;
    return false;
  };
  msgq::DirectorySettings settings;
  settings.name = "in";
  settings.path = folder_.in().string();
  settings.process = true;
  settings.processor = module::Module::create("dll://../lib/p:Record");
  mq::StatusBoard board;
  const std::atomic<bool> stop{false};
  bool is_full = true;
  const auto open = [&](const std::string& path, std::string& reason) {
    return std::make_unique<FullDisk>(port::FileClaims::Open(path, reason),
                                      is_full);
  };
  const port::ChangeRecord order{"order",
                                 port::ChangeRecord::Certainty::Closed};
  folder_.Put("order", "1");
  {
    msgq::FileTaker taker(settings, board, stop, open);
    taker.Open();
    taker.Take({order});
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(folder_.Has("order"));
    ASSERT_EQ(folder_.Files().size(), 1u);  // in .processing
    // A new file of the name waits beside it.
    folder_.Put("order", "2");
    taker.Take({order});
    taker.TakeDue();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(folder_.Files().size(), 2u);
    ASSERT_TRUE(taker.NextDue().has_value());
  }
  // The next start finds it.
  is_full = false;
  msgq::FileTaker next(settings, board, stop, open);
  next.Open();
  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(folder_.Has(".failed/order"));
  next.Take({order});
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(folder_.Files().size(), 4u);
}

class Scenario11KilledHost : public Scenario11FailingProcessor {
 protected:
  using Numbers = std::map<std::string, int>;

  Scenario11KilledHost() {
    folder_.Write("process='true'",
                  "<processor>dll://../lib/p:Journal</processor>");
  }

  std::unique_ptr<RunningProgram> Host() const {
    return std::make_unique<RunningProgram>(
        KIV_PROGRAM,
        std::vector<std::string>{"host", folder_.service.path().string()},
        RunningProgram::Surroundings{
            .files = folder_.service.path(),
            .variables = {"KIV_TEST_JOURNAL=" + Journal()}});
  }
  std::string Journal() const {
    return (folder_.service.path() / "journal").string();
  }
  std::size_t JournalSize() const {
    std::error_code missing;
    const auto size = fs::file_size(Journal(), missing);
    return missing ? 0 : size;
  }
  // How often each message was begun or ended, whichever the word says.
  Numbers Count(const std::string& word) const {
    Numbers count;
    std::ifstream journal(Journal());
    std::string verb;
    std::string message;
    while (journal >> verb >> message)
      if (verb == word) ++count[message];
    return count;
  }
  std::set<std::string> InProcessing() const {
    std::set<std::string> names;
    for (const std::string& file : folder_.Files())
      if (file.starts_with(".processing/"))
        names.insert(fs::path(file).filename());
    return names;
  }
  void Kill(RunningProgram& host) const {
    host.Send(SIGKILL);
    EXPECT_EQ(host.WaitForEnd(), -SIGKILL);
  }
};

// Every other host is killed somewhere between its being spawned and its being
// at work for a while, the others between their first file and their last.
TEST_F(Scenario11KilledHost, LosesNothingAndRepeatsNothingThatHadEnded) {
  constexpr int kKills = 120;
  constexpr int kFilesEach = 20;
  constexpr auto kWork = std::chrono::milliseconds(15);
  const auto is_at_work = [&](std::size_t journal_before) {
    return Eventually([&] { return JournalSize() > journal_before; });
  };
  std::mt19937 random(20051103);
  std::set<std::string> put;
  std::set<std::string> ended;  // begun, and gone from everywhere
  Numbers begun_when_ended;
  std::chrono::microseconds start_up{};
  int kills_before_work = 0;
  int kills_in_the_middle = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    for (int i = 0; i < kFilesEach; ++i) {
      const std::string name = std::to_string(kill) + "-" + std::to_string(i);
      folder_.Put(name, name);
      put.insert(name);
    }
    const std::size_t before = JournalSize();
    const auto spawned = std::chrono::steady_clock::now();
    const auto host = Host();
    const bool is_from_spawn_on = kill % 2 == 1;
    if (!is_from_spawn_on) {
      ASSERT_TRUE(is_at_work(before)) << folder_.service.log.Text();
      if (kill == 0)
        start_up = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - spawned);
    }
    const std::chrono::microseconds longest =
        kWork + (is_from_spawn_on ? start_up : start_up.zero());
    std::this_thread::sleep_for(std::chrono::microseconds(
        random() % static_cast<unsigned long>(longest.count())));
    Kill(*host);

    const std::set<std::string> in_processing = InProcessing();
    EXPECT_LE(in_processing.size(), 1u);
    kills_before_work += JournalSize() == before ? 1 : 0;
    kills_in_the_middle += static_cast<int>(in_processing.size());
    const Numbers begun = Count("begin");
    for (const std::string& name : ended)
      EXPECT_EQ(begun.at(name), begun_when_ended.at(name))
          << name << " was processed again";
    for (const auto& [name, times] : begun)
      if (!in_processing.contains(name) && ended.insert(name).second)
        begun_when_ended[name] = times;
    // What was never begun is where it was put, or on its way.
    for (const std::string& name : put)
      EXPECT_TRUE(begun.contains(name) || in_processing.contains(name) ||
                  folder_.Has(name) || folder_.Has(".failed/" + name))
          << name << " is lost";
  }
  // The points were where they were meant to be.
  EXPECT_GT(kills_before_work, kKills / 12);
  EXPECT_GT(kills_in_the_middle, kKills / 12);

  // So that the host has something to do, and is there when it is to end.
  folder_.Put("last", "last");
  put.insert("last");
  const auto host = Host();
  EXPECT_TRUE(Eventually([&] {
    const Numbers finished = Count("end");
    return std::all_of(put.begin(), put.end(), [&](const std::string& name) {
      return finished.contains(name) || folder_.Has(".failed/" + name);
    });
  }));
  host->Send(SIGTERM);
  EXPECT_EQ(host->WaitForEnd(), 0);
  const Numbers begun = Count("begin");
  const Numbers finished = Count("end");
  for (const std::string& name : put) {
    EXPECT_TRUE(finished.contains(name) || folder_.Has(".failed/" + name))
        << name << " is lost";
    EXPECT_FALSE(folder_.Has(name)) << name << " is still there";
  }
  for (const std::string& name : ended)
    EXPECT_EQ(begun.at(name), begun_when_ended.at(name));
  RecordProperty("kills_before_work", kills_before_work);
  RecordProperty("kills_in_the_middle", kills_in_the_middle);
}

TEST_F(Scenario11KilledHost, GivesAFileUpOverWhichItDiesThreeTimes) {
  folder_.Put("hang", "hang");
  for (int attempt = 1; attempt <= 3; ++attempt) {
    const auto host = Host();
    ASSERT_TRUE(Eventually([&] { return Count("begin")["hang"] == attempt; }));
    Kill(*host);
    EXPECT_EQ(InProcessing(), std::set<std::string>{"hang"});
  }
  const auto host = Host();
  folder_.Put("next", "next");
  ASSERT_TRUE(HasReason("hang",
                        "its processing was begun 3 times, and each time the "
                        "host ended over it"));
  ASSERT_TRUE(Eventually([&] { return Count("end")["next"] == 1; }));
  EXPECT_EQ(Count("begin")["hang"], 3);
  host->Send(SIGTERM);
  EXPECT_EQ(host->WaitForEnd(), 0);
  EXPECT_EQ(folder_.Files(), (Names{".failed/hang", ".failed/hang.reason"}));
}

// A host that lives keeps what it has taken, whoever starts beside it.
TEST_F(Scenario11KilledHost, LeavesTheFilesOfALivingHostAlone) {
  folder_.Put("hang", "hang");
  const auto first = Host();
  ASSERT_TRUE(Eventually([&] { return Count("begin")["hang"] == 1; }));
  const auto second = Host();
  folder_.Put("next", "next");
  ASSERT_TRUE(Eventually([&] { return Count("end")["next"] == 1; }));
  EXPECT_EQ(InProcessing(), std::set<std::string>{"hang"});
  EXPECT_EQ(Count("begin")["hang"], 1);
  // What somebody put there by hand is taken, too.
  second->Send(SIGTERM);
  EXPECT_EQ(second->WaitForEnd(), 0);
  folder_.Put(".processing/byhand", "byhand");
  const auto third = Host();
  EXPECT_TRUE(Eventually([&] { return Count("end")["byhand"] == 1; }));
}

}  // namespace
}  // namespace kiv
