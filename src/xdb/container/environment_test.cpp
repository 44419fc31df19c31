#include "xdb/container/environment.h"

#include <db_cxx.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "port/file.h"
#include "port/lock_file.h"
#include "port/test_folder.h"
#include "testing/eventually.h"
#include "testing/network_disk.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr EnvironmentSwitches kAll = {
    .thread = true, .lock = true, .log = true, .transactions = true};

// A table of records in an environment.
class Records {
 public:
  explicit Records(Environment& environment)
      : environment_(environment),
        table_(EnvironmentHandle(environment), DB_CXX_NO_EXCEPTIONS) {
    const auto transaction = environment.Begin();
    CheckCode(table_.open(TransactionHandle(transaction.get()), "records.xdb",
                          nullptr, DB_BTREE, DB_CREATE | DB_THREAD, 0),
              "open", "records.xdb");
    transaction->Commit();
  }
  ~Records() { table_.close(0); }

  void Put(Transaction* transaction, std::string key, std::string value) {
    Dbt key_bytes(key.data(), static_cast<u_int32_t>(key.size()));
    Dbt value_bytes(value.data(), static_cast<u_int32_t>(value.size()));
    CheckCode(
        table_.put(TransactionHandle(transaction), &key_bytes, &value_bytes, 0),
        "put", key);
  }
  void Put(const std::string& key, const std::string& value) {
    const auto transaction = environment_.Begin();
    Put(transaction.get(), key, value);
    transaction->Commit();
  }
  // Empty when there is none.
  std::string Get(std::string key, Transaction* transaction = nullptr) {
    Dbt key_bytes(key.data(), static_cast<u_int32_t>(key.size()));
    std::string value(1000, '\0');
    Dbt value_bytes;
    value_bytes.set_flags(DB_DBT_USERMEM);
    value_bytes.set_data(value.data());
    value_bytes.set_ulen(static_cast<u_int32_t>(value.size()));
    const int code =
        table_.get(TransactionHandle(transaction), &key_bytes, &value_bytes, 0);
    if (code == DB_NOTFOUND) return "";
    CheckCode(code, "get", key);
    value.resize(value_bytes.get_size());
    return value;
  }

 private:
  Environment& environment_;
  Db table_;
};

class EnvironmentTest : public ::testing::Test {
 protected:
  EnvironmentTest() { std::filesystem::create_directory("home"); }

  void Open(Environment& environment, const std::string& password = "") {
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

  void TakeLocksFromOneWhoDied();
  void DieAndBeRecovered();

  const TestFolder folder_;
};

struct FlagCase {
  const char* name;
  EnvironmentSwitches switches;
  bool is_threaded;
  bool is_transactional;
  u_int32_t flags;
};

class EnvironmentFlags : public ::testing::TestWithParam<FlagCase> {};

TEST_P(EnvironmentFlags, AreThoseAskedForAndWhatTheyNeed) {
  const TestFolder folder;
  std::filesystem::create_directory("home");
  Environment environment;
  ASSERT_EQ(environment.Open("home", GetParam().switches, ""), 0)
      << environment.ErrorText();
  EXPECT_EQ(environment.IsThreaded(), GetParam().is_threaded);
  EXPECT_EQ(environment.IsTransactional(), GetParam().is_transactional);
  EXPECT_FALSE(environment.IsEncrypted());
  u_int32_t flags = 0;
  EnvironmentHandle(environment)->get_open_flags(&flags);
  EXPECT_EQ(flags, GetParam().flags | DB_CREATE | DB_INIT_MPOOL);
  EXPECT_EQ(environment.Close(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Switches, EnvironmentFlags,
    ::testing::Values(
        FlagCase{"None", {}, false, false, 0},
        FlagCase{"Thread", {.thread = true}, true, false, DB_THREAD},
        FlagCase{"Lock", {.lock = true}, false, false, DB_INIT_LOCK},
        FlagCase{"Log", {.log = true}, false, false, DB_INIT_LOG},
        FlagCase{"TransactionsBringLocking",
                 {.transactions = true},
                 false,
                 true,
                 DB_INIT_TXN | DB_INIT_LOCK},
        FlagCase{"All", kAll, true, true,
                 DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_TXN}),
    [](const auto& flags) { return flags.param.name; });

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
  EXPECT_NE(environment.Open("home", kAll, ""), 0);
  const std::string none = environment.ErrorText();
  EXPECT_NE(environment.Open("home", kAll, "Secret"), 0);
  const std::string wrong = environment.ErrorText();
  EXPECT_NE(environment.Open("plain", kAll, "secret"), 0);
  const std::string needless = environment.ErrorText();
  EXPECT_NE(none.find("no password was given"), std::string::npos) << none;
  EXPECT_NE(wrong.find("the password is wrong"), std::string::npos) << wrong;
  EXPECT_NE(needless.find("is not encrypted"), std::string::npos) << needless;
  for (const std::string& text : {none, wrong, needless})
    EXPECT_EQ(text.find("ecret"), std::string::npos) << text;
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
  EXPECT_NE(environment.ErrorText().find("'missing'"), std::string::npos);
  WriteTestFile("file");
  EXPECT_NE(environment.Open("file", kAll, ""), 0);
  EXPECT_NE(environment.ErrorText().find("no folder"), std::string::npos);
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
    EXPECT_NE(environment.ErrorText().find("'home'"), std::string::npos);
    EXPECT_NE(environment.ErrorText().find(kind), std::string::npos)
        << environment.ErrorText();
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

TEST_F(EnvironmentTest, TellsWhoWaitedTooLongForALock) {
  WriteTestFile("home/DB_CONFIG", "set_lock_timeout 300000\n");
  Environment environment;
  Open(environment);
  Records records(environment);
  const auto first = environment.Begin();
  records.Put(first.get(), "key", "first");
  const auto start = steady_clock::now();
  const auto second = environment.Begin();
  EXPECT_EQ(FailureOf([&] { records.Put(second.get(), "key", "second"); }),
            Failure::BusyTooLong);
  EXPECT_LT(steady_clock::now() - start, seconds(10));
  second->Abort();
  first->Commit();
  EXPECT_EQ(records.Get("key"), "first");
}

TEST_F(EnvironmentTest, EndsADeadlock) {
  Environment environment;
  Open(environment);
  Records records(environment);
  // Far enough apart for pages of their own.
  for (int i = 0; i < 100; ++i)
    records.Put(std::to_string(1000 + i), std::string(900, 'x'));
  std::atomic<int> holders = 0;
  std::atomic<int> deadlocks = 0;
  const auto run = [&](const char* first, const char* then) {
    const auto transaction = environment.Begin();
    try {
      records.Put(transaction.get(), first, "1");
      ++holders;
      while (holders < 2) std::this_thread::yield();
      records.Put(transaction.get(), then, "2");
      transaction->Commit();
    } catch (const StoreError& error) {
      EXPECT_EQ(error.failure(), Failure::Deadlock) << error.what();
      ++deadlocks;
    }
  };
  std::thread other(run, "1099", "1000");
  run("1000", "1099");
  other.join();
  EXPECT_EQ(deadlocks, 1);
  EXPECT_EQ(environment.Statistics().deadlock_count, 1u);
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
  EXPECT_NE(environment.ErrorText().find("another program"), std::string::npos);
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
  ExpectInOwnProcess([this] { TakeLocksFromOneWhoDied(); });
}

void EnvironmentTest::TakeLocksFromOneWhoDied() {
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
  ExpectInOwnProcess([this] { DieAndBeRecovered(); });
}

void EnvironmentTest::DieAndBeRecovered() {
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
}

TEST_F(EnvironmentTest, IsRepairedOnlyWhenNobodyHasIt) {
  Environment environment;
  Open(environment);
  {
    Records records(environment);
    records.Put("key", "value");
    Environment other;
    EXPECT_EQ(FailureOf([&] { other.Repair("home", "", false); }),
              Failure::BusyTooLong);
    EXPECT_EQ(records.Get("key"), "value");
  }
  environment.Close();
  for (const bool is_catastrophic : {false, true}) {
    environment.Repair("home", "", is_catastrophic);
    EXPECT_FALSE(environment.IsOpen());
  }
  Open(environment);
  EXPECT_EQ(Records(environment).Get("key"), "value");
  EXPECT_EQ(environment.Statistics().recovery_count, 2u);
}

}  // namespace
}  // namespace kiv::xdb
