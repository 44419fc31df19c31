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
  const auto rows = OpenQuery(
      *connection_, "SELECT 1 AS \"Id\", 2 AS \"id\", 3 * 1.5 AS \"a.b\"", {});
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(rows->IndexOf("id"), 1U);
  EXPECT_EQ(rows->IndexOf("ID"), 0U);
  EXPECT_EQ(rows->Info(2).name, "a.b");
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
    FailureOf([&] {
      Execute(IsSqlite() ? "INSERT OR ROLLBACK INTO t VALUES (1)" : "ROLLBACK");
    });
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

TEST_P(Queries, AStatementGetsAsManyValuesAsItHasPlacesFor) {
  MakeTable("t", {{"n", adInteger}});
  const std::vector<AnyObject> two(2);
  for (const auto& [statement, reason] :
       {std::pair("INSERT INTO t VALUES (1)", "2 values for 0"),
        std::pair("UPDATE t SET n = ? WHERE n = ? OR n = ?", "2 values for 3")})
    EXPECT_THAT(FailureOf([&, text = statement] { Execute(text, two); }),
                HasSubstr(reason));
  EXPECT_THAT(FailureOf([&] {
                OpenQuery(*connection_, "SELECT n FROM t WHERE n = ?", two);
              }),
              HasSubstr("2 values for 1"));
  EXPECT_TRUE(Numbers().empty());
}

TEST_P(Queries, ANumericIsWhole) {
  if (IsSqlite()) GTEST_SKIP() << "SQLite keeps 15 digits of a numeric";
  constexpr char kDigits[] = "12345678901234567890.0123456789";
  Execute("CREATE TABLE t (v numeric(30,10))");
  const auto digits =
      AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
  ASSERT_TRUE(dm_o_string_assign(digits.get(), kDigits));
  Execute("INSERT INTO t VALUES (?)", {digits});
  Recordset table;
  table.OpenTable(connection_, "t");
  const AnyObject record =
      RecordType({{"v", dm_o_ansi_string_metadata()}}).New();
  table.Fill(record.get());
  EXPECT_STREQ(dm_o_string_text(FieldOf(record, "v")), kDigits);
  // A number where that loses nothing.
  for (const auto& [value, type] :
       {std::pair(kDigits, DM_STRING), std::pair("-12345.6789", DM_DOUBLE),
        std::pair("1.234567890123456", DM_STRING)}) {
    const auto rows =
        OpenQuery(*connection_,
                  "SELECT cast('" + std::string(value) + "' AS numeric)", {});
    ASSERT_TRUE(rows->Next());
    EXPECT_EQ(ObjectOf(*rows, 0).object().GetTypeId(), type) << value;
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
  EXPECT_EQ(table->GetColumn("a"), nullptr);
  // An older look at a column, after the table has read them anew.
  const auto old = table->GetColumn("b");
  table->AppendColumn("more", adInteger, 0);
  old->SetName("c");
  EXPECT_NE(table->GetColumn("c"), nullptr);
  EXPECT_NE(Catalog(connection_).GetTable("t")->GetColumn("c"), nullptr);
}

KIV_ON_EVERY_DATABASE(Queries);

}  // namespace
}  // namespace kiv::store::ado
