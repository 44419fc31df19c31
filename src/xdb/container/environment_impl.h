#ifndef XDB_CONTAINER_ENVIRONMENT_IMPL_H_
#define XDB_CONTAINER_ENVIRONMENT_IMPL_H_

#include <db_cxx.h>

#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "xdb/container/environment.h"

namespace kiv::xdb {

void KeepErrorTexts(DbEnv& environment);
void ForgetErrorTexts();
std::string TakeErrorTexts();

// Shared by an environment and its transactions: those that are left when it is
// closed end then, and know it.
struct LiveTransactions {
  std::mutex mutex;
  std::set<Transaction::Impl*> all;
};

class Transaction::Impl {
 public:
  Impl(DbTxn* handle, std::shared_ptr<LiveTransactions> live,
       Transaction::Impl* parent);
  ~Impl();

  DbTxn* Handle() const { return handle_; }
  // Null from then on.
  DbTxn* Release();

 private:
  DbTxn* handle_;
  const std::shared_ptr<LiveTransactions> live_;
};

class Environment::Impl {
 public:
  std::string home;
  std::string error_text;
  std::unique_ptr<DbEnv> handle;
  std::shared_ptr<LiveTransactions> live = std::make_shared<LiveTransactions>();
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_IMPL_H_
