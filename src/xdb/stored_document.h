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
