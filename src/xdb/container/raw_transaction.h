#ifndef XDB_CONTAINER_RAW_TRANSACTION_H_
#define XDB_CONTAINER_RAW_TRANSACTION_H_

#include <db_cxx.h>

#include <string>
#include <utility>

#include "xdb/container/environment_access.h"

namespace kiv::xdb {

// A transaction that begins and ends within one function. Aborted when it is
// not committed.
class RawTransaction {
 public:
  // Without one where `is_wanted` is false: everything then happens at once.
  RawTransaction(DbEnv& environment, bool is_wanted, u_int32_t flags,
                 const std::string& thing)
      : thing_(thing), commit_flags_(flags & DB_TXN_NOSYNC) {
    if (is_wanted)
      CheckCode(environment.txn_begin(nullptr, &handle_, flags),
                "begin a transaction for", thing_);
  }
  ~RawTransaction() {
    if (handle_ != nullptr) handle_->abort();
  }
  RawTransaction(const RawTransaction&) = delete;
  RawTransaction& operator=(const RawTransaction&) = delete;

  DbTxn* handle() const { return handle_; }
  void Commit() {
    if (handle_ != nullptr)
      CheckCode(std::exchange(handle_, nullptr)->commit(commit_flags_),
                "commit a transaction for", thing_);
  }

 private:
  const std::string thing_;
  const u_int32_t commit_flags_;
  DbTxn* handle_ = nullptr;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_RAW_TRANSACTION_H_
