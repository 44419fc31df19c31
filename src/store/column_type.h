#ifndef STORE_COLUMN_TYPE_H_
#define STORE_COLUMN_TYPE_H_

#include <optional>
#include <string>

#include "dm/object.h"

namespace kiv::store {

// What a column of these values is to hold. None, and logged for
// `class_name`::CreateColumn, unless the type is that of a value.
std::optional<dm_type_id_e> ColumnValueType(const std::string& class_name,
                                            const std::string& name,
                                            const dm::ObjectPtr<int*>& type);

// As messages name it.
std::string TypeName(const dm::ObjectPtr<int*>& type);

// The steps that every back end but Access has in common: the type above, and a
// length that is not negative.
std::optional<dm_type_id_e> CheckedColumnType(const std::string& class_name,
                                              const std::string& name,
                                              const dm::ObjectPtr<int*>& type,
                                              long length);

// Booleans, integers, reals, GUIDs, dates and texts: every store has columns of
// these.
bool IsUsualColumnType(dm_type_id_e type);

// Logs that `class_name` has no columns of this type.
void LogTypeNotHandled(const std::string& class_name,
                       const dm::ObjectPtr<int*>& type);

}  // namespace kiv::store

#endif  // STORE_COLUMN_TYPE_H_
