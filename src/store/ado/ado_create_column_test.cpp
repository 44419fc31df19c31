#include <tuple>

#include "dm/dm.h"
#include "kiv/store/ado_column.h"
#include "kiv/store/ado_table.h"
#include "store/ado/ado_objects.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

using enum ado::DataType;

class StoreColumns : public StoreTest {
 protected:
  // Of a new table. `type` is behind "System.", or "none", or "record".
  bool Create(const std::string& store, const std::string& type, long length) {
    const auto connection = Make(store);
    if (store.starts_with("xmldb")) {
      EXPECT_TRUE(connection->Open("", ""));
    }
    table_ = connection->CreateTable("t" + std::to_string(++count_));
    const auto record = StructPtr::Take(dm_o_struct_metadata_new());
    const Any of = type == "none" ? Any()
                   : type == "record"
                       ? Any(record)
                       : Any(dm_o_get_metadata(("System." + type).c_str()));
    return table_->CreateColumn("col", of, length);
  }

  std::shared_ptr<Table> table_;

 private:
  int count_ = 0;
};

// Of a table that is not in any database yet.
TEST_F(StoreColumns, HaveTheTypesOfTheirDatabase) {
  // A type, its length, and what comes of it; adEmpty: it is refused.
  const std::tuple<const char*, const char*, long, ado::DataType, long> rows[] =
      {{"ado:ado:x", "String", 0, adVarWChar, 50},
       {"ado:ado:x", "ValueVector", 0, adEmpty, 0},
       {"ado:access:x", "Int64", 0, adInteger, 0},
       {"ado:access:x", "String", 255, adVarWChar, 255},
       {"ado:access:x", "String", 256, adLongVarWChar, 256},
       {"ado:access:x", "DateTime", 0, adDate, 0},
       {"ado:access:x", "Binary", 0, adLongVarBinary, 0},
       {"ado:access:x", "Binary", 510, adVarBinary, 510},
       {"ado:access:x", "Binary", 511, adLongVarBinary, 511},
       {"ado:mssql:x", "String", 0, adEmpty, 0},
       {"ado:mssql:x", "String", 4000, adVarWChar, 4000},
       {"ado:mssql:x", "Binary", 0, adEmpty, 0},
       {"ado:mssql:x", "Binary", 8000, adVarBinary, 8000}};
  for (const auto& [store, type, length, expected, size] : rows) {
    SCOPED_TRACE(std::string(store) + type + std::to_string(length));
    const bool is_made = Create(store, type, length);
    EXPECT_EQ(is_made, expected != adEmpty) << log_.Text();
    ASSERT_EQ(table_->GetColumnCount(), is_made ? 1 : 0);
    if (!is_made) continue;
    const auto column = table_->GetColumn("col");
    EXPECT_EQ(static_cast<ado::Column*>(column->Handle())->Type(), expected);
    EXPECT_EQ(column->GetDefinedSize(), size);
  }
}

TEST_F(StoreColumns, AreRefusedWithTheirReason) {
  // ' ) 失败，type 必须是一个
  const std::string must_be =
      "::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype "
      "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6";
  // 有效值
  const std::string no_type = must_be + "\xD3\xD0\xD0\xA7\xD6\xB5";
  // 值类型，而传入的类型为：System.Struct
  const std::string no_value_type =
      must_be +
      "\xD6\xB5\xC0\xE0\xD0\xCD\xA3\xAC\xB6\xF8\xB4\xAB\xC8\xEB\xB5\xC4"
      "\xC0\xE0\xD0\xCD\xCE\xAA\xA3\xBASystem.Struct";
  const std::string failed = "::CreateColumn Failed: ";
  // 无效的数据类型: 'System.Int32' 长度，不能为负数
  const std::string negative =
      failed +
      "\xCE\xDE\xD0\xA7\xB5\xC4\xCA\xFD\xBE\xDD\xC0\xE0\xD0\xCD: "
      "'System.Int32' "
      "\xB3\xA4\xB6\xC8\xA3\xAC\xB2\xBB\xC4\xDC\xCE\xAA\xB8\xBA\xCA\xFD";
  // 没有处理 'System.Binary'的能力
  const std::string unable =
      "::CreateColumn: \xC3\xBB\xD3\xD0\xB4\xA6\xC0\xED "
      "'System.Binary'\xB5\xC4\xC4\xDC\xC1\xA6";
  // ' 长度必须在1至
  const std::string from_one_to =
      failed +
      "'col' \xB3\xA4\xB6\xC8\xB1\xD8\xD0\xEB\xD4\xDA"
      "1\xD6\xC1";
  const std::tuple<const char*, const char*, long, std::string> rows[] = {
      {"ado:ado:x", "none", 0, "AdoTable" + no_type},
      {"ado:ado:x", "record", 0, "AdoTable" + no_value_type},
      {"ado:ado:x", "Int32", -3, "AdoTable" + negative + "(-3)"},
      {"ado:ado:x", "Binary", 0, "AdoTable" + unable},
      {"ado:access:x", "none", 0, "AccessAdoTable" + no_type},
      {"ado:access:x", "Int32", -3, "AccessAdoTable" + negative + "\xA1\xA3"},
      {"ado:mssql:x", "Int32", -3, "MsSqlAdoTable" + negative + "(-3)"},
      // 4000之间，实现使用宽字符。
      {"ado:mssql:x", "String", 4001,
       "MsSqlAdoTable" + from_one_to +
           "4000\xD6\xAE\xBC\xE4\xA3\xAC\xCA\xB5\xCF\xD6\xCA\xB9\xD3\xC3"
           "\xBF\xED\xD7\xD6\xB7\xFB\xA1\xA3"},
      {"ado:mssql:x", "Binary", 8001,
       "MsSqlAdoTable" + from_one_to + "8000\xD6\xAE\xBC\xE4"},
      {"xmldb:store", "none", 0, "DbXmlTable" + no_type},
      {"xmldb:store", "Binary", 0, "DbXmlTable" + unable}};
  for (const auto& [store, type, length, message] : rows) {
    EXPECT_FALSE(Create(store, type, length)) << message;
    EXPECT_TRUE(LoggedError(message)) << message << log_.Text();
  }
  EXPECT_TRUE(Create("ado:access:x", "Int64", 0));
  EXPECT_TRUE(Logged(
      kWarning, "db",
      // ' 字段使用64位整型，而 Access 不支持 64 位，用 32
      // 位整型代替，对该字段做 64 位整型数值操作将会产生数据溢出！
      "AccessAdoTable::CreateColumn: 'col' \xD7\xD6\xB6\xCE\xCA\xB9\xD3\xC3"
      "64\xCE\xBB\xD5\xFB\xD0\xCD\xA3\xAC\xB6\xF8 Access "
      "\xB2\xBB\xD6\xA7\xB3\xD6 64 \xCE\xBB\xA3\xAC\xD3\xC3 32 "
      "\xCE\xBB\xD5\xFB\xD0\xCD\xB4\xFA\xCC\xE6\xA3\xAC\xB6\xD4\xB8\xC3"
      "\xD7\xD6\xB6\xCE\xD7\xF6 64 "
      "\xCE\xBB\xD5\xFB\xD0\xCD\xCA\xFD\xD6\xB5\xB2\xD9\xD7\xF7\xBD\xAB"
      "\xBB\xE1\xB2\xFA\xC9\xFA\xCA\xFD\xBE\xDD\xD2\xE7\xB3\xF6\xA3\xA1"));
}

}  // namespace
}  // namespace kiv::store
