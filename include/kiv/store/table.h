#ifndef KIV_STORE_TABLE_H_
#define KIV_STORE_TABLE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dm/object.h"
#include "kiv/export.h"
#include "kiv/store/column.h"
#include "kiv/store/recordset.h"

namespace kiv::store {

class KIV_API Table {
 public:
  Table() = default;
  Table(const Table&) {}
  Table& operator=(const Table&) { return *this; }

  // Makes a table of Connection::CreateTable real, with the columns that it has
  // by then. Always false for an XML database, whose tables are real at once.
  virtual bool CompleteCreate() = 0;
  virtual std::string GetName() = 0;
  // Empty when there is no such column. Positions count from 0.
  virtual std::shared_ptr<Column> GetColumn(const std::string& name) = 0;
  virtual std::shared_ptr<Column> GetColumn(long index) = 0;
  // `type` is metadata of the data model, borrowed; `length` is that of a text,
  // in characters, 0 for the usual one. A table that is real gets the column at
  // once.
  virtual bool CreateColumn(const std::string& name,
                            const dm::ObjectPtr<int*>& type, long length) = 0;
  // Reserved: false.
  virtual bool ReservedCreateColumn(dm::ObjectPtr<int*> column) = 0;
  virtual bool DeleteColumn(const std::string& name) = 0;
  // A column for each field of a struct type, none unless all of them are
  // values; length 0 each. CompleteCreate is left to the caller.
  virtual bool CreateColumns(const dm::ObjectPtr<dm::StructType>& type);
  virtual long GetColumnCount() = 0;
  // The whole table. Empty for an XML database, which has documents instead of
  // rows: see XDbContainer.
  virtual std::shared_ptr<Recordset> OpenRecordset() = 0;
  // Reserved: "".
  virtual std::string ReservedText(std::uintptr_t first,
                                   std::uintptr_t second) = 0;
  // The names of the columns at these positions, with "," between them; "" when
  // one is missing, when the lists differ in length, and always for an XML
  // database. The other list is not looked at.
  virtual std::string ColumnList(const std::vector<long>& columns,
                                 const std::vector<std::string>& others) = 0;
  // Reserved: false.
  virtual bool ReservedRow(std::string key, std::uintptr_t argument) = 0;
  virtual bool ReservedRows(std::string key, std::uintptr_t argument) = 0;
  virtual bool ReservedKey(std::string key, std::uintptr_t argument) = 0;
  // False; no store has it.
  virtual bool GetRow(std::string key,
                      std::vector<dm::ObjectPtr<int*>>& row) const;

  // Whether GetColumn finds it.
  bool HasColumn(const std::string& name);

 protected:
  ~Table() = default;
};

}  // namespace kiv::store

#endif  // KIV_STORE_TABLE_H_
