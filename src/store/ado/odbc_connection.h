#ifndef STORE_ADO_ODBC_CONNECTION_H_
#define STORE_ADO_ODBC_CONNECTION_H_

#include <sql.h>
#include <sqlext.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/ado/ado_objects.h"
#include "store/ado/provider.h"
#include "store/ado/sql_language.h"

namespace kiv::store::ado {

// ODBC takes attributes that are numbers as pointers.
inline SQLPOINTER NumberAttribute(SQLULEN value) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<SQLPOINTER>(value);
}

// One ODBC connection, and what its driver can do. Texts in UTF-8; they go to
// the driver as it wants them, through the W functions or not. Failures throw
// _com_error.
class OdbcConnection : public SqlLanguage,
                       public std::enable_shared_from_this<OdbcConnection> {
 public:
  // With the target's text, or the one for its server.
  static std::shared_ptr<OdbcConnection> Open(const Target& target,
                                              const std::string& odbc_text);
  ~OdbcConnection() override;
  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;

  SQLHDBC handle() const { return connection_; }
  bool is_wide() const { return is_wide_; }
  bool is_read_only() const { return is_read_only_; }
  bool is_in_transaction() const { return is_in_transaction_; }

  // Where names without one are looked up; empty when there are none.
  const std::string& Schema();

  // The driver reads the rest of a bound value that was cut, in blocks of one
  // row; and in larger ones.
  bool rereads_bound() const;
  bool rereads_in_blocks() const;

  void Begin();
  void Commit();
  void Rollback();

  // A statement without rows. How many it changed; -1 when the driver does not
  // say.
  long long Execute(std::string_view statement);

  // Throws unless the call succeeded.
  void Check(SQLRETURN result, SQLSMALLINT handle_type, SQLHANDLE handle) const;
  [[noreturn]] void RaiseFrom(SQLSMALLINT handle_type, SQLHANDLE handle) const;

  const std::vector<TypeName>& TypeNames() override;

 private:
  explicit OdbcConnection(const Target& target);
  void Connect(const Target& target, const std::string& odbc_text);
  void Disconnect();
  std::string InfoText(SQLUSMALLINT what) const;
  void MarkTransaction();
  void RequireMark();
  void RequireAlive() const;
  void SetAutocommit(bool is_on);
  void EndTransaction(SQLSMALLINT how);
  void EndSqliteTransaction(SQLSMALLINT how);
  void RequireDatabase();

  SQLHENV environment_ = SQL_NULL_HENV;
  SQLHDBC connection_ = SQL_NULL_HDBC;
  bool is_connected_ = false;
  bool is_wide_;
  bool is_read_only_;
  bool is_in_transaction_ = false;
  std::string source_;
  std::string secret_;
  SQLUINTEGER reread_ = 0;
  std::string schema_;
  bool has_schema_ = false;
  std::vector<TypeName> type_names_;
};

// A statement and, executed, its rows. Keeps its connection.
class OdbcStatement {
 public:
  explicit OdbcStatement(OdbcConnection& connection);
  ~OdbcStatement();
  OdbcStatement(const OdbcStatement&) = delete;
  OdbcStatement& operator=(const OdbcStatement&) = delete;

  SQLHSTMT handle() const { return statement_; }
  OdbcConnection& connection() const { return *connection_; }

  void Prepare(std::string_view statement);
  void ExecutePrepared();
  void Execute(std::string_view statement);
  long long RowCount() const;

  // Catalog functions; the schema is the connection's.
  void Tables(std::string_view name_pattern);
  void Columns(std::string_view table_pattern);
  void ForeignKeys(std::string_view table);
  void TypeInfo();

  SQLSMALLINT ColumnCount() const;
  // In UTF-8.
  std::string ColumnName(SQLUSMALLINT column) const;
  std::string ColumnTypeName(SQLUSMALLINT column) const;

  // On to the next row, or block of rows. False behind the last.
  bool Fetch();
  // Values of the current row, by SQLGetData. Column numbers from 1.
  // False for NULL.
  bool GetText(SQLUSMALLINT column, std::string& out_utf8) const;
  bool GetText(SQLUSMALLINT column, std::u16string& out) const;
  bool GetBinary(SQLUSMALLINT column, std::string& out) const;
  // A number, a date: without anything beyond ASCII.
  bool GetNarrow(SQLUSMALLINT column, std::string& out) const;
  // 0 for NULL.
  long GetNumber(SQLUSMALLINT column) const;

  void SetAttribute(SQLINTEGER attribute, std::size_t value);
  void SetAttribute(SQLINTEGER attribute, void* value);
  void Check(SQLRETURN result) const;

 private:
  bool ReadLong(SQLUSMALLINT column, SQLSMALLINT c_type, std::size_t unit,
                std::string& out) const;

  const std::shared_ptr<OdbcConnection> connection_;
  SQLHSTMT statement_ = SQL_NULL_HSTMT;
};

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ODBC_CONNECTION_H_
