#ifndef KIV_STORE_ADO_TABLE_H_
#define KIV_STORE_ADO_TABLE_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/store/table.h"

namespace kiv::store {

namespace ado {
class Column;
class Connection;
class Recordset;
class Table;
}  // namespace ado

class AdoColumn;
class AdoRecordset;

class KIV_API AdoTable : public Table {
 public:
  explicit AdoTable(std::shared_ptr<ado::Connection> connection);
  AdoTable(const AdoTable&) = delete;
  AdoTable& operator=(const AdoTable&) = delete;

  bool CompleteCreate() override;
  std::string GetName() override;
  std::shared_ptr<Column> GetColumn(const std::string& name) override;
  std::shared_ptr<Column> GetColumn(long index) override;
  bool CreateColumn(const std::string& name, const dm::ObjectPtr<int*>& type,
                    long length) override;
  bool ReservedCreateColumn(dm::ObjectPtr<int*> column) override;
  bool DeleteColumn(const std::string& name) override;
  long GetColumnCount() override;
  std::shared_ptr<Recordset> OpenRecordset() override;
  std::string ReservedText(std::uintptr_t first,
                           std::uintptr_t second) override;
  std::string ColumnList(const std::vector<long>& columns,
                         const std::vector<std::string>& others) override;
  bool ReservedRow(std::string key, std::uintptr_t argument) override;
  bool ReservedRows(std::string key, std::uintptr_t argument) override;
  bool ReservedKey(std::string key, std::uintptr_t argument) override;

 protected:
  virtual std::shared_ptr<AdoColumn> CreateColumnInstance();
  // Null: a recordset of this table, not opened yet.
  virtual std::shared_ptr<AdoRecordset> CreateRecordsetInstance(
      std::shared_ptr<ado::Recordset> recordset);

 public:
  virtual ~AdoTable();

 protected:
  // Appends the column; `class_name` begins the message of a failure.
  bool AppendColumn(const char* class_name, const std::string& name,
                    int ado_type, long length);

 private:
  friend class AdoConnection;
  // Attaches to a table of the database. False when there is none; a failure is
  // logged.
  bool GetTable(const std::string& name);
  // Names a new table.
  bool SetName(const std::string& name);
  std::shared_ptr<Column> Wrapped(std::shared_ptr<ado::Column> column);

  std::shared_ptr<ado::Connection> connection_;
  std::shared_ptr<ado::Table> table_;  // null: unattached
};

class KIV_API AccessAdoTable final : public AdoTable {
 public:
  using AdoTable::AdoTable;
  bool CreateColumn(const std::string& name, const dm::ObjectPtr<int*>& type,
                    long length) override;

 protected:
  std::shared_ptr<AdoColumn> CreateColumnInstance() override;
};

class KIV_API MsSqlAdoTable final : public AdoTable {
 public:
  using AdoTable::AdoTable;
  bool CreateColumn(const std::string& name, const dm::ObjectPtr<int*>& type,
                    long length) override;

 protected:
  std::shared_ptr<AdoColumn> CreateColumnInstance() override;
};

}  // namespace kiv::store

#endif  // KIV_STORE_ADO_TABLE_H_
