#ifndef KIV_STORE_ROWS_H_
#define KIV_STORE_ROWS_H_

#include <memory>
#include <string>
#include <vector>

#include "dm/object.h"
#include "kiv/export.h"

// Whole records in and out of a table, by way of struct objects of the data
// model, and statements with parameters. For connections of the protocol "ado".
//
// A struct's fields and a table's columns meet by name; case of ASCII letters
// does not count, unless a column has just the name. Fields are plain values,
// strings and binary values; an ObjectPointer to one of these is a field whose
// value may be missing: empty means NULL. A default-made DateTime, which means
// a missing one, is NULL as well. docs/store.md says what each database keeps
// of each type.
//
// Failures are logged under "db" and answered false, empty or -1.
namespace kiv::store {

class Connection;
class Recordset;

// Parameters are values in the order of the "?" in the statement; an empty
// pointer is NULL.
using Parameters = std::vector<dm::ObjectPtr<int*>>;

// The rows of a query, from first to last. Keeps its connection open.
class KIV_API RowReader {
 public:
  struct Impl;
  explicit RowReader(std::unique_ptr<Impl> impl);
  ~RowReader();
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;

  // On to the first row, or the next. False at the end and on failure.
  bool Next();
  // Next answered false and there was more to read.
  bool HasFailed() const;

  const std::vector<std::string>& ColumnNames() const;
  // Column values of the current row; empty for NULL, past the last column and
  // on failure. A numeric is a Double or, with more digits than that holds, a
  // String.
  dm::ObjectPtr<int*> Value(std::size_t column) const;
  // Fills the fields of a struct object that the row has columns for; others
  // stay. False, with the object partly filled, when a value does not fit its
  // field or NULL meets a field that cannot hold it.
  bool Fill(const dm::ObjectPtr<int*>& record);

 private:
  std::unique_ptr<Impl> impl_;
};

// One connection's rows.
class KIV_API Rows {
 public:
  struct Impl;
  // Empty unless the connection is one of the protocol "ado" that is open.
  static std::shared_ptr<Rows> On(
      const std::shared_ptr<Connection>& connection);

  explicit Rows(std::unique_ptr<Impl> impl);
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // One row a record; all records are structs of one type, each of whose fields
  // has a column. All or none: outside of a transaction this makes its own.
  bool Insert(const std::string& table,
              const std::vector<dm::ObjectPtr<int*>>& records);

  // A statement that gives no rows. How many it changed, -1 on failure.
  long long Execute(const std::string& statement,
                    const Parameters& parameters = {});
  // Empty on failure.
  std::shared_ptr<RowReader> Query(const std::string& statement,
                                   const Parameters& parameters = {});

 private:
  std::unique_ptr<Impl> impl_;
};

// Fills a struct object from the current row of a table's recordset, as
// RowReader::Fill does.
KIV_API bool FillRecord(Recordset& recordset,
                        const dm::ObjectPtr<int*>& record);

}  // namespace kiv::store

#endif  // KIV_STORE_ROWS_H_
