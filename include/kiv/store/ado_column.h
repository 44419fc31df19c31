#ifndef KIV_STORE_ADO_COLUMN_H_
#define KIV_STORE_ADO_COLUMN_H_

#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/store/column.h"

namespace kiv::store {

namespace ado {
class Column;
class Table;
}  // namespace ado

// A column that its database has can be renamed; nothing else of it can be set.
class KIV_API AdoColumn : public Column {
 public:
  // A column of no table yet.
  AdoColumn();
  AdoColumn(const AdoColumn&) = delete;
  AdoColumn& operator=(const AdoColumn&) = delete;

  std::string GetName() const override;
  bool SetName(const std::string& name) override;
  dm::ObjectPtr<int*> GetType() const override;
  long GetDefinedSize() const override;
  bool SetDefinedSize(long size) override;
  long GetPrecision() const override;
  bool SetPrecision(long precision) override;
  long GetNumericScale() const override;
  bool SetNumericScale(long scale) override;
  std::string GetRelatedColumn() const override;
  bool SetRelatedColumn(const std::string& name) override;
  // 1: tables know no other order. Only 1 can be set.
  long GetSortOrder() const override;
  bool SetSortOrder(long order) override;
  long GetAttributes() const override;
  bool SetAttributes(long attributes) override;
  void* Handle() const override;

  virtual ~AdoColumn();

 private:
  friend class AdoTable;
  void Attach(std::shared_ptr<ado::Table> table,
              std::shared_ptr<ado::Column> column);

  std::shared_ptr<ado::Table> table_;  // which the column needs
  std::shared_ptr<ado::Column> column_;
};

class KIV_API AccessAdoColumn final : public AdoColumn {};
class KIV_API MsSqlAdoColumn final : public AdoColumn {};

}  // namespace kiv::store

#endif  // KIV_STORE_ADO_COLUMN_H_
