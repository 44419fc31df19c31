#include "dm/dm.h"
#include "kiv/store/ado_column.h"
#include "kiv/store/ado_table.h"
#include "store/ado/ado_objects.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

struct TypeCase {
  const char* name;
  const char* dbms;
  const char* type;
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
  const auto connection = Make(std::string("ado:") + given.dbms + ":x");
  ASSERT_NE(connection, nullptr);
  const auto table = connection->CreateTable("t");
  ASSERT_NE(table, nullptr);
  const bool is_made = table->CreateColumn(
      "c", Any(dm_o_get_metadata(given.type)), given.length);
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
                                         : dm_o_get_metadata(given.type));
}

INSTANTIATE_TEST_SUITE_P(
    Types, AdoColumnType,
    ::testing::Values(
        TypeCase{"Bool", "ado", "System.Boolean", 0, ado::adBoolean, 0},
        TypeCase{"Byte", "ado", "System.Byte", 0, ado::adUnsignedTinyInt, 0},
        TypeCase{"Int16", "ado", "System.Int16", 0, ado::adSmallInt, 0},
        TypeCase{"Int32", "ado", "System.Int32", 0, ado::adInteger, 0},
        TypeCase{"Int64", "ado", "System.Int64", 0, ado::adBigInt, 0},
        TypeCase{"Float", "ado", "System.Float", 0, ado::adSingle, 0},
        TypeCase{"Double", "ado", "System.Double", 0, ado::adDouble, 0},
        TypeCase{"Guid", "ado", "System.Guid", 0, ado::adGUID, 0},
        TypeCase{"DateTime", "ado", "System.DateTime", 0, ado::adDBTimeStamp,
                 0},
        TypeCase{"Text", "ado", "System.String", 0, ado::adVarWChar, 50},
        TypeCase{"LongText", "ado", "System.String", 4001, ado::adVarWChar,
                 4001},
        TypeCase{"Binary", "ado", "System.Binary", 9, ado::adEmpty, 0},
        TypeCase{"Vector", "ado", "System.ValueVector", 0, ado::adEmpty, 0},
        TypeCase{"NegativeLength", "ado", "System.Int32", -1, ado::adEmpty, 0},
        TypeCase{"AccessInt64", "access", "System.Int64", 0, ado::adInteger, 0},
        TypeCase{"AccessText", "access", "System.String", 0, ado::adVarWChar,
                 50},
        TypeCase{"AccessText255", "access", "System.String", 255,
                 ado::adVarWChar, 255},
        TypeCase{"AccessText256", "access", "System.String", 256,
                 ado::adLongVarWChar, 256},
        TypeCase{"AccessDate", "access", "System.DateTime", 0, ado::adDate, 0},
        TypeCase{"AccessBinary", "access", "System.Binary", 0,
                 ado::adLongVarBinary, 0},
        TypeCase{"AccessShortBinary", "access", "System.Binary", 510,
                 ado::adVarBinary, 510},
        TypeCase{"AccessLength", "access", "System.String", -1, ado::adEmpty,
                 0},
        TypeCase{"MsSqlInt64", "mssql", "System.Int64", 0, ado::adBigInt, 0},
        TypeCase{"MsSqlText0", "mssql", "System.String", 0, ado::adEmpty, 0},
        TypeCase{"MsSqlText1", "mssql", "System.String", 1, ado::adVarWChar, 1},
        TypeCase{"MsSqlText4000", "mssql", "System.String", 4000,
                 ado::adVarWChar, 4000},
        TypeCase{"MsSqlText4001", "mssql", "System.String", 4001, ado::adEmpty,
                 0},
        TypeCase{"MsSqlBinary0", "mssql", "System.Binary", 0, ado::adEmpty, 0},
        TypeCase{"MsSqlBinary8000", "mssql", "System.Binary", 8000,
                 ado::adVarBinary, 8000},
        TypeCase{"MsSqlBinary8001", "mssql", "System.Binary", 8001,
                 ado::adEmpty, 0}),
    [](const auto& given) { return given.param.name; });

struct MessageCase {
  const char* name;
  const char* dbms;
  const char* type;  // null: none
  long length;
  const char* category;
  const char* message;
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

// 错误
constexpr char kFault[] = "\xB4\xED\xCE\xF3";
// 警告
constexpr char kHint[] = "\xBE\xAF\xB8\xE6";

INSTANTIATE_TEST_SUITE_P(
    Texts, AdoColumnMessage,
    ::testing::Values(
        MessageCase{
            "NoType", "ado", nullptr, 0, kFault,
            // ' ) 失败，type 必须是一个有效值
            "AdoTable::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype "
            "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD3\xD0\xD0\xA7\xD6\xB5"},
        MessageCase{
            "NoValueType", "ado", "record", 0, kFault,
            // ' ) 失败，type 必须是一个值类型，而传入的类型为：System.Struct
            "AdoTable::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype "
            "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD6\xB5\xC0\xE0\xD0\xCD"
            "\xA3\xAC\xB6\xF8\xB4\xAB\xC8\xEB\xB5\xC4\xC0\xE0\xD0\xCD\xCE\xAA"
            "\xA3\xBASystem.Struct"},
        MessageCase{"Length", "ado", "System.Int32", -3, kFault,
                    // 无效的数据类型: 'System.Int32' 长度，不能为负数(-3)
                    "AdoTable::CreateColumn Failed: "
                    "\xCE\xDE\xD0\xA7\xB5\xC4\xCA\xFD\xBE\xDD\xC0\xE0\xD0\xCD: "
                    "'System.Int32' "
                    "\xB3\xA4\xB6\xC8\xA3\xAC\xB2\xBB\xC4\xDC\xCE\xAA\xB8\xBA"
                    "\xCA\xFD(-3)"},
        MessageCase{"Type", "ado", "System.Binary", 0, kFault,
                    // 没有处理 'System.Binary'的能力
                    "AdoTable::CreateColumn: \xC3\xBB\xD3\xD0\xB4\xA6\xC0\xED "
                    "'System.Binary'\xB5\xC4\xC4\xDC\xC1\xA6"},
        MessageCase{
            "AccessNoType", "access", nullptr, 0, kFault,
            // ' ) 失败，type 必须是一个有效值
            "AccessAdoTable::CreateColumn( 'col' ) "
            "\xCA\xA7\xB0\xDC\xA3\xACtype "
            "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD3\xD0\xD0\xA7\xD6\xB5"},
        MessageCase{"AccessLength", "access", "System.Int32", -3, kFault,
                    // 无效的数据类型: 'System.Int32' 长度，不能为负数。
                    "AccessAdoTable::CreateColumn Failed: "
                    "\xCE\xDE\xD0\xA7\xB5\xC4\xCA\xFD\xBE\xDD\xC0\xE0\xD0\xCD: "
                    "'System.Int32' "
                    "\xB3\xA4\xB6\xC8\xA3\xAC\xB2\xBB\xC4\xDC\xCE\xAA\xB8\xBA"
                    "\xCA\xFD\xA1\xA3"},
        MessageCase{
            "AccessInt64", "access", "System.Int64", 0, kHint,
            // ' 字段使用64位整型，而 Access 不支持 64 位，用 32
            // 位整型代替，对该字段做 64 位整型数值操作将会产生数据溢出！
            "AccessAdoTable::CreateColumn: 'col' "
            "\xD7\xD6\xB6\xCE\xCA\xB9\xD3\xC3"
            "64\xCE\xBB\xD5\xFB\xD0\xCD\xA3\xAC\xB6\xF8 Access "
            "\xB2\xBB\xD6\xA7\xB3\xD6 64 \xCE\xBB\xA3\xAC\xD3\xC3 32 "
            "\xCE\xBB\xD5\xFB\xD0\xCD\xB4\xFA\xCC\xE6\xA3\xAC\xB6\xD4\xB8\xC3"
            "\xD7\xD6\xB6\xCE\xD7\xF6 64 "
            "\xCE\xBB\xD5\xFB\xD0\xCD\xCA\xFD\xD6\xB5\xB2\xD9\xD7\xF7\xBD\xAB"
            "\xBB\xE1\xB2\xFA\xC9\xFA\xCA\xFD\xBE\xDD\xD2\xE7\xB3\xF6\xA3\xA1"},
        MessageCase{"MsSqlLength", "mssql", "System.Int32", -3, kFault,
                    // 无效的数据类型: 'System.Int32' 长度，不能为负数(-3)
                    "MsSqlAdoTable::CreateColumn Failed: "
                    "\xCE\xDE\xD0\xA7\xB5\xC4\xCA\xFD\xBE\xDD\xC0\xE0\xD0\xCD: "
                    "'System.Int32' "
                    "\xB3\xA4\xB6\xC8\xA3\xAC\xB2\xBB\xC4\xDC\xCE\xAA\xB8\xBA"
                    "\xCA\xFD(-3)"},
        MessageCase{"MsSqlText", "mssql", "System.String", 4001, kFault,
                    // ' 长度必须在1至4000之间，实现使用宽字符。
                    "MsSqlAdoTable::CreateColumn Failed: 'col' "
                    "\xB3\xA4\xB6\xC8\xB1\xD8\xD0\xEB\xD4\xDA"
                    "1\xD6\xC1"
                    "4000\xD6\xAE\xBC\xE4\xA3\xAC\xCA\xB5\xCF\xD6\xCA\xB9\xD3"
                    "\xC3\xBF\xED\xD7\xD6\xB7\xFB\xA1\xA3"},
        MessageCase{"MsSqlBinary", "mssql", "System.Binary", 8001, kFault,
                    // ' 长度必须在1至8000之间
                    "MsSqlAdoTable::CreateColumn Failed: 'col' "
                    "\xB3\xA4\xB6\xC8\xB1\xD8\xD0\xEB\xD4\xDA"
                    "1\xD6\xC1"
                    "8000\xD6\xAE\xBC\xE4"},
        MessageCase{
            "XmlNoType", "xmldb", nullptr, 0, kFault,
            // ' ) 失败，type 必须是一个有效值
            "DbXmlTable::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype "
            "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD3\xD0\xD0\xA7\xD6\xB5"},
        MessageCase{
            "XmlNoValueType", "xmldb", "record", 0, kFault,
            // ' ) 失败，type 必须是一个值类型，而传入的类型为：System.Struct
            "DbXmlTable::CreateColumn( 'col' ) \xCA\xA7\xB0\xDC\xA3\xACtype "
            "\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8\xF6\xD6\xB5\xC0\xE0\xD0\xCD"
            "\xA3\xAC\xB6\xF8\xB4\xAB\xC8\xEB\xB5\xC4\xC0\xE0\xD0\xCD\xCE\xAA"
            "\xA3\xBASystem.Struct"},
        MessageCase{"XmlLength", "xmldb", "System.Int32", -3, kFault,
                    // 无效的数据类型: 'System.Int32' 长度，不能为负数(-3)
                    "DbXmlTable::CreateColumn Failed: "
                    "\xCE\xDE\xD0\xA7\xB5\xC4\xCA\xFD\xBE\xDD\xC0\xE0\xD0\xCD: "
                    "'System.Int32' "
                    "\xB3\xA4\xB6\xC8\xA3\xAC\xB2\xBB\xC4\xDC\xCE\xAA\xB8\xBA"
                    "\xCA\xFD(-3)"},
        MessageCase{
            "XmlType", "xmldb", "System.Binary", 0, kFault,
            // 没有处理 'System.Binary'的能力
            "DbXmlTable::CreateColumn: \xC3\xBB\xD3\xD0\xB4\xA6\xC0\xED "
            "'System.Binary'\xB5\xC4\xC4\xDC\xC1\xA6"}),
    [](const auto& given) { return given.param.name; });

}  // namespace
}  // namespace kiv::store
