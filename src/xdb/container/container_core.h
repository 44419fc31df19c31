#ifndef XDB_CONTAINER_CONTAINER_CORE_H_
#define XDB_CONTAINER_CONTAINER_CORE_H_

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/container/container.h"
#include "xdb/container/container_tables.h"
#include "xdb/container/document_record.h"
#include "xdb/container/stored_dictionary.h"
#include "xdb/container/transaction_part.h"
#include "xdb/container/tree_cache.h"
#include "xdb/container/value_index.h"

namespace kiv::xdb {

class ContainerPart;

// Of large documents that are kept decoded.
inline constexpr std::size_t kMostTreeBytes = std::size_t{128} << 20;

// What an operation runs in.
struct Scope {
  DbTxn* transaction = nullptr;
  ContainerPart* part = nullptr;  // null without a transaction
};

// An open container. It lives as long as the handle given out, or a transaction
// that has changed it, if that is longer.
class ContainerCore : public std::enable_shared_from_this<ContainerCore> {
 public:
  // Throws StoreError.
  ContainerCore(std::shared_ptr<Environment> environment, std::string file_name,
                const ContainerSwitches& switches);

  const std::string& file_name() const { return file_name_; }
  // The system's path where no environment was given; else empty.
  std::string PrivatePath() const;
  ContainerTables& tables() { return *tables_; }
  StoredDictionary& dictionary() { return *dictionary_; }
  TreeCache& trees() { return trees_; }

  // Runs `change` whole or not at all: inside the transaction given, else in
  // one of its own, again after a deadlock.
  void Change(Transaction* given, const std::function<void(Scope&)>& change);
  // Runs `read` where a TreeError is one of the container, or of `document`.
  void Read(Transaction* given, const std::string& document,
            const std::function<void(Scope&)>& read);

  // Runs `read` with the dictionary, again with a fresh one when it meets a
  // path that another process has added.
  template <class Call>
  auto WithDictionary(const Scope& scope, Call read) {
    try {
      return read(dictionary_->Current());
    } catch (const UnknownPath&) {
      RefreshDictionary(scope);
      return read(dictionary_->Current());
    }
  }
  void RefreshDictionary(const Scope& scope);

  // What the index has of a tree, as coming or going. What it does not have of
  // a coming one becomes a trait of the path.
  void AddIndexChanges(const Scope& scope, DocumentId id, std::string_view tree,
                       bool is_added, IndexChanges& changes);
  void ApplyIndexChanges(const Scope& scope, IndexChanges& changes);
  // Brings the index up to what the transaction has changed.
  void FlushIndex(const Scope& scope);

 private:
  friend class ContainerPart;

  void OpenPrivate();
  void OpenTables(const ContainerSwitches& switches);
  Scope ScopeOf(Transaction* given);
  void Guarded(const std::string& document, const std::function<void()>& call);
  // Held where Berkeley DB does not keep operations apart.
  std::unique_lock<std::recursive_mutex> Lock();

  const std::shared_ptr<Environment> environment_;
  const std::string file_name_;
  // Where no environment was given. The tables end before it.
  std::unique_ptr<DbEnv, void (*)(DbEnv*)> private_;
  DbEnv* handle_ = nullptr;
  bool is_transactional_ = false;
  std::unique_ptr<ContainerTables> tables_;
  std::unique_ptr<StoredDictionary> dictionary_;
  TreeCache trees_{kMostTreeBytes};
  std::recursive_mutex mutex_;
};

// What a transaction has changed in a container and what is in memory only: the
// entries of the index, which are far cheaper many at a time, and the additions
// to the dictionary.
class ContainerPart final : public TransactionPart {
 public:
  explicit ContainerPart(std::shared_ptr<ContainerCore> core)
      : core_(std::move(core)) {}
  ~ContainerPart() override;

  void BeforeCommit(DbTxn* handle) override;
  void Committed() override;

  void Add(DbTxn* handle, const IndexChanges& changes);
  void Flush(DbTxn* handle);
  PendingAdditions& additions() { return additions_; }
  // A change failed behind its beginning.
  void Doom() { is_doomed_ = true; }

 private:
  const std::shared_ptr<ContainerCore> core_;
  PendingAdditions additions_;
  IndexChanges changes_;
  bool is_doomed_ = false;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_CONTAINER_CORE_H_
