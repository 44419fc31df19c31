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
#include "testing/eventually.h"
#include "testing/network_disk.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"
#include "xdb/container/table.h"

namespace kiv::xdb {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
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
  constexpr struct {
    EnvironmentSwitches switches;
    u_int32_t flags;
  } kRows[] = {{{}, 0},
               {{.thread = true}, DB_THREAD},
               {{.lock = true}, DB_INIT_LOCK},
               {{.log = true}, DB_INIT_LOG},
               {{.transactions = true}, DB_INIT_TXN | DB_INIT_LOCK},
               {kAll, DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_TXN}};
  for (const auto& [switches, expected] : kRows) {
    SCOPED_TRACE(expected);
    std::filesystem::remove_all("home");
    std::filesystem::create_directory("home");
    Environment environment;
    ASSERT_EQ(environment.Open("home", switches, ""), 0)
        << environment.ErrorText();
    EXPECT_EQ(environment.IsThreaded(), switches.thread);
    EXPECT_EQ(environment.IsTransactional(), switches.transactions);
    EXPECT_FALSE(environment.IsEncrypted());
    u_int32_t flags = 0;
    EnvironmentHandle(environment)->get_open_flags(&flags);
    EXPECT_EQ(flags, expected | DB_CREATE | DB_INIT_MPOOL);
    EXPECT_EQ(environment.Close(), 0);
  }
}

// Berkeley DB keeps a log for every transaction; the flag alone is missing.
TEST_F(EnvironmentTest, LogsTransactionsAlsoWithoutTheFlagForIt) {
  Environment environment;
  ASSERT_EQ(
      environment.Open("home", {.thread = true, .transactions = true}, ""), 0);
  Records(environment).Put("key", "value");
  EXPECT_EQ(environment.Statistics().log_file_count, 1u);
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
  Environment environment;
  const auto refusal = [&](const char* home, const char* password) {
    EXPECT_NE(environment.Open(home, kAll, password), 0);
    EXPECT_THAT(environment.ErrorText(), Not(HasSubstr("ecret")));
    return environment.ErrorText();
  };
  const std::string none = refusal("home", "");
  const std::string wrong = refusal("home", "Secret");
  const std::string needless = refusal("plain", "secret");
  EXPECT_THAT(none, HasSubstr("no password was given"));
  EXPECT_THAT(wrong, HasSubstr("the password is wrong"));
  EXPECT_THAT(needless, HasSubstr("is not encrypted"));
  Open(environment, "secret");
  EXPECT_EQ(Records(environment).Get("key"), "value");
  // Nor may one who joins.
  Environment other;
  EXPECT_NE(other.Open("home", kAll, "Secret"), 0);
  EXPECT_EQ(other.ErrorText(), wrong);
}

TEST_F(EnvironmentTest, RefusesAHomeThatIsNoFolder) {
  Environment environment;
  EXPECT_NE(environment.Open("missing", kAll, ""), 0);
  EXPECT_THAT(environment.ErrorText(), HasSubstr("'missing'"));
  WriteTestFile("file");
  EXPECT_NE(environment.Open("file", kAll, ""), 0);
  EXPECT_THAT(environment.ErrorText(), HasSubstr("no folder"));
  EXPECT_FALSE(environment.IsOpen());
  EXPECT_EQ(FailureOf([&] { environment.Begin(); }), Failure::Other);
}

TEST_F(EnvironmentTest, RefusesAHomeOnANetworkFileSystem) {
  constexpr std::pair<long, const char*> kKinds[] = {
      {0x6969, "(NFS)"}, {0x01021997, "(9P)"}, {0x65735546, "(FUSE)"}};
  Environment environment;
  for (const auto& [magic, kind] : kKinds) {
    const testing::NetworkDisk disk(magic);
    EXPECT_NE(environment.Open("home", kAll, ""), 0);
    EXPECT_THAT(environment.ErrorText(), HasSubstr("'home'"));
    EXPECT_THAT(environment.ErrorText(), HasSubstr(kind));
  }
  EXPECT_TRUE(std::filesystem::is_empty("home"));
  Open(environment);
}

TEST_F(EnvironmentTest, LeavesNothingOfATransactionThatDidNotCommit) {
  Environment environment;
  Open(environment);
  {
    Records records(environment);
    records.Put(environment.Begin().get(), "dropped", "x");
    const auto aborted = environment.Begin();
    records.Put(aborted.get(), "aborted", "x");
    aborted->Abort();
    const auto outer = environment.Begin();
    const auto inner = BeginInside(environment, outer.get());
    records.Put(inner.get(), "inner", "x");
    inner->Abort();
    records.Put(outer.get(), "outer", "x");
    outer->Commit();
    for (const char* key : {"dropped", "aborted", "inner"})
      EXPECT_EQ(records.Get(key), "") << key;
    EXPECT_EQ(records.Get("outer"), "x");
    EXPECT_TRUE(outer->HasEnded());
    EXPECT_EQ(FailureOf([&] { outer->Commit(); }), Failure::Other);
    EXPECT_EQ(FailureOf([&] { outer->Abort(); }), Failure::Other);
  }
}

TEST_F(EnvironmentTest, AbortsWhatIsLeftWhenItIsClosed) {
  Environment environment;
  Open(environment);
  const auto left = environment.Begin();
  const auto inside = BeginInside(environment, left.get());
  const auto idle = environment.Begin();
  EXPECT_EQ(environment.Close(), 0) << environment.ErrorText();
  for (const auto& transaction : {left, inside, idle}) {
    EXPECT_TRUE(transaction->HasEnded());
    EXPECT_EQ(FailureOf([&] { transaction->Commit(); }), Failure::Other);
  }
}

// Closing the one neither takes the other's locks nor recovers under it.
TEST_F(EnvironmentTest, CanBeOpenedTwiceInOneProcess) {
  Environment first;
  Environment second;
  Open(first);
  Open(second);
  {
    Records mine(first);
    Records others(second);
    mine.Put("key", "value");
    EXPECT_EQ(others.Get("key"), "value");
  }
  EXPECT_EQ(first.Close(), 0);
  EXPECT_EQ(Records(second).Get("key"), "value");
}

TEST_F(EnvironmentTest, ListsTheLogFilesThatNobodyNeedsAndKeepsThem) {
  WriteTestFile("home/DB_CONFIG", "set_lg_max 300000\nset_lg_bsize 65536\n");
  Environment environment;
  Open(environment);
  {
    Records records(environment);
    for (int i = 0; i < 300; ++i)
      records.Put(std::to_string(i), std::string(900, 'x'));
    for (int i = 0; i < 300; ++i)
      records.Put(std::to_string(i), std::string(900, 'y'));
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

// Runs `work` in a process of its own that is killed when `work` is done.
class KilledProcess {
 public:
  explicit KilledProcess(const std::function<void()>& work) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ == 0) {
      work();
      if (::write(ends[1], "x", 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    ::close(ends[1]);
    char done;
    is_done_ = ::read(ends[0], &done, 1) == 1;
    ::close(ends[0]);
  }
  bool IsDone() const { return is_done_; }
  void Kill() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }

 private:
  pid_t process_;
  bool is_done_;
};

// Berkeley DB does not free all its memory when it cleared up after somebody,
// which is no leak of the tests' process this way.
void ExpectInOwnProcess(const std::function<void()>& test) {
  EXPECT_EXIT(
      {
        test();
        std::_Exit(::testing::Test::HasFailure() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(EnvironmentTest, TakesItsLocksFromOneWhoDied) {
  ExpectInOwnProcess([] {
    // Not closed, as by one who is killed.
    static std::unique_ptr<Environment> environment_of_child;
    static std::unique_ptr<Records> records_of_child;
    static std::shared_ptr<Transaction> transaction_of_child;
    KilledProcess child([] {
      environment_of_child = std::make_unique<Environment>();
      environment_of_child->Open("home", kAll, "");
      records_of_child = std::make_unique<Records>(*environment_of_child);
      records_of_child->Put("key", "committed");
      transaction_of_child = environment_of_child->Begin();
      records_of_child->Put(transaction_of_child.get(), "key", "not committed");
    });
    ASSERT_TRUE(child.IsDone());
    Environment environment;
    Open(environment);
    Records records(environment);
    auto value =
        std::async(std::launch::async, [&] { return records.Get("key"); });
    EXPECT_EQ(value.wait_for(milliseconds(100)), std::future_status::timeout);
    child.Kill();
    ASSERT_EQ(value.wait_for(seconds(5)), std::future_status::ready);
    EXPECT_EQ(value.get(), "committed");
  });
}

TEST_F(EnvironmentTest, IsNotTakenForOpenBecauseOfAChild) {
  Environment environment;
  Open(environment);
  KilledProcess child([] {});
  ASSERT_TRUE(child.IsDone());
  EXPECT_EQ(environment.Close(), 0);
  // Only the first to open it, whom nobody else is beside, may.
  EXPECT_NO_THROW(environment.Repair("home", "", false));
  child.Kill();
}

// As after a program that died inside Berkeley DB.
TEST_F(EnvironmentTest, AsksToBeClosedEverywhereAndIsThenRecovered) {
  ExpectInOwnProcess([] {
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
  });
}

}  // namespace
}  // namespace kiv::xdb
