#include "xdb/container/environment.h"

#include <db_cxx.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "port/file.h"
#include "port/native_path.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/environment_settings.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

DbEnv& Live(Environment::Impl& impl) {
  if (impl.handle == nullptr)
    throw StoreError(Failure::Other, "no environment is open", EINVAL);
  return *impl.handle;
}

u_int32_t OpenFlags(Environment::Impl& impl) {
  u_int32_t flags = 0;
  CheckCode(Live(impl).get_open_flags(&flags), "ask the environment",
            impl.home);
  return flags;
}

// What Berkeley DB allocates for its caller.
template <class Value>
using Allocated = std::unique_ptr<Value, decltype(&std::free)>;

template <class Value>
Allocated<Value> Own(Value* value) {
  return {value, &std::free};
}

}  // namespace

Environment::Environment() : impl_(std::make_unique<Impl>()) {}
Environment::~Environment() { Close(); }

int Environment::Open(const std::string& home,
                      const EnvironmentSwitches& switches,
                      const std::string& password) {
  Close();
  impl_->error_text.clear();
  try {
    impl_->Open(home, switches, password);
    return 0;
  } catch (const StoreError& error) {
    impl_->lives.reset();
    impl_->error_text = error.what();
    if (error.failure() == Failure::NeedsRecovery) throw;
    return error.code() != 0 ? error.code() : EINVAL;
  }
}

void Environment::Repair(const std::string& home, const std::string& password,
                         bool is_catastrophic) {
  Close();
  impl_->error_text.clear();
  try {
    impl_->Repair(home, password,
                  is_catastrophic ? DB_RECOVER_FATAL : DB_RECOVER);
    impl_->lives.reset();
  } catch (const StoreError& error) {
    impl_->lives.reset();
    impl_->error_text = error.what();
    throw;
  }
}

int Environment::Close() {
  ForgetErrorTexts();
  const int code = impl_->Close();
  if (code != 0)
    impl_->error_text =
        MakeStoreError(code, "close the environment", impl_->home).what();
  return code;
}

bool Environment::IsOpen() const { return impl_->handle != nullptr; }
const std::string& Environment::Home() const { return impl_->home; }
std::string Environment::ErrorText() const { return impl_->error_text; }

bool Environment::IsThreaded() const {
  return (OpenFlags(*impl_) & DB_THREAD) != 0;
}

bool Environment::IsTransactional() const {
  return (OpenFlags(*impl_) & DB_INIT_TXN) != 0;
}

bool Environment::IsEncrypted() const {
  u_int32_t flags = 0;
  CheckCode(Live(*impl_).get_encrypt_flags(&flags), "ask the environment",
            impl_->home);
  return (flags & DB_ENCRYPT_AES) != 0;
}

std::shared_ptr<Transaction> Environment::Begin() {
  return BeginInside(*this, nullptr);
}

void Environment::Checkpoint() {
  CheckCode(Live(*impl_).txn_checkpoint(0, 0, 0), "make a checkpoint in",
            impl_->home);
  impl_->RecordLogFiles();
}

std::vector<std::string> Environment::UnneededLogFiles() {
  char** names = nullptr;
  CheckCode(Live(*impl_).log_archive(&names, DB_ARCH_ABS),
            "list the log files of", impl_->home);
  const auto owned = Own(names);
  std::vector<std::string> files;
  for (char** name = names; name != nullptr && *name != nullptr; ++name)
    files.push_back(port::LocalPath(*name));
  // They may be gone any time from now on.
  impl_->RecordLogFiles();
  return files;
}

XDbEnvironmentStatistics Environment::Statistics() const {
  DbEnv& handle = Live(*impl_);
  const u_int32_t flags = OpenFlags(*impl_);
  XDbEnvironmentStatistics statistics;
  u_int32_t gigabytes = 0;
  u_int32_t bytes = 0;
  CheckCode(handle.get_cachesize(&gigabytes, &bytes, nullptr),
            "ask the environment", impl_->home);
  statistics.cache_bytes =
      (static_cast<std::uint64_t>(gigabytes) << 30) + bytes;
  if ((flags & DB_INIT_LOCK) != 0) {
    DB_LOCK_STAT* locks = nullptr;
    CheckCode(handle.lock_stat(&locks, 0), "count the locks of", impl_->home);
    const auto owned = Own(locks);
    statistics.lock_count = locks->st_nlocks;
    statistics.max_lock_count = locks->st_maxlocks;
    statistics.deadlock_count =
        static_cast<std::uint32_t>(locks->st_ndeadlocks);
  }
  const LogFiles logs = FindLogFiles(impl_->Path());
  statistics.log_file_count = logs.numbers.size();
  for (const std::uint32_t number : logs.numbers) {
    port::FileAttributes attributes;
    if (port::GetFileAttributesA(logs.folder + "\\" + LogFileName(number),
                                 attributes))
      statistics.log_bytes += attributes.size_bytes;
  }
  statistics.recovery_count = impl_->lives->Load().recovery_count;
  return statistics;
}

DbEnv* EnvironmentHandle(Environment& environment) {
  return &Live(environment.impl());
}

}  // namespace kiv::xdb
