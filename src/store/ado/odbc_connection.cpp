#include "store/ado/odbc_connection.h"

#include <sqlext.h>
#include <sqlucode.h>

#include <array>
#include <cstdint>
#include <new>

#include "store/ado/odbc_error.h"
#include "store/ado/odbc_text.h"
#include "util/cp936.h"

namespace kiv::store::ado {

OdbcConnection::OdbcConnection(const Target& target)
    : SqlLanguage(target.driver.dialect),
      is_wide_(target.driver.is_wide),
      is_read_only_(target.is_read_only),
      source_(target.driver.name),
      secret_(target.password) {}

std::shared_ptr<OdbcConnection> OdbcConnection::Open(
    const Target& target, const std::string& odbc_text) {
  std::shared_ptr<OdbcConnection> connection(new OdbcConnection(target));
  try {
    connection->Connect(target, odbc_text);
    connection->RequireDatabase();
  } catch (const _com_error& error) {
    // Drivers of files name none, and that of Access files gives no reason.
    if (!target.is_file || target.database.empty()) throw;
    RaiseAbout(
        "the file '" + Utf8ToCp936(target.database) + "' cannot be opened",
        error);
  }
  std::string quote = connection->InfoText(SQL_IDENTIFIER_QUOTE_CHAR);
  // A blank says that there is none.
  if (quote == " ") quote.clear();
  connection->SetMarks(quote, connection->InfoText(SQL_SEARCH_PATTERN_ESCAPE));
  SQLSMALLINT size = 0;
  SQLGetInfo(connection->connection_, SQL_GETDATA_EXTENSIONS,
             &connection->reread_, sizeof connection->reread_, &size);
  return connection;
}

OdbcConnection::~OdbcConnection() { Disconnect(); }

void OdbcConnection::Connect(const Target& target,
                             const std::string& odbc_text) {
  if (!SQL_SUCCEEDED(
          SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_)))
    throw std::bad_alloc();
  Check(SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION,
                      NumberAttribute(SQL_OV_ODBC3), 0),
        SQL_HANDLE_ENV, environment_);
  Check(SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_),
        SQL_HANDLE_ENV, environment_);
  // Drivers that cannot wait a limited time say so, and are used all the same.
  SQLSetConnectAttr(connection_, SQL_ATTR_LOGIN_TIMEOUT,
                    NumberAttribute(target.login_timeout_s), SQL_IS_UINTEGER);
  SQLRETURN result;
  if (is_wide_) {
    WideText text(odbc_text);
    result = SQLDriverConnectW(connection_, nullptr, text.get(), text.size(),
                               nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
  } else {
    NarrowText text(odbc_text);
    result = SQLDriverConnect(connection_, nullptr, text.get(), text.size(),
                              nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
  }
  Check(result, SQL_HANDLE_DBC, connection_);
  is_connected_ = true;
}

void OdbcConnection::Disconnect() {
  if (is_connected_) {
    // SQLite rolls back what is closed.
    if (is_in_transaction_ && dialect() != Dialect::Sqlite)
      SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
    SQLDisconnect(connection_);
  }
  if (connection_ != SQL_NULL_HDBC) SQLFreeHandle(SQL_HANDLE_DBC, connection_);
  if (environment_ != SQL_NULL_HENV)
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  is_connected_ = false;
  connection_ = SQL_NULL_HDBC;
  environment_ = SQL_NULL_HENV;
}

// SQLite opens anything and looks into it when it has to.
void OdbcConnection::RequireDatabase() {
  if (dialect() != Dialect::Sqlite) return;
  OdbcStatement(*this).Execute("PRAGMA schema_version");
}

std::string OdbcConnection::InfoText(SQLUSMALLINT what) const {
  constexpr SQLSMALLINT kRoom = 256;
  SQLSMALLINT size = 0;
  if (is_wide_) {
    std::array<SQLWCHAR, kRoom> room{};
    if (!SQL_SUCCEEDED(
            SQLGetInfoW(connection_, what, room.data(), sizeof room, &size)))
      return {};
    return Utf8Of(room.data());
  }
  std::array<char, kRoom> room{};
  if (!SQL_SUCCEEDED(SQLGetInfo(connection_, what, room.data(), kRoom, &size)))
    return {};
  return room.data();
}

const std::string& OdbcConnection::Schema() {
  if (has_schema_) return schema_;
  const char* const question =
      dialect() == Dialect::PostgreSql  ? "SELECT current_schema()"
      : dialect() == Dialect::SqlServer ? "SELECT SCHEMA_NAME()"
                                        : nullptr;
  if (question != nullptr) {
    OdbcStatement statement(*this);
    statement.Execute(question);
    std::string name;
    if (statement.Fetch() && statement.GetText(1, name)) schema_ = name;
  }
  has_schema_ = true;
  return schema_;
}

bool OdbcConnection::rereads_bound() const {
  return (reread_ & SQL_GD_BOUND) != 0;
}

bool OdbcConnection::rereads_in_blocks() const {
  // SQLite's driver has all rows at hand anyway.
  return dialect() == Dialect::PostgreSql && rereads_bound() &&
         (reread_ & SQL_GD_BLOCK) != 0;
}

void OdbcConnection::Begin() {
  if (is_in_transaction_)
    Raise(kNotAllowedHere, "a transaction has begun already");
  RequireAlive();
  // SQLite's driver would begin as a reader, and two readers that want to write
  // wait for each other.
  if (dialect() == Dialect::Sqlite)
    Execute("BEGIN IMMEDIATE");
  else
    SetAutocommit(false);
  is_in_transaction_ = true;
  MarkTransaction();
}

// PostgreSQL's driver thinks no more of a transaction whose connection the
// server has ended, and calls it a success when it then has nothing to commit.
// A setting that lives as long as the transaction tells whether it is there.
void OdbcConnection::MarkTransaction() {
  if (dialect() != Dialect::PostgreSql) return;
  try {
    Execute("SELECT set_config('kiv.transaction', 'begun', true)");
  } catch (const _com_error&) {
    is_in_transaction_ = false;
    SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
    SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT,
                      NumberAttribute(SQL_AUTOCOMMIT_ON), SQL_IS_UINTEGER);
    throw;
  }
}

void OdbcConnection::RequireMark() {
  if (dialect() != Dialect::PostgreSql) return;
  OdbcStatement statement(*this);
  statement.Execute("SELECT current_setting('kiv.transaction', true)");
  std::string mark;
  if (!statement.Fetch() || !statement.GetText(1, mark) || mark != "begun")
    Raise(kFailed, "the database has ended the transaction before");
}

// Other databases begin with the first statement: a server that is known to be
// gone would not be missed here.
void OdbcConnection::RequireAlive() const {
  SQLUINTEGER is_dead = SQL_CD_FALSE;
  if (SQL_SUCCEEDED(SQLGetConnectAttr(connection_, SQL_ATTR_CONNECTION_DEAD,
                                      &is_dead, SQL_IS_UINTEGER, nullptr)) &&
      is_dead == SQL_CD_TRUE)
    Raise(kFailed, "the connection to the database is lost");
}

void OdbcConnection::SetAutocommit(bool is_on) {
  const SQLULEN value = is_on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
  Check(SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT,
                          NumberAttribute(value), SQL_IS_UINTEGER),
        SQL_HANDLE_DBC, connection_);
}

void OdbcConnection::Commit() { EndTransaction(SQL_COMMIT); }
void OdbcConnection::Rollback() { EndTransaction(SQL_ROLLBACK); }

void OdbcConnection::EndTransaction(SQLSMALLINT how) {
  if (!is_in_transaction_) Raise(kNotAllowedHere, "no transaction has begun");
  if (dialect() == Dialect::Sqlite) {
    EndSqliteTransaction(how);
    is_in_transaction_ = false;
    return;
  }
  if (how == SQL_COMMIT) {
    RequireAlive();
    RequireMark();
  }
  Check(SQLEndTran(SQL_HANDLE_DBC, connection_, how), SQL_HANDLE_DBC,
        connection_);
  is_in_transaction_ = false;
  SetAutocommit(true);
}

void OdbcConnection::EndSqliteTransaction(SQLSMALLINT how) {
  if (how == SQL_COMMIT) {
    Execute("COMMIT");
    return;
  }
  try {
    Execute("ROLLBACK");
  } catch (const _com_error&) {
    // Only where it has rolled back by itself, as on a full disk.
  }
}

long long OdbcConnection::Execute(std::string_view statement) {
  OdbcStatement executed(*this);
  executed.Execute(statement);
  return executed.RowCount();
}

void OdbcConnection::Check(SQLRETURN result, SQLSMALLINT handle_type,
                           SQLHANDLE handle) const {
  if (!SQL_SUCCEEDED(result)) RaiseFrom(handle_type, handle);
}

void OdbcConnection::RaiseFrom(SQLSMALLINT handle_type,
                               SQLHANDLE handle) const {
  RaiseDiagnosis(DiagnosisOf(handle_type, handle, is_wide_),
                 Utf8ToCp936(source_), secret_);
}

const std::vector<OdbcConnection::TypeName>& OdbcConnection::TypeNames() {
  if (!type_names_.empty()) return type_names_;
  OdbcStatement statement(*this);
  statement.TypeInfo();
  std::vector<TypeName> names;
  while (statement.Fetch()) {
    TypeName type;
    statement.GetText(1, type.name);
    type.type = static_cast<int>(statement.GetNumber(2));
    statement.GetText(6, type.parameters);
    names.push_back(std::move(type));
  }
  type_names_ = std::move(names);
  return type_names_;
}

}  // namespace kiv::store::ado
