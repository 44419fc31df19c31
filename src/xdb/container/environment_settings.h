#ifndef XDB_CONTAINER_ENVIRONMENT_SETTINGS_H_
#define XDB_CONTAINER_ENVIRONMENT_SETTINGS_H_

#include <db_cxx.h>

#include <memory>
#include <string>

#include "xdb/container/life_table.h"

namespace kiv::xdb {

// A handle that is ready to be opened in any of the ways that an environment
// is: sizes, time limits, who lives and who is asking. `lives` has entered, and
// stays until the handle is closed. Throws StoreError.
std::unique_ptr<DbEnv> MakeHandle(LifeTable& lives,
                                  const std::string& password);

// Settings behind the commits: a checkpoint after so much log keeps a recovery
// within the time that an opening may take.
inline constexpr u_int32_t kCheckpointKilobytes = 16 * 1024;

// What an error callback kept on this thread.
void KeepErrorTexts(DbEnv& environment);
void ForgetErrorTexts();

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_SETTINGS_H_
