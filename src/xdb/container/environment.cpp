#include "xdb/container/environment.h"

#include <db_cxx.h>

#include "port/native_path.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

DbEnv& Live(Environment::Impl& impl) {
  if (impl.handle == nullptr)
    throw StoreError(Failure::Other, "no environment is open");
  return *impl.handle;
}

}  // namespace

Environment::Environment() : impl_(std::make_unique<Impl>()) {}
Environment::~Environment() { Close(); }

int Environment::Open(const std::string& home,
                      const EnvironmentSwitches& switches,
                      const std::string& password) {
  Close();
  ForgetErrorTexts();
  auto handle = std::make_unique<DbEnv>(DB_CXX_NO_EXCEPTIONS);
  KeepErrorTexts(*handle);
  int code = 0;
  if (!password.empty())
    code = handle->set_encrypt(password.c_str(), DB_ENCRYPT_AES);
  if (code == 0) code = handle->set_cachesize(0, 64u << 20, 1);
  if (code == 0) code = handle->set_lk_detect(DB_LOCK_DEFAULT);
  if (code == 0) code = handle->set_lk_max_locks(100'000);
  if (code == 0) code = handle->set_lk_max_objects(100'000);
  u_int32_t flags = DB_CREATE | DB_INIT_MPOOL;
  if (switches.thread) flags |= DB_THREAD;
  if (switches.lock || switches.transactions) flags |= DB_INIT_LOCK;
  if (switches.log) flags |= DB_INIT_LOG;
  if (switches.transactions) flags |= DB_INIT_TXN | DB_RECOVER;
  if (code == 0) code = handle->open(port::SystemPath(home).c_str(), flags, 0);
  if (code != 0) {
    impl_->error_text =
        MakeStoreError(code, "open the environment", home).what();
    handle->close(0);
    return code;
  }
  impl_->handle = std::move(handle);
  impl_->home = home;
  return 0;
}

void Environment::Repair(const std::string&, const std::string&, bool) {}

int Environment::Close() {
  if (impl_->handle == nullptr) return 0;
  {
    const std::lock_guard lock(impl_->live->mutex);
    for (Transaction::Impl* transaction : impl_->live->all)
      if (DbTxn* const handle = transaction->Release()) handle->abort();
    impl_->live->all.clear();
  }
  const int code = impl_->handle->close(0);
  impl_->handle.reset();
  return code;
}

bool Environment::IsOpen() const { return impl_->handle != nullptr; }
const std::string& Environment::Home() const { return impl_->home; }
std::string Environment::ErrorText() const { return impl_->error_text; }

bool Environment::IsThreaded() const {
  u_int32_t flags = 0;
  CheckCode(Live(*impl_).get_open_flags(&flags), "ask", impl_->home);
  return (flags & DB_THREAD) != 0;
}

bool Environment::IsTransactional() const {
  u_int32_t flags = 0;
  CheckCode(Live(*impl_).get_open_flags(&flags), "ask", impl_->home);
  return (flags & DB_INIT_TXN) != 0;
}

bool Environment::IsEncrypted() const {
  u_int32_t flags = 0;
  CheckCode(Live(*impl_).get_encrypt_flags(&flags), "ask", impl_->home);
  return (flags & DB_ENCRYPT_AES) != 0;
}

std::shared_ptr<Transaction> Environment::Begin() {
  return BeginInside(*this, nullptr);
}

void Environment::Checkpoint() {
  CheckCode(Live(*impl_).txn_checkpoint(0, 0, 0), "make a checkpoint in",
            impl_->home);
}

std::vector<std::string> Environment::UnneededLogFiles() { return {}; }
EnvironmentStatistics Environment::Statistics() const { return {}; }

DbEnv* EnvironmentHandle(Environment& environment) {
  return &Live(environment.impl());
}

}  // namespace kiv::xdb
