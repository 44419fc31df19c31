#include "kiv/store/table.h"

#include "dm/dm.h"
#include "store/store_messages.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

// Whether the field can be a column; logs why not.
bool CanBeColumn(const void* type, std::size_t field) {
  const void* const field_type =
      dm_o_struct_metadata_field_metadata(type, field);
  if (field_type == nullptr) {
    LogError("Store", message::FieldTypeMissing(field));
    return false;
  }
  const char* const name = dm_o_struct_metadata_field_name(type, field);
  if (name == nullptr || *name == '\0') {
    LogError("Store", message::FieldNameMissing(field));
    return false;
  }
  if (!dm_o_is_value_type_from_metadata(field_type) &&
      !dm_o_is_big_value_type_from_metadata(field_type)) {
    LogError("Store", message::FieldTypeIsNoValue(
                          field, dm_o_type_name_from_metadata(field_type)));
    return false;
  }
  return true;
}

}  // namespace

bool Table::CreateColumns(const dm::ObjectPtr<dm::StructType>& type) {
  if (!type || !dm_o_is_struct_type_from_metadata(type.get())) return false;
  const std::size_t count = dm_o_struct_metadata_field_count(type.get());
  for (std::size_t field = 0; field < count; ++field)
    if (!CanBeColumn(type.get(), field)) return false;
  for (std::size_t field = 0; field < count; ++field) {
    const std::string name = dm_o_struct_metadata_field_name(type.get(), field);
    const dm::ObjectPtr<int*> field_type(
        dm_o_struct_metadata_field_metadata(type.get(), field));
    if (!CreateColumn(name, field_type, 0)) {
      LogError("Store", message::FieldNotCreated(field, Shown(name)));
      return false;
    }
  }
  return true;
}

// By value, as published. NOLINTNEXTLINE(performance-unnecessary-value-param)
bool Table::GetRow(std::string, std::vector<dm::ObjectPtr<int*>>&) const {
  return false;
}

bool Table::HasColumn(const std::string& name) {
  return GetColumn(name) != nullptr;
}

}  // namespace kiv::store
