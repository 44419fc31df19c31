#ifndef KIV_STORE_ADO_RECORDSET_H_
#define KIV_STORE_ADO_RECORDSET_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/store/recordset.h"

namespace kiv::store {

namespace ado {
class Connection;
class Recordset;
class Table;
}  // namespace ado

class KIV_API AdoField final : public Field {
 public:
  AdoField(std::shared_ptr<ado::Recordset> recordset, long index);
  AdoField(const AdoField&) = delete;
  AdoField& operator=(const AdoField&) = delete;
  ~AdoField();

  std::string Name() override;
  Variant Value() override;

  // The ADO data type number, for dm::Object::FromAdoDb.
  int Type() const;

 private:
  std::shared_ptr<ado::Recordset> recordset_;
  long index_;
};

class KIV_API AdoFields : public Fields {
 public:
  explicit AdoFields(std::shared_ptr<ado::Recordset> recordset);
  AdoFields(const AdoFields&) = delete;
  AdoFields& operator=(const AdoFields&) = delete;

  std::shared_ptr<Field> Item(long index) override;
  std::shared_ptr<Field> Item(const std::string& name) override;
  long Count() override;

 protected:
  virtual std::shared_ptr<AdoField> CreateFieldInstance(long index);

 public:
  virtual ~AdoFields();

 private:
  std::shared_ptr<Field> FieldAt(long index);

  std::shared_ptr<ado::Recordset> recordset_;
  // Made when first asked for.
  std::vector<std::shared_ptr<AdoField>> fields_;
};

class KIV_API AdoRecordset : public Recordset {
 public:
  // Of a table, to be loaded.
  AdoRecordset(std::shared_ptr<ado::Connection> connection,
               std::shared_ptr<ado::Table> table);
  // Of rows that are being read.
  explicit AdoRecordset(std::shared_ptr<ado::Recordset> recordset);
  AdoRecordset(const AdoRecordset&) = delete;
  AdoRecordset& operator=(const AdoRecordset&) = delete;

  bool MoveNext() override;
  // True also when nothing is loaded.
  bool IsEOF() override;
  std::shared_ptr<Fields> GetFields() override;
  // Opens the whole table, at its first row.
  virtual bool LoadTable();

 protected:
  virtual std::shared_ptr<AdoFields> CreateFieldsInstance();

 public:
  virtual ~AdoRecordset();

  // For the library.
  ado::Recordset& Inner() const { return *recordset_; }

 private:
  std::shared_ptr<ado::Connection> connection_;
  std::shared_ptr<ado::Table> table_;
  std::shared_ptr<ado::Recordset> recordset_;
  std::shared_ptr<AdoFields> fields_;
};

}  // namespace kiv::store

#endif  // KIV_STORE_ADO_RECORDSET_H_
