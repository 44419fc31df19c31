#include "mq/file_taker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
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

// The test itself is the processor, and says what its claims answer. Behind the
// last answer it is given again.
class Taker : public ::testing::Test, public module::Module {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  class Claims final : public port::FileClaims {
   public:
    explicit Claims(Taker& test) : test_(test) {}
    port::FileLook LookAt(const std::string&) override {
      port::FileLook look;
      look.kind = port::FileLook::Kind::File;
      look.size_bytes = At(test_.sizes_, test_.looks_++);
      return look;
    }
    Taking Take(const std::string& name, Certainty certainty, std::size_t,
                std::string& bytes) override {
      test_.taken_ += certainty == Certainty::Stable  ? "Stable"
                      : certainty == Certainty::Found ? "Found"
                                                      : "Closed";
      test_.taken_ += "@" + std::to_string(test_.looks_) + " ";
      bytes = "bytes";
      return {At(test_.takings_, test_.takes_++),
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
    template <class T>
    static T At(const std::vector<T>& answers, std::size_t turn) {
      return answers.at(std::min(turn, answers.size() - 1));
    }
    bool EndIt() { return test_.is_end_there_ || port::Fail(ENOENT); }
    Taker& test_;
  };

  Taker() {
    settings_.name = "in";
    settings_.process = true;
    settings_.processor = {std::shared_ptr<void>(), this};
  }
  bool process_mem(const char*, int, void*) override {
    ++calls_;
    return answer_;
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
  // A file with the size at every look.
  void TakeSettling(std::vector<std::uint64_t> sizes,
                    Certainty certainty = Certainty::Closed) {
    settings_.settle_ms = 20;
    sizes_ = std::move(sizes);
    taker_.Open();
    Take(certainty);
    can_open_ = true;
    if (!taker_.IsOpen()) taker_.Open();
    EXPECT_TRUE(WaitUntilIdle());
    EXPECT_EQ(calls_, 1);
  }

  const testing::ServiceFolder folder_;
  std::vector<Outcome> takings_{Outcome::Taken};
  std::vector<std::uint64_t> sizes_{1};
  bool is_end_there_ = true;
  bool can_open_ = true;
  bool answer_ = true;

  std::size_t looks_ = 0;
  std::size_t takes_ = 0;
  std::string taken_;  // how, and behind how many looks
  int calls_ = 0;

  DirectorySettings settings_;
  mq::StatusBoard board_;
  const std::atomic<bool> stop_{false};
  FileTaker taker_{settings_, board_, stop_, [this](auto&, auto& reason) {
                     reason = "not now";
                     return can_open_ ? std::make_unique<Claims>(*this)
                                      : nullptr;
                   }};
};

TEST_F(Taker, LetsAFileSettleAndThenAsksWhoWritesIt) {
  TakeSettling({1, 2, 3, 3});
  // At the change; when it was due, had changed and was looked at for the next
  // time; and then.
  EXPECT_EQ(taken_, "Stable@4 ");
}

TEST_F(Taker, LetsAFileSettleThatWaitedForOurFolders) {
  can_open_ = false;
  TakeSettling({1, 1, 2});
  EXPECT_TRUE(
      folder_.log.Has("msgq: FileQueue Failed: no file of directory "
                      "'in' can be taken: not now\r\n"));
  // No look was possible at the change.
  EXPECT_EQ(taken_, "Stable@5 ");
}

TEST_F(Taker, LetsAFileSettleAgainThatWasBeingWritten) {
  takings_ = {Outcome::BeingWritten, Outcome::Taken};
  TakeSettling({1, 1, 1, 2, 2, 2}, Certainty::Found);
  EXPECT_EQ(taken_, "Found@2 Found@6 ");
}

TEST_F(Taker, OpensAnewWhenItsFoldersAreLost) {
  takings_ = {Outcome::Lost, Outcome::Taken};
  taker_.Open();
  Take();
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(calls_, 1);
  EXPECT_EQ(folder_.log.Count("were removed; they are made again"), 1);
  // Nor does it go on without them.
  takings_ = {Outcome::Lost};
  can_open_ = false;
  taker_.Take({{"file", Certainty::Closed}, {"other", Certainty::Closed}});
  EXPECT_FALSE(taker_.IsOpen());
  EXPECT_EQ(takes_, 3u);
  can_open_ = true;
  takings_ = {Outcome::Taken};
  taker_.Open();
  ASSERT_TRUE(WaitUntilIdle());
  EXPECT_EQ(calls_, 3);
}

TEST_F(Taker, TakesTheEndForReachedWhenSomebodyTookTheFileAway) {
  is_end_there_ = false;
  taker_.Open();
  Take();
  EXPECT_EQ(folder_.log.Text(), "");
  // What belongs elsewhere is told of.
  answer_ = false;
  Take();
  EXPECT_FALSE(taker_.NextDue().has_value());
  EXPECT_TRUE(folder_.log.Has(
      "file 'file' of directory 'in' is in .processing no longer, and belongs "
      "into .failed: the processor answered false"))
      << folder_.log.Text();
}

}  // namespace
}  // namespace kiv::msgq
