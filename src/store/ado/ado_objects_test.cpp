#include "store/ado/ado_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "store/ado/database_testing.h"
#include "store/ado/odbc_connection.h"
#include "store/ado/records.h"
#include "util/cp936.h"

namespace kiv::store::ado {
namespace {

using namespace std::string_literals;
using ::testing::HasSubstr;

std::string TextAt(const Recordset& rows, long index) {
  VARIANT value = rows.Value(index);
  std::string text = "no text";
  if (value.vt == VT_BSTR)
    text = Utf16ToCp936({value.bstrVal, SysStringLen(value.bstrVal)});
  VariantClear(&value);
  return text;
}

using AdoObjects = DatabaseTest;

// Scenario 17 wants names exact: no statement may come out of one, and no
// wildcard.
TEST_P(AdoObjects, NamesStandForThemselves) {
  const std::vector<std::string> names{
      "a_b", "axb", "a%b", "x\"; drop table y;--", "y", kOrders, "\\", "[q]",
      "it's", "select", "two words",
      // 乗: its second byte is "\".
      "\x81\x5C"};
  Catalog catalog(connection_);
  for (const std::string& name : names)
    MakeTable(name, {{"c_1", adInteger}, {kOrders, adVarWChar, 10}});
  EXPECT_THAT(catalog.TableNames(),
              ::testing::UnorderedElementsAreArray(names));
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(catalog.HasTable(name));
    const auto table = catalog.GetTable(name);
    EXPECT_EQ(table->Name(), name);
    EXPECT_EQ(table->ColumnCount(), 2);
    EXPECT_EQ(table->GetColumn("cx1"), nullptr);
    Recordset rows;
    rows.OpenTable(connection_, name);
    EXPECT_TRUE(rows.IsEof());
    EXPECT_EQ(rows.FieldIndex(kOrders), 1);
  }
  EXPECT_FALSE(catalog.HasTable("a__"));
  catalog.DeleteTable("a_b");
  EXPECT_FALSE(catalog.HasTable("a_b"));
  EXPECT_TRUE(catalog.HasTable("axb"));
  EXPECT_EQ(CodeOf([&] { catalog.DeleteTable("a_b"); }), kItemNotFound);
  for (const auto& broken : {""s, "\xB6"s, "a\0b"s}) {
    EXPECT_EQ(CodeOf([&] { catalog.HasTable(broken); }), kInvalidArgument);
    EXPECT_EQ(CodeOf([&] { Table::Create()->SetName(broken); }),
              kInvalidArgument);
  }
}

TEST_P(AdoObjects, ATableChangesItsNamesAndNoTypes) {
  const auto table = MakeTable("t", {{"a", adInteger}, {"b", adInteger}});
  table->GetColumn("a")->SetName("first");
  table->DeleteColumn("b");
  EXPECT_EQ(CodeOf([&] { table->DeleteColumn("b"); }), kItemNotFound);
  table->SetName("renamed");
  const auto again = Catalog(connection_).GetTable("renamed");
  EXPECT_EQ(again->ColumnCount(), 1);
  EXPECT_EQ(CodeOf([&] { again->GetColumn("first")->SetType(adGUID); }),
            kNotAllowedHere);
}

TEST_P(AdoObjects, ARelatedColumnIsTheOneThatItsKeyLeadsTo) {
  Execute("CREATE TABLE customers (id integer PRIMARY KEY)");
  Execute(
      "CREATE TABLE orders (n integer, customer integer REFERENCES "
      "customers(id))");
  const auto orders = Catalog(connection_).GetTable("orders");
  EXPECT_EQ(orders->GetColumn("customer")->RelatedColumn(), "id");
  EXPECT_EQ(orders->GetColumn("n")->RelatedColumn(), "");
}

TEST_P(AdoObjects, RowsAreReadInOrderUpToTheEnd) {
  MakeTable("t", {{"n", adInteger}, {"text", adVarWChar, 50}});
  // More than any block.
  constexpr int kRows = 1000;
  Execute(
      "INSERT INTO t SELECT n, CASE WHEN n % 7 > 0 THEN 'text' END FROM (WITH "
      "RECURSIVE c(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM c WHERE n < " +
      std::to_string(kRows - 1) + ") SELECT n FROM c) AS numbers");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  for (int i = 0; i < kRows; ++i, rows.MoveNext()) {
    ASSERT_FALSE(rows.IsEof());
    ASSERT_EQ(rows.Value(0).lVal, i);
    ASSERT_EQ(TextAt(rows, 1), i % 7 == 0 ? "no text" : "text");
  }
  EXPECT_TRUE(rows.IsEof());
  EXPECT_EQ(CodeOf([&] { rows.MoveNext(); }), kNoCurrentRecord);
  EXPECT_EQ(CodeOf([&] { rows.Value(0); }), kNoCurrentRecord);
  EXPECT_EQ(CodeOf([&] { rows.Value(2); }), kItemNotFound);
  EXPECT_EQ(rows.FieldIndex("TEXT"), 1);
}

// The driver cuts what is longer than the room it was given, and says so beside
// its success.
TEST_P(AdoObjects, AValueIsWholeWhateverItsLength) {
  MakeTable("t", {{"memo", adLongVarWChar},
                  {"bytes", adLongVarBinary},
                  {"last", adVarWChar, 5000}});
  const auto table = Catalog(connection_).GetTable("t");
  EXPECT_EQ(table->GetColumn(0L)->Type(), adLongVarWChar);
  EXPECT_EQ(table->GetColumn(1)->Type(), adLongVarBinary);
  // "订单xx订单xx...", of so many characters.
  const auto text_of = [](std::size_t characters) {
    std::string text;
    for (std::size_t k = 0; k < characters; ++k)
      text += k % 3 == 0 ? kOrders : "x";
    return text;
  };
  const std::size_t sizes[] = {0, 1, 127, 128, 129, 255, 256, 1024, 100000, 3};
  for (const std::size_t size : sizes) {
    std::string hex;
    for (std::size_t k = 0; k < size; ++k) hex += "0" + std::to_string(k % 8);
    Execute("INSERT INTO t VALUES ('" + text_of(size) + "'," +
            (IsSqlite() ? "x'" + hex + "'" : "'\\x" + hex + "'::bytea") + ",'" +
            text_of(std::min<std::size_t>(size, 1000)) + "')");
  }
  Recordset rows;
  rows.OpenTable(connection_, "t");
  for (const std::size_t size : sizes) {
    SCOPED_TRACE(size);
    ASSERT_FALSE(rows.IsEof());
    // In any order, and more than once.
    EXPECT_EQ(TextAt(rows, 2), text_of(std::min<std::size_t>(size, 1000)));
    EXPECT_EQ(TextAt(rows, 0), text_of(size));
    EXPECT_EQ(TextAt(rows, 0), text_of(size));
    VARIANT bytes = rows.Value(1);
    ASSERT_EQ(bytes.vt, VT_ARRAY | VT_UI1);
    ASSERT_EQ(bytes.parray->rgsabound[0].cElements, size);
    const auto* const first = static_cast<const char*>(bytes.parray->pvData);
    for (std::size_t k = 0; k < size; ++k)
      ASSERT_EQ(first[k], static_cast<char>(k % 8));
    VariantClear(&bytes);
    rows.MoveNext();
  }
}

// The declared size of a column is no promise in SQLite.
TEST_P(AdoObjects, AValueLongerThanItsColumnIsWholeOrRefused) {
  MakeTable("t", {{"name", adVarWChar, 5}});
  const std::string text(600, 'y');
  const std::string failure =
      FailureOf([&] { Execute("INSERT INTO t VALUES ('" + text + "')"); });
  Recordset rows;
  rows.OpenTable(connection_, "t");
  if (IsSqlite()) {
    EXPECT_EQ(TextAt(rows, 0), text);
  } else {
    EXPECT_THAT(failure, HasSubstr("22001"));
  }
}

TEST_P(AdoObjects, AConnectionThatIsClosedUndoesItsTransaction) {
  MakeTable("t", {{"n", adInteger}});
  Execute("INSERT INTO t VALUES (1)");
  EXPECT_EQ(CodeOf([&] { connection_->RollbackTrans(); }), kNotAllowedHere);
  connection_->BeginTrans();
  EXPECT_EQ(CodeOf([&] { connection_->BeginTrans(); }), kNotAllowedHere);
  Execute("INSERT INTO t VALUES (3)");
  connection_->Close();
  EXPECT_EQ(CodeOf([&] { connection_->BeginTrans(); }), kObjectClosed);
  connection_->Open(text_, "", "");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  // They outlive the connection they are read through.
  connection_->Close();
  connection_.reset();
  rows.MoveNext();
  EXPECT_TRUE(rows.IsEof());
}

TEST_P(AdoObjects, AFailureSaysStateCodeAndText) {
  EXPECT_THAT(
      FailureOf([&] { Execute("SELEC 1"); }),
      ::testing::AllOf(HasSubstr("SELEC"),
                       HasSubstr(IsSqlite() ? "(HY000, 1)" : "(42601,")));
  Recordset rows;
  EXPECT_EQ(CodeOf([&] { rows.OpenTable(connection_, "missing"); }), kNoTable);
}

KIV_ON_EVERY_DATABASE(AdoObjects);

}  // namespace
}  // namespace kiv::store::ado
