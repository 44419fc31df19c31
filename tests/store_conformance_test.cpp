// What every database of the record store does alike, whatever the locale.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
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
  static Any NewText(const std::string& text) {
    auto object = Any::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
    dm_o_string_assign(object.get(), text.c_str());
    return object;
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

TEST_P(StoreConformance, StoreIsMadeOnceAndOpenedAgain) {
  Make("t", TypeOf({{"id", dm_o_int32_metadata()}}));
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
  EXPECT_TRUE(log_.Has("AdoConnection::IsExistTable Failed:"));
  EXPECT_EQ(closed->GetTable("t"), nullptr);
  // ')失败。
  EXPECT_TRUE(
      log_.Has("AdoConnection::GetTable Failed: "
               "o->GetTable('t')\xCA\xA7\xB0\xDC\xA1\xA3"));
  EXPECT_EQ(closed->BeginTransaction(), nullptr);
  EXPECT_TRUE(log_.Has("AdoConnection::BeginTransaction Failed: "));
  EXPECT_EQ(Rows::On(closed), nullptr);
  const auto table = closed->CreateTable("t");
  ASSERT_NE(table, nullptr);
  EXPECT_FALSE(table->CompleteCreate());
  EXPECT_TRUE(log_.Has("AdoTable::CompleteCreate Failed: "));
}

TEST_P(StoreConformance, EmptyNamesAreRefused) {
  EXPECT_EQ(store_->GetTable(""), nullptr);
  // 不能为空。
  EXPECT_TRUE(
      log_.Has("db: AdoConnection::GetTable Failed: name "
               "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
  EXPECT_EQ(store_->CreateTable(""), nullptr);
  // 不能为空。
  EXPECT_TRUE(
      log_.Has("db: AdoConnection::CreateTable Failed: name "
               "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
  EXPECT_FALSE(store_->DeleteTable(""));
  // 不能为空。
  EXPECT_TRUE(
      log_.Has("db: AdoConnection::DeleteTable Failed: name "
               "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
  const auto table = Make("t", TypeOf({{"id", dm_o_int32_metadata()}}));
  EXPECT_EQ(table->GetColumn(""), nullptr);
  // 不能为空。
  EXPECT_TRUE(
      log_.Has("db: AdoTable::GetColumn Failed: name "
               "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
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

TEST_P(StoreConformance, NamesAreTakenAsTheyStand) {
  const StructPtr type = TypeOf({{"id", dm_o_int32_metadata()}});
  const std::vector<std::string> names{
      "a_b", "a%b",   "x\"; drop table y;--", "two words", "it's",
      "[q]", "Select"};
  for (const std::string& name : names) Make(name, type);
  // A pattern would find these.
  for (const char* const missing : {"axb", "a", "a__", "%", "x\""})
    EXPECT_FALSE(store_->IsExistTable(missing)) << missing;
  for (const std::string& name : names) {
    EXPECT_TRUE(store_->IsExistTable(name)) << name;
    EXPECT_TRUE(rows_->Insert(name, {New(type)})) << name;
  }
  for (const std::string& name : names) {
    const auto table = store_->GetTable(name);
    ASSERT_NE(table, nullptr) << name;
    EXPECT_EQ(table->GetName(), name);
    const auto recordset = table->OpenRecordset();
    ASSERT_NE(recordset, nullptr) << name;
    EXPECT_FALSE(recordset->IsEOF());
  }
  EXPECT_TRUE(store_->DeleteTable("a_b"));
  EXPECT_TRUE(store_->IsExistTable("a%b"));
  EXPECT_FALSE(store_->DeleteTable("a_b"));
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

TEST_P(StoreConformance, TableIsMadeOnce) {
  const StructPtr type = TypeOf({{"id", dm_o_int32_metadata()}});
  Make("t", type);
  const auto twice = store_->CreateTable("t");
  ASSERT_NE(twice, nullptr);
  EXPECT_TRUE(twice->CreateColumns(type));
  EXPECT_FALSE(twice->CompleteCreate());
  EXPECT_TRUE(log_.Has("AdoTable::CompleteCreate Failed: "));
  // Not real before that.
  const auto never = store_->CreateTable("never");
  EXPECT_TRUE(never->CreateColumns(type));
  EXPECT_FALSE(store_->IsExistTable("never"));
}

TEST_P(StoreConformance, ValuesComeBackAsTheyWentIn) {
  const StructPtr type = TypeOf({{"flag", dm_o_bool_metadata()},
                                 {"small", dm_o_byte_metadata()},
                                 {"short", dm_o_int16_metadata()},
                                 {"number", dm_o_int32_metadata()},
                                 {"long", dm_o_int64_metadata()},
                                 {"real", dm_o_float_metadata()},
                                 {"double", dm_o_double_metadata()},
                                 {"guid", dm_o_guid_metadata()},
                                 {"time", dm_o_datetime_metadata()},
                                 {"text", dm_o_ansi_string_metadata()}});
  const auto table = Make("t", type);
  for (std::size_t i = 0; i < 10; ++i) {
    const auto column = table->GetColumn(static_cast<long>(i));
    // PostgreSQL has no type of one byte and takes two for it.
    if (column->GetName() == "small" &&
        column->GetType().get() == dm_o_int16_metadata())
      continue;
    EXPECT_EQ(dm_o_type_info_from_metadata(column->GetType().get())->type_id,
              dm_o_type_info_from_metadata(
                  dm_o_struct_metadata_field_metadata(type.get(), i))
                  ->type_id)
        << column->GetName();
  }
  std::vector<Any> records;
  const auto add = [&](auto limits) {
    const Any record = New(type);
    const bool is_low = limits == 0;
    const auto pick = [&](auto low, auto high) { return is_low ? low : high; };
    EXPECT_TRUE(Field(record, 0).Write(!is_low));
    EXPECT_TRUE(
        Field(record, 1).Write(pick(std::uint8_t{0}, std::uint8_t{255})));
    EXPECT_TRUE(
        Field(record, 2).Write(pick(std::numeric_limits<std::int16_t>::min(),
                                    std::numeric_limits<std::int16_t>::max())));
    EXPECT_TRUE(
        Field(record, 3).Write(pick(std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::max())));
    EXPECT_TRUE(
        Field(record, 4).Write(pick(std::numeric_limits<std::int64_t>::min(),
                                    std::numeric_limits<std::int64_t>::max())));
    EXPECT_TRUE(
        Field(record, 5).Write(pick(std::numeric_limits<float>::lowest(),
                                    std::numeric_limits<float>::min())));
    EXPECT_TRUE(Field(record, 6).Write(
        pick(std::numeric_limits<double>::lowest(), 0.1)));
    EXPECT_TRUE(Field(record, 8).Write(
        is_low ? DateTime(1753, 1, 1, 0, 0, 0, 0)
               : DateTime(9999, 12, 31, 23, 59, 59, 999)));
    EXPECT_TRUE(
        dm_o_string_assign(Field(record, 9).get(), is_low ? "" : kRare));
    records.push_back(record);
  };
  add(0);
  add(1);
  ASSERT_TRUE(rows_->Insert("t", records)) << log_.Text();

  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  for (const Any& expected : records) {
    ASSERT_FALSE(recordset->IsEOF());
    const Any read = New(type);
    ASSERT_TRUE(FillRecord(*recordset, read)) << log_.Text();
    for (std::size_t i = 0; i < 9; ++i) {
      const std::size_t size = dm_o_instance_data_size(
          dm_o_struct_metadata_field_metadata(type.get(), i));
      EXPECT_EQ(
          std::string(static_cast<const char*>(Field(read, i).Data()), size),
          std::string(static_cast<const char*>(Field(expected, i).Data()),
                      size))
          << dm_o_struct_metadata_field_name(type.get(), i);
    }
    EXPECT_STREQ(dm_o_string_text(Field(read, 9).get()),
                 dm_o_string_text(Field(expected, 9).get()));
    EXPECT_TRUE(recordset->MoveNext());
  }
  EXPECT_TRUE(recordset->IsEOF());
}

TEST_P(StoreConformance, ValueMayBeMissing) {
  const StructPtr columns = TypeOf(
      {{"id", dm_o_int32_metadata()}, {"name", dm_o_ansi_string_metadata()}});
  const auto table = Make("t", columns);
  const StructPtr type = TypeOf({{"id", dm_o_object_pointer_metadata()},
                                 {"name", dm_o_object_pointer_metadata()}});
  const Any record = New(type);
  ASSERT_TRUE(
      dm_o_object_pointer_set(Field(record, 1).get(), NewText("kiv").get()));
  ASSERT_TRUE(rows_->Insert("t", {record})) << log_.Text();
  const auto recordset = table->OpenRecordset();
  const auto fields = recordset->GetFields();
  EXPECT_EQ(fields->Item(0)->Value().vt, VT_NULL);
  EXPECT_EQ(fields->Item("name")->Value().vt, VT_BSTR);
  const Any read = New(type);
  ASSERT_TRUE(FillRecord(*recordset, read));
  EXPECT_EQ(dm_o_object_pointer_get(Field(read, 0).get()), nullptr);
  EXPECT_STREQ(dm_o_string_text(dm_o_object_pointer_get(Field(read, 1).get())),
               "kiv");
  EXPECT_FALSE(FillRecord(*recordset, New(columns)));
}

TEST_P(StoreConformance, LongTextIsWhole) {
  const auto table = store_->CreateTable("t");
  ASSERT_TRUE(
      table->CreateColumn("text", Any(dm_o_ansi_string_metadata()), 4000));
  ASSERT_TRUE(table->CompleteCreate());
  std::string text;
  for (int i = 0; i < 600; ++i) text += i % 2 != 0 ? kOrders : "a";
  const StructPtr type = TypeOf({{"text", dm_o_ansi_string_metadata()}});
  const Any record = New(type);
  dm_o_string_assign(Field(record, 0).get(), text.c_str());
  ASSERT_TRUE(rows_->Insert("t", {record})) << log_.Text();
  const auto recordset = table->OpenRecordset();
  const Any read = New(type);
  ASSERT_TRUE(FillRecord(*recordset, read));
  EXPECT_EQ(dm_o_string_text(Field(read, 0).get()), text);
  EXPECT_EQ(SysStringLen(recordset->GetFields()->Item(0)->Value().bstrVal),
            900u);
}

TEST_P(StoreConformance, RecordsetEndsAndSaysSo) {
  const auto table = Make("t", TypeOf({{"id", dm_o_int32_metadata()}}));
  const auto recordset = table->OpenRecordset();
  ASSERT_NE(recordset, nullptr);
  EXPECT_TRUE(recordset->IsEOF());
  EXPECT_FALSE(recordset->MoveNext());
  const auto fields = recordset->GetFields();
  ASSERT_NE(fields, nullptr);
  EXPECT_EQ(fields->Count(), 1);
  EXPECT_EQ(fields->Item(0)->Name(), "id");
  EXPECT_EQ(fields->Item(0)->Value().vt, VT_EMPTY);
  EXPECT_TRUE(log_.Has("AdoField::Value Exception: "));
  EXPECT_EQ(fields->Item(1), nullptr);
  EXPECT_TRUE(log_.Has("AdoFields::Item( long ) Exception: "));
  EXPECT_EQ(fields->Item(-1), nullptr);
  EXPECT_EQ(fields->Item("none"), nullptr);
}

TEST_P(StoreConformance, RecordsetOfATableThatIsGoneIsEmpty) {
  const auto table = Make("t", TypeOf({{"id", dm_o_int32_metadata()}}));
  ASSERT_TRUE(store_->DeleteTable("t"));
  EXPECT_EQ(table->OpenRecordset(), nullptr);
  EXPECT_TRUE(log_.Has("AdoRecordset::LoadTable Failed:"));
  // 失败。
  EXPECT_TRUE(
      log_.Has("db: AdoTable::OpenRecordset Failed: Kernal call LoadTable() "
               "\xCA\xA7\xB0\xDC\xA1\xA3"));
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
