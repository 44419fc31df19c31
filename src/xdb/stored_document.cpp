#include "xdb/stored_document.h"

#include "xdb/container/store_error.h"

namespace kiv::xdb {

std::shared_ptr<Transaction> ChosenTransaction(
    const TransactionChoice& choice,
    const std::shared_ptr<Environment>& environment) {
  if (!choice.is_set) return nullptr;
  std::shared_ptr<Transaction> transaction = choice.transaction.lock();
  if (transaction == nullptr)
    throw StoreError(Failure::Other,
                     "the transaction of this context was released");
  if (transaction->HasEnded())
    throw StoreError(Failure::Other,
                     "the transaction of this context has ended");
  if (choice.environment.lock() != environment)
    throw StoreError(Failure::Other,
                     "the transaction of this context belongs to another "
                     "environment");
  return transaction;
}

}  // namespace kiv::xdb
