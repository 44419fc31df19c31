// Stores that cannot be opened, and names and values that must not be changed
// on their way.
#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <filesystem>
#include <string>
#include <vector>

#include "dm/dm.h"
#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "kiv/strings.h"
#include "port/test_folder.h"
#include "testing/listener.h"
#include "testing/store_backend.h"
#include "testing/test_log.h"

namespace kiv::testing {
namespace {

using store::Connection;
using store::Factory;
using store::FillRecord;
using store::Rows;
using Any = dm::ObjectPtr<int*>;

constexpr char kSecret[] = "Geheim-17";
// 订单
constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";

// The library started, in a folder of its own, with its log.
class Scenario17Store : public ::testing::Test {
 protected:
  Scenario17Store() { GlobalInit(); }
  ~Scenario17Store() override { GlobalUninit(); }

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
};

// --- Stores that do not open -------------------------------------------------

struct Obstacle {
  const char* name;
  // A file of garbage, or a folder, that is in the way.
  std::string file;
  // Of the store, without a password; HERE is the folder. None: of the
  // PostgreSQL server of the tests.
  std::string text;
  // What the log says about it, each somewhere in the entry.
  const char* part;
  const char* other_part = "";
};

void PrintTo(const Obstacle& obstacle, std::ostream* out) {
  *out << obstacle.name;
}

std::string Garbage() { return std::string(5000, '\x5A'); }

class Scenario17StoreInTheWay : public Scenario17Store,
                                public ::testing::WithParamInterface<Obstacle> {
};

TEST_P(Scenario17StoreInTheWay, AnswersFalseAndSaysWhy) {
  const Obstacle& obstacle = GetParam();
  std::string text = obstacle.text;
  if ((text.empty() || text.find("PostgreSQL") != std::string::npos) &&
      !PostgresServer::IsInstalled())
    GTEST_SKIP() << PostgresServer::kWhyNot;
  if (obstacle.file.ends_with('/'))
    std::filesystem::create_directory(obstacle.file);
  else if (!obstacle.file.empty())
    WriteTestFile(obstacle.file,
                  (obstacle.file.ends_with(".mdb")
                       ? std::string("\0\1\0\0Standard Jet DB\0", 20)
                       : "") +
                      Garbage());
  if (text.empty()) {
    text = PostgresText("postgres", kSecret);
  } else {
    string_replace(text, "HERE", folder_.path().c_str());
    text += std::string(";PWD=") + kSecret;
  }
  const auto store = Factory().CreateConnection(text);
  ASSERT_NE(store, nullptr) << log_.Text();
  EXPECT_FALSE(store->Open("", ""));
  EXPECT_EQ(log_.Count("AdoConnection::Open Failed: "), 1);
  EXPECT_EQ(log_.Count("\n"), 1) << "one entry: " << log_.Text();
  for (const char* const part : {obstacle.part, obstacle.other_part})
    EXPECT_NE(log_.Text().find(part), std::string::npos)
        << part << " in " << log_.Text();
  EXPECT_FALSE(store->IsExistTable("t"));
  EXPECT_FALSE(store->OpenOrCreate("", ""));
  EXPECT_FALSE(log_.Has(kSecret)) << log_.Text();
}

INSTANTIATE_TEST_SUITE_P(
    Obstacles, Scenario17StoreInTheWay,
    ::testing::Values(
        Obstacle{"DriverMissing", "",
                 "ado:ado:Driver={Acme Driver};Server=h;UID=u",
                 "'Acme Driver' is not installed", "odbcinst.ini"},
        Obstacle{"DriverIsNoLibrary", "driver.so",
                 "ado:ado:Driver=HERE/driver.so;UID=u", "01000", "driver.so"},
        Obstacle{"ServerDown", "",
                 "ado:ado:Driver=PostgreSQL Unicode;Server=HERE;Port=5432;"
                 "Database=d;UID=u",
                 "08001", "5432"},
        // From the server itself.
        Obstacle{"WrongPassword", "", "", "(08001, ",
                 "password authentication failed for user \"kiv\""},
        Obstacle{"SqlServerDown", "",
                 "ado::Provider=SQLOLEDB;Data Source=127.0.0.1,1;"
                 "Initial Catalog=d;User ID=u",
                 "08S01", "unavailable"},
        Obstacle{"GarbageForAnSqliteFile", "g.db",
                 "ado:ado:Driver=SQLite3;Database=g.db",
                 "the file 'g.db' cannot be opened", "is not a database"},
        Obstacle{"GarbageForAnAccessFile", "g.mdb",
                 "ado::Provider=Microsoft.Jet.OLEDB.4.0;Data Source=g.mdb",
                 "the file 'g.mdb' cannot be opened"},
        Obstacle{"FolderForAFile", "f.db/",
                 "ado:ado:Driver=SQLite3;Database=f.db", "'f.db'", "folder"}),
    [](const auto& given) { return given.param.name; });

struct SilentServer {
  const char* name;
  // Up to and behind the port.
  std::string before;
  const char* behind;
  const char* reason;
};

void PrintTo(const SilentServer& server, std::ostream* out) {
  *out << server.name;
}

class Scenario17SilentServer
    : public Scenario17Store,
      public ::testing::WithParamInterface<SilentServer> {};

// It takes a connection and says nothing.
TEST_P(Scenario17SilentServer, IsGivenUpInTime) {
  const SilentServer& server = GetParam();
  if (server.before.find("PostgreSQL") != std::string::npos &&
      !PostgresServer::IsInstalled())
    GTEST_SKIP() << PostgresServer::kWhyNot;
  const Listener listener;
  const auto store = Factory().CreateConnection(
      server.before + std::to_string(listener.Port()) + server.behind +
      ";Connect Timeout=2");
  ASSERT_NE(store, nullptr) << log_.Text();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(store->Open("", ""));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
  EXPECT_TRUE(log_.Has("AdoConnection::Open Failed: ")) << log_.Text();
  EXPECT_TRUE(log_.Has(server.reason)) << log_.Text();
  EXPECT_FALSE(log_.Has("Geheim"));
}

INSTANTIATE_TEST_SUITE_P(
    Servers, Scenario17SilentServer,
    ::testing::Values(
        SilentServer{"SqlServer",
                     "ado::Provider=SQLOLEDB;Data Source=127.0.0.1,",
                     ";Initial Catalog=d;User ID=u;Password=Geheim", "HYT00"},
        SilentServer{"Postgres",
                     "ado:ado:Driver=PostgreSQL Unicode;Server=127.0.0.1;Port=",
                     ";Database=d;UID=u;PWD=Geheim", "08001"}),
    [](const auto& given) { return given.param.name; });

// A file that no store opened is as it was: not emptied, not completed.
TEST_F(Scenario17Store, LeavesAFileThatIsNoDatabaseAlone) {
  WriteTestFile("g.db", Garbage());
  const auto store =
      Factory().CreateConnection("ado:ado:Driver=SQLite3;Database=g.db");
  EXPECT_FALSE(store->OpenOrCreate("", ""));
  EXPECT_TRUE(ReadTestFile("g.db") == Garbage());
}

// Every operation says so at once, and a new connection works when the server
// is back.
TEST_F(Scenario17Store, GoesOnWithoutItsServer) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << PostgresServer::kWhyNot;
  PostgresServer server;
  const std::string text =
      "ado:ado:Driver=PostgreSQL Unicode;Server=" + server.Host() +
      ";Port=" + std::to_string(PostgresServer::Port()) +
      ";Database=postgres;UID=" + PostgresServer::kUser +
      ";PWD=" + PostgresPassword();
  const auto store = Factory().CreateConnection(text);
  ASSERT_TRUE(store->Open("", "")) << log_.Text();
  const auto table = store->CreateTable("t");
  ASSERT_TRUE(table->CreateColumn("id", Any(dm_o_int32_metadata()), 0));
  ASSERT_TRUE(table->CompleteCreate()) << log_.Text();
  const auto rows = Rows::On(store);
  auto transaction = store->BeginTransaction();
  ASSERT_NE(transaction, nullptr);
  EXPECT_EQ(rows->Execute("insert into t values (1)"), 1);
  server.Stop();
  EXPECT_EQ(rows->Execute("insert into t values (2)"), -1);
  EXPECT_FALSE(transaction->Commit());
  EXPECT_TRUE(log_.Has("AdoTransaction::Commit Failed: "));
  transaction.reset();
  EXPECT_FALSE(store->IsExistTable("t"));
  EXPECT_EQ(table->OpenRecordset(), nullptr);
  EXPECT_FALSE(store->DeleteTable("t"));
  EXPECT_EQ(store->BeginTransaction(), nullptr);
  EXPECT_FALSE(log_.Has(PostgresServer::kPassword));

  server.Start();
  const auto again = Factory().CreateConnection(text);
  ASSERT_TRUE(again->Open("", "")) << log_.Text();
  const auto kept = again->GetTable("t");
  ASSERT_NE(kept, nullptr);
  EXPECT_TRUE(kept->OpenRecordset()->IsEOF());
}

// --- Names and values --------------------------------------------------------

class Scenario17StoreNames
    : public Scenario17Store,
      public ::testing::WithParamInterface<StoreBackend> {
 protected:
  void SetUp() override {
    if (GetParam().fresh_text != SqliteText && !PostgresServer::IsInstalled())
      GTEST_SKIP() << PostgresServer::kWhyNot;
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    store_ = Factory().CreateConnection(GetParam().fresh_text());
    ASSERT_TRUE(store_->Create("", "")) << log_.Text();
  }

  // With one column "text" and one row.
  void Make(const std::string& name, const std::string& text) {
    const auto table = store_->CreateTable(name);
    ASSERT_NE(table, nullptr);
    ASSERT_TRUE(
        table->CreateColumn("text", Any(dm_o_ansi_string_metadata()), 650));
    ASSERT_TRUE(table->CompleteCreate()) << log_.Text();
    const Any record = NewRecord();
    ASSERT_TRUE(dm_o_string_assign(FieldOf(record), text.c_str()));
    ASSERT_TRUE(Rows::On(store_)->Insert(name, {record})) << log_.Text();
  }
  std::string OnlyText(const std::string& name) {
    const auto table = store_->GetTable(name);
    const auto rows = table ? table->OpenRecordset() : nullptr;
    const Any record = NewRecord();
    if (!rows || rows->IsEOF() || !FillRecord(*rows, record)) return "none";
    EXPECT_TRUE(rows->MoveNext());
    EXPECT_TRUE(rows->IsEOF());
    return dm_o_string_text(FieldOf(record));
  }

  std::shared_ptr<Connection> store_;

 private:
  static Any NewRecord() {
    const auto type = Any::Take(dm_o_struct_metadata_new());
    EXPECT_TRUE(dm_o_struct_metadata_append(type.get(), "text",
                                            dm_o_ansi_string_metadata()));
    return Any::Take(dm_o_instance_from_metadata(type.get()));
  }
  static void* FieldOf(const Any& record) {
    return dm_o_struct_field_at(record.get(), 0);
  }
};

TEST_P(Scenario17StoreNames, AreExactAndNothingElseIsDropped) {
  std::string whole;
  for (int i = 0; i < 200; ++i) whole += std::string("x") + kOrders;
  const std::vector<std::string> names{
      "y", "x\"; drop table y;--", "a_b", "axb", kOrders, "x'; drop table y;--",
  };
  for (const std::string& name : names) Make(name, name + whole);
  for (const std::string& name : names) {
    EXPECT_TRUE(store_->IsExistTable(name)) << name;
    EXPECT_EQ(OnlyText(name), name + whole) << name;
  }
  // Each goes alone.
  EXPECT_TRUE(store_->DeleteTable("a_b"));
  EXPECT_TRUE(store_->DeleteTable("x\"; drop table y;--"));
  EXPECT_TRUE(store_->DeleteTable(kOrders)) << log_.Text();
  for (const char* const name : {"a_b", "x\"; drop table y;--", kOrders})
    EXPECT_FALSE(store_->IsExistTable(name)) << name;
  for (const char* const name : {"y", "axb", "x'; drop table y;--"})
    EXPECT_EQ(OnlyText(name), name + whole);
}

INSTANTIATE_TEST_SUITE_P(Databases, Scenario17StoreNames,
                         ::testing::Values(kSqlite, kPostgres),
                         [](const auto& given) { return given.param.name; });

}  // namespace
}  // namespace kiv::testing
