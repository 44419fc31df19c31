#ifndef XDB_CONTAINER_TRANSACTION_PART_H_
#define XDB_CONTAINER_TRANSACTION_PART_H_

class DbTxn;

namespace kiv::xdb {

// What somebody holds in memory for a transaction. Ends with it: without
// Committed() when it is aborted, in whatever way.
class TransactionPart {
 public:
  virtual ~TransactionPart() = default;
  // Throws StoreError; the transaction then goes on and is to be aborted.
  virtual void BeforeCommit(DbTxn* handle) = 0;
  virtual void Committed() = 0;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_TRANSACTION_PART_H_
