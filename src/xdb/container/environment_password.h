#ifndef XDB_CONTAINER_ENVIRONMENT_PASSWORD_H_
#define XDB_CONTAINER_ENVIRONMENT_PASSWORD_H_

#include <string>

#include "xdb/container/home_files.h"
#include "xdb/container/life_table.h"

namespace kiv::xdb {

// Whether an environment is encrypted, and with what: Berkeley DB finds out
// only when it reads something, which is too late for a clear answer, and may
// join an environment that it cannot read.
//
// Throws StoreError, WrongPassword, when the environment is not for this
// password, which is empty for none. A new one becomes what the password says,
// and `facts` tell it.
void RequirePassword(const std::string& home, const LogFiles& logs,
                     const std::string& password, LifeTable::Facts& facts);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_PASSWORD_H_
