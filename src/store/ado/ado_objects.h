#ifndef STORE_ADO_ADO_OBJECTS_H_
#define STORE_ADO_ADO_OBJECTS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kiv/com.h"
#include "store/ado/ado_types.h"

// The objects of ADO and ADOX that the record store calls, over ODBC.
//
// Texts are in the local encoding; databases get and give UTF-8 or UTF-16,
// never text of the process's locale. Names are compared as the database
// compares them when it looks a table up, and come back as it has them.
//
// Whatever fails throws _com_error (and std::bad_alloc when memory is short)
// and changes nothing here. Objects are handed out as shared pointers; what
// belongs to a connection keeps it alive. One connection, with all that belongs
// to it, is for one thread at a time; different ones for different threads.
namespace kiv::store::ado {

class OdbcConnection;
class RowCursor;
class RecordFiller;

// Which rules of the SQL language a database has.
enum class Dialect { Generic, Sqlite, PostgreSql, Access, SqlServer };

class Connection {
 public:
  Connection();
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // An OLE DB connection text, as "Provider=SQLOLEDB;Data Source=...". User and
  // password go before those in the text unless they are empty. A file that is
  // not there is a failure, as is one that is no database.
  void Open(const std::string& text, const std::string& user,
            const std::string& password);
  // Rolls an open transaction back. Rows that are being read keep the database
  // open until they go.
  void Close();
  bool IsOpen() const;
  // A file that can only be read: every statement that writes is refused.
  bool IsReadOnly() const;
  // Throws kNotAvailable when it is read-only.
  void RequireWritable() const;

  // Transactions do not nest: kNotAllowedHere for a second one.
  void BeginTrans();
  void CommitTrans();
  void RollbackTrans();
  bool IsInTransaction() const;

  // The connection below, for what belongs to it. Throws kObjectClosed.
  OdbcConnection& Odbc() const;

 private:
  friend class Catalog;
  std::shared_ptr<OdbcConnection> odbc_;
};

class Table;

class Column {
 public:
  // Not yet part of a table: every property can be set.
  Column() = default;

  const std::string& Name() const { return name_; }
  DataType Type() const { return type_; }
  // Characters of a text, bytes of a binary value; 0 for other types and for
  // what has no limit.
  long DefinedSize() const { return defined_size_; }
  long Precision() const { return precision_; }
  long NumericScale() const { return numeric_scale_; }
  // The column that a foreign key of this one leads to; empty without a key.
  const std::string& RelatedColumn() const;
  // adColFixed and adColNullable.
  long Attributes() const { return attributes_; }

  // Of a column that its database has, only the name can be set, and the
  // database renames it; the others throw kNotAllowedHere. Types and attributes
  // that there are none of throw kInvalidArgument, as do negative sizes.
  void SetName(const std::string& name);
  void SetType(DataType type);
  void SetDefinedSize(long size);
  void SetPrecision(long precision);
  void SetNumericScale(long scale);
  void SetRelatedColumn(const std::string& name);
  void SetAttributes(long attributes);

 private:
  friend class Table;
  friend class Catalog;
  void RequireLoose() const;

  std::weak_ptr<Table> table_;  // of a column that its database has
  std::string name_;
  DataType type_ = adVarWChar;
  long defined_size_ = 0;
  long precision_ = 0;
  long numeric_scale_ = 0;
  mutable std::string related_column_;
  long attributes_ = adColNullable;
};

class Table : public std::enable_shared_from_this<Table> {
 public:
  // Not yet in a catalog. Always into a shared pointer.
  static std::shared_ptr<Table> Create();

  const std::string& Name() const { return name_; }
  // The database renames a table that it has.
  void SetName(const std::string& name);
  bool IsInCatalog() const { return connection_ != nullptr; }

  // A table in a catalog reads its columns once, and again after a change of
  // its own.
  long ColumnCount();
  // Empty when there is none.
  std::shared_ptr<Column> GetColumn(const std::string& name);
  std::shared_ptr<Column> GetColumn(long index);
  // The same whatever the case of ASCII letters, when no column has just the
  // name.
  std::shared_ptr<Column> FindColumn(const std::string& name);
  // The database adds the column to a table that it has. A size of 0 is the
  // type's largest.
  void AppendColumn(const std::string& name, DataType type, long size);
  void AppendColumn(const std::shared_ptr<Column>& column);
  // Throws kItemNotFound.
  void DeleteColumn(const std::string& name);

 private:
  friend class Column;
  friend class Catalog;
  Table() = default;
  void Load();
  void LoadRelations();
  void RenameColumn(Column& column, const std::string& name);
  OdbcConnection& Odbc() const;

  std::shared_ptr<Connection> connection_;  // of a table in a catalog
  std::string name_;
  std::vector<std::shared_ptr<Column>> columns_;
  bool is_loaded_ = false;
  bool has_relations_ = false;
};

class Catalog {
 public:
  // Of an open connection.
  explicit Catalog(std::shared_ptr<Connection> connection);

  // Makes the database that an OLE DB connection text names, which must not be
  // there yet, and opens the connection on it: a file, or a database on the
  // server of PostgreSQL or SQL Server.
  static void Create(Connection& connection, const std::string& text,
                     const std::string& user, const std::string& password);

  // Of users' tables, not of the system's. In the order of the database.
  std::vector<std::string> TableNames() const;
  bool HasTable(const std::string& name) const;
  // Empty when there is none.
  std::shared_ptr<Table> GetTable(const std::string& name) const;
  // Creates a table that is in no catalog, columns included.
  void AppendTable(const std::shared_ptr<Table>& table);
  // Throws kItemNotFound.
  void DeleteTable(const std::string& name);

 private:
  std::vector<std::string> Matching(const std::string& pattern_utf8) const;
  std::string NameInDatabase(const std::string& name) const;

  std::shared_ptr<Connection> connection_;
};

// A column of an open recordset.
struct FieldInfo {
  std::string name;
  DataType type = adEmpty;
  long defined_size = 0;
};

// Rows, read once from first to last, in blocks. Opened, it stands on the first
// row or, without rows, at the end.
class Recordset {
 public:
  Recordset();
  ~Recordset();
  Recordset(const Recordset&) = delete;
  Recordset& operator=(const Recordset&) = delete;

  // Every row and column of a table. Throws kNoTable.
  void OpenTable(std::shared_ptr<Connection> connection,
                 const std::string& name);
  // Takes over rows that are being read.
  void Open(std::shared_ptr<Connection> connection,
            std::unique_ptr<RowCursor> cursor);
  bool IsOpen() const { return cursor_ != nullptr; }

  // Throws kNoCurrentRecord at the end. A row that cannot be read throws, and
  // the recordset is at its end then.
  void MoveNext();
  bool IsEof() const;

  long FieldCount() const;
  // Throw kItemNotFound. The reference lives as long as the recordset. Names
  // match in either case of ASCII letters, but just the name goes first; the
  // first of a name counts.
  const FieldInfo& Field(long index) const;
  long FieldIndex(const std::string& name) const;
  // The value in the current row; missing is VT_NULL. New: the caller clears
  // it. Throws kNoCurrentRecord at the end.
  //   VT_BOOL VT_UI1 VT_I2 VT_I4 VT_I8 VT_R4 VT_R8   numbers of that size
  //   VT_DECIMAL                                     adNumeric, adDecimal
  //   VT_DATE                                        dates and times
  //   VT_BSTR                                        texts; a GUID in braces
  //   VT_ARRAY | VT_UI1                              binary values
  VARIANT Value(long index) const;

  // Fills a struct object of the data model from the current row, fields by
  // name.
  void Fill(void* record);

  // The rows below. Throws kObjectClosed.
  RowCursor& Cursor() const;

 private:
  std::shared_ptr<Connection> connection_;
  std::unique_ptr<RowCursor> cursor_;
  std::unique_ptr<RecordFiller> filler_;  // of the type that was filled last
};

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ADO_OBJECTS_H_
