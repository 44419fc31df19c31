#include <db_cxx.h>

#include <cerrno>
#include <utility>

#include "port/native_path.h"
#include "util/log_entry.h"
#include "xdb/container/container.h"
#include "xdb/container/container_impl.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/environment_settings.h"

namespace kiv::xdb {
namespace {

// Runs `call` with an environment, which is a private one where none is given.
template <class Call>
void WithFiles(const std::shared_ptr<Environment>& environment,
               const std::string& file_name, const char* doing, Call call) {
  DbEnv own(DB_CXX_NO_EXCEPTIONS);
  DbEnv* handle = &own;
  u_int32_t flags = 0;
  if (environment != nullptr) {
    handle = EnvironmentHandle(*environment);
    if (environment->IsTransactional()) flags = DB_AUTO_COMMIT;
  } else {
    KeepErrorTexts(own);
    CheckCode(own.open(nullptr, DB_CREATE | DB_INIT_MPOOL | DB_PRIVATE, 0),
              doing, file_name);
  }
  const int code = call(*handle, flags);
  if (environment == nullptr) own.close(0);
  CheckCode(code, doing, file_name);
}

}  // namespace

std::shared_ptr<Container> OpenContainer(
    const std::shared_ptr<Environment>& environment,
    const std::string& file_name, const ContainerSwitches& switches) {
  auto impl = std::make_unique<Container::Impl>();
  impl->core =
      std::make_shared<ContainerCore>(environment, file_name, switches);
  return std::make_shared<Container>(std::move(impl));
}

void RemoveContainer(const std::shared_ptr<Environment>& environment,
                     const std::string& file_name) {
  WithFiles(environment, file_name, "remove",
            [&](DbEnv& handle, u_int32_t flags) {
              return handle.dbremove(
                  nullptr, port::SystemPath(file_name).c_str(), nullptr, flags);
            });
}

void RenameContainer(const std::shared_ptr<Environment>& environment,
                     const std::string& old_file, const std::string& new_file) {
  WithFiles(
      environment, old_file, "rename", [&](DbEnv& handle, u_int32_t flags) {
        return handle.dbrename(nullptr, port::SystemPath(old_file).c_str(),
                               nullptr, port::SystemPath(new_file).c_str(),
                               flags);
      });
}

}  // namespace kiv::xdb
