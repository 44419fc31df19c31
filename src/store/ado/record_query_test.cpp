// Queries, fillers and transactions where they are easily got wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kiv/date_time.h"
#include "store/ado/database_testing.h"
#include "store/ado/odbc_connection.h"

namespace kiv::store::ado {
namespace {

using ::testing::HasSubstr;

class Queries : public DatabaseTest {
 protected:
  std::vector<std::string> Numbers() {
    std::vector<std::string> numbers;
    const auto rows = OpenQuery(*connection_, "SELECT n FROM t ORDER BY n", {});
    while (rows->Next()) numbers.push_back(std::to_string(rows->Value(0).lVal));
    return numbers;
  }
};

TEST_P(Queries, AColumnOfJustTheNameGoesBeforeOneOfAnotherCase) {
  const auto rows =
      OpenQuery(*connection_, "SELECT 1 AS \"Id\", 2 AS \"id\"", {});
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->IndexOf("id"), 1U);
  EXPECT_EQ(rows->IndexOf("Id"), 0U);
  EXPECT_EQ(rows->IndexOf("ID"), 0U);
  const AnyObject record = RecordType({{"id", dm_o_int32_metadata()}}).New();
  RecordFiller(*rows, dm_o_metadata(record.get())).Fill(record.get());
  EXPECT_EQ(Get<std::int32_t>(record, "id"), 2);
}

// Another type may come to lie where one was that went.
TEST_P(Queries, ATypeThatWasFilledStaysAsLongAsItsPlan) {
  MakeTable("t", {{"n", adInteger}});
  Execute("INSERT INTO t VALUES (1)");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  const RecordType type({{"n", dm_o_int32_metadata()}});
  const int before = dm_o_get_ref(type.metadata());
  rows.Fill(type.New().get());
  EXPECT_GT(dm_o_get_ref(type.metadata()), before);
}

TEST_P(Queries, AStatementThatFailsTakesNoOtherWithIt) {
  Execute("CREATE TABLE t (n integer PRIMARY KEY)");
  connection_->BeginTrans();
  Execute("INSERT INTO t VALUES (1)");
  EXPECT_NE(FailureOf([&] { Execute("INSERT INTO t VALUES (1)"); }), "");
  EXPECT_NE(FailureOf([&] { OpenQuery(*connection_, "SELECT x", {}); }), "");
  Execute("INSERT INTO t VALUES (2)");
  connection_->CommitTrans();
  EXPECT_THAT(Numbers(), ::testing::ElementsAre("1", "2"));
}

// The database may end a transaction by itself.
TEST_P(Queries, ATransactionThatTheDatabaseEndedCanBeLeft) {
  Execute("CREATE TABLE t (n integer PRIMARY KEY)");
  Execute("INSERT INTO t VALUES (1)");
  const auto begin_and_lose = [&] {
    connection_->BeginTrans();
    Execute("INSERT INTO t VALUES (2)");
    EXPECT_EQ(FailureOf([&] {
                Execute(IsSqlite() ? "INSERT OR ROLLBACK INTO t VALUES (1)"
                                   : "ROLLBACK");
              }).empty(),
              !IsSqlite());
  };
  begin_and_lose();
  // Whatever this says.
  FailureOf([&] { connection_->RollbackTrans(); });
  EXPECT_FALSE(connection_->IsInTransaction());
  begin_and_lose();
  EXPECT_NE(FailureOf([&] { connection_->CommitTrans(); }), "")
      << "what was undone is no commit";
  connection_->RollbackTrans();
  connection_->BeginTrans();
  Execute("INSERT INTO t VALUES (3)");
  connection_->CommitTrans();
  EXPECT_THAT(Numbers(), ::testing::ElementsAre("1", "3"));
}

TEST_P(Queries, ANameMayHaveAPointInIt) {
  const auto rows = OpenQuery(
      *connection_, "SELECT 1 AS \"a.b\", 2 * 1.5 AS \"c.d\", 'x' AS e", {});
  EXPECT_EQ(rows->Info(0).name, "a.b");
  EXPECT_EQ(rows->Info(1).name, "c.d");
  EXPECT_EQ(rows->Info(2).name, "e");
}

TEST_P(Queries, AStatementGetsAsManyValuesAsItHasPlacesFor) {
  MakeTable("t", {{"n", adInteger}});
  const AnyObject null;
  for (const auto& [statement, reason] :
       {std::pair("INSERT INTO t VALUES (?)", "2 values for 1"),
        std::pair("INSERT INTO t VALUES (1)", "2 values for 0"),
        std::pair("UPDATE t SET n = ? WHERE n = ? OR n = ?",
                  "2 values for 3")}) {
    EXPECT_THAT(FailureOf([&, text = statement] {
                  Execute(text, {null, null});
                }),
                HasSubstr(reason));
  }
  EXPECT_THAT(
      FailureOf([&] {
        OpenQuery(*connection_, "SELECT n FROM t WHERE n = ?", {null, null});
      }),
      HasSubstr("2 values for 1"));
  EXPECT_TRUE(Numbers().empty());
}

TEST_P(Queries, ANumericIsWhole) {
  Execute("CREATE TABLE t (n integer, v numeric(30,10))");
  if (IsSqlite()) GTEST_SKIP() << "SQLite keeps 15 digits of a numeric";
  constexpr char kDigits[] = "12345678901234567890.0123456789";
  const auto insert = [&](const AnyObject& value) {
    Execute("INSERT INTO t (v) VALUES (?)", {value});
  };
  const AnyObject digits =
      AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
  ASSERT_TRUE(dm_o_string_assign(digits.get(), kDigits));
  insert(digits);
  Recordset table;
  table.OpenTable(connection_, "t");
  const AnyObject record =
      RecordType({{"v", dm_o_ansi_string_metadata()}}).New();
  table.Fill(record.get());
  EXPECT_STREQ(dm_o_string_text(dm_o_struct_field_at(record.get(), 0)),
               kDigits);
  const std::pair<const char*, const char*> values[] = {
      {kDigits, kDigits},
      {"0.000000000000001", nullptr},
      {"-12345.6789", nullptr},
      {"1000000000000000000000", nullptr},
      {"1.234567890123456", "1.234567890123456"}};
  for (const auto& [value, text] : values) {
    SCOPED_TRACE(value);
    const auto rows =
        OpenQuery(*connection_,
                  "SELECT cast('" + std::string(value) + "' AS numeric)", {});
    ASSERT_TRUE(rows->Next());
    const AnyObject read = ObjectOf(*rows, 0);
    if (text != nullptr) {
      ASSERT_EQ(read.object().GetTypeId(), DM_STRING);
      EXPECT_STREQ(dm_o_string_text(read.get()), text);
    } else {
      double number = 0;
      EXPECT_TRUE(read.object().Read(number));
      EXPECT_EQ(number, std::stod(value));
    }
  }
}

TEST_P(Queries, AColumnTakenBeforeItsTableIsRealIsTheTablesOwn) {
  const auto table = Table::Create();
  table->SetName("t");
  table->AppendColumn("a", adInteger, 0);
  const auto column = table->GetColumn("a");
  Catalog(connection_).AppendTable(table);
  EXPECT_EQ(CodeOf([&] { column->SetDefinedSize(3); }), kNotAllowedHere);
  column->SetName("b");
  EXPECT_NE(table->GetColumn("b"), nullptr);
  EXPECT_EQ(table->GetColumn("a"), nullptr);
  EXPECT_NE(Catalog(connection_).GetTable("t")->GetColumn("b"), nullptr);
  // An older look at a column, after the table has read them anew.
  const auto old = table->GetColumn("b");
  table->AppendColumn("more", adInteger, 0);
  EXPECT_EQ(table->ColumnCount(), 2);
  old->SetName("c");
  EXPECT_NE(table->GetColumn("c"), nullptr);
}

KIV_ON_EVERY_DATABASE(Queries);

}  // namespace
}  // namespace kiv::store::ado
