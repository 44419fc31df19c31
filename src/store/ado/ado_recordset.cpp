#include "kiv/store/ado_recordset.h"

#include <utility>

#include "store/ado/ado_objects.h"
#include "store/ado/guarded_call.h"

namespace kiv::store {

using ado::GuardedCall;

AdoField::AdoField(std::shared_ptr<ado::Recordset> recordset, long index)
    : recordset_(std::move(recordset)), index_(index) {}

AdoField::~AdoField() = default;

std::string AdoField::Name() {
  return GuardedCall("AdoField::Name Exception: ", std::string(),
                     [&] { return recordset_->Field(index_).name; });
}

Variant AdoField::Value() {
  return Variant(GuardedCall("AdoField::Value Exception: ", VARIANT{},
                             [&] { return recordset_->Value(index_); }));
}

int AdoField::Type() const {
  return GuardedCall("AdoField::Type Exception: ", 0, [&] {
    return static_cast<int>(recordset_->Field(index_).type);
  });
}

AdoFields::AdoFields(std::shared_ptr<ado::Recordset> recordset)
    : recordset_(std::move(recordset)) {}

AdoFields::~AdoFields() = default;

std::shared_ptr<AdoField> AdoFields::CreateFieldInstance(long index) {
  return std::make_shared<AdoField>(recordset_, index);
}

std::shared_ptr<Field> AdoFields::FieldAt(long index) {
  const auto place = static_cast<std::size_t>(index);
  if (place >= fields_.size()) {
    recordset_->Field(index);  // throws when there is none
    fields_.resize(place + 1);
  }
  auto& field = fields_[place];
  if (!field) field = CreateFieldInstance(index);
  return field;
}

std::shared_ptr<Field> AdoFields::Item(long index) {
  return GuardedCall("AdoFields::Item( long ) Exception: ",
                     std::shared_ptr<Field>(), [&] { return FieldAt(index); });
}

std::shared_ptr<Field> AdoFields::Item(const std::string& name) {
  return GuardedCall(
      "AdoFields::Item( name ) Exception: ", std::shared_ptr<Field>(),
      [&] { return FieldAt(recordset_->FieldIndex(name)); });
}

long AdoFields::Count() {
  return GuardedCall("AdoFields::Count Failed: ", 0L,
                     [&] { return recordset_->FieldCount(); });
}

AdoRecordset::AdoRecordset(std::shared_ptr<ado::Connection> connection,
                           std::shared_ptr<ado::Table> table)
    : connection_(std::move(connection)),
      table_(std::move(table)),
      recordset_(std::make_shared<ado::Recordset>()) {}

AdoRecordset::AdoRecordset(std::shared_ptr<ado::Recordset> recordset)
    : recordset_(std::move(recordset)) {}

AdoRecordset::~AdoRecordset() = default;

bool AdoRecordset::LoadTable() {
  return GuardedCall("AdoRecordset::LoadTable Failed:", false, [&] {
    if (!table_) ado::Raise(ado::kNoTable, "the recordset has no table");
    auto recordset = std::make_shared<ado::Recordset>();
    recordset->OpenTable(connection_, table_->Name());
    recordset_ = std::move(recordset);
    fields_ = nullptr;
    return true;
  });
}

bool AdoRecordset::MoveNext() {
  return GuardedCall("AdoRecordset::MoveNext Failed: ", false, [&] {
    recordset_->MoveNext();
    return true;
  });
}

bool AdoRecordset::IsEOF() {
  return GuardedCall("AdoRecordset::IsEOF Failed: ", true, [&] {
    return !recordset_->IsOpen() || recordset_->IsEof();
  });
}

std::shared_ptr<AdoFields> AdoRecordset::CreateFieldsInstance() {
  return std::make_shared<AdoFields>(recordset_);
}

std::shared_ptr<Fields> AdoRecordset::GetFields() {
  return GuardedCall(
      "AdoRecordset::GetFields Failed: ", std::shared_ptr<Fields>(),
      [&]() -> std::shared_ptr<Fields> {
        if (!recordset_->IsOpen())
          ado::Raise(ado::kObjectClosed, "nothing is loaded");
        if (!fields_) fields_ = CreateFieldsInstance();
        return fields_;
      });
}

}  // namespace kiv::store
