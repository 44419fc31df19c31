#ifndef STORE_ADO_RECORDS_H_
#define STORE_ADO_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dm/object.h"
#include "store/ado/ado_objects.h"
#include "store/ado/row_cursor.h"

// Statements with parameters, and struct objects of the data model as rows.
// Texts in the local encoding. Failures throw _com_error, std::bad_alloc and
// nothing else.
namespace kiv::store::ado {

using AnyObject = dm::ObjectPtr<int*>;

// A query's rows, before the first.
std::unique_ptr<RowCursor> OpenQuery(Connection& connection,
                                     const std::string& statement,
                                     const std::vector<AnyObject>& parameters);
// How many rows it changed; -1 when the driver does not say.
long long ExecuteStatement(Connection& connection, const std::string& statement,
                           const std::vector<AnyObject>& parameters);
// Every row and column of a table. Throws kNoTable.
std::unique_ptr<RowCursor> OpenTableRows(
    const std::shared_ptr<Connection>& connection, const std::string& name);

// What an insertion had to leave out.
struct InsertReport {
  // Dates and times whose last digits the database does not keep.
  std::size_t cut_dates = 0;
};

// One row a record, all or none: in a transaction of its own when none is open,
// else behind a savepoint where the database has them.
InsertReport InsertRecords(const std::shared_ptr<Connection>& connection,
                           const std::string& table,
                           const std::vector<AnyObject>& records);

// From rows to objects of one struct type, which has to live as long.
class RecordFiller {
 public:
  // Throws kInvalidArgument when `metadata` is no struct type's, and
  // kItemNotFound when no field has a column.
  RecordFiller(RowCursor& cursor, void* metadata);
  const void* metadata() const { return metadata_; }
  // From the current row into an object of the type; fields without a column
  // stay. Throws kDataOverflow, with the record partly filled.
  void Fill(void* record) const;

 private:
  struct Part {
    std::size_t column;
    std::uint32_t offset;
    dm_type_id_e type;
    const char* name;
  };
  RowCursor& cursor_;
  void* metadata_;
  std::vector<Part> parts_;
};

// A value of the current row, as an object of its column's type. Empty for
// NULL.
AnyObject ObjectOf(RowCursor& cursor, std::size_t column);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_RECORDS_H_
