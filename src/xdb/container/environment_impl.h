#ifndef XDB_CONTAINER_ENVIRONMENT_IMPL_H_
#define XDB_CONTAINER_ENVIRONMENT_IMPL_H_

#include <db_cxx.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "xdb/container/environment.h"
#include "xdb/container/environment_watch.h"
#include "xdb/container/home_files.h"
#include "xdb/container/life_table.h"
#include "xdb/container/transaction_part.h"

namespace kiv::xdb {

// Shared by an environment and its transactions: those that are left when it is
// closed end then, and know it.
struct LiveTransactions {
  std::mutex mutex;
  std::set<Transaction::Impl*> all;
};

class Transaction::Impl {
 public:
  Impl(DbTxn* handle, Environment::Impl& environment,
       Transaction::Impl* parent);
  // Aborts it if it has not ended.
  ~Impl();

  DbTxn* Handle() const { return handle_; }
  Environment::Impl& InEnvironment() const { return environment_; }
  bool IsInner() const { return is_inner_; }
  // By who holds it, one thread at a time.
  std::map<const void*, std::unique_ptr<TransactionPart>>& parts() {
    return parts_;
  }
  // The handle for one who ends it: neither it nor those inside have one from
  // then on. Throws StoreError when it has ended.
  DbTxn* End();
  // The same for one who has locked the live ones; null when it has ended.
  DbTxn* Release();

 private:
  DbTxn* handle_;
  Environment::Impl& environment_;  // as long as there is a handle
  const std::shared_ptr<LiveTransactions> live_;
  Transaction::Impl* parent_;
  const bool is_inner_ = parent_ != nullptr;
  std::set<Transaction::Impl*> inner_;
  std::map<const void*, std::unique_ptr<TransactionPart>> parts_;
};

class Environment::Impl {
 public:
  // Throws StoreError, closed.
  void Open(const std::string& given_home, const EnvironmentSwitches& switches,
            const std::string& password);
  void Repair(const std::string& given_home, const std::string& password,
              u_int32_t recovery);
  int Close();
  // The next checkpoint that is due, if nobody else makes it.
  void CheckpointAfterCommit();
  void RecordLogFiles();

  // Of the home, absolute.
  const std::string& Path() const { return path_; }

  std::string home;  // as it was given
  std::string error_text;
  std::unique_ptr<LifeTable> lives;
  std::unique_ptr<DbEnv> handle;
  const std::shared_ptr<LiveTransactions> live =
      std::make_shared<LiveTransactions>();

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  void RequireHome(const std::string& given_home, bool is_private);
  // False when it is to be tried again.
  bool TryOpen(const EnvironmentSwitches& switches, const std::string& password,
               TimePoint deadline);
  bool OpenBehindGate(const EnvironmentSwitches& switches,
                      const std::string& password, bool is_first,
                      bool may_wait);
  void OpenFirst(LifeTable::Facts facts, u_int32_t flags,
                 const std::string& password);
  void OpenHandle(u_int32_t flags, const std::string& password);
  void Recover(const std::string& password, u_int32_t recovery);
  bool FlushAsLast();
  void AbortTransactions();
  void GiveUp();

  std::string path_;
  std::unique_ptr<EnvironmentWatch> watch_;
  std::mutex checkpoint_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_IMPL_H_
