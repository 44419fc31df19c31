// Stores that cannot be opened, or whose server goes.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "kiv/strings.h"
#include "testing/listener.h"
#include "testing/postgres_server.h"
#include "testing/test_log.h"

namespace kiv::testing {
namespace {

using std::chrono::steady_clock;
using store::Factory;
using store::Rows;

constexpr char kSecret[] = "Geheim-17";

// The library started, in a folder of its own, with its log.
class Scenario17Store : public ::testing::Test {
 protected:
  Scenario17Store() { GlobalInit(); }
  ~Scenario17Store() override { GlobalUninit(); }

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
};

TEST_F(Scenario17Store, InTheWayAnswersFalseAndSaysWhy) {
  const struct {
    const char* name;
    // A file of garbage that is in the way.
    std::string file;
    // Of the store, without a password; HERE is the folder, SILENT the port of
    // somebody who takes a connection and says nothing. None: of the PostgreSQL
    // server of the tests.
    std::string text;
    // What the log says about it, each somewhere in the entry.
    const char* part;
    const char* other_part = "Failed";
  } obstacles[] = {
      {"DriverMissing", "", "ado:ado:Driver={Acme Driver};Server=h;UID=u",
       "'Acme Driver' is not installed", "odbcinst.ini"},
      {"ServerDown", "",
       "ado:ado:Driver=PostgreSQL Unicode;Server=HERE;Port=5432;"
       "Database=d;UID=u",
       "08001", "5432"},
      // From the server itself.
      {"WrongPassword", "", "", "(08001, ",
       "password authentication failed for user \"kiv\""},
      {"ServerSilent", "",
       "ado:ado:Driver=PostgreSQL Unicode;Server=127.0.0.1;"
       "Port=SILENT;Database=d;UID=u",
       "08001"},
      {"SqlServerDown", "",
       "ado::Provider=SQLOLEDB;Data Source=127.0.0.1,1;"
       "Initial Catalog=d;User ID=u",
       "08S01", "unavailable"},
      {"SqlServerSilent", "",
       "ado::Provider=SQLOLEDB;Data Source=127.0.0.1,SILENT;"
       "Initial Catalog=d;User ID=u",
       "HYT00"},
      {"GarbageForAnSqliteFile", "g.db", "ado:ado:Driver=SQLite3;Database=g.db",
       "the file 'g.db' cannot be opened", "is not a database"},
      {"GarbageForAnAccessFile", "g.mdb",
       "ado::Provider=Microsoft.Jet.OLEDB.4.0;Data Source=g.mdb",
       "the file 'g.mdb' cannot be opened"}};
  bool are_all_run = true;
  for (const auto& [name, file, given, part, other_part] : obstacles) {
    SCOPED_TRACE(name);
    if ((given.empty() || given.find("PostgreSQL") != std::string::npos) &&
        !PostgresServer::IsInstalled()) {
      are_all_run = false;
      continue;
    }
    const TestFolder folder;
    const TestLog log;
    std::string garbage(5000, '\x5A');
    if (file == "g.mdb")
      garbage.insert(0, std::string("\0\1\0\0Standard Jet DB\0", 20));
    if (!file.empty()) WriteTestFile(file, garbage);
    const Listener silent;
    std::string text = given + ";Connect Timeout=2;PWD=" + kSecret;
    string_replace(text, "HERE", folder.path().c_str());
    string_replace(text, "SILENT", std::to_string(silent.Port()).c_str());
    const auto store = Factory().CreateConnection(
        given.empty() ? SharedPostgres().Text("postgres", kSecret) : text);
    ASSERT_NE(store, nullptr) << log.Text();
    const auto start = steady_clock::now();
    EXPECT_FALSE(store->Open("", ""));
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(8));
    EXPECT_EQ(log.Count("AdoConnection::Open Failed: "), 1);
    EXPECT_EQ(log.Count("\n"), 1) << "one entry: " << log.Text();
    EXPECT_TRUE(log.Has(part) && log.Has(other_part)) << log.Text();
    EXPECT_FALSE(store->IsExistTable("t"));
    EXPECT_FALSE(store->OpenOrCreate("", ""));
    EXPECT_FALSE(log.Has(kSecret)) << log.Text();
    // Not emptied, not completed.
    EXPECT_TRUE(file.empty() || ReadTestFile(file) == garbage);
  }
  if (!are_all_run) GTEST_SKIP() << PostgresServer::kWhyNot;
}

// Every operation says so at once, and a new connection works when the server
// is back.
TEST_F(Scenario17Store, GoesOnWithoutItsServer) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << PostgresServer::kWhyNot;
  PostgresServer server;
  const std::string text = server.Text("postgres");
  const auto store = Factory().CreateConnection(text);
  ASSERT_TRUE(store->Open("", "")) << log_.Text();
  const auto rows = Rows::On(store);
  rows->Execute("create table t (id integer)");
  const auto table = store->GetTable("t");
  ASSERT_NE(table, nullptr) << log_.Text();
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
  EXPECT_EQ(store->BeginTransaction(), nullptr);
  EXPECT_FALSE(log_.Has(PostgresServer::kPassword));

  server.Start();
  const auto again = Factory().CreateConnection(text);
  ASSERT_TRUE(again->Open("", "")) << log_.Text();
  const auto kept = again->GetTable("t");
  ASSERT_NE(kept, nullptr);
  EXPECT_TRUE(kept->OpenRecordset()->IsEOF());
}

}  // namespace
}  // namespace kiv::testing
