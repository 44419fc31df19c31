#include <db_cxx.h>

#include <cerrno>
#include <utility>

#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {

Transaction::Impl::Impl(DbTxn* handle, Environment::Impl& environment,
                        Transaction::Impl* parent)
    : handle_(handle),
      environment_(environment),
      live_(environment.live),
      parent_(parent) {
  const std::lock_guard lock(live_->mutex);
  live_->all.insert(this);
  if (parent != nullptr) parent->inner_.insert(this);
}

Transaction::Impl::~Impl() {
  DbTxn* handle = nullptr;
  {
    const std::lock_guard lock(live_->mutex);
    handle = Release();
  }
  if (handle != nullptr) handle->abort();
}

DbTxn* Transaction::Impl::Release() {
  if (handle_ == nullptr) return nullptr;
  live_->all.erase(this);
  if (parent_ != nullptr) parent_->inner_.erase(this);
  parent_ = nullptr;
  // Berkeley DB ends them with this one.
  while (!inner_.empty()) (*inner_.begin())->Release();
  return std::exchange(handle_, nullptr);
}

DbTxn* Transaction::Impl::End() {
  const std::lock_guard lock(live_->mutex);
  DbTxn* const handle = Release();
  if (handle == nullptr)
    throw StoreError(Failure::Other, "the transaction has ended", EINVAL);
  return handle;
}

Transaction::Transaction(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Transaction::~Transaction() = default;

void Transaction::Commit() {
  for (const auto& [holder, part] : impl_->parts())
    part->BeforeCommit(TransactionHandle(this));
  const int code = impl_->End()->commit(0);
  *was_committed_ = code == 0;
  if (code == 0)
    for (const auto& [holder, part] : impl_->parts()) part->Committed();
  impl_->parts().clear();
  CheckCode(code, "commit a transaction", "");
  if (!impl_->IsInner()) impl_->InEnvironment().CheckpointAfterCommit();
}

void Transaction::Abort() {
  const int code = impl_->End()->abort();
  impl_->parts().clear();
  CheckCode(code, "abort a transaction", "");
}

bool Transaction::HasEnded() const { return impl_->Handle() == nullptr; }

DbTxn* TransactionHandle(Transaction* transaction) {
  if (transaction == nullptr) return nullptr;
  DbTxn* const handle = transaction->impl().Handle();
  if (handle == nullptr)
    throw StoreError(Failure::Other, "the transaction has ended", EINVAL);
  return handle;
}

std::shared_ptr<Transaction> BeginInside(Environment& environment,
                                         Transaction* parent) {
  DbTxn* handle = nullptr;
  CheckCode(EnvironmentHandle(environment)
                ->txn_begin(TransactionHandle(parent), &handle, 0),
            "begin a transaction in", environment.Home());
  return std::make_shared<Transaction>(std::make_unique<Transaction::Impl>(
      handle, environment.impl(),
      parent != nullptr ? &parent->impl() : nullptr));
}

}  // namespace kiv::xdb
