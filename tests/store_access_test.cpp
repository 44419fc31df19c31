// Access files as stores: they are read and left alone.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <string>

#include "dm/dm.h"
#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "port/test_folder.h"
#include "testing/access_file.h"
#include "testing/test_log.h"

namespace kiv::testing {
namespace {

using store::Factory;
using store::FillRecord;
using store::Rows;
using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;
using Type = AccessFile::Type;

constexpr char kText[] =
    "ado::Provider=Microsoft.Jet.OLEDB.4.0;Data Source=old.mdb";
// 订单
constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";
// 客户
constexpr char kCustomer[] = "\xBF\xCD\xBB\xA7";
// 京A·镕0017
constexpr char kPlate[] =
    "\xBE\xA9"
    "A\xA1\xA4\xE9\x46"
    "0017";

class StoreAccess : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    GlobalInit();
    ASSERT_NE(std::setlocale(LC_ALL, GetParam()), nullptr);
    AccessFile file;
    file.AddTable(
        u"\u8BA2\u5355",
        {{u"id", Type::Int32},
         {u"\u5BA2\u6237", Type::Text},
         {u"tons", Type::Double},
         {u"due", Type::Date},
         {u"paid", Type::Bool},
         {u"note", Type::Memo}},
        {{AccessFile::Of(std::int32_t{-7}),
          AccessFile::Text(u"\u4EAC"
                           u"A\u00B7\u9555"
                           u"0017"),
          AccessFile::Of(0.25), AccessFile::Of(38017.25), AccessFile::True(),
          AccessFile::Text(std::u16string(700, u'\u957F'))},
         std::vector<AccessFile::Value>(6)});
    file.AddTable(u"a_b", {{u"id", Type::Int32}}, {});
    file.Write("old.mdb");
    before_ = ReadTestFile("old.mdb");
    store_ = Factory().CreateConnection(kText);
    ASSERT_NE(store_, nullptr);
    ASSERT_TRUE(store_->Open("", "")) << log_.Text();
  }
  void TearDown() override {
    store_.reset();
    std::setlocale(LC_ALL, "C");
    GlobalUninit();
    EXPECT_TRUE(ReadTestFile("old.mdb") == before_);
  }

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
  std::string before_;
  std::shared_ptr<store::Connection> store_;
};

TEST_P(StoreAccess, RowsAreRead) {
  EXPECT_TRUE(store_->IsExistTable(kOrders));
  EXPECT_FALSE(store_->IsExistTable("axb"));
  EXPECT_FALSE(store_->IsExistTable("MSysObjects"));
  const auto table = store_->GetTable(kOrders);
  ASSERT_NE(table, nullptr) << log_.Text();
  EXPECT_EQ(table->GetColumnCount(), 6);
  EXPECT_TRUE(table->HasColumn(kCustomer));
  const auto rows = table->OpenRecordset();
  ASSERT_NE(rows, nullptr) << log_.Text();
  const auto fields = rows->GetFields();
  EXPECT_EQ(fields->Item("id")->Value().lVal, -7);
  EXPECT_EQ(fields->Item("tons")->Value().dblVal, 0.25);
  EXPECT_EQ(fields->Item("due")->Value().date, 38017.25);
  EXPECT_EQ(fields->Item("paid")->Value().boolVal, VARIANT_TRUE);
  EXPECT_EQ(std::u16string(fields->Item("note")->Value().bstrVal),
            std::u16string(700, u'\u957F'));

  const auto type = StructPtr::Take(dm_o_struct_metadata_new());
  ASSERT_TRUE(dm_o_struct_metadata_append(type.get(), kCustomer,
                                          dm_o_object_pointer_metadata()));
  const auto record = Any::Take(dm_o_instance_from_metadata(type.get()));
  const auto customer = [&] {
    return dm_o_object_pointer_get(dm_o_struct_field_at(record.get(), 0));
  };
  ASSERT_TRUE(FillRecord(*rows, record)) << log_.Text();
  EXPECT_STREQ(dm_o_string_text(customer()), kPlate);
  EXPECT_TRUE(rows->MoveNext());
  EXPECT_EQ(fields->Item("tons")->Value().vt, VT_NULL);
  ASSERT_TRUE(FillRecord(*rows, record));
  EXPECT_EQ(customer(), nullptr);
  EXPECT_TRUE(rows->MoveNext());
  EXPECT_TRUE(rows->IsEOF());
}

TEST_P(StoreAccess, NothingIsWritten) {
  const auto made = store_->CreateTable("new");
  ASSERT_NE(made, nullptr);
  EXPECT_TRUE(made->CreateColumn("id", Any(dm_o_int32_metadata()), 0));
  EXPECT_FALSE(made->CompleteCreate());
  EXPECT_TRUE(log_.Has("AdoTable::CompleteCreate Failed: "));
  EXPECT_FALSE(store_->DeleteTable("a_b"));
  EXPECT_TRUE(log_.Has("AdoConnection::DeleteTable Failed: "));
  const auto table = store_->GetTable("a_b");
  ASSERT_NE(table, nullptr);
  EXPECT_FALSE(table->CreateColumn("more", Any(dm_o_int32_metadata()), 0));
  EXPECT_TRUE(log_.Has("AccessAdoTable::CreateColumn Failed: "));
  EXPECT_FALSE(table->DeleteColumn("id"));
  const auto rows = Rows::On(store_);
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(rows->Execute("delete from a_b"), -1);
  EXPECT_FALSE(Factory().CreateConnection(kText)->Create("", ""));
}

INSTANTIATE_TEST_SUITE_P(Locales, StoreAccess,
                         ::testing::Values("C", "C.UTF-8"),
                         [](const auto& given) {
                           return given.param == std::string("C") ? "C"
                                                                  : "Utf8";
                         });

}  // namespace
}  // namespace kiv::testing
