#include "store/ado/statements.h"

#include "store/ado/column_types.h"
#include "util/cp936.h"

namespace kiv::store::ado {
namespace {

// 'text', for the procedures of SQL Server that take names as values.
std::string AsValue(std::string_view text) {
  std::string value = "N'";
  for (const char byte : text) value.append(byte == '\'' ? 2 : 1, byte);
  return value + "'";
}

std::string ColumnWords(const Column& column, SqlLanguage& language) {
  const bool is_nullable = (column.Attributes() & adColNullable) != 0;
  return language.Quoted(NameForDatabase(column.Name())) + " " +
         TypeWords(column, language) + (is_nullable ? " NULL" : " NOT NULL");
}

std::string QuotedName(const std::string& name, const SqlLanguage& language) {
  return language.Quoted(NameForDatabase(name));
}

}  // namespace

std::string NameForDatabase(const std::string& name) {
  if (name.empty()) Raise(kInvalidArgument, "a name must not be empty");
  if (name.find('\0') != std::string::npos || !IsCp936(name))
    Raise(kInvalidArgument, "the name '" + name + "' is no text");
  return Cp936ToUtf8(name);
}

std::string CreateTableStatement(
    const std::string& table,
    const std::vector<std::shared_ptr<Column>>& columns,
    SqlLanguage& language) {
  std::string text = "CREATE TABLE " + QuotedName(table, language) + " (";
  for (const auto& column : columns) {
    if (column != columns.front()) text += ", ";
    text += ColumnWords(*column, language);
  }
  return text + ")";
}

std::string DropTableStatement(const std::string& table,
                               const SqlLanguage& language) {
  return "DROP TABLE " + QuotedName(table, language);
}

std::string RenameTableStatement(const std::string& from, const std::string& to,
                                 const SqlLanguage& language) {
  if (language.dialect() == Dialect::SqlServer)
    return "EXEC sp_rename " + AsValue(QuotedName(from, language)) + ", " +
           AsValue(NameForDatabase(to));
  return "ALTER TABLE " + QuotedName(from, language) + " RENAME TO " +
         QuotedName(to, language);
}

std::string AddColumnStatement(const std::string& table, const Column& column,
                               SqlLanguage& language) {
  const bool says_column = language.dialect() != Dialect::SqlServer;
  return "ALTER TABLE " + QuotedName(table, language) + " ADD " +
         (says_column ? "COLUMN " : "") + ColumnWords(column, language);
}

std::string DropColumnStatement(const std::string& table,
                                const std::string& column,
                                const SqlLanguage& language) {
  return "ALTER TABLE " + QuotedName(table, language) + " DROP COLUMN " +
         QuotedName(column, language);
}

std::string RenameColumnStatement(const std::string& table,
                                  const std::string& from,
                                  const std::string& to,
                                  const SqlLanguage& language) {
  if (language.dialect() == Dialect::SqlServer)
    return "EXEC sp_rename " +
           AsValue(QuotedName(table, language) + "." +
                   QuotedName(from, language)) +
           ", " + AsValue(NameForDatabase(to)) + ", 'COLUMN'";
  return "ALTER TABLE " + QuotedName(table, language) + " RENAME COLUMN " +
         QuotedName(from, language) + " TO " + QuotedName(to, language);
}

std::string CreateDatabaseStatement(const std::string& name_utf8,
                                    const SqlLanguage& language) {
  return "CREATE DATABASE " + language.Quoted(name_utf8);
}

std::string SavepointStatement(const SqlLanguage& language) {
  switch (language.dialect()) {
    case Dialect::Sqlite:
    case Dialect::PostgreSql:
      return "SAVEPOINT kiv_rows";
    case Dialect::SqlServer:
      return "SAVE TRANSACTION kiv_rows";
    default:
      return {};
  }
}

std::string RollbackToSavepointStatement(const SqlLanguage& language) {
  switch (language.dialect()) {
    case Dialect::Sqlite:
    case Dialect::PostgreSql:
      return "ROLLBACK TO SAVEPOINT kiv_rows";
    case Dialect::SqlServer:
      return "ROLLBACK TRANSACTION kiv_rows";
    default:
      return {};
  }
}

std::string ReleaseSavepointStatement(const SqlLanguage& language) {
  const Dialect dialect = language.dialect();
  return dialect == Dialect::Sqlite || dialect == Dialect::PostgreSql
             ? "RELEASE SAVEPOINT kiv_rows"
             : std::string();
}

}  // namespace kiv::store::ado
