// What every database of the record store does alike, whatever the locale.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "dm/dm.h"
#include "kiv/date_time.h"
#include "kiv/encoding.h"
#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "port/test_folder.h"
#include "testing/store_backend.h"
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

// 订单
constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";
// 客户
constexpr char kCustomer[] = "\xBF\xCD\xBB\xA7";
// 价格
constexpr char kPrice[] = "\xBC\xDB\xB8\xF1";
// Of code page 936, but not of the strict set.
// €镕·—
constexpr char kRare[] = "\x80\xE9\x46\xA1\xA4\xA1\xAA";

struct Surroundings {
  StoreBackend backend;
  const char* locale;
};

class StoreConformance : public ::testing::TestWithParam<Surroundings> {
 protected:
  void SetUp() override {
    if (GetParam().backend.fresh_text != SqliteText &&
        !PostgresServer::IsInstalled())
      GTEST_SKIP() << PostgresServer::kWhyNot;
    GlobalInit();
    ASSERT_NE(std::setlocale(LC_ALL, GetParam().locale), nullptr);
    text_ = GetParam().backend.fresh_text();
    store_ = Factory().CreateConnection(text_);
    ASSERT_NE(store_, nullptr);
    ASSERT_TRUE(store_->Create("", "")) << log_.Text();
    rows_ = Rows::On(store_);
    ASSERT_NE(rows_, nullptr);
  }
  void TearDown() override {
    rows_.reset();
    store_.reset();
    std::setlocale(LC_ALL, "C");
    GlobalUninit();
  }

  using Fields = std::vector<std::pair<const char*, void*>>;
  static StructPtr TypeOf(const Fields& fields) {
    auto type = StructPtr::Take(dm_o_struct_metadata_new());
    for (const auto& [name, field] : fields)
      EXPECT_TRUE(dm_o_struct_metadata_append(type.get(), name, field));
    return type;
  }
  std::shared_ptr<Table> Make(const std::string& name, const StructPtr& type) {
    auto table = store_->CreateTable(name);
    EXPECT_NE(table, nullptr);
    EXPECT_TRUE(table->CreateColumns(type)) << log_.Text();
    EXPECT_TRUE(table->CompleteCreate()) << log_.Text();
    return table;
  }
  static Any New(const StructPtr& type) {
    return Any::Take(dm_o_instance_from_metadata(type.get()));
  }
  static dm::Object Field(const Any& record, std::size_t index) {
    return dm::Object(dm_o_struct_field_at(record.get(), index));
  }
  long long Count(const std::string& table) {
    const auto reader = rows_->Query("select count(*) from " + table);
    if (!reader || !reader->Next()) return -1;
    const Any value = reader->Value(0);
    std::int64_t large = -1;
    std::int32_t small = -1;
    if (value && value.object().Read(large)) return large;
    return value && value.object().Read(small) ? small : -1;
  }

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
  std::string text_;
  std::shared_ptr<Connection> store_;
  std::shared_ptr<Rows> rows_;
};

TEST_P(StoreConformance, StoreAndTableAreMadeOnceAndOpenedAgain) {
  const StructPtr type = TypeOf({{"id", dm_o_int32_metadata()}});
  Make("t", type);
  const auto twice = store_->CreateTable("t");
  ASSERT_NE(twice, nullptr);
  EXPECT_TRUE(twice->CreateColumns(type));
  EXPECT_FALSE(twice->CompleteCreate());
  EXPECT_TRUE(log_.Has("AdoTable::CompleteCreate Failed: "));
  // Not real before that.
  EXPECT_TRUE(store_->CreateTable("never")->CreateColumns(type));
  EXPECT_FALSE(store_->IsExistTable("never"));
  rows_.reset();
  store_.reset();
  const auto again = Factory().CreateConnection(text_);
  EXPECT_FALSE(again->Create("", ""));
  EXPECT_TRUE(log_.Has("AdoConnection::Create Failed(Catalog.Create): "));
  EXPECT_TRUE(again->OpenOrCreate("", ""));
  EXPECT_TRUE(again->IsExistTable("t"));
  EXPECT_FALSE(again->IsExistTable("u"));
  EXPECT_FALSE(again->IsExistTable(""));
}

TEST_P(StoreConformance, ClosedStoreRefusesWithATextEach) {
  const auto closed = Factory().CreateConnection(text_);
  EXPECT_FALSE(closed->IsExistTable("t"));
  EXPECT_EQ(closed->GetTable("t"), nullptr);
  EXPECT_EQ(closed->BeginTransaction(), nullptr);
  EXPECT_EQ(Rows::On(closed), nullptr);
  const auto table = closed->CreateTable("t");
  ASSERT_NE(table, nullptr);
  EXPECT_FALSE(table->CompleteCreate());
  for (const char* const text : {"AdoConnection::IsExistTable Failed:",
                                 // ')失败。
                                 "AdoConnection::GetTable Failed: "
                                 "o->GetTable('t')\xCA\xA7\xB0\xDC\xA1\xA3",
                                 "AdoConnection::BeginTransaction Failed: ",
                                 "AdoTable::CompleteCreate Failed: "})
    EXPECT_TRUE(log_.Has(text)) << text;
}

TEST_P(StoreConformance, EmptyNamesAreRefused) {
  EXPECT_EQ(store_->GetTable(""), nullptr);
  EXPECT_EQ(store_->CreateTable(""), nullptr);
  EXPECT_FALSE(store_->DeleteTable(""));
  const auto table = Make("t", TypeOf({{"id", dm_o_int32_metadata()}}));
  EXPECT_EQ(table->GetColumn(""), nullptr);
  for (const std::string call :
       {"AdoConnection::GetTable", "AdoConnection::CreateTable",
        "AdoConnection::DeleteTable", "AdoTable::GetColumn"})
    // 不能为空。
    EXPECT_TRUE(log_.Has("db: " + call +
                         " Failed: name "
                         "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"))
        << call;
}

TEST_P(StoreConformance, NamesMayBeChinese) {
  const StructPtr type = TypeOf({{kCustomer, dm_o_ansi_string_metadata()},
                                 {kPrice, dm_o_double_metadata()}});
  Make(kOrders, type);
  ASSERT_TRUE(store_->IsExistTable(kOrders));
  const auto table = store_->GetTable(kOrders);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->GetName(), kOrders);
  ASSERT_EQ(table->GetColumnCount(), 2);
  EXPECT_EQ(table->GetColumn(0)->GetName(), kCustomer);
  EXPECT_EQ(table->ColumnList({1, 0}, {"", ""}),
            std::string(kPrice) + "," + kCustomer);
  EXPECT_EQ(table->ColumnList({1, 0}, {""}), "");
  EXPECT_EQ(table->ColumnList({2}, {""}), "");
  EXPECT_TRUE(table->HasColumn(kPrice));

  const Any record = New(type);
  ASSERT_TRUE(dm_o_string_assign(Field(record, 0).get(), kRare));
  ASSERT_TRUE(Field(record, 1).Write(9.5));
  ASSERT_TRUE(rows_->Insert(kOrders, {record})) << log_.Text();

  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  const auto fields = recordset->GetFields();
  EXPECT_EQ(fields->Item(1)->Name(), kPrice);
  const auto text = fields->Item(kCustomer)->Value();
  ASSERT_EQ(text.vt, VT_BSTR);
  EXPECT_EQ(std::u16string(text.bstrVal), u"\u20AC\u9555\u00B7\u2014");

  EXPECT_TRUE(store_->DeleteTable(kOrders)) << log_.Text();
  EXPECT_FALSE(store_->IsExistTable(kOrders));
}

TEST_P(StoreConformance, ColumnsComeAndGo) {
  const auto table = Make("t", TypeOf({{"a", dm_o_int32_metadata()},
                                       {"a_b", dm_o_ansi_string_metadata()},
                                       {"axb", dm_o_double_metadata()}}));
  EXPECT_TRUE(table->CreateColumn("more", Any(dm_o_ansi_string_metadata()), 9))
      << log_.Text();
  EXPECT_EQ(table->GetColumnCount(), 4);
  EXPECT_TRUE(table->DeleteColumn("a_b")) << log_.Text();
  EXPECT_FALSE(table->HasColumn("a_b"));
  EXPECT_TRUE(table->HasColumn("axb"));
  EXPECT_EQ(table->GetColumnCount(), 3);
  EXPECT_FALSE(table->DeleteColumn("a_b"));
  EXPECT_TRUE(log_.Has("AdoTable::DeleteColumn Failed: "));
  EXPECT_EQ(table->GetColumn(3), nullptr);
  EXPECT_EQ(table->GetColumn(-1), nullptr);
  // Another look at the same table sees the same.
  const auto again = store_->GetTable("t");
  EXPECT_EQ(again->GetColumnCount(), 3);
  EXPECT_EQ(again->GetColumn(2)->GetName(), "more");
  EXPECT_EQ(again->GetColumn(2)->GetDefinedSize(), 9);
}

TEST_P(StoreConformance, ColumnThatIsRealCanOnlyBeRenamed) {
  const auto table = Make("t", TypeOf({{"a", dm_o_int32_metadata()},
                                       {"b", dm_o_ansi_string_metadata()}}));
  EXPECT_TRUE(table->GetColumn("b")->IsAllowNull());
  const auto column = table->GetColumn("a");
  ASSERT_NE(column, nullptr);
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
    EXPECT_TRUE(log_.Has(text)) << text;
  }
  EXPECT_TRUE(column->SetName(kPrice)) << log_.Text();
  EXPECT_TRUE(store_->GetTable("t")->HasColumn(kPrice));
}

TEST_P(StoreConformance, ColumnsHaveTheTypesOfTheirFields) {
  void* const types[] = {dm_o_bool_metadata(),     dm_o_byte_metadata(),
                         dm_o_int16_metadata(),    dm_o_int32_metadata(),
                         dm_o_int64_metadata(),    dm_o_float_metadata(),
                         dm_o_double_metadata(),   dm_o_guid_metadata(),
                         dm_o_datetime_metadata(), dm_o_ansi_string_metadata()};
  const StructPtr type = TypeOf({});
  for (std::size_t i = 0; i < std::size(types); ++i)
    ASSERT_TRUE(dm_o_struct_metadata_append(
        type.get(), ("c" + std::to_string(i)).c_str(), types[i]));
  const auto table = Make("t", type);
  ASSERT_EQ(table->GetColumnCount(), 10);
  for (long i = 0; i < 10; ++i) {
    const auto column = table->GetColumn(i);
    // PostgreSQL has no type of one byte and takes two for it.
    if (types[i] == dm_o_byte_metadata() &&
        column->GetType().get() == dm_o_int16_metadata())
      continue;
    EXPECT_EQ(dm_o_type_info_from_metadata(column->GetType().get())->type_id,
              dm_o_type_info_from_metadata(types[i])->type_id)
        << column->GetName();
  }
}

TEST_P(StoreConformance, DatesThatLoseDigitsAreCounted) {
  const StructPtr type = TypeOf({{"due", dm_o_datetime_metadata()}});
  Make("t", type);
  const Any record = New(type);
  ASSERT_TRUE(Field(record, 0).Write(DateTime(632000000000000017)));
  EXPECT_TRUE(rows_->Insert("t", {record, record}));
  EXPECT_EQ(
      rows_->Execute("update t set due = ?", {Any(Field(record, 0).get())}), 2);
  // 警告, and: 个日期时间值只能保存到微秒，其余位数被截去。
  const std::string rest =
      " \xB8\xF6\xC8\xD5\xC6\xDA\xCA\xB1\xBC\xE4\xD6\xB5\xD6\xBB\xC4\xDC\xB1"
      "\xA3\xB4\xE6\xB5\xBD\xCE\xA2\xC3\xEB\xA3\xAC\xC6\xE4\xD3\xE0\xCE\xBB\xCA"
      "\xFD\xB1\xBB\xBD\xD8\xC8\xA5\xA1\xA3";
  const bool is_cut = GetParam().backend.fresh_text != SqliteText;
  EXPECT_EQ(log_.Has("[\xBE\xAF\xB8\xE6] db: Rows::Insert( 't' ): 2" + rest),
            is_cut);
  EXPECT_EQ(log_.Has("Rows::Execute( 'update t set due = ?' ): 1" + rest),
            is_cut);
  EXPECT_EQ(log_.Text().empty(), !is_cut);
}

TEST_P(StoreConformance, RecordsetEndsAndSaysSo) {
  const StructPtr type = TypeOf({{"id", dm_o_int32_metadata()}});
  const auto table = Make("t", type);
  ASSERT_EQ(rows_->Execute("insert into t values (null)"), 1);
  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  const auto fields = recordset->GetFields();
  ASSERT_NE(fields, nullptr);
  EXPECT_EQ(fields->Count(), 1);
  EXPECT_EQ(fields->Item("id")->Value().vt, VT_NULL);
  EXPECT_FALSE(FillRecord(*recordset, New(type))) << "no room for a null";
  EXPECT_TRUE(recordset->MoveNext());
  EXPECT_TRUE(recordset->IsEOF());
  EXPECT_FALSE(recordset->MoveNext());
  EXPECT_EQ(fields->Item(0)->Name(), "id");
  EXPECT_EQ(fields->Item(0)->Value().vt, VT_EMPTY);
  EXPECT_EQ(fields->Item(1), nullptr);
  EXPECT_EQ(fields->Item(-1), nullptr);
  EXPECT_EQ(fields->Item("none"), nullptr);
  ASSERT_TRUE(store_->DeleteTable("t"));
  EXPECT_EQ(table->OpenRecordset(), nullptr);
  for (const char* const text :
       {"AdoField::Value Exception: ", "AdoFields::Item( long ) Exception: ",
        "AdoRecordset::LoadTable Failed:",
        // 失败。
        "db: AdoTable::OpenRecordset Failed: Kernal call LoadTable() "
        "\xCA\xA7\xB0\xDC\xA1\xA3"})
    EXPECT_TRUE(log_.Has(text)) << text;
}

TEST_P(StoreConformance, TransactionIsAllOrNothing) {
  const StructPtr type = TypeOf({{"id", dm_o_int32_metadata()}});
  Make("t", type);
  const auto change = [&] {
    auto transaction = store_->BeginTransaction();
    EXPECT_NE(transaction, nullptr);
    EXPECT_TRUE(rows_->Insert("t", {New(type)}));
    return transaction;
  };
  const auto ended = change();
  EXPECT_TRUE(ended->Commit());
  EXPECT_EQ(Count("t"), 1);
  EXPECT_TRUE(change()->Rollback());
  EXPECT_EQ(Count("t"), 1);
  change();  // dropped
  EXPECT_EQ(Count("t"), 1);
  {
    const auto open = change();
    EXPECT_EQ(store_->BeginTransaction(), nullptr);
    EXPECT_TRUE(log_.Has("AdoConnection::BeginTransaction Failed: "));
    // An ended one must not end it.
    EXPECT_FALSE(ended->Commit());
    EXPECT_TRUE(log_.Has("AdoTransaction::Commit Failed: "));
    EXPECT_FALSE(ended->Rollback());
    EXPECT_TRUE(log_.Has("AdoTransaction::Rollback Failed: "));
    EXPECT_TRUE(open->Commit());
  }
  EXPECT_EQ(Count("t"), 2);
}

// A connection each, on one store.
TEST_P(StoreConformance, ThreadsDoNotMeet) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 40;
  const StructPtr type = TypeOf(
      {{"id", dm_o_int32_metadata()}, {"name", dm_o_ansi_string_metadata()}});
  Make("shared", type);
  const auto work = [&](int number) {
    const auto store = Factory().CreateConnection(text_);
    ASSERT_TRUE(store->Open("", ""));
    const auto rows = Rows::On(store);
    ASSERT_NE(rows, nullptr);
    for (int i = 0; i < kRecords; ++i) {
      const Any record = New(type);
      EXPECT_TRUE(Field(record, 0).Write(number * kRecords + i));
      dm_o_string_assign(Field(record, 1).get(), kRare);
      const auto transaction = store->BeginTransaction();
      ASSERT_NE(transaction, nullptr);
      EXPECT_TRUE(rows->Insert("shared", {record}));
      EXPECT_TRUE(i % 2 == 0 ? transaction->Commit() : transaction->Rollback());
      EXPECT_FALSE(store->IsExistTable("missing"));
    }
    const auto recordset = store->GetTable("shared")->OpenRecordset();
    ASSERT_NE(recordset, nullptr);
    for (const Any record = New(type); !recordset->IsEOF();) {
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

TEST_P(StoreConformance, TableOutlivesItsConnection) {
  const StructPtr type = TypeOf({{"id", dm_o_int32_metadata()}});
  const auto table = Make("t", type);
  ASSERT_TRUE(rows_->Insert("t", {New(type)}));
  rows_.reset();
  store_.reset();
  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  EXPECT_EQ(recordset->GetFields()->Item(0)->Value().vt, VT_I4);
}

INSTANTIATE_TEST_SUITE_P(Databases, StoreConformance,
                         ::testing::Values(Surroundings{kSqlite, "C"},
                                           Surroundings{kSqlite, "C.UTF-8"},
                                           Surroundings{kPostgres, "C"},
                                           Surroundings{kPostgres, "C.UTF-8"}),
                         [](const auto& given) {
                           return std::string(given.param.backend.name) +
                                  (given.param.locale == std::string("C")
                                       ? "InC"
                                       : "InUtf8");
                         });

}  // namespace
}  // namespace kiv::testing
