#include "store/ado/column_types.h"

#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <array>
#include <utility>

#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

// One row a type: the words of each database, "#" for the size, "##" for
// precision and scale; and ODBC's numbers for it, best first.
struct TypeRow {
  DataType type;
  const char* sqlite;
  const char* postgres;
  const char* sql_server;
  const char* access;
  std::array<int, 4> odbc;
};

// SQLite keeps a declared word and gives it back; a word with INT, CHAR or FLOA
// in it also says how numbers and texts are kept. PostgreSQL has no byte.
constexpr std::array<TypeRow, 22> kTypes{{
    {adBoolean, "bit", "boolean", "bit", "BIT", {SQL_BIT, SQL_TINYINT}},
    {adUnsignedTinyInt,
     "tinyint",
     "smallint",
     "tinyint",
     "BYTE",
     {SQL_TINYINT, SQL_SMALLINT}},
    {adTinyInt,
     "tinyint",
     "smallint",
     "smallint",
     "SHORT",
     {SQL_TINYINT, SQL_SMALLINT}},
    {adSmallInt,
     "smallint",
     "smallint",
     "smallint",
     "SHORT",
     {SQL_SMALLINT, SQL_INTEGER}},
    {adInteger, "integer", "integer", "int", "LONG", {SQL_INTEGER}},
    {adBigInt, "bigint", "bigint", "bigint", "LONG", {SQL_BIGINT, SQL_NUMERIC}},
    {adSingle,
     "float4",
     "real",
     "real",
     "SINGLE",
     {SQL_REAL, SQL_FLOAT, SQL_DOUBLE}},
    {adDouble,
     "double",
     "double precision",
     "float(53)",
     "DOUBLE",
     {SQL_DOUBLE, SQL_FLOAT}},
    {adCurrency,
     "numeric(19,4)",
     "numeric(19,4)",
     "money",
     "CURRENCY",
     {SQL_NUMERIC, SQL_DECIMAL}},
    {adDecimal,
     "numeric##",
     "numeric##",
     "decimal##",
     "DECIMAL##",
     {SQL_DECIMAL, SQL_NUMERIC}},
    {adNumeric,
     "numeric##",
     "numeric##",
     "numeric##",
     "DECIMAL##",
     {SQL_NUMERIC, SQL_DECIMAL}},
    {adGUID, "guid", "uuid", "uniqueidentifier", "GUID", {SQL_GUID, SQL_CHAR}},
    {adDate,
     "timestamp",
     "timestamp",
     "datetime2",
     "DATETIME",
     {SQL_TYPE_TIMESTAMP}},
    {adDBTimeStamp,
     "timestamp",
     "timestamp",
     "datetime2",
     "DATETIME",
     {SQL_TYPE_TIMESTAMP}},
    {adDBDate, "date", "date", "date", "DATETIME", {SQL_TYPE_DATE}},
    {adDBTime, "time", "time", "time", "DATETIME", {SQL_TYPE_TIME}},
    {adWChar,
     "char(#)",
     "char(#)",
     "nchar(#)",
     "TEXT(#)",
     {SQL_WCHAR, SQL_CHAR}},
    {adVarWChar,
     "varchar(#)",
     "varchar(#)",
     "nvarchar(#)",
     "TEXT(#)",
     {SQL_WVARCHAR, SQL_VARCHAR}},
    {adLongVarWChar,
     "longvarchar",
     "text",
     "nvarchar(max)",
     "MEMO",
     {SQL_WLONGVARCHAR, SQL_LONGVARCHAR}},
    {adBinary,
     "varbinary(#)",
     "bytea",
     "binary(#)",
     "BINARY(#)",
     {SQL_BINARY, SQL_VARBINARY, SQL_LONGVARBINARY}},
    {adVarBinary,
     "varbinary(#)",
     "bytea",
     "varbinary(#)",
     "BINARY(#)",
     {SQL_VARBINARY, SQL_LONGVARBINARY}},
    {adLongVarBinary,
     "longvarbinary",
     "bytea",
     "varbinary(max)",
     "LONGBINARY",
     {SQL_LONGVARBINARY}},
}};

// Texts and binary values without a size, and types that stand for others.
DataType Canonical(const Column& column) {
  const bool has_size = column.DefinedSize() > 0;
  switch (column.Type()) {
    case adChar:
    case adWChar:
      return has_size ? adWChar : adLongVarWChar;
    case adVarChar:
    case adVarWChar:
      return has_size ? adVarWChar : adLongVarWChar;
    case adLongVarChar:
      return adLongVarWChar;
    case adBinary:
    case adVarBinary:
      return has_size ? column.Type() : adLongVarBinary;
    case adUnsignedSmallInt:
      return adInteger;
    case adUnsignedInt:
      return adBigInt;
    default:
      return column.Type();
  }
}

const char* WordsOf(const TypeRow& row, Dialect dialect) {
  switch (dialect) {
    case Dialect::Sqlite:
      return row.sqlite;
    case Dialect::PostgreSql:
      return row.postgres;
    case Dialect::SqlServer:
      return row.sql_server;
    case Dialect::Access:
      return row.access;
    case Dialect::Generic:
      break;
  }
  return nullptr;
}

// What the driver itself says, of a database that we do not know.
std::string WordsOfDriver(const TypeRow& row, SqlLanguage& language) {
  for (const int wanted : row.odbc) {
    if (wanted == 0) continue;
    for (const auto& type : language.TypeNames()) {
      if (type.type != wanted) continue;
      const auto parameters =
          std::count(type.parameters.begin(), type.parameters.end(), ',') +
          (type.parameters.empty() ? 0 : 1);
      if (parameters == 0) return type.name;
      return type.name + (parameters == 1 && !IsFixedSize(row.type) ? "(#)"
                          : parameters == 2                         ? "##"
                                                                    : "");
    }
  }
  return {};
}

std::string InParentheses(long first, long second) {
  return "(" + std::to_string(first) +
         (second > 0 ? "," + std::to_string(second) : "") + ")";
}

// Each type of a database's that ODBC's number does not tell from another.
DataType SqliteTypeOf(std::string_view type_name, DataType type) {
  std::string word(type_name.substr(0, type_name.find('(')));
  LowerAscii(word);
  while (!word.empty() && word.back() == ' ') word.pop_back();
  if (word == "guid" || word == "uniqueidentifier" || word == "uuid")
    return adGUID;
  if (word == "float4" || word == "single") return adSingle;
  if (word == "bool" || word == "boolean") return adBoolean;
  if (word == "numeric" || word == "decimal") return adNumeric;
  if (word == "blob") return adLongVarBinary;
  return type;
}

}  // namespace

DataType TypeOf(int odbc_type, std::string_view type_name, Dialect dialect) {
  static constexpr std::pair<int, DataType> kTypesOfOdbc[] = {
      {SQL_BIT, adBoolean},
      {SQL_TINYINT, adUnsignedTinyInt},
      {SQL_SMALLINT, adSmallInt},
      {SQL_INTEGER, adInteger},
      {SQL_BIGINT, adBigInt},
      {SQL_REAL, adSingle},
      {SQL_FLOAT, adDouble},
      {SQL_DOUBLE, adDouble},
      {SQL_NUMERIC, adNumeric},
      {SQL_DECIMAL, adNumeric},
      {SQL_GUID, adGUID},
      {SQL_DATE, adDBDate},
      {SQL_TYPE_DATE, adDBDate},
      {SQL_TIME, adDBTime},
      {SQL_TYPE_TIME, adDBTime},
      {SQL_TIMESTAMP, adDBTimeStamp},
      {SQL_TYPE_TIMESTAMP, adDBTimeStamp},
      {SQL_CHAR, adWChar},
      {SQL_WCHAR, adWChar},
      {SQL_LONGVARCHAR, adLongVarWChar},
      {SQL_WLONGVARCHAR, adLongVarWChar},
      {SQL_BINARY, adBinary},
      {SQL_VARBINARY, adVarBinary},
      {SQL_LONGVARBINARY, adLongVarBinary},
  };
  DataType type = adVarWChar;
  for (const auto& [number, known] : kTypesOfOdbc)
    if (number == odbc_type) type = known;
  // Access's long texts are texts to its driver.
  if (dialect == Dialect::Access && type_name == "MEMO") return adLongVarWChar;
  if (dialect == Dialect::Access && type_name == "REPID") return adGUID;
  return dialect == Dialect::Sqlite ? SqliteTypeOf(type_name, type) : type;
}

bool IsText(DataType type) {
  return type == adChar || type == adWChar || type == adVarChar ||
         type == adVarWChar || type == adLongVarChar || type == adLongVarWChar;
}

bool IsBinary(DataType type) {
  return type == adBinary || type == adVarBinary || type == adLongVarBinary;
}

bool IsFixedSize(DataType type) {
  return (!IsText(type) && !IsBinary(type)) || type == adChar ||
         type == adWChar || type == adBinary;
}

std::string TypeWords(const Column& column, SqlLanguage& language) {
  const DataType type = Canonical(column);
  const auto row =
      std::find_if(kTypes.begin(), kTypes.end(),
                   [&](const TypeRow& known) { return known.type == type; });
  std::string words;
  if (row != kTypes.end()) {
    const char* const known = WordsOf(*row, language.dialect());
    words = known != nullptr ? known : WordsOfDriver(*row, language);
  }
  if (words.empty())
    Raise(kInvalidArgument, "the database has no counterpart of the type " +
                                std::to_string(column.Type()));
  if (const std::size_t at = words.find("##"); at != std::string::npos)
    return words.replace(
        at, 2,
        column.Precision() > 0
            ? InParentheses(column.Precision(), column.NumericScale())
            : std::string());
  if (const std::size_t at = words.find("(#)"); at != std::string::npos)
    return words.replace(at, 3, InParentheses(column.DefinedSize(), 0));
  return words;
}

}  // namespace kiv::store::ado
