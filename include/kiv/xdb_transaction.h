#ifndef KIV_XDB_TRANSACTION_H_
#define KIV_XDB_TRANSACTION_H_

#include <memory>

#include "kiv/export.h"

namespace kiv {

namespace xdb {
class Environment;
class Transaction;
struct UpdateContext;
struct XDbAccess;
}  // namespace xdb

// Several changes that are made together or not at all. Bound by
// XDbManager::CreateTransaction; one that is released without Commit is
// aborted. What it changed is locked for others until it ends: keep it short.
class KIV_API XDbTransaction {
 public:
  XDbTransaction();
  ~XDbTransaction();
  XDbTransaction(const XDbTransaction&) = delete;
  XDbTransaction& operator=(const XDbTransaction&) = delete;

  // True means that the changes survive any crash. False, and logged, when it
  // has ended already; false when it is unbound.
  bool Commit();
  bool Abort();

 protected:
  // Takes a std::shared_ptr<xdb::Transaction>*, of which it keeps a copy. False
  // for null.
  bool Construct(const void* transaction,
                 const std::shared_ptr<xdb::Environment>& environment);
  void Destroy();

 private:
  friend class XDbManager;
  friend struct xdb::XDbAccess;

  // A transaction ends before its environment.
  std::shared_ptr<xdb::Environment> environment_;
  std::shared_ptr<xdb::Transaction> transaction_;
};

// Says how changes are made. Bound by XDbManager::CreateUpdateContext.
class KIV_API XDbUpdateContext {
 public:
  XDbUpdateContext();
  ~XDbUpdateContext();
  XDbUpdateContext(const XDbUpdateContext&) = delete;
  XDbUpdateContext& operator=(const XDbUpdateContext&) = delete;

  // From now on the changes made with this context belong to the transaction.
  // Without one each change is a transaction of its own, where the container is
  // transactional. Once it has ended, changes fail until another is set. False
  // when either is unbound.
  bool SetTransaction(const XDbTransaction& transaction);
  void ClearTransaction();

 protected:
  // Takes an xdb::UpdateContext*, of which it keeps a copy. False for null.
  bool Construct(const void* context);
  void Destroy();

 private:
  friend class XDbManager;
  friend struct xdb::XDbAccess;

  std::unique_ptr<xdb::UpdateContext> context_;
};

}  // namespace kiv

#endif  // KIV_XDB_TRANSACTION_H_
