#include <db_cxx.h>

#include <cerrno>
#include <utility>

#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {

Transaction::Impl::Impl(DbTxn* handle, std::shared_ptr<LiveTransactions> live,
                        Transaction::Impl*)
    : handle_(handle), live_(std::move(live)) {
  const std::lock_guard lock(live_->mutex);
  live_->all.insert(this);
}

Transaction::Impl::~Impl() {
  DbTxn* handle = nullptr;
  {
    const std::lock_guard lock(live_->mutex);
    live_->all.erase(this);
    handle = Release();
  }
  if (handle != nullptr) handle->abort();
}

DbTxn* Transaction::Impl::Release() { return std::exchange(handle_, nullptr); }

Transaction::Transaction(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Transaction::~Transaction() = default;

void Transaction::Commit() {
  DbTxn* const handle = TransactionHandle(this);
  impl_->Release();
  CheckCode(handle->commit(0), "commit a transaction", "");
}

void Transaction::Abort() {
  DbTxn* const handle = TransactionHandle(this);
  impl_->Release();
  CheckCode(handle->abort(), "abort a transaction", "");
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
      handle, environment.impl().live,
      parent != nullptr ? &parent->impl() : nullptr));
}

}  // namespace kiv::xdb
