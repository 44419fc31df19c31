#ifndef XDB_CONTAINER_STORED_DICTIONARY_H_
#define XDB_CONTAINER_STORED_DICTIONARY_H_

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "xdb/container/dictionary_records.h"
#include "xdb/container/table.h"
#include "xdb/tree/dictionary.h"
#include "xdb/tree/tree_builder.h"

namespace kiv::xdb {

// What a transaction has added to a dictionary; nobody else may use it before
// it is committed.
struct PendingAdditions {
  std::uint32_t first_record = 0;  // 0: none
  std::unordered_map<PathId, std::uint8_t> traits;
};

// The dictionary of a container: a table to which records are added, whose
// order gives names and paths their ids, and a copy in memory. The copy may lag
// behind the table, into which other processes write too, and may be ahead of
// what is committed, by what one transaction added: only one at a time can,
// since the end of the table stays locked for it.
//
// Additions belong to the transaction that needs them. In one of their own they
// would wait for pages that the outer one holds, for ever and unseen: it is not
// waiting itself.
class StoredDictionary {
 public:
  explicit StoredDictionary(Table& table) : table_(table) {}

  // What a builder may use: everything below the limits.
  struct View {
    std::shared_ptr<const Dictionary> dictionary;
    std::uint32_t record_count = 0;
    std::uint32_t name_limit = 0;
    std::uint32_t path_limit = 0;
  };
  View ViewFor(const PendingAdditions* mine) const;
  // For reading: never lacks what a document needs that was stored by this
  // process.
  std::shared_ptr<const Dictionary> Current() const;

  // Reads what was added meanwhile. `mine` is null outside of transactions.
  void Refresh(DbTxn* transaction, const PendingAdditions* mine);

  // False when others have added something since the ids were given; the
  // additions are then to be made anew. Changes nothing in that case.
  bool Add(DbTxn* transaction, PendingAdditions* mine,
           const DictionaryAdditions& additions);
  void AddTraits(DbTxn* transaction, PendingAdditions* mine, PathId path,
                 std::uint8_t traits);

  void Committed(const PendingAdditions& mine);
  void Dropped(const PendingAdditions& mine);

 private:
  struct Record {
    std::uint32_t number = 0;
    std::string bytes;
  };
  using Counts = DictionaryCounts;

  std::vector<Record> ReadBehind(DbTxn* transaction, std::uint32_t number);
  bool Append(DbTxn* transaction, PendingAdditions* mine, std::uint32_t behind,
              const std::vector<std::string>& records);
  std::uint32_t KnownRecords(const PendingAdditions* mine) const;
  // These with the mutex.
  const Counts& CountsFor(const PendingAdditions* mine) const {
    return owner_ != nullptr && owner_ == mine ? all_ : committed_;
  }
  void Take(const Record& record, const PendingAdditions* mine);
  void TakeBytes(const Record& record, bool is_committed);
  void ForgetPending();

  Table& table_;
  mutable std::mutex mutex_;
  std::shared_ptr<Dictionary> dictionary_ = std::make_shared<Dictionary>();
  Counts committed_;
  Counts all_;
  // Whose the difference is; null when there is none.
  const PendingAdditions* owner_ = nullptr;
};

// The paths of a view; what it lacks becomes an addition.
class ViewPaths final : public PathSource {
 public:
  explicit ViewPaths(StoredDictionary::View view) : view_(std::move(view)) {
    additions_.behind_record = view_.record_count;
    additions_.first_name = view_.name_limit;
    additions_.first_path = view_.path_limit;
  }
  Found Child(PathId parent, PathKind kind, const XmlName& name) override;
  const DictionaryAdditions& additions() const { return additions_; }

 private:
  NameId NameOf(const XmlName& name, bool& is_other_prefix);

  const StoredDictionary::View view_;
  DictionaryAdditions additions_;
  std::map<std::pair<std::string, std::string>, NameId> new_names_;
  std::map<std::pair<std::uint64_t, PathKind>, PathId> new_paths_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_STORED_DICTIONARY_H_
