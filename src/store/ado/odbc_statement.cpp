#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "store/ado/odbc_connection.h"
#include "store/ado/odbc_error.h"
#include "store/ado/odbc_text.h"

namespace kiv::store::ado {

OdbcStatement::OdbcStatement(OdbcConnection& connection)
    : connection_(connection.shared_from_this()) {
  connection.Check(
      SQLAllocHandle(SQL_HANDLE_STMT, connection.handle(), &statement_),
      SQL_HANDLE_DBC, connection.handle());
}

OdbcStatement::~OdbcStatement() { SQLFreeHandle(SQL_HANDLE_STMT, statement_); }

void OdbcStatement::Check(SQLRETURN result) const {
  connection_->Check(result, SQL_HANDLE_STMT, statement_);
}

void OdbcStatement::Prepare(std::string_view statement) {
  if (connection_->is_wide()) {
    WideText text(statement);
    Check(SQLPrepareW(statement_, text.get(), text.long_size()));
  } else {
    NarrowText text(statement);
    Check(SQLPrepare(statement_, text.get(), text.long_size()));
  }
}

// SQL_NO_DATA is the success of a statement that changed nothing.
void OdbcStatement::ExecutePrepared() {
  const SQLRETURN result = SQLExecute(statement_);
  if (result != SQL_NO_DATA) Check(result);
}

void OdbcStatement::Execute(std::string_view statement) {
  SQLRETURN result;
  if (connection_->is_wide()) {
    WideText text(statement);
    result = SQLExecDirectW(statement_, text.get(), text.long_size());
  } else {
    NarrowText text(statement);
    result = SQLExecDirect(statement_, text.get(), text.long_size());
  }
  if (result != SQL_NO_DATA) Check(result);
}

long long OdbcStatement::RowCount() const {
  SQLLEN count = -1;
  return SQL_SUCCEEDED(SQLRowCount(statement_, &count)) ? count : -1;
}

void OdbcStatement::Tables(std::string_view name_pattern) {
  const std::string& schema = connection_->Schema();
  const std::string schema_pattern = connection_->Pattern(schema);
  if (connection_->is_wide()) {
    WideText in(schema_pattern), name(name_pattern), kind("TABLE");
    Check(SQLTablesW(statement_, nullptr, 0,
                     schema.empty() ? nullptr : in.get(), in.size(), name.get(),
                     name.size(), kind.get(), kind.size()));
  } else {
    NarrowText in(schema_pattern), name(name_pattern), kind("TABLE");
    Check(SQLTables(statement_, nullptr, 0, schema.empty() ? nullptr : in.get(),
                    in.size(), name.get(), name.size(), kind.get(),
                    kind.size()));
  }
}

void OdbcStatement::Columns(std::string_view table_pattern) {
  const std::string& schema = connection_->Schema();
  const std::string schema_pattern = connection_->Pattern(schema);
  if (connection_->is_wide()) {
    WideText in(schema_pattern), table(table_pattern);
    Check(SQLColumnsW(statement_, nullptr, 0,
                      schema.empty() ? nullptr : in.get(), in.size(),
                      table.get(), table.size(), nullptr, 0));
  } else {
    NarrowText in(schema_pattern), table(table_pattern);
    Check(SQLColumns(statement_, nullptr, 0,
                     schema.empty() ? nullptr : in.get(), in.size(),
                     table.get(), table.size(), nullptr, 0));
  }
}

void OdbcStatement::ForeignKeys(std::string_view table) {
  const std::string& schema = connection_->Schema();
  if (connection_->is_wide()) {
    WideText in(schema), name(table);
    Check(SQLForeignKeysW(statement_, nullptr, 0, nullptr, 0, nullptr, 0,
                          nullptr, 0, schema.empty() ? nullptr : in.get(),
                          in.size(), name.get(), name.size()));
  } else {
    NarrowText in(schema), name(table);
    Check(SQLForeignKeys(statement_, nullptr, 0, nullptr, 0, nullptr, 0,
                         nullptr, 0, schema.empty() ? nullptr : in.get(),
                         in.size(), name.get(), name.size()));
  }
}

void OdbcStatement::TypeInfo() {
  Check(connection_->is_wide() ? SQLGetTypeInfoW(statement_, SQL_ALL_TYPES)
                               : SQLGetTypeInfo(statement_, SQL_ALL_TYPES));
}

SQLSMALLINT OdbcStatement::ColumnCount() const {
  SQLSMALLINT count = 0;
  Check(SQLNumResultCols(statement_, &count));
  return count;
}

namespace {
// Of a column, as a text of any length that a name has.
std::string ColumnText(const OdbcStatement& statement, SQLUSMALLINT column,
                       SQLUSMALLINT what) {
  constexpr SQLSMALLINT kRoom = 512;
  SQLSMALLINT size = 0;
  if (statement.connection().is_wide()) {
    std::array<SQLWCHAR, kRoom> room{};
    statement.Check(SQLColAttributeW(statement.handle(), column, what,
                                     room.data(), sizeof room, &size, nullptr));
    return Utf8Of(room.data());
  }
  std::array<char, kRoom> room{};
  statement.Check(SQLColAttribute(statement.handle(), column, what, room.data(),
                                  kRoom, &size, nullptr));
  return room.data();
}
}  // namespace

std::string OdbcStatement::ColumnName(SQLUSMALLINT column) const {
  // SQLite's driver takes what is in front of a point for a table's name.
  return ColumnText(*this, column,
                    connection_->dialect() == Dialect::Sqlite ? SQL_DESC_LABEL
                                                              : SQL_DESC_NAME);
}

std::string OdbcStatement::ColumnTypeName(SQLUSMALLINT column) const {
  return ColumnText(*this, column, SQL_DESC_TYPE_NAME);
}

bool OdbcStatement::Fetch() {
  const SQLRETURN result = SQLFetch(statement_);
  if (result == SQL_NO_DATA) return false;
  Check(result);
  return true;
}

// Reads on until the driver has no more: a declared size is not to be relied
// on, and drivers need not know how long a value is.
bool OdbcStatement::ReadLong(SQLUSMALLINT column, SQLSMALLINT c_type,
                             std::size_t unit, std::string& out) const {
  constexpr std::size_t kFirstRoom = 1024;
  // A driver ends every part of a text with a NUL.
  const std::size_t end = c_type == SQL_C_BINARY ? 0 : unit;
  std::string value(std::max(kFirstRoom, out.capacity() / unit * unit), '\0');
  std::size_t used = 0;
  for (;;) {
    SQLLEN rest = 0;
    const SQLRETURN result =
        SQLGetData(statement_, column, c_type, value.data() + used,
                   static_cast<SQLLEN>(value.size() - used), &rest);
    if (result == SQL_NO_DATA) break;
    Check(result);
    if (rest == SQL_NULL_DATA) return false;
    const std::size_t room = value.size() - used - end;
    if (rest != SQL_NO_TOTAL && static_cast<std::size_t>(rest) <= room) {
      used += static_cast<std::size_t>(rest);
      break;
    }
    // SQL_NO_TOTAL with success would be a whole value of unknown length.
    used += room;
    const std::size_t more = rest == SQL_NO_TOTAL
                                 ? value.size()
                                 : static_cast<std::size_t>(rest) - room;
    value.resize(used + more + end + unit);
  }
  value.resize(used);
  out = std::move(value);
  return true;
}

bool OdbcStatement::GetText(SQLUSMALLINT column, std::string& out_utf8) const {
  if (connection_->is_wide()) {
    std::u16string wide;
    if (!GetText(column, wide)) return false;
    out_utf8 = Utf16ToUtf8(wide);
    return true;
  }
  return ReadLong(column, SQL_C_CHAR, 1, out_utf8);
}

bool OdbcStatement::GetText(SQLUSMALLINT column, std::u16string& out) const {
  std::string bytes;
  if (!connection_->is_wide()) {
    if (!ReadLong(column, SQL_C_CHAR, 1, bytes)) return false;
    out = Utf8ToUtf16(bytes);
    return true;
  }
  if (!ReadLong(column, SQL_C_WCHAR, sizeof(char16_t), bytes)) return false;
  out.resize(bytes.size() / sizeof(char16_t));
  std::memcpy(out.data(), bytes.data(), out.size() * sizeof(char16_t));
  return true;
}

bool OdbcStatement::GetBinary(SQLUSMALLINT column, std::string& out) const {
  return ReadLong(column, SQL_C_BINARY, 1, out);
}

bool OdbcStatement::GetNarrow(SQLUSMALLINT column, std::string& out) const {
  return ReadLong(column, SQL_C_CHAR, 1, out);
}

long OdbcStatement::GetNumber(SQLUSMALLINT column) const {
  SQLINTEGER number = 0;
  SQLLEN size = 0;
  Check(SQLGetData(statement_, column, SQL_C_SLONG, &number, sizeof number,
                   &size));
  return size == SQL_NULL_DATA ? 0 : number;
}

void OdbcStatement::SetAttribute(SQLINTEGER attribute, std::size_t value) {
  SetAttribute(attribute, NumberAttribute(value));
}

void OdbcStatement::SetAttribute(SQLINTEGER attribute, void* value) {
  Check(SQLSetStmtAttr(statement_, attribute, value, 0));
}

}  // namespace kiv::store::ado
