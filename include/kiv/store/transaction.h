#ifndef KIV_STORE_TRANSACTION_H_
#define KIV_STORE_TRANSACTION_H_

#include "kiv/export.h"

namespace kiv::store {

// Changes that are made together or not at all; one that is dropped without
// Commit is rolled back.
class KIV_API Transaction {
 public:
  Transaction() = default;
  Transaction(const Transaction&) {}
  Transaction& operator=(const Transaction&) { return *this; }

  virtual bool Commit() = 0;
  virtual bool Rollback() = 0;

 protected:
  ~Transaction() = default;
};

// Reserved.
class KIV_API Command {
 public:
  Command& operator=(const Command&) { return *this; }
};

}  // namespace kiv::store

#endif  // KIV_STORE_TRANSACTION_H_
