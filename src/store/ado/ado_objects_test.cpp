#include "store/ado/ado_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "kiv/encoding.h"
#include "store/ado/database_testing.h"
#include "store/ado/odbc_connection.h"
#include "store/ado/records.h"
#include "util/cp936.h"

namespace kiv::store::ado {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

std::string TextIn(const VARIANT& value) {
  return value.vt == VT_BSTR
             ? Utf16ToCp936({value.bstrVal, SysStringLen(value.bstrVal)})
             : "no text";
}

std::string TextAt(const Recordset& rows, long index) {
  VARIANT value = rows.Value(index);
  std::string text = TextIn(value);
  VariantClear(&value);
  return text;
}

// Of "订单xx订单xx..." in bytes: no more than 4,000, and whole characters.
std::size_t EndOfLast(std::size_t characters) {
  constexpr std::size_t kMost = 1000;
  const std::size_t count = std::min(characters, kMost);
  return count + (count + 2) / 3 * 3;
}

// So many of "订单xx订单xx...".
std::string TextOf(std::size_t characters) {
  std::string text;
  for (std::size_t k = 0; k < characters; ++k)
    text += k % 3 == 0 ? kOrders : "x";
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
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->Name(), name);
    EXPECT_EQ(table->ColumnCount(), 2);
    EXPECT_NE(table->GetColumn(kOrders), nullptr);
    EXPECT_EQ(table->GetColumn("cx1"), nullptr);
    Recordset rows;
    rows.OpenTable(connection_, name);
    EXPECT_TRUE(rows.IsEof());
    EXPECT_EQ(rows.FieldIndex(kOrders), 1);
  }
  EXPECT_FALSE(catalog.HasTable("a__"));
  EXPECT_FALSE(catalog.HasTable("%"));
  catalog.DeleteTable("a_b");
  EXPECT_FALSE(catalog.HasTable("a_b"));
  EXPECT_TRUE(catalog.HasTable("axb"));
  EXPECT_EQ(CodeOf([&] { catalog.DeleteTable("a_b"); }), kItemNotFound);
}

TEST_P(AdoObjects, ABrokenNameIsRefusedBeforeTheDatabaseSeesIt) {
  Catalog catalog(connection_);
  for (const std::string& name :
       {std::string(), std::string("\xB6"), std::string("a\0b", 3)}) {
    EXPECT_EQ(CodeOf([&] { catalog.HasTable(name); }), kInvalidArgument);
    EXPECT_EQ(CodeOf([&] { Table::Create()->SetName(name); }),
              kInvalidArgument);
  }
}

TEST_P(AdoObjects, ColumnsComeBackAsTheyWereMade) {
  MakeTable("types", {{"flag", adBoolean},
                      {"small", adSmallInt},
                      {"whole", adInteger},
                      {"big", adBigInt},
                      {"single", adSingle},
                      {"real", adDouble},
                      {"guid", adGUID},
                      {"at", adDBTimeStamp},
                      {"name", adVarWChar, 50},
                      {"memo", adLongVarWChar},
                      {"bytes", adLongVarBinary}});
  const auto table = Catalog(connection_).GetTable("types");
  std::vector<DataType> types;
  for (long i = 0; i < table->ColumnCount(); ++i)
    types.push_back(table->GetColumn(i)->Type());
  EXPECT_THAT(types, ElementsAre(adBoolean, adSmallInt, adInteger, adBigInt,
                                 adSingle, adDouble, adGUID, adDBTimeStamp,
                                 adVarWChar, adLongVarWChar, adLongVarBinary));
  EXPECT_EQ(table->GetColumn("name")->DefinedSize(), 50);
  EXPECT_EQ(table->GetColumn("name")->Attributes(), adColNullable);
  EXPECT_EQ(table->GetColumn("whole")->Attributes(),
            adColNullable | adColFixed);
  EXPECT_EQ(table->GetColumn(11), nullptr);
  EXPECT_EQ(table->GetColumn(-1), nullptr);
}

TEST_P(AdoObjects, ATableGrowsShrinksAndChangesNames) {
  const auto table = MakeTable("t", {{"a", adInteger}, {"b", adInteger}});
  table->AppendColumn(kOrders, adVarWChar, 20);
  EXPECT_EQ(table->ColumnCount(), 3);
  table->GetColumn("a")->SetName("first");
  table->DeleteColumn("b");
  table->SetName("renamed");
  const auto again = Catalog(connection_).GetTable("renamed");
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->ColumnCount(), 2);
  EXPECT_NE(again->GetColumn("first"), nullptr);
  EXPECT_EQ(again->GetColumn(kOrders)->DefinedSize(), 20);
  EXPECT_EQ(CodeOf([&] { table->DeleteColumn("b"); }), kItemNotFound);
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
  for (int i = 0; i < kRows; i += 100) {
    std::string values;
    for (int k = i; k < i + 100; ++k)
      values += (k == i ? "(" : ",(") + std::to_string(k) +
                (k % 7 == 0 ? ",NULL)" : ",'" + std::string(kOrders) + "')");
    Execute("INSERT INTO t VALUES " + values);
  }
  Recordset rows;
  rows.OpenTable(connection_, "t");
  for (int i = 0; i < kRows; ++i) {
    ASSERT_FALSE(rows.IsEof());
    VARIANT number = rows.Value(0);
    ASSERT_EQ(number.vt, VT_I4);
    ASSERT_EQ(number.lVal, i);
    VARIANT text = rows.Value(1);
    if (i % 7 == 0) {
      ASSERT_EQ(text.vt, VT_NULL);
    } else {
      ASSERT_EQ(TextIn(text), kOrders);
    }
    VariantClear(&text);
    rows.MoveNext();
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
  MakeTable("t", {{"n", adInteger},
                  {"memo", adLongVarWChar},
                  {"bytes", adLongVarBinary},
                  {"last", adVarWChar, 5000}});
  const std::vector<std::size_t> sizes{0,   1,   127,  128,  129,    255,
                                       256, 600, 1023, 1024, 100000, 3};
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    const std::string text = TextOf(sizes[i]);
    std::string hex;
    for (std::size_t k = 0; k < sizes[i]; ++k)
      hex += "0" + std::to_string(k % 8);
    Execute("INSERT INTO t VALUES (" + std::to_string(i) + ",'" + text + "'," +
            (IsSqlite() ? "x'" + hex + "'" : "'\\x" + hex + "'::bytea") + ",'" +
            text.substr(0, EndOfLast(sizes[i])) + "')");
  }
  Recordset rows;
  rows.OpenTable(connection_, "t");
  for (std::size_t i = 0; i < sizes.size(); ++i, rows.MoveNext()) {
    SCOPED_TRACE(sizes[i]);
    ASSERT_FALSE(rows.IsEof());
    const std::string expected = TextOf(sizes[i]);
    // In any order, and more than once.
    EXPECT_EQ(TextAt(rows, 3), expected.substr(0, EndOfLast(sizes[i])));
    EXPECT_EQ(TextAt(rows, 1), expected);
    EXPECT_EQ(TextAt(rows, 1), expected);
    VARIANT bytes = rows.Value(2);
    ASSERT_EQ(bytes.vt, VT_ARRAY | VT_UI1);
    ASSERT_EQ(bytes.parray->rgsabound[0].cElements, sizes[i]);
    const auto* const first = static_cast<const char*>(bytes.parray->pvData);
    for (std::size_t k = 0; k < sizes[i]; ++k)
      ASSERT_EQ(first[k], static_cast<char>(k % 8));
    VariantClear(&bytes);
  }
  EXPECT_TRUE(rows.IsEof());
}

// The declared size of a column is no promise in SQLite.
TEST_P(AdoObjects, AValueLongerThanItsColumnIsWholeOrRefused) {
  MakeTable("t", {{"name", adVarWChar, 5}});
  const std::string insert =
      "INSERT INTO t VALUES ('" + std::string(600, 'y') + "')";
  if (!IsSqlite()) {
    EXPECT_THAT(FailureOf([&] { Execute(insert); }), HasSubstr("22001"));
    return;
  }
  Execute(insert);
  Recordset rows;
  rows.OpenTable(connection_, "t");
  EXPECT_EQ(TextAt(rows, 0), std::string(600, 'y'));
}

TEST_P(AdoObjects, ATransactionIsKeptOrUndone) {
  MakeTable("t", {{"n", adInteger}});
  connection_->BeginTrans();
  Execute("INSERT INTO t VALUES (1)");
  EXPECT_EQ(CodeOf([&] { connection_->BeginTrans(); }), kNotAllowedHere);
  connection_->RollbackTrans();
  EXPECT_EQ(CodeOf([&] { connection_->RollbackTrans(); }), kNotAllowedHere);
  connection_->BeginTrans();
  Execute("INSERT INTO t VALUES (2)");
  connection_->CommitTrans();
  connection_->BeginTrans();
  Execute("INSERT INTO t VALUES (3)");
  connection_->Close();
  EXPECT_EQ(CodeOf([&] { connection_->BeginTrans(); }), kObjectClosed);
  connection_->Open(text_, "", "");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  VARIANT value = rows.Value(0);
  EXPECT_EQ(value.lVal, 2);
  rows.MoveNext();
  EXPECT_TRUE(rows.IsEof());
}

TEST_P(AdoObjects, RowsOutliveTheConnectionTheyAreReadThrough) {
  MakeTable("t", {{"n", adInteger}});
  Execute("INSERT INTO t VALUES (1)");
  Recordset rows;
  rows.OpenTable(connection_, "t");
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
  EXPECT_EQ(CodeOf([&] {
              Recordset rows;
              rows.OpenTable(connection_, "missing");
            }),
            kNoTable);
  MakeTable("t", {{"n", adInteger}});
  EXPECT_NE(FailureOf([&] { MakeTable("t", {{"n", adInteger}}); }), "");
}

KIV_ON_EVERY_DATABASE(AdoObjects);

}  // namespace
}  // namespace kiv::store::ado
