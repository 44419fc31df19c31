#ifndef STORE_NAMED_TABLE_H_
#define STORE_NAMED_TABLE_H_

#include <functional>
#include <memory>
#include <string>

#include "store/store_messages.h"
#include "util/log_entry.h"

// What the connections of every back end ask before they hand out a table.
namespace kiv::store {

// Logs that the name is missing.
inline bool HasName(const char* class_name, const char* operation,
                    const std::string& name) {
  if (name.empty()) LogError("db", message::EmptyName(class_name, operation));
  return !name.empty();
}

// The table when its method `call`, named `call_name`, takes the name; else
// null, logged.
template <class T, class Call>
std::shared_ptr<T> NamedTable(const char* class_name, const char* operation,
                              const char* call_name, const std::string& name,
                              std::shared_ptr<T> table, const Call& call) {
  if (table == nullptr)
    LogError("db",
             message::NoTableInstance(class_name, operation, Shown(name)));
  else if (std::invoke(call, *table, name))
    return table;
  else
    LogError("db", message::CallFailed(class_name, operation, call_name,
                                       Shown(name)));
  return nullptr;
}

}  // namespace kiv::store

#endif  // STORE_NAMED_TABLE_H_
