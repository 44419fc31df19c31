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

namespace kiv::store::ado {

// One ODBC connection, and what its driver can do. Texts in UTF-8; they go to
// the driver as it wants them, through the W functions or not. Failures throw
// _com_error.
class OdbcConnection {
 public:
  explicit OdbcConnection(const Target& target);
  // With another text than the target's.
  OdbcConnection(const Target& target, const std::string& odbc_text);
  ~OdbcConnection();
  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;

  SQLHDBC handle() const { return connection_; }
  Dialect dialect() const { return dialect_; }
  bool is_wide() const { return is_wide_; }
  bool is_read_only() const { return is_read_only_; }
  bool is_in_transaction() const { return is_in_transaction_; }

  // Empty when the driver quotes nothing.
  const std::string& quote() const { return quote_; }
  std::string Quoted(std::string_view name) const;
  // For the name arguments of catalog functions, which are patterns: finds the
  // name, and others that are as long.
  std::string Pattern(std::string_view name) const;
  // Whether the database takes both for one name.
  bool IsSameName(std::string_view a, std::string_view b) const;
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

  // Of SQLGetTypeInfo: number, name and what stands behind it in parentheses.
  struct TypeName {
    int type;
    std::string name;
    std::string parameters;
  };
  const std::vector<TypeName>& TypeNames();

 private:
  void Connect(const Target& target, const std::string& odbc_text);
  void Disconnect();
  std::string InfoText(SQLUSMALLINT what) const;
  void EndTransaction(SQLSMALLINT how);
  void RequireDatabase();

  SQLHENV environment_ = SQL_NULL_HENV;
  SQLHDBC connection_ = SQL_NULL_HDBC;
  bool is_connected_ = false;
  Dialect dialect_;
  bool is_wide_;
  bool is_read_only_;
  bool is_in_transaction_ = false;
  std::string source_;
  std::string secret_;
  std::string quote_;
  std::string escape_;
  SQLUINTEGER reread_ = 0;
  std::string schema_;
  bool has_schema_ = false;
  std::vector<TypeName> type_names_;
};

// A statement and, executed, its rows. Not longer than its connection.
class OdbcStatement {
 public:
  explicit OdbcStatement(OdbcConnection& connection);
  ~OdbcStatement();
  OdbcStatement(const OdbcStatement&) = delete;
  OdbcStatement& operator=(const OdbcStatement&) = delete;

  SQLHSTMT handle() const { return statement_; }
  OdbcConnection& connection() const { return connection_; }

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
  // 0 for NULL.
  long GetNumber(SQLUSMALLINT column) const;

  void SetAttribute(SQLINTEGER attribute, std::size_t value);
  void SetAttribute(SQLINTEGER attribute, void* value);
  void Check(SQLRETURN result) const;

 private:
  bool ReadLong(SQLUSMALLINT column, SQLSMALLINT c_type, std::size_t unit,
                std::string& out) const;

  OdbcConnection& connection_;
  SQLHSTMT statement_ = SQL_NULL_HSTMT;
};

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ODBC_CONNECTION_H_
