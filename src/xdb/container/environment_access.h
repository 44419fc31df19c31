#ifndef XDB_CONTAINER_ENVIRONMENT_ACCESS_H_
#define XDB_CONTAINER_ENVIRONMENT_ACCESS_H_

#include <memory>
#include <string>

#include "xdb/container/environment.h"
#include "xdb/container/store_error.h"

class Db;
class DbEnv;
class DbTxn;

// Berkeley DB's own handles, for the sources that store with it.
namespace kiv::xdb {

// Borrowed, until the environment is closed. Throws StoreError when none is
// open.
DbEnv* EnvironmentHandle(Environment& environment);

// Borrowed, until the transaction ends; null for a null transaction. Throws
// StoreError when it has ended.
DbTxn* TransactionHandle(Transaction* transaction);

// A transaction inside `parent`: it can be aborted alone, and ends with it at
// the latest. The environment's own transaction when `parent` is null.
std::shared_ptr<Transaction> BeginInside(Environment& environment,
                                         Transaction* parent);

// Keeps what Berkeley DB says about the handle's errors for the next
// MakeStoreError of the same thread. An environment, and what is opened in it,
// has this already.
void KeepErrorTexts(Db& database);

// Makes `code`, Berkeley DB's or errno, an error whose text names the thing,
// what Berkeley DB said, and what to do: "open 'orders.xdb'" and so on, `doing`
// being a verb and `thing` a file or document in the local encoding. Forgets
// what was kept of the thread.
StoreError MakeStoreError(int code, const std::string& doing,
                          const std::string& thing);

// Throws it unless `code` is 0.
inline void CheckCode(int code, const std::string& doing,
                      const std::string& thing) {
  if (code != 0) throw MakeStoreError(code, doing, thing);
}

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_ACCESS_H_
