#include "dm/dm.h"
#include "kiv/store/ado_column.h"
#include "kiv/store/ado_table.h"
#include "store/ado/ado_objects.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

using enum ado::DataType;

struct TypeCase {
  const char* name;
  const char* dbms;
  const char* type;  // behind "System."
  long length;
  // adEmpty: refused.
  ado::DataType expected;
  long size;
};

class AdoColumnType : public StoreTest,
                      public ::testing::WithParamInterface<TypeCase> {};

// Of a table that is not in any database yet.
TEST_P(AdoColumnType, FollowsTheDatabase) {
  const TypeCase& given = GetParam();
  const std::string type = std::string("System.") + given.type;
  const auto connection = Make(std::string("ado:") + given.dbms + ":x");
  ASSERT_NE(connection, nullptr);
  const auto table = connection->CreateTable("t");
  ASSERT_NE(table, nullptr);
  const bool is_made = table->CreateColumn(
      "c", Any(dm_o_get_metadata(type.c_str())), given.length);
  EXPECT_EQ(is_made, given.expected != ado::adEmpty) << log_.Text();
  EXPECT_EQ(table->GetColumnCount(), is_made ? 1 : 0);
  if (!is_made) return;
  const auto column = table->GetColumn("c");
  ASSERT_NE(column, nullptr);
  const auto* const inner = static_cast<ado::Column*>(column->Handle());
  EXPECT_EQ(inner->Type(), given.expected);
  EXPECT_EQ(column->GetDefinedSize(), given.size);
  EXPECT_EQ(column->GetType().get(), given.expected == ado::adInteger
                                         ? dm_o_int32_metadata()
                                         : dm_o_get_metadata(type.c_str()));
}

INSTANTIATE_TEST_SUITE_P(
    Types, AdoColumnType,
    ::testing::Values(
        TypeCase{"Bool", "ado", "Boolean", 0, adBoolean, 0},
        TypeCase{"Byte", "ado", "Byte", 0, adUnsignedTinyInt, 0},
        TypeCase{"Int16", "ado", "Int16", 0, adSmallInt, 0},
        TypeCase{"Int32", "ado", "Int32", 0, adInteger, 0},
        TypeCase{"Int64", "ado", "Int64", 0, adBigInt, 0},
        TypeCase{"Float", "ado", "Float", 0, adSingle, 0},
        TypeCase{"Double", "ado", "Double", 0, adDouble, 0},
        TypeCase{"Guid", "ado", "Guid", 0, adGUID, 0},
        TypeCase{"DateTime", "ado", "DateTime", 0, adDBTimeStamp, 0},
        TypeCase{"Text", "ado", "String", 0, adVarWChar, 50},
        TypeCase{"LongText", "ado", "String", 4001, adVarWChar, 4001},
        TypeCase{"Binary", "ado", "Binary", 9, adEmpty, 0},
        TypeCase{"Vector", "ado", "ValueVector", 0, adEmpty, 0},
        TypeCase{"NegativeLength", "ado", "Int32", -1, adEmpty, 0},
        TypeCase{"AccessInt64", "access", "Int64", 0, adInteger, 0},
        TypeCase{"AccessText", "access", "String", 0, adVarWChar, 50},
        TypeCase{"AccessText255", "access", "String", 255, adVarWChar, 255},
        TypeCase{"AccessText256", "access", "String", 256, adLongVarWChar, 256},
        TypeCase{"AccessDate", "access", "DateTime", 0, adDate, 0},
        TypeCase{"AccessBinary", "access", "Binary", 0, adLongVarBinary, 0},
        TypeCase{"AccessShortBinary", "access", "Binary", 510, adVarBinary,
                 510},
        TypeCase{"AccessLength", "access", "String", -1, adEmpty, 0},
        TypeCase{"MsSqlInt64", "mssql", "Int64", 0, adBigInt, 0},
        TypeCase{"MsSqlText0", "mssql", "String", 0, adEmpty, 0},
        TypeCase{"MsSqlText1", "mssql", "String", 1, adVarWChar, 1},
        TypeCase{"MsSqlText4000", "mssql", "String", 4000, adVarWChar, 4000},
        TypeCase{"MsSqlText4001", "mssql", "String", 4001, adEmpty, 0},
        TypeCase{"MsSqlBinary0", "mssql", "Binary", 0, adEmpty, 0},
        TypeCase{"MsSqlBinary8000", "mssql", "Binary", 8000, adVarBinary, 8000},
        TypeCase{"MsSqlBinary8001", "mssql", "Binary", 8001, adEmpty, 0}),
    [](const auto& given) { return given.param.name; });

// 错误
constexpr char kFault[] = "\xB4\xED\xCE\xF3";
// 警告
constexpr char kHint[] = "\xBE\xAF\xB8\xE6";

struct MessageCase {
  const char* name;
  const char* dbms;
  const char* type;  // null: none
  long length;
  const char* message;
  const char* category = kFault;
};

class AdoColumnMessage : public StoreTest,
                         public ::testing::WithParamInterface<MessageCase> {};

TEST_P(AdoColumnMessage, StandsInTheLog) {
  const MessageCase& given = GetParam();
  std::shared_ptr<Connection> connection =
      Make(given.dbms == std::string("xmldb")
               ? "xmldb:store"
               : std::string("ado:") + given.dbms + ":x");
  ASSERT_NE(connection, nullptr);
  if (given.dbms == std::string("xmldb")) {
    ASSERT_TRUE(connection->Open("", ""));
  }
  const auto table = connection->CreateTable("t");
  ASSERT_NE(table, nullptr);
  const StructPtr record = StructPtr::Take(dm_o_struct_metadata_new());
  Any type;
  if (given.type != nullptr) {
    type = given.type == std::string("record")
               ? Any(record)
               : Any(dm_o_get_metadata(given.type));
  }
  table->CreateColumn("col", type, given.length);
  EXPECT_TRUE(Logged(given.category, "db", given.message)) << log_.Text();
}

// ' ) 失败，type 必须是一个有效值
#define NO_TYPE                                           \
  "::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype " \
  "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD3\xD0\xD0\xA7\xD6\xB5"
// ' ) 失败，type 必须是一个值类型，而传入的类型为：System.Struct
#define NO_VALUE_TYPE                                                \
  "::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype "            \
  "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD6\xB5\xC0\xE0\xD0\xCD" \
  "\xA3\xAC\xB6\xF8\xB4\xAB\xC8\xEB\xB5\xC4\xC0\xE0\xD0\xCD\xCE\xAA" \
  "\xA3\xBASystem.Struct"
// 无效的数据类型: 'System.Int32' 长度，不能为负数
#define NEGATIVE                                               \
  "::CreateColumn Failed: "                                    \
  "\xCE\xDE\xD0\xA7\xB5\xC4\xCA\xFD\xBE\xDD\xC0\xE0\xD0\xCD: " \
  "'System.Int32' "                                            \
  "\xB3\xA4\xB6\xC8\xA3\xAC\xB2\xBB\xC4\xDC\xCE\xAA\xB8\xBA\xCA\xFD"
// 没有处理 'System.Binary'的能力
#define UNABLE                                        \
  "::CreateColumn: \xC3\xBB\xD3\xD0\xB4\xA6\xC0\xED " \
  "'System.Binary'\xB5\xC4\xC4\xDC\xC1\xA6"
// ' 长度必须在1至
#define FROM_ONE_TO                          \
  "::CreateColumn Failed: 'col' "            \
  "\xB3\xA4\xB6\xC8\xB1\xD8\xD0\xEB\xD4\xDA" \
  "1\xD6\xC1"

INSTANTIATE_TEST_SUITE_P(
    Texts, AdoColumnMessage,
    ::testing::Values(
        MessageCase{"NoType", "ado", nullptr, 0, "AdoTable" NO_TYPE},
        MessageCase{"NoValueType", "ado", "record", 0,
                    "AdoTable" NO_VALUE_TYPE},
        MessageCase{"Length", "ado", "System.Int32", -3,
                    "AdoTable" NEGATIVE "(-3)"},
        MessageCase{"Type", "ado", "System.Binary", 0, "AdoTable" UNABLE},
        MessageCase{"AccessNoType", "access", nullptr, 0,
                    "AccessAdoTable" NO_TYPE},
        MessageCase{"AccessLength", "access", "System.Int32", -3,
                    "AccessAdoTable" NEGATIVE "\xA1\xA3"},
        // ' 字段使用64位整型，而 Access 不支持 64 位，用 32
        // 位整型代替，对该字段做 64 位整型数值操作将会产生数据溢出！
        MessageCase{
            "AccessInt64", "access", "System.Int64", 0,
            "AccessAdoTable::CreateColumn: 'col' "
            "\xD7\xD6\xB6\xCE\xCA\xB9\xD3\xC3"
            "64\xCE\xBB\xD5\xFB\xD0\xCD\xA3\xAC\xB6\xF8 Access "
            "\xB2\xBB\xD6\xA7\xB3\xD6 64 \xCE\xBB\xA3\xAC\xD3\xC3 32 "
            "\xCE\xBB\xD5\xFB\xD0\xCD\xB4\xFA\xCC\xE6\xA3\xAC\xB6\xD4\xB8\xC3"
            "\xD7\xD6\xB6\xCE\xD7\xF6 64 "
            "\xCE\xBB\xD5\xFB\xD0\xCD\xCA\xFD\xD6\xB5\xB2\xD9\xD7\xF7\xBD\xAB"
            "\xBB\xE1\xB2\xFA\xC9\xFA\xCA\xFD\xBE\xDD\xD2\xE7\xB3\xF6\xA3\xA1",
            kHint},
        MessageCase{"MsSqlLength", "mssql", "System.Int32", -3,
                    "MsSqlAdoTable" NEGATIVE "(-3)"},
        // 4000之间，实现使用宽字符。
        MessageCase{"MsSqlText", "mssql", "System.String", 4001,
                    "MsSqlAdoTable" FROM_ONE_TO
                    "4000\xD6\xAE\xBC\xE4\xA3\xAC\xCA\xB5\xCF\xD6\xCA\xB9\xD3"
                    "\xC3\xBF\xED\xD7\xD6\xB7\xFB\xA1\xA3"},
        MessageCase{"MsSqlBinary", "mssql", "System.Binary", 8001,
                    "MsSqlAdoTable" FROM_ONE_TO "8000\xD6\xAE\xBC\xE4"},
        MessageCase{"XmlNoType", "xmldb", nullptr, 0, "DbXmlTable" NO_TYPE},
        MessageCase{"XmlNoValueType", "xmldb", "record", 0,
                    "DbXmlTable" NO_VALUE_TYPE},
        MessageCase{"XmlLength", "xmldb", "System.Int32", -3,
                    "DbXmlTable" NEGATIVE "(-3)"},
        MessageCase{"XmlType", "xmldb", "System.Binary", 0,
                    "DbXmlTable" UNABLE}),
    [](const auto& given) { return given.param.name; });

}  // namespace
}  // namespace kiv::store
