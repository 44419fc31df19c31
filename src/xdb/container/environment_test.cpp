#include "xdb/container/environment.h"

#include <db_cxx.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "port/file.h"
#include "port/lock_file.h"
#include "port/test_folder.h"
#include "testing/network_disk.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"
#include "xdb/container/table.h"

namespace kiv::xdb {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr EnvironmentSwitches kAll = {
    .thread = true, .lock = true, .log = true, .transactions = true};

// A table of records in an environment.
class Records {
 public:
  explicit Records(Environment& environment)
      : environment_(environment),
        table_(*EnvironmentHandle(environment), "records", "records.xdb") {
    const auto transaction = environment.Begin();
    CheckCode(table_.Open(TransactionHandle(transaction.get()), "records.xdb",
                          DB_CREATE | DB_THREAD, false),
              "open", "records.xdb");
    transaction->Commit();
  }

  void Put(Transaction* transaction, std::string_view key,
           std::string_view value) {
    table_.Put(TransactionHandle(transaction), key, value);
  }
  void Put(std::string_view key, std::string_view value) {
    const auto transaction = environment_.Begin();
    Put(transaction.get(), key, value);
    transaction->Commit();
  }
  // Empty when there is none.
  std::string Get(std::string_view key) {
    ReadBuffer value;
    return table_.Get(nullptr, key, value) ? std::string(value.view()) : "";
  }

 private:
  Environment& environment_;
  Table table_;
};

class EnvironmentTest : public ::testing::Test {
 protected:
  EnvironmentTest() { std::filesystem::create_directory("home"); }

  static void Open(Environment& environment, const std::string& password = "") {
    ASSERT_EQ(environment.Open("home", kAll, password), 0)
        << environment.ErrorText();
  }
  static Failure FailureOf(const std::function<void()>& call) {
    try {
      call();
    } catch (const StoreError& error) {
      return error.failure();
    }
    ADD_FAILURE() << "it did not fail";
    return Failure::Other;
  }

  const TestFolder folder_;
};

TEST_F(EnvironmentTest, HasTheFlagsAskedForAndWhatTheyNeed) {
  const std::pair<EnvironmentSwitches, u_int32_t> kRows[] = {
      {{.thread = true, .log = true}, DB_THREAD | DB_INIT_LOG},
      {{.transactions = true}, DB_INIT_TXN | DB_INIT_LOCK}};
  for (const auto& [switches, expected] : kRows) {
    const TestFolder folder;
    Environment environment;
    ASSERT_EQ(environment.Open(".", switches, ""), 0);
    u_int32_t flags = 0;
    EnvironmentHandle(environment)->get_open_flags(&flags);
    EXPECT_EQ(flags, expected | DB_CREATE | DB_INIT_MPOOL);
  }
}

TEST_F(EnvironmentTest, TellsWhatIsWrongWithAPassword) {
  std::filesystem::create_directory("plain");
  {
    Environment environment;
    Open(environment, "secret");
    EXPECT_TRUE(environment.IsEncrypted());
    Records(environment).Put("key", "value");
    ASSERT_EQ(environment.Close(), 0);
    ASSERT_EQ(environment.Open("plain", kAll, ""), 0);
  }
  EXPECT_EQ(std::filesystem::status("home").permissions(),
            std::filesystem::perms::owner_all);
  const auto refusal = [](Environment& refused, const char* home,
                          const char* password) {
    EXPECT_NE(refused.Open(home, kAll, password), 0);
    EXPECT_THAT(refused.ErrorText(), Not(HasSubstr("ecret")));
    return refused.ErrorText();
  };
  Environment environment;
  const std::string wrong = refusal(environment, "home", "Secret");
  EXPECT_THAT(wrong, HasSubstr("the password is wrong"));
  EXPECT_THAT(refusal(environment, "home", ""),
              HasSubstr("no password was given"));
  EXPECT_THAT(refusal(environment, "plain", "secret"),
              HasSubstr("is not encrypted"));
  Open(environment, "secret");
  EXPECT_EQ(Records(environment).Get("key"), "value");
  // Nor may one who joins.
  Environment other;
  EXPECT_EQ(refusal(other, "home", "Secret"), wrong);
}

TEST_F(EnvironmentTest, RefusesAHomeThatIsNoFolderOfThisMachine) {
  Environment environment;
  EXPECT_NE(environment.Open("missing", kAll, ""), 0);
  EXPECT_THAT(environment.ErrorText(), HasSubstr("'missing'"));
  WriteTestFile("file");
  EXPECT_NE(environment.Open("file", kAll, ""), 0);
  EXPECT_THAT(environment.ErrorText(), HasSubstr("no folder"));
  EXPECT_FALSE(environment.IsOpen());
  EXPECT_EQ(FailureOf([&] { environment.Begin(); }), Failure::Other);

  constexpr std::pair<long, const char*> kKinds[] = {
      {0x6969, "(NFS)"}, {0x01021997, "(9P)"}, {0x65735546, "(FUSE)"}};
  for (const auto& [magic, kind] : kKinds) {
    const testing::NetworkDisk disk(magic);
    EXPECT_NE(environment.Open("home", kAll, ""), 0);
    EXPECT_THAT(environment.ErrorText(),
                AllOf(HasSubstr("'home'"), HasSubstr(kind)));
  }
  EXPECT_TRUE(std::filesystem::is_empty("home"));
  Open(environment);
}

TEST_F(EnvironmentTest, LeavesNothingOfATransactionThatDidNotCommit) {
  Environment environment;
  Open(environment);
  auto records = std::make_unique<Records>(environment);
  records->Put(environment.Begin().get(), "dropped", "x");
  const auto outer = environment.Begin();
  const auto inner = BeginInside(environment, outer.get());
  records->Put(inner.get(), "inner", "x");
  inner->Abort();
  records->Put(outer.get(), "outer", "x");
  outer->Commit();
  EXPECT_EQ(records->Get("dropped") + records->Get("inner"), "");
  EXPECT_EQ(records->Get("outer"), "x");
  EXPECT_EQ(FailureOf([&] { outer->Abort(); }), Failure::Other);
  // Nor of one that is left when it is closed.
  const auto left = environment.Begin();
  const auto inside = BeginInside(environment, left.get());
  records.reset();
  EXPECT_EQ(environment.Close(), 0) << environment.ErrorText();
  for (const auto& transaction : {outer, left, inside}) {
    EXPECT_TRUE(transaction->HasEnded());
    EXPECT_EQ(FailureOf([&] { transaction->Commit(); }), Failure::Other);
  }
}

// Closing the one neither takes the other's locks nor recovers under it.
TEST_F(EnvironmentTest, CanBeOpenedTwiceInOneProcess) {
  Environment first, second;
  Open(first);
  Open(second);
  Records(first).Put("key", "value");
  EXPECT_EQ(first.Close(), 0);
  EXPECT_EQ(Records(second).Get("key"), "value");
}

TEST_F(EnvironmentTest, ListsTheLogFilesThatNobodyNeedsAndKeepsThem) {
  WriteTestFile("home/DB_CONFIG", "set_lg_max 300000\nset_lg_bsize 65536\n");
  Environment environment;
  Open(environment);
  {
    Records records(environment);
    for (int i = 0; i < 600; ++i)
      records.Put(std::to_string(i % 300),
                  std::string(900, i < 300 ? 'x' : 'y'));
  }
  environment.Checkpoint();
  const std::vector<std::string> unneeded = environment.UnneededLogFiles();
  ASSERT_FALSE(unneeded.empty());
  const auto statistics = environment.Statistics();
  EXPECT_GT(statistics.log_file_count, unneeded.size());
  for (const std::string& file : unneeded)
    EXPECT_TRUE(port::DeleteFileA(file)) << file;
  EXPECT_EQ(environment.Close(), 0);
  Open(environment);
  EXPECT_EQ(Records(environment).Get("299"), std::string(900, 'y'));
  EXPECT_EQ(environment.Statistics().log_file_count,
            statistics.log_file_count - unneeded.size());
}

TEST_F(EnvironmentTest, DoesNotWaitForEverForWhoeverIsOpeningIt) {
  Environment environment;
  Open(environment);
  environment.Close();
  const auto file = port::LockFile::Open("home/environment.lock", false);
  constexpr std::uint64_t kGateByte = 1ull << 40;
  ASSERT_TRUE(file->TryLock(kGateByte));
  const auto start = steady_clock::now();
  EXPECT_NE(environment.Open("home", kAll, ""), 0);
  EXPECT_THAT(environment.ErrorText(), HasSubstr("another program"));
  EXPECT_LT(steady_clock::now() - start, milliseconds(5500));
}

TEST_F(EnvironmentTest, IsNotTakenForOpenBecauseOfAChild) {
  Environment environment;
  Open(environment);
  const pid_t child = ::fork();
  if (child == 0) {
    ::sleep(60);
    ::_exit(0);
  }
  EXPECT_EQ(environment.Close(), 0);
  // Only the first to open it, whom nobody else is beside, may.
  EXPECT_NO_THROW(environment.Repair("home", "", false));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

// As after a program that died inside Berkeley DB.
TEST_F(EnvironmentTest, AsksToBeClosedEverywhereAndIsThenRecovered) {
  const auto test = [] {
    Environment environment;
    Open(environment);
    auto records = std::make_unique<Records>(environment);
    records->Put("key", "value");
    const auto writer = environment.Begin();
    records->Put(writer.get(), "key", "other");
    auto waiting =
        std::async(std::launch::async, [&] { return records->Get("key"); });
    EXPECT_EQ(waiting.wait_for(milliseconds(100)), std::future_status::timeout);
    EnvironmentHandle(environment)->set_flags(DB_PANIC_ENVIRONMENT, 1);
    const auto start = steady_clock::now();
    EXPECT_EQ(FailureOf([&] { records->Get("key"); }), Failure::NeedsRecovery);
    EXPECT_EQ(FailureOf([&] { waiting.get(); }), Failure::NeedsRecovery);
    EXPECT_LT(steady_clock::now() - start, seconds(2));
    Environment other;
    EXPECT_EQ(FailureOf([&] { other.Open("home", kAll, ""); }),
              Failure::NeedsRecovery);
    EXPECT_LT(steady_clock::now() - start, seconds(8));
    records.reset();
    EXPECT_NE(environment.Close(), 0);
    Open(other);
    EXPECT_EQ(Records(other).Get("key"), "value");
    EXPECT_EQ(other.Statistics().recovery_count, 1u);
    std::_Exit(HasFailure() ? 1 : 0);
  };
  // Berkeley DB does not free all its memory when it cleared up after somebody,
  // which is no leak of the tests' process this way.
  EXPECT_EXIT(test(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kiv::xdb
