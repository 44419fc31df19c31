#ifndef XDB_STORED_DOCUMENT_H_
#define XDB_STORED_DOCUMENT_H_

#include <memory>
#include <string>

#include "xdb/container/environment.h"

namespace kiv::xdb {

// A document outside its container. Names are UTF-8, the content is bytes in
// the encoding that it declares.
struct StoredDocument {
  std::string name;
  std::string content;
  // Where it was fetched: the container's file and the name there, which stays
  // when the document is given another. Both empty for a new document.
  std::string container_file;
  std::string stored_name;

  // Its name in the container as `transaction`, null for none, sees it.
  const std::string& NameSeenBy(const Transaction* transaction) const;
  // It is stored under its name now.
  void NoteStored(const std::string& file,
                  const std::shared_ptr<Transaction>& transaction);

 private:
  // Who gave it stored_name. Until that is committed, and when it never is, it
  // has the name before for everybody else.
  std::weak_ptr<Transaction> renamed_in_;
  std::shared_ptr<const bool> is_renamed_;
  std::string name_before_;
};

// The transaction that operations of a context belong to. Held weakly: a
// transaction that its owner releases is aborted, whatever context it was given
// to.
struct TransactionChoice {
  bool is_set = false;
  std::weak_ptr<Transaction> transaction;
  // To tell a transaction of another environment.
  std::weak_ptr<Environment> environment;
};

struct UpdateContext {
  TransactionChoice transaction;
};

// Null when none is set. Throws StoreError when it is gone, has ended or
// belongs to another environment.
std::shared_ptr<Transaction> ChosenTransaction(
    const TransactionChoice& choice,
    const std::shared_ptr<Environment>& environment);

}  // namespace kiv::xdb

#endif  // XDB_STORED_DOCUMENT_H_
