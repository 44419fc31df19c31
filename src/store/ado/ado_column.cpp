#include "kiv/store/ado_column.h"

#include <utility>

#include "dm/registry.h"
#include "store/ado/ado_objects.h"
#include "store/ado/guarded_call.h"

namespace kiv::store {
namespace {

using ado::GuardedCall;

constexpr long kAscending = 1;
// Both directions report under this name, as published.
constexpr char kSortOrderFailed[] = "AdoColumn::GetDefinedSize Failed: ";

// The metadata of the objects that dm::Object::FromAdoDb makes of such values;
// null when it makes none.
void* MetadataOf(ado::DataType type) {
  switch (type) {
    case ado::adSmallInt:
    case ado::adUnsignedSmallInt:
      return dm_o_int16_metadata();
    case ado::adInteger:
    case ado::adUnsignedInt:
      return dm_o_int32_metadata();
    case ado::adBigInt:
    case ado::adUnsignedBigInt:
      return dm_o_int64_metadata();
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
      return dm_o_byte_metadata();
    case ado::adSingle:
      return dm_o_float_metadata();
    case ado::adDouble:
    case ado::adCurrency:
    case ado::adDecimal:
    case ado::adNumeric:
      return dm_o_double_metadata();
    case ado::adBoolean:
      return dm_o_bool_metadata();
    case ado::adGUID:
      return dm_o_guid_metadata();
    case ado::adDate:
    case ado::adDBDate:
    case ado::adDBTime:
    case ado::adDBTimeStamp:
      return dm_o_datetime_metadata();
    case ado::adChar:
    case ado::adWChar:
    case ado::adVarChar:
    case ado::adLongVarChar:
    case ado::adVarWChar:
    case ado::adLongVarWChar:
      return dm_o_ansi_string_metadata();
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adLongVarBinary:
      return dm_o_binary_metadata();
    case ado::adEmpty:
      break;
  }
  return nullptr;
}

template <class Set>
bool Guarded(const char* message, const Set& set) {
  return GuardedCall(message, false, [&] {
    set();
    return true;
  });
}

}  // namespace

AdoColumn::AdoColumn() : column_(std::make_shared<ado::Column>()) {}

AdoColumn::~AdoColumn() = default;

void AdoColumn::Attach(std::shared_ptr<ado::Table> table,
                       std::shared_ptr<ado::Column> column) {
  table_ = std::move(table);
  column_ = std::move(column);
}

std::string AdoColumn::GetName() const {
  return GuardedCall("AdoColumn::GetName Failed: ", std::string(),
                     [&] { return column_->Name(); });
}

bool AdoColumn::SetName(const std::string& name) {
  return Guarded("AdoColumn::SetName Failed: ",
                 [&] { column_->SetName(name); });
}

dm::ObjectPtr<int*> AdoColumn::GetType() const {
  return GuardedCall("AdoColumn::GetType Failed: ", dm::ObjectPtr<int*>(), [&] {
    return dm::ObjectPtr<int*>(MetadataOf(column_->Type()));
  });
}

long AdoColumn::GetDefinedSize() const {
  return GuardedCall("AdoColumn::GetDefinedSize Failed: ", 0L,
                     [&] { return column_->DefinedSize(); });
}

bool AdoColumn::SetDefinedSize(long size) {
  return Guarded("AdoColumn::SetDefinedSize Failed: ",
                 [&] { column_->SetDefinedSize(size); });
}

long AdoColumn::GetPrecision() const {
  return GuardedCall("AdoColumn::Precision Failed: ", 0L,
                     [&] { return column_->Precision(); });
}

bool AdoColumn::SetPrecision(long precision) {
  return Guarded("AdoColumn::SetPrecision Failed: ",
                 [&] { column_->SetPrecision(precision); });
}

long AdoColumn::GetNumericScale() const {
  return GuardedCall("AdoColumn::GetNumericScale Failed: ", 0L,
                     [&] { return column_->NumericScale(); });
}

bool AdoColumn::SetNumericScale(long scale) {
  return Guarded("AdoColumn::SetNumericScale Failed: ",
                 [&] { column_->SetNumericScale(scale); });
}

std::string AdoColumn::GetRelatedColumn() const {
  return GuardedCall("AdoColumn::GetRelatedColumn Failed: ", std::string(),
                     [&] { return column_->RelatedColumn(); });
}

bool AdoColumn::SetRelatedColumn(const std::string& name) {
  return Guarded("AdoColumn::SetRelatedColumn Failed: ",
                 [&] { column_->SetRelatedColumn(name); });
}

long AdoColumn::GetSortOrder() const { return kAscending; }

bool AdoColumn::SetSortOrder(long order) {
  return Guarded(kSortOrderFailed, [&] {
    if (order != kAscending)
      ado::Raise(ado::kNotAllowedHere,
                 "the column of a table has no sort order");
  });
}

long AdoColumn::GetAttributes() const {
  const long attributes = GuardedCall("AdoColumn::GetAttributes Failed: ", 0L,
                                      [&] { return column_->Attributes(); });
  if ((attributes & ~(ATTRIBUTE_FIXED | ATTRIBUTE_NULLABLE)) != 0)
    LogSevereWarning("db",
                     "AdoColumn::GetAttributes Failed: Invalid Attributes");
  return attributes;
}

bool AdoColumn::SetAttributes(long attributes) {
  return Guarded("AdoColumn::SetAttributes Failed: ",
                 [&] { column_->SetAttributes(attributes); });
}

int AdoColumn::Type() const { return static_cast<int>(column_->Type()); }

void* AdoColumn::Handle() const { return column_.get(); }

}  // namespace kiv::store
