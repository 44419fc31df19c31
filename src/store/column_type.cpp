#include "store/column_type.h"

#include "dm/dm.h"
#include "store/store_messages.h"
#include "util/log_entry.h"

namespace kiv::store {

std::string TypeName(const dm::ObjectPtr<int*>& type) {
  const char* const name = dm_o_type_name_from_metadata(type.get());
  return name == nullptr ? "" : name;
}

std::optional<dm_type_id_e> ColumnValueType(const std::string& class_name,
                                            const std::string& name,
                                            const dm::ObjectPtr<int*>& type) {
  if (!type) {
    LogError("db", message::ColumnTypeEmpty(class_name, Shown(name)));
    return std::nullopt;
  }
  if (!dm_o_is_value_type_from_metadata(type.get()) &&
      !dm_o_is_big_value_type_from_metadata(type.get())) {
    LogError("db", message::ColumnTypeIsNoValue(class_name, Shown(name),
                                                TypeName(type)));
    return std::nullopt;
  }
  return dm_o_type_info_from_metadata(type.get())->type_id;
}

std::optional<dm_type_id_e> CheckedColumnType(const std::string& class_name,
                                              const std::string& name,
                                              const dm::ObjectPtr<int*>& type,
                                              long length) {
  const auto value_type = ColumnValueType(class_name, name, type);
  if (value_type && length < 0) {
    LogError("db",
             message::ColumnLengthNegative(class_name, TypeName(type), length));
    return std::nullopt;
  }
  return value_type;
}

bool IsUsualColumnType(dm_type_id_e type) {
  switch (type) {
    case DM_BOOLEAN:
    case DM_BYTE:
    case DM_INT16:
    case DM_INT32:
    case DM_INT64:
    case DM_FLOAT:
    case DM_DOUBLE:
    case DM_GUID:
    case DM_DATE_TIME:
    case DM_STRING:
      return true;
    default:
      return false;
  }
}

void LogTypeNotHandled(const std::string& class_name,
                       const dm::ObjectPtr<int*>& type) {
  LogError("db", message::ColumnTypeNotHandled(class_name, TypeName(type)));
}

}  // namespace kiv::store
