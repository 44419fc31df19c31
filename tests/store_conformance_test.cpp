// What every database of the record store does alike.
#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kiv/date_time.h"
#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "testing/postgres_server.h"
#include "testing/test_log.h"

namespace kiv::testing {
namespace {

using store::Column;
using store::Connection;
using store::Factory;
using store::FillRecord;
using store::Rows;
using store::Table;
using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;

// 价格
constexpr char kPrice[] = "\xBC\xDB\xB8\xF1";
// Of code page 936, but not of the strict set.
// €镕·—
constexpr char kRare[] = "\x80\xE9\x46\xA1\xA4\xA1\xAA";

class StoreConformance : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (!IsSqlite() && !PostgresServer::IsInstalled())
      GTEST_SKIP() << PostgresServer::kWhyNot;
    GlobalInit();
    // As in a program that sets none.
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    static int count = 0;
    text_ = IsSqlite()
                ? "ado:ado:Driver=SQLite3;Database=store.db"
                : SharedPostgres().Text("kiv_" + std::to_string(++count));
    store_ = Factory().CreateConnection(text_);
    ASSERT_NE(store_, nullptr);
    ASSERT_TRUE(store_->Create("", "")) << log_.Text();
    rows_ = Rows::On(store_);
    ASSERT_NE(rows_, nullptr);
  }
  void TearDown() override {
    Disconnect();
    type_ = nullptr;
    std::setlocale(LC_ALL, "C");
    GlobalUninit();
  }
  static bool IsSqlite() { return GetParam() == "Sqlite"; }
  void Disconnect() {
    rows_.reset();
    store_.reset();
  }

  // A table, and the type of its records.
  std::shared_ptr<Table> Make(
      const std::string& name,
      const std::vector<std::pair<const char*, void*>>& fields = {
          {"id", dm_o_int32_metadata()}}) {
    type_ = StructPtr::Take(dm_o_struct_metadata_new());
    for (const auto& [field, type] : fields)
      EXPECT_TRUE(dm_o_struct_metadata_append(type_.get(), field, type));
    auto table = store_->CreateTable(name);
    EXPECT_TRUE(table->CreateColumns(type_)) << log_.Text();
    EXPECT_TRUE(table->CompleteCreate()) << log_.Text();
    return table;
  }
  Any New() const {
    return Any::Take(dm_o_instance_from_metadata(type_.get()));
  }
  static dm::Object Field(const Any& record, std::size_t index) {
    return dm::Object(dm_o_struct_field_at(record.get(), index));
  }
  // How many rows it has.
  long long Count(const std::string& table) {
    return rows_->Execute("update " + table + " set id = id");
  }
  void ExpectLogged(const std::vector<std::string>& texts) const {
    for (const std::string& text : texts) EXPECT_TRUE(log_.Has(text)) << text;
  }

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
  std::string text_;
  std::shared_ptr<Connection> store_;
  std::shared_ptr<Rows> rows_;
  StructPtr type_;
};

constexpr auto kNameOf = [](const auto& given) { return given.param; };
INSTANTIATE_TEST_SUITE_P(Databases, StoreConformance,
                         ::testing::Values("Sqlite", "Postgres"), kNameOf);

TEST_P(StoreConformance, StoreAndTableAreMadeOnceAndOpenedAgain) {
  const auto table = Make("t");
  ASSERT_TRUE(rows_->Insert("t", {New()}));
  const auto twice = store_->CreateTable("t");
  EXPECT_TRUE(twice->CreateColumns(type_));
  EXPECT_FALSE(twice->CompleteCreate());
  // Not real before that.
  EXPECT_TRUE(store_->CreateTable("never")->CreateColumns(type_));
  EXPECT_FALSE(store_->IsExistTable("never"));
  Disconnect();
  const auto again = Factory().CreateConnection(text_);
  EXPECT_FALSE(again->Create("", ""));
  EXPECT_TRUE(again->OpenOrCreate("", ""));
  EXPECT_TRUE(again->IsExistTable("t"));
  EXPECT_FALSE(again->IsExistTable(""));
  ExpectLogged({"AdoTable::CompleteCreate Failed: ",
                "AdoConnection::Create Failed(Catalog.Create): "});
  // The table outlives its connection.
  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  EXPECT_EQ(recordset->GetFields()->Item(0)->Value().vt, VT_I4);
}

TEST_P(StoreConformance, ClosedStoreAndEmptyNamesAreRefusedWithATextEach) {
  const auto closed = Factory().CreateConnection(text_);
  EXPECT_FALSE(closed->IsExistTable("t"));
  EXPECT_EQ(closed->GetTable("t"), nullptr);
  EXPECT_EQ(closed->BeginTransaction(), nullptr);
  EXPECT_EQ(Rows::On(closed), nullptr);
  EXPECT_FALSE(closed->CreateTable("t")->CompleteCreate());
  ExpectLogged({"AdoConnection::IsExistTable Failed:",
                // ')失败。
                "AdoConnection::GetTable Failed: "
                "o->GetTable('t')\xCA\xA7\xB0\xDC\xA1\xA3",
                "AdoConnection::BeginTransaction Failed: ",
                "AdoTable::CompleteCreate Failed: "});
  EXPECT_EQ(store_->GetTable(""), nullptr);
  EXPECT_EQ(store_->CreateTable(""), nullptr);
  EXPECT_FALSE(store_->DeleteTable(""));
  EXPECT_EQ(Make("t")->GetColumn(""), nullptr);
  for (const std::string call :
       {"AdoConnection::GetTable", "AdoConnection::CreateTable",
        "AdoConnection::DeleteTable", "AdoTable::GetColumn"})
    // 不能为空。
    ExpectLogged({"db: " + call +
                  " Failed: name \xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"});
}

TEST_P(StoreConformance, ColumnsComeAndGoAndCanOnlyBeRenamed) {
  const auto table = Make(
      "t", {{"a", dm_o_int32_metadata()}, {"b", dm_o_ansi_string_metadata()}});
  EXPECT_TRUE(table->GetColumn("b")->IsAllowNull());
  const auto column = table->GetColumn("a");
  EXPECT_EQ(column->GetAttributes(),
            Column::ATTRIBUTE_FIXED | Column::ATTRIBUTE_NULLABLE);
  EXPECT_FALSE(column->IsAllowNull());
  EXPECT_EQ(column->GetSortOrder(), 1);
  EXPECT_EQ(column->GetRelatedColumn(), "");
  const std::pair<bool, const char*> refusals[] = {
      {column->SetDefinedSize(5), "AdoColumn::SetDefinedSize Failed: "},
      {column->SetPrecision(5), "AdoColumn::SetPrecision Failed: "},
      {column->SetNumericScale(5), "AdoColumn::SetNumericScale Failed: "},
      {column->SetRelatedColumn("x"), "AdoColumn::SetRelatedColumn Failed: "},
      {column->SetAttributes(1), "AdoColumn::SetAttributes Failed: "},
      {column->SetSortOrder(2), "AdoColumn::GetDefinedSize Failed: "}};
  for (const auto& [is_done, text] : refusals) {
    EXPECT_FALSE(is_done) << text;
    ExpectLogged({text});
  }
  EXPECT_TRUE(column->SetName(kPrice)) << log_.Text();
  EXPECT_TRUE(table->CreateColumn("c", Any(dm_o_ansi_string_metadata()), 9));
  EXPECT_TRUE(table->DeleteColumn("b")) << log_.Text();
  EXPECT_FALSE(table->DeleteColumn("b"));
  ExpectLogged({"AdoTable::DeleteColumn Failed: "});
  EXPECT_EQ(table->GetColumn(2), nullptr);
  EXPECT_EQ(table->GetColumn(-1), nullptr);
  // Another look at the same table sees the same.
  const auto again = store_->GetTable("t");
  EXPECT_EQ(again->GetColumnCount(), 2);
  EXPECT_EQ(again->GetColumn(1)->GetDefinedSize(), 9);
  EXPECT_EQ(again->ColumnList({1, 0}, {"", ""}), "c," + std::string(kPrice));
  EXPECT_EQ(again->ColumnList({1, 0}, {""}), "");
  EXPECT_EQ(again->ColumnList({2}, {""}), "");
}

TEST_P(StoreConformance, DatesThatLoseDigitsAreCounted) {
  Make("t", {{"due", dm_o_datetime_metadata()}});
  const Any record = New();
  ASSERT_TRUE(Field(record, 0).Write(DateTime(632000000000000017)));
  EXPECT_TRUE(rows_->Insert("t", {record, record}));
  EXPECT_EQ(
      rows_->Execute("update t set due = ?", {Any(Field(record, 0).get())}), 2);
  if (IsSqlite()) {
    EXPECT_EQ(log_.Text(), "");
    return;
  }
  // 警告, and: 个日期时间值只能保存到微秒，其余位数被截去。
  const std::string rest =
      " \xB8\xF6\xC8\xD5\xC6\xDA\xCA\xB1\xBC\xE4\xD6\xB5\xD6\xBB\xC4\xDC\xB1"
      "\xA3\xB4\xE6\xB5\xBD\xCE\xA2\xC3\xEB\xA3\xAC\xC6\xE4\xD3\xE0\xCE\xBB\xCA"
      "\xFD\xB1\xBB\xBD\xD8\xC8\xA5\xA1\xA3";
  ExpectLogged({"[\xBE\xAF\xB8\xE6] db: Rows::Insert( 't' ): 2" + rest,
                "Rows::Execute( 'update t set due = ?' ): 1" + rest});
}

TEST_P(StoreConformance, RecordsetEndsAndSaysSo) {
  const auto table = Make("t");
  ASSERT_EQ(rows_->Execute("insert into t values (null)"), 1);
  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  const auto fields = recordset->GetFields();
  EXPECT_EQ(fields->Count(), 1);
  EXPECT_EQ(fields->Item("id")->Value().vt, VT_NULL);
  EXPECT_FALSE(FillRecord(*recordset, New())) << "no room for a null";
  EXPECT_TRUE(recordset->MoveNext());
  EXPECT_TRUE(recordset->IsEOF());
  EXPECT_FALSE(recordset->MoveNext());
  EXPECT_EQ(fields->Item(0)->Value().vt, VT_EMPTY);
  EXPECT_EQ(fields->Item(1), nullptr);
  EXPECT_EQ(fields->Item(-1), nullptr);
  EXPECT_EQ(fields->Item("none"), nullptr);
  ASSERT_TRUE(store_->DeleteTable("t"));
  EXPECT_EQ(table->OpenRecordset(), nullptr);
  ExpectLogged(
      {"AdoField::Value Exception: ", "AdoFields::Item( long ) Exception: ",
       "AdoRecordset::LoadTable Failed:",
       // 失败。
       "db: AdoTable::OpenRecordset Failed: Kernal call LoadTable() "
       "\xCA\xA7\xB0\xDC\xA1\xA3"});
}

TEST_P(StoreConformance, TransactionIsAllOrNothing) {
  Make("t");
  const auto change = [&] {
    auto transaction = store_->BeginTransaction();
    EXPECT_NE(transaction, nullptr);
    EXPECT_TRUE(rows_->Insert("t", {New()}));
    return transaction;
  };
  const auto ended = change();
  EXPECT_TRUE(ended->Commit());
  EXPECT_TRUE(change()->Rollback());
  EXPECT_EQ(Count("t"), 1);
  change();  // dropped
  EXPECT_EQ(Count("t"), 1);
  const auto open = change();
  EXPECT_EQ(store_->BeginTransaction(), nullptr);
  // An ended one must not end it.
  EXPECT_FALSE(ended->Commit());
  EXPECT_FALSE(ended->Rollback());
  ExpectLogged(
      {"AdoConnection::BeginTransaction Failed: ",
       "AdoTransaction::Commit Failed: ", "AdoTransaction::Rollback Failed: "});
  EXPECT_TRUE(open->Commit());
  EXPECT_EQ(Count("t"), 2);
}

using Scenario17StoreNames = StoreConformance;
INSTANTIATE_TEST_SUITE_P(Databases, Scenario17StoreNames,
                         ::testing::Values("Sqlite", "Postgres"), kNameOf);

// Each table has one row, with its name and 600 characters.
TEST_P(Scenario17StoreNames, AreExactAndNothingElseIsDropped) {
  std::string whole;
  for (int i = 0; i < 300; ++i) whole += "x\xB6\xA9";
  const std::string names[] = {"x\"; drop table y;--", "a_b",
                               // 订单
                               "\xB6\xA9\xB5\xA5",
                               // Left when those are gone.
                               "y", "axb", "x'; drop table y;--"};
  Make("its type", {{"text", dm_o_ansi_string_metadata()}});
  const Any record = New();
  for (const std::string& name : names) {
    const auto table = store_->CreateTable(name);
    ASSERT_TRUE(
        table->CreateColumn("text", Any(dm_o_ansi_string_metadata()), 650));
    ASSERT_TRUE(table->CompleteCreate()) << log_.Text();
    ASSERT_TRUE(
        dm_o_string_assign(Field(record, 0).get(), (name + whole).c_str()));
    ASSERT_TRUE(rows_->Insert(name, {record})) << log_.Text();
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(store_->DeleteTable(names[i])) << log_.Text();
    EXPECT_FALSE(store_->IsExistTable(names[i])) << names[i];
  }
  for (int i = 3; i < 6; ++i) {
    EXPECT_TRUE(store_->IsExistTable(names[i])) << names[i];
    const auto recordset = store_->GetTable(names[i])->OpenRecordset();
    ASSERT_TRUE(FillRecord(*recordset, record)) << log_.Text();
    EXPECT_EQ(dm_o_string_text(Field(record, 0).get()), names[i] + whole);
    EXPECT_TRUE(recordset->MoveNext());
    EXPECT_TRUE(recordset->IsEOF());
  }
}

// A connection each, on one store.
TEST_P(StoreConformance, ThreadsDoNotMeet) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 40;
  Make("shared",
       {{"id", dm_o_int32_metadata()}, {"name", dm_o_ansi_string_metadata()}});
  const auto work = [&](int number) {
    const auto store = Factory().CreateConnection(text_);
    ASSERT_TRUE(store->Open("", ""));
    const auto rows = Rows::On(store);
    const Any record = New();
    for (int i = 0; i < kRecords; ++i) {
      EXPECT_TRUE(Field(record, 0).Write(number * kRecords + i));
      dm_o_string_assign(Field(record, 1).get(), kRare);
      const auto transaction = store->BeginTransaction();
      ASSERT_NE(transaction, nullptr);
      EXPECT_TRUE(rows->Insert("shared", {record}));
      EXPECT_TRUE(i % 2 == 0 ? transaction->Commit() : transaction->Rollback());
      EXPECT_FALSE(store->IsExistTable("missing"));
    }
    const auto recordset = store->GetTable("shared")->OpenRecordset();
    while (!recordset->IsEOF()) {
      EXPECT_TRUE(FillRecord(*recordset, record));
      EXPECT_STREQ(dm_o_string_text(Field(record, 1).get()), kRare);
      ASSERT_TRUE(recordset->MoveNext());
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Count("shared"), kThreads * kRecords / 2) << log_.Text();
}

}  // namespace
}  // namespace kiv::testing
