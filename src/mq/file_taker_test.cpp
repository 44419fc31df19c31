#include "mq/file_taker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "kiv/module/module.h"
#include "port/linux/file_error.h"
#include "testing/eventually.h"
#include "testing/service_folder.h"
#include "util/runtime.h"

namespace kiv::msgq {
namespace {

using Certainty = port::ChangeRecord::Certainty;
using Outcome = port::FileClaims::Outcome;

constexpr int kNotFound = 2;

// What the claims of a test answer, and were asked. Behind the last answer it
// is given again.
struct Script {
  std::vector<Outcome> takings{Outcome::Taken};
  std::vector<std::uint64_t> sizes{1};  // at every look
  bool is_end_there = true;

  std::size_t looks = 0;
  std::vector<Certainty> certainties;
  std::vector<std::size_t> looks_before_taking;
  int ends = 0;
};

class ScriptedClaims final : public port::FileClaims {
 public:
  explicit ScriptedClaims(Script& script) : script_(script) {}
  port::FileLook LookAt(const std::string&) override {
    port::FileLook look;
    look.kind = port::FileLook::Kind::File;
    look.size_bytes =
        script_.sizes.at(std::min(script_.looks++, script_.sizes.size() - 1));
    return look;
  }
  Taking Take(const std::string& name, Certainty certainty, std::size_t,
              std::string& bytes) override {
    const std::size_t turn = script_.certainties.size();
    script_.certainties.push_back(certainty);
    script_.looks_before_taking.push_back(script_.looks);
    bytes = "bytes";
    return {script_.takings.at(std::min(turn, script_.takings.size() - 1)),
            {.name = name, .size_bytes = bytes.size()},
            ""};
  }
  std::vector<port::Leftover> Leftovers() override { return {}; }
  Taking TakeLeftover(const port::Leftover&, std::size_t,
                      std::string&) override {
    return {};
  }
  bool HasChanged(const port::FileClaim&) override { return false; }
  bool Delete(const port::FileClaim&) override { return EndIt(); }
  bool MoveToDone(const port::FileClaim&) override { return EndIt(); }
  bool MoveToFailed(const port::FileClaim&, const std::string&) override {
    return EndIt();
  }
  void Tidy() override {}

 private:
  bool EndIt() {
    ++script_.ends;
    return script_.is_end_there || port::Fail(kNotFound);
  }
  Script& script_;
};

class CountingModule final : public module::Module {
 public:
  bool process_mem(const char*, int, void*) override {
    ++calls;
    return answer;
  }
  int calls = 0;
  bool answer = true;
};

class Taker : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  Taker() {
    settings_.name = "in";
    settings_.process = true;
    settings_.processor = module_;
  }

  void Take(Certainty certainty = Certainty::Closed) {
    taker_.Take({{"file", certainty}});
  }
  // As the worker does, until nothing waits.
  bool WaitUntilIdle() {
    return testing::Eventually([&] {
      taker_.TakeDue();
      return taker_.IsOpen() && !taker_.NextDue();
    });
  }

  const testing::ServiceFolder folder_;
  Script script_;
  bool can_open_ = true;
  const std::shared_ptr<CountingModule> module_ =
      std::make_shared<CountingModule>();
  DirectorySettings settings_;
  mq::StatusBoard board_;
  const std::atomic<bool> stop_{false};
  FileTaker taker_{
      settings_, board_, stop_,
      [this](const std::string&,
             std::string& reason) -> std::unique_ptr<port::FileClaims> {
        if (can_open_) return std::make_unique<ScriptedClaims>(script_);
        reason = "not now";
        return nullptr;
      }};
};

using Looks = std::vector<std::size_t>;

TEST_F(Taker, LetsAFileSettleAndThenAsksWhoWritesIt) {
  settings_.settle_ms = 20;
  script_.sizes = {1, 2, 3, 3};
  taker_.Open();
  Take();
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(module_->calls, 1);
  // At the change; when it was due, had changed and was looked at for the next
  // time; and then.
  EXPECT_EQ(script_.looks_before_taking, Looks{4});
  EXPECT_EQ(script_.certainties, std::vector{Certainty::Stable});
}

TEST_F(Taker, LetsAFileSettleThatWaitedForOurFolders) {
  settings_.settle_ms = 20;
  script_.sizes = {1, 1, 2};
  can_open_ = false;
  taker_.Open();
  Take();
  can_open_ = true;
  taker_.Open();
  EXPECT_EQ(module_->calls, 0);
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(module_->calls, 1);
  // None was possible at the change.
  EXPECT_EQ(script_.looks_before_taking, Looks{5});
}

TEST_F(Taker, LetsAFileSettleAgainThatWasBeingWritten) {
  settings_.settle_ms = 20;
  script_.takings = {Outcome::BeingWritten, Outcome::Taken};
  script_.sizes = {1, 1, 1, 2, 2, 2};
  taker_.Open();
  Take(Certainty::Found);
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(script_.looks_before_taking, (Looks{2, 6}));
  EXPECT_EQ(script_.certainties, (std::vector<Certainty>(2, Certainty::Found)));
}

TEST_F(Taker, OpensAnewWhenItsFoldersAreLost) {
  script_.takings = {Outcome::Lost, Outcome::Taken};
  taker_.Open();
  Take();
  EXPECT_TRUE(taker_.IsOpen());
  EXPECT_EQ(module_->calls, 0);
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(module_->calls, 1);
  EXPECT_EQ(folder_.log.Count("were removed; they are made again"), 1);
  // Nor does it go on without them.
  script_.takings = {Outcome::Lost};
  can_open_ = false;
  taker_.Take({{"file", Certainty::Closed}, {"other", Certainty::Closed}});
  EXPECT_FALSE(taker_.IsOpen());
  EXPECT_EQ(script_.certainties.size(), 3u);
  can_open_ = true;
  script_.takings = {Outcome::Taken};
  taker_.Open();
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(module_->calls, 3);
}

TEST_F(Taker, TakesTheEndForReachedWhenSomebodyTookTheFileAway) {
  script_.is_end_there = false;
  taker_.Open();
  Take();
  EXPECT_EQ(script_.ends, 1);
  EXPECT_FALSE(taker_.NextDue().has_value());
  EXPECT_EQ(folder_.log.Text(), "");
  // What belongs elsewhere is told of.
  module_->answer = false;
  Take();
  EXPECT_EQ(script_.ends, 2);
  EXPECT_FALSE(taker_.NextDue().has_value());
  EXPECT_TRUE(folder_.log.Has(
      "file 'file' of directory 'in' is in .processing no longer, and belongs "
      "into .failed: the processor answered false"))
      << folder_.log.Text();
  EXPECT_EQ(folder_.log.Count("msgq: "), 1);
}

}  // namespace
}  // namespace kiv::msgq
