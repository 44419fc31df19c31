#include <string>
#include <vector>

#include "dm/dm.h"
#include "kiv/store/store.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

// A table that keeps what it is told to make.
class RecordingTable final : public Table {
 public:
  std::string refused;
  std::vector<std::string> made;
  std::vector<long> lengths;

  bool CompleteCreate() override { return false; }
  std::string GetName() override { return ""; }
  std::shared_ptr<Column> GetColumn(const std::string& name) override {
    return name == "there" ? std::make_shared<DbXmlColumn>() : nullptr;
  }
  std::shared_ptr<Column> GetColumn(long) override { return nullptr; }
  bool CreateColumn(const std::string& name, const Any& type,
                    long length) override {
    if (name == refused) return false;
    made.push_back(name + " " + dm_o_type_name_from_metadata(type.get()));
    lengths.push_back(length);
    return true;
  }
  bool ReservedCreateColumn(Any) override { return false; }
  bool DeleteColumn(const std::string&) override { return false; }
  long GetColumnCount() override { return 0; }
  std::shared_ptr<Recordset> OpenRecordset() override { return nullptr; }
  std::string ReservedText(std::uintptr_t, std::uintptr_t) override {
    return "";
  }
  std::string ColumnList(const std::vector<long>&,
                         const std::vector<std::string>&) override {
    return "";
  }
  bool ReservedRow(std::string, std::uintptr_t) override { return false; }
  bool ReservedRows(std::string, std::uintptr_t) override { return false; }
  bool ReservedKey(std::string, std::uintptr_t) override { return false; }
};

using Texts = std::vector<std::string>;

class CreateColumns : public StoreTest {
 protected:
  void Append(const char* name, void* type) {
    ASSERT_TRUE(dm_o_struct_metadata_append(type_.get(), name, type));
  }

  StructPtr type_ = StructPtr::Take(dm_o_struct_metadata_new());
  RecordingTable table_;
};

TEST_F(CreateColumns, MakesOneForEachFieldInOrder) {
  EXPECT_TRUE(table_.CreateColumns(type_));
  EXPECT_FALSE(table_.CreateColumns(StructPtr()));
  EXPECT_FALSE(table_.CreateColumns(StructPtr(dm_o_int32_metadata())));
  EXPECT_EQ(table_.made, Texts{});
  Append("id", dm_o_int32_metadata());
  Append("name", dm_o_ansi_string_metadata());
  Append("photo", dm_o_binary_metadata());
  EXPECT_TRUE(table_.CreateColumns(type_));
  EXPECT_EQ(table_.made, (Texts{"id System.Int32", "name System.String",
                                "photo System.Binary"}));
  EXPECT_EQ(table_.lengths, (std::vector<long>{0, 0, 0}));
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(CreateColumns, StopsAtTheFirstThatIsRefusedAndKeepsTheOthers) {
  constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";  // 订单
  Append("a", dm_o_int32_metadata());
  Append(kOrders, dm_o_int32_metadata());
  table_.refused = kOrders;
  EXPECT_FALSE(table_.CreateColumns(type_));
  EXPECT_EQ(table_.made, Texts{"a System.Int32"});
  EXPECT_TRUE(Logged(kError, "Store",
                     // 第1个字段创建失败：订单
                     "Table::CreateColumns Failed: \xB5\xDA"
                     "1\xB8\xF6\xD7\xD6\xB6\xCE\xB4\xB4\xBD\xA8\xCA\xA7\xB0\xDC"
                     "\xA3\xBA\xB6\xA9\xB5\xA5"));
  // Not even the first unless every field is a value.
  const StructPtr inner = StructPtr::Take(dm_o_struct_metadata_new());
  Append("inside", inner.get());
  EXPECT_FALSE(table_.CreateColumns(type_));
  EXPECT_EQ(table_.made.size(), 1u);
  EXPECT_TRUE(Logged(kError, "Store",
                     // 第2个字段类型不是值类型：System.Struct
                     "Table::CreateColumns Failed: \xB5\xDA"
                     "2\xB8\xF6\xD7\xD6\xB6\xCE\xC0\xE0\xD0\xCD\xB2\xBB\xCA\xC7"
                     "\xD6\xB5\xC0\xE0\xD0\xCD\xA3\xBASystem.Struct"));
}

TEST_F(StoreTest, TableHasWhatItsLookUpFinds) {
  RecordingTable table;
  EXPECT_TRUE(table.HasColumn("there"));
  EXPECT_FALSE(table.HasColumn("away"));
  std::vector<Any> row(1);
  EXPECT_FALSE(table.GetRow("key", row));
  EXPECT_EQ(row.size(), 1u);
}

TEST_F(StoreTest, ColumnAllowsNullWithJustThatAttribute) {
  AdoColumn column;
  const bool expected[] = {false, false, true, false};
  for (long attributes = 0; attributes < 4; ++attributes) {
    ASSERT_TRUE(column.SetAttributes(attributes));
    EXPECT_EQ(column.IsAllowNull(), expected[attributes]) << attributes;
  }
  EXPECT_TRUE(DbXmlColumn().IsAllowNull());
}

TEST_F(StoreTest, OpenOrCreateCreatesOnlyWhatCannotBeOpened) {
  struct Counting final : Connection {
    bool opens = false, creates = false;
    std::string calls;
    bool Open(const std::string& a, const std::string& b) override {
      calls += "open " + a + b + ";";
      return opens;
    }
    bool Create(const std::string& a, const std::string& b) override {
      calls += "create " + a + b + ";";
      return creates;
    }
    bool IsExistTable(const std::string&) override { return false; }
    std::shared_ptr<Table> GetTable(const std::string&) override { return {}; }
    std::shared_ptr<Table> CreateTable(const std::string&) override {
      return {};
    }
    bool DeleteTable(const std::string&) override { return false; }
    std::shared_ptr<Transaction> BeginTransaction() override { return {}; }
  };
  Counting store;
  EXPECT_FALSE(store.OpenOrCreate("a", "b"));
  store.creates = true;
  EXPECT_TRUE(store.OpenOrCreate("a", "b"));
  EXPECT_EQ(store.calls, "open ab;create ab;open ab;create ab;");
  store.opens = true;
  store.calls.clear();
  EXPECT_TRUE(store.OpenOrCreate("a", "b"));
  EXPECT_EQ(store.calls, "open ab;");
}

TEST_F(StoreTest, FactoryIsSilentAboutWhatHasNoProtocol) {
  for (const char* const text :
       {"", "ado", "://", ":ado:x", "xmldb store", "ado;mssql:Provider=x"}) {
    EXPECT_EQ(Make(text), nullptr) << text;
  }
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(StoreTest, FactoryNamesAConnectionThatItCannotMake) {
  for (const char* const text :
       {"ADO:access:Data Source=a", "xmldb2://x", "ado:oracle:Password=secret"})
    EXPECT_EQ(Make(text), nullptr) << text;
  for (const std::string shown :
       {"ADO:access:Data Source=a", "xmldb2://x", "ado:oracle:Password=***"})
    // ' ) 失败。
    EXPECT_TRUE(LoggedError("Factory::CreateConnection( '" + shown +
                            "' ) \xCA\xA7\xB0\xDC\xA1\xA3"));
  EXPECT_TRUE(LoggedError(
      // 分析 'oracle:Password=***' 错误99
      "AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
      "'oracle:Password=***' \xB4\xED\xCE\xF3"
      "99"));
  EXPECT_FALSE(log_.Has("secret"));
}

TEST_F(StoreTest, StatementThatFailsIsNamedWithoutItsPassword) {
  const auto store = Make("ado:ado:Driver=SQLite3;Database=a.db");
  ASSERT_TRUE(store->Create("", "")) << log_.Text();
  EXPECT_EQ(Rows::On(store)->Execute("update u set password = 'secret'"), -1);
  EXPECT_EQ(Rows::On(store)->Query("select x where pwd = 'secret'"), nullptr);
  EXPECT_TRUE(log_.Has("Rows::Execute( 'update u set password = ***' )"));
  EXPECT_TRUE(log_.Has("Rows::Query( 'select x where pwd = ***' )"));
  EXPECT_FALSE(log_.Has("secret"));
}

TEST_F(StoreTest, FactoryTakesBothSeparators) {
  for (const char* const text :
       {"ado:access:Data Source=a.mdb", "ado://access:Data Source=a.mdb"}) {
    EXPECT_NE(std::dynamic_pointer_cast<AccessAdoConnection>(Make(text)),
              nullptr)
        << text;
  }
  for (const char* const text : {"xmldb:store", "xmldb://store"}) {
    const auto connection = Make(text);
    ASSERT_NE(connection, nullptr) << text;
    EXPECT_TRUE(connection->Open("", "")) << text;
    EXPECT_TRUE(std::filesystem::exists("store")) << text;
  }
}

}  // namespace
}  // namespace kiv::store
