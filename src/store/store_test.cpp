#include "kiv/store/store.h"

#include <string>

#include "dm/dm.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

class CreateColumns : public StoreTest {
 protected:
  void Append(const char* name, void* type) {
    ASSERT_TRUE(dm_o_struct_metadata_append(type_.get(), name, type));
  }

  StructPtr type_ = StructPtr::Take(dm_o_struct_metadata_new());
  // In no database; it takes no bytes.
  const std::shared_ptr<Table> table_ = Make("ado:ado:x")->CreateTable("t");
};

TEST_F(CreateColumns, MakesOneForEachFieldInOrder) {
  EXPECT_TRUE(table_->CreateColumns(type_));
  EXPECT_FALSE(table_->CreateColumns(StructPtr()));
  EXPECT_FALSE(table_->CreateColumns(StructPtr(dm_o_int32_metadata())));
  Append("id", dm_o_int32_metadata());
  Append("at", dm_o_datetime_metadata());
  EXPECT_TRUE(table_->CreateColumns(type_));
  ASSERT_EQ(table_->GetColumnCount(), 2);
  EXPECT_TRUE(table_->HasColumn("id"));
  EXPECT_FALSE(table_->HasColumn("no"));
  EXPECT_EQ(table_->GetColumn(0)->GetName(), "id");
  EXPECT_EQ(table_->GetColumn(1)->GetType().get(), dm_o_datetime_metadata());
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(CreateColumns, StopsAtTheFirstThatIsRefusedAndKeepsTheOthers) {
  Append("a", dm_o_int32_metadata());
  Append("\xB6\xA9\xB5\xA5", dm_o_binary_metadata());
  Append("b", dm_o_int32_metadata());
  EXPECT_FALSE(table_->CreateColumns(type_));
  EXPECT_EQ(table_->GetColumnCount(), 1);
  EXPECT_TRUE(Logged(kError, "Store",
                     // 第1个字段创建失败：订单
                     "Table::CreateColumns Failed: \xB5\xDA"
                     "1\xB8\xF6\xD7\xD6\xB6\xCE\xB4\xB4\xBD\xA8\xCA\xA7\xB0\xDC"
                     "\xA3\xBA\xB6\xA9\xB5\xA5"));
  // Not even the first unless every field is a value.
  const StructPtr inner = StructPtr::Take(dm_o_struct_metadata_new());
  Append("inside", inner.get());
  const auto other = Make("ado:ado:x")->CreateTable("t");
  EXPECT_FALSE(other->CreateColumns(type_));
  EXPECT_EQ(other->GetColumnCount(), 0);
  EXPECT_TRUE(Logged(kError, "Store",
                     // 第3个字段类型不是值类型：System.Struct
                     "Table::CreateColumns Failed: \xB5\xDA"
                     "3\xB8\xF6\xD7\xD6\xB6\xCE\xC0\xE0\xD0\xCD\xB2\xBB\xCA\xC7"
                     "\xD6\xB5\xC0\xE0\xD0\xCD\xA3\xBASystem.Struct"));
}

TEST_F(StoreTest, FactoryIsSilentAboutWhatHasNoProtocol) {
  for (const char* const text : {"", "ado", "://", ":ado:x", "xmldb store"})
    EXPECT_EQ(Make(text), nullptr) << text;
  EXPECT_EQ(log_.Text(), "");
  // Both separators are one.
  for (const char* const text : {"ado:access:x", "ado://access:x"})
    EXPECT_NE(Make(text), nullptr) << text;
}

TEST_F(StoreTest, FactoryNamesAConnectionThatItCannotMake) {
  for (const auto& [text, shown] :
       {std::pair("ADO:access:Data Source=a", "ADO:access:Data Source=a"),
        std::pair("xmldb2://x", "xmldb2://x"),
        std::pair("ado:oracle:PWD=secret", "ado:oracle:PWD=***")}) {
    EXPECT_EQ(Make(text), nullptr) << text;
    // ' ) 失败。
    EXPECT_TRUE(LoggedError("Factory::CreateConnection( '" +
                            std::string(shown) +
                            "' ) \xCA\xA7\xB0\xDC\xA1\xA3"));
  }
  EXPECT_FALSE(log_.Has("secret"));
}

TEST_F(StoreTest, StatementThatFailsIsNamedWithoutItsPassword) {
  const auto store = Make("ado:ado:Driver=SQLite3;Database=a.db");
  ASSERT_TRUE(store->OpenOrCreate("", "")) << log_.Text();
  EXPECT_EQ(Rows::On(store)->Execute("update u set password = 'secret'"), -1);
  EXPECT_EQ(Rows::On(store)->Query("select x where pwd = 'secret'"), nullptr);
  EXPECT_TRUE(log_.Has("Rows::Execute( 'update u set password = ***' )"));
  EXPECT_TRUE(log_.Has("Rows::Query( 'select x where pwd = ***' )"));
  EXPECT_FALSE(log_.Has("secret"));
}

}  // namespace
}  // namespace kiv::store
