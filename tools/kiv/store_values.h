#ifndef TOOLS_KIV_STORE_VALUES_H_
#define TOOLS_KIV_STORE_VALUES_H_

#include <string>

#include "dm/object.h"
#include "kiv/com.h"

namespace kiv_tool {

// A value as kiv store writes and reads it, in UTF-8: numbers as digits that
// read back equal, "true" and "false", 2004-01-31T09:05:07.25, GUIDs without
// braces, binary values as hexadecimal digits.
struct StoreCell {
  bool is_null = true;
  std::string text;
};

// Of an object of the data model; null for an empty one.
StoreCell CellOf(const dm::ObjectPtr<int*>& value);
// Of a database value that is no date: texts keep characters that the library's
// encoding lacks.
StoreCell CellOf(const VARIANT& value);

// The object of that type. Empty, with the reason, for a text that is no such
// value.
dm::ObjectPtr<int*> ValueOf(const std::string& text_utf8, dm_type_id_e type,
                            std::string& reason);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_STORE_VALUES_H_
