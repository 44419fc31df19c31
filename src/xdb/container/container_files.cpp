#include <db_cxx.h>

#include <functional>
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

using FileCall = std::function<int(DbEnv& handle, DbTxn* transaction)>;

void InPrivateEnvironment(const std::string& file_name, const char* doing,
                          const FileCall& call) {
  DbEnv own(DB_CXX_NO_EXCEPTIONS);
  KeepErrorTexts(own);
  CheckCode(own.open(nullptr, DB_CREATE | DB_INIT_MPOOL | DB_PRIVATE, 0), doing,
            file_name);
  const int code = call(own, nullptr);
  own.close(0);
  CheckCode(code, doing, file_name);
}

// Who has the container open holds a lock on it for as long: nobody waits for
// that.
void InOwnTransaction(DbEnv& handle, const std::string& file_name,
                      const char* doing, const FileCall& call) {
  DbTxn* transaction = nullptr;
  CheckCode(handle.txn_begin(nullptr, &transaction, DB_TXN_NOWAIT), doing,
            file_name);
  int code = call(handle, transaction);
  if (code == 0)
    code = transaction->commit(0);
  else
    transaction->abort();
  if (code == DB_LOCK_NOTGRANTED || code == DB_LOCK_DEADLOCK) {
    ForgetErrorTexts();
    throw StoreError(Failure::BusyTooLong,
                     std::string("cannot ") + doing + " '" + Shown(file_name) +
                         "': it is open; close it everywhere",
                     code);
  }
  CheckCode(code, doing, file_name);
}

void WithFile(const std::shared_ptr<Environment>& environment,
              const std::string& file_name, const char* doing,
              const FileCall& call) {
  if (environment == nullptr)
    return InPrivateEnvironment(file_name, doing, call);
  DbEnv& handle = *EnvironmentHandle(*environment);
  if (environment->IsTransactional())
    return InOwnTransaction(handle, file_name, doing, call);
  CheckCode(call(handle, nullptr), doing, file_name);
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
  WithFile(environment, file_name, "remove",
           [&](DbEnv& handle, DbTxn* transaction) {
             return handle.dbremove(
                 transaction, port::SystemPath(file_name).c_str(), nullptr, 0);
           });
}

void RenameContainer(const std::shared_ptr<Environment>& environment,
                     const std::string& old_file, const std::string& new_file,
                     bool replaces) {
  const std::string from = port::SystemPath(old_file);
  const std::string to = port::SystemPath(new_file);
  WithFile(
      environment, old_file, "rename", [&](DbEnv& handle, DbTxn* transaction) {
        if (replaces) {
          const int code = handle.dbremove(transaction, to.c_str(), nullptr, 0);
          if (code != 0) return code;
        }
        return handle.dbrename(transaction, from.c_str(), nullptr, to.c_str(),
                               0);
      });
}

}  // namespace kiv::xdb
