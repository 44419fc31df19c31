// Stores that cannot be opened, and names and values that must not be changed
// on their way.
#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "dm/dm.h"
#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "port/test_folder.h"
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

std::string WithSecret(const std::string& text) {
  return text + ";PWD=" + kSecret;
}

// --- Stores that do not open -------------------------------------------------

struct Obstacle {
  const char* name;
  bool needs_postgres;
  // Of a store with something in the way; makes what is in the way.
  std::function<std::string()> text;
  // What the log says about it, each part somewhere in the entry.
  std::vector<std::string> parts;
};

void PrintTo(const Obstacle& obstacle, std::ostream* out) {
  *out << obstacle.name;
}

std::string Garbage() { return std::string(5000, '\x5A'); }

class Scenario17StoreInTheWay : public ::testing::TestWithParam<Obstacle> {};

TEST_P(Scenario17StoreInTheWay, AnswersFalseAndSaysWhy) {
  const Obstacle& obstacle = GetParam();
  if (obstacle.needs_postgres && !PostgresServer::IsInstalled())
    GTEST_SKIP() << PostgresServer::kWhyNot;
  GlobalInit();
  {
    const TestFolder folder;
    const TestLog log(folder.path());
    const auto store = Factory().CreateConnection(obstacle.text());
    ASSERT_NE(store, nullptr) << log.Text();
    EXPECT_FALSE(store->Open("", ""));
    EXPECT_EQ(log.Count("AdoConnection::Open Failed: "), 1);
    EXPECT_EQ(log.Count("\n"), 1) << "one entry: " << log.Text();
    for (const std::string& part : obstacle.parts)
      EXPECT_TRUE(log.Has(part)) << part << " in " << log.Text();
    EXPECT_FALSE(store->IsExistTable("t"));
    EXPECT_FALSE(store->OpenOrCreate("", ""));
    EXPECT_FALSE(log.Has(kSecret)) << log.Text();
  }
  GlobalUninit();
}

INSTANTIATE_TEST_SUITE_P(
    Obstacles, Scenario17StoreInTheWay,
    ::testing::Values(
        Obstacle{"DriverMissing",
                 false,
                 [] {
                   return WithSecret(
                       "ado:ado:Driver={Acme Driver};Server=h;UID=u");
                 },
                 {"'Acme Driver' is not installed", "odbcinst.ini"}},
        Obstacle{"DriverIsNoLibrary",
                 false,
                 [] {
                   WriteTestFile("driver.so", Garbage());
                   return WithSecret(
                       "ado:ado:Driver=" +
                       std::filesystem::absolute("driver.so").string() +
                       ";UID=u");
                 },
                 {"01000", "driver.so"}},
        Obstacle{"ServerDown",
                 true,
                 [] {
                   std::filesystem::create_directory("nobody");
                   return WithSecret(
                       "ado:ado:Driver=PostgreSQL Unicode;Server=" +
                       std::filesystem::absolute("nobody").string() +
                       ";Port=5432;Database=d;UID=u");
                 },
                 {"08001", "5432"}},
        Obstacle{
            "WrongPassword",
            true,
            [] { return PostgresText("postgres", kSecret); },
            // From the server itself.
            {"(08001, ", "password authentication failed for user \"kiv\""}},
        Obstacle{"SqlServerDown",
                 false,
                 [] {
                   return WithSecret(
                       "ado::Provider=SQLOLEDB;Data Source=127.0.0.1,1;"
                       "Initial Catalog=d;User ID=u");
                 },
                 {"08S01", "unavailable"}},
        Obstacle{"GarbageForAnSqliteFile",
                 false,
                 [] {
                   WriteTestFile("g.db", Garbage());
                   return WithSecret("ado:ado:Driver=SQLite3;Database=g.db");
                 },
                 {"the file 'g.db' cannot be opened", "is not a database"}},
        Obstacle{"GarbageForAnAccessFile",
                 false,
                 [] {
                   WriteTestFile("g.mdb",
                                 std::string("\0\1\0\0Standard Jet DB\0", 20) +
                                     Garbage());
                   return WithSecret(
                       "ado::Provider=Microsoft.Jet.OLEDB.4.0;"
                       "Data Source=g.mdb");
                 },
                 {"the file 'g.mdb' cannot be opened"}},
        Obstacle{"FolderForAFile",
                 false,
                 [] {
                   std::filesystem::create_directory("f.db");
                   return WithSecret("ado:ado:Driver=SQLite3;Database=f.db");
                 },
                 {"'f.db'", "folder"}}),
    [](const auto& given) { return given.param.name; });

// A file that no store opened is as it was: not emptied, not completed.
TEST(Scenario17Store, LeavesAFileThatIsNoDatabaseAlone) {
  GlobalInit();
  {
    const TestFolder folder;
    const TestLog log(folder.path());
    WriteTestFile("g.db", Garbage());
    const auto store =
        Factory().CreateConnection("ado:ado:Driver=SQLite3;Database=g.db");
    EXPECT_FALSE(store->OpenOrCreate("", ""));
    EXPECT_TRUE(ReadTestFile("g.db") == Garbage());
  }
  GlobalUninit();
}

// Every operation says so at once, and a new connection works when the server
// is back.
TEST(Scenario17Store, GoesOnWithoutItsServer) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << PostgresServer::kWhyNot;
  GlobalInit();
  {
    const TestFolder folder;
    const TestLog log(folder.path());
    PostgresServer server;
    const std::string text =
        "ado:ado:Driver=PostgreSQL Unicode;Server=" + server.Host() +
        ";Port=" + std::to_string(PostgresServer::Port()) +
        ";Database=postgres;UID=" + PostgresServer::kUser +
        ";PWD=" + PostgresPassword();
    const auto store = Factory().CreateConnection(text);
    ASSERT_TRUE(store->Open("", "")) << log.Text();
    const auto table = store->CreateTable("t");
    ASSERT_TRUE(table->CreateColumn("id", Any(dm_o_int32_metadata()), 0));
    ASSERT_TRUE(table->CompleteCreate()) << log.Text();
    const auto rows = Rows::On(store);
    auto transaction = store->BeginTransaction();
    ASSERT_NE(transaction, nullptr);
    EXPECT_EQ(rows->Execute("insert into t values (1)"), 1);
    server.Stop();
    EXPECT_EQ(rows->Execute("insert into t values (2)"), -1);
    EXPECT_FALSE(transaction->Commit());
    EXPECT_TRUE(log.Has("AdoTransaction::Commit Failed: "));
    transaction.reset();
    EXPECT_FALSE(store->IsExistTable("t"));
    EXPECT_EQ(table->OpenRecordset(), nullptr);
    EXPECT_FALSE(store->DeleteTable("t"));
    EXPECT_EQ(store->BeginTransaction(), nullptr);
    EXPECT_FALSE(log.Has(PostgresServer::kPassword));

    server.Start();
    const auto again = Factory().CreateConnection(text);
    ASSERT_TRUE(again->Open("", "")) << log.Text();
    const auto kept = again->GetTable("t");
    ASSERT_NE(kept, nullptr);
    EXPECT_TRUE(kept->OpenRecordset()->IsEOF());
  }
  GlobalUninit();
}

// --- Names and values --------------------------------------------------------

class Scenario17StoreNames : public ::testing::TestWithParam<StoreBackend> {
 protected:
  void SetUp() override {
    if (GetParam().fresh_text != SqliteText && !PostgresServer::IsInstalled())
      GTEST_SKIP() << PostgresServer::kWhyNot;
    GlobalInit();
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    store_ = Factory().CreateConnection(GetParam().fresh_text());
    ASSERT_TRUE(store_->Create("", "")) << log_.Text();
  }
  void TearDown() override {
    store_.reset();
    GlobalUninit();
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

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
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
