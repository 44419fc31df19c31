#include "xdb/stored_document.h"

#include "xdb/container/store_error.h"

namespace kiv::xdb {

const std::string& StoredDocument::NameSeenBy(
    const Transaction* transaction) const {
  if (is_renamed_ == nullptr || *is_renamed_) return stored_name;
  const auto own = renamed_in_.lock();
  return own != nullptr && own.get() == transaction ? stored_name
                                                    : name_before_;
}

void StoredDocument::NoteStored(
    const std::string& file, const std::shared_ptr<Transaction>& transaction) {
  const bool is_renamed = !stored_name.empty() && file == container_file &&
                          NameSeenBy(transaction.get()) != name;
  if (transaction == nullptr || file != container_file) is_renamed_.reset();
  if (transaction != nullptr && is_renamed) {
    name_before_ = NameSeenBy(nullptr);
    renamed_in_ = transaction;
    is_renamed_ = transaction->WasCommitted();
  }
  container_file = file;
  stored_name = name;
}

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
