#include "xdb/container/stored_dictionary.h"

#include <utility>

#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
StoredDictionary::View StoredDictionary::ViewFor(
    const PendingAdditions* mine) const {
  const std::lock_guard lock(mutex_);
  const Counts& counts = CountsFor(mine);
  return {dictionary_, counts.records, counts.names, counts.paths};
}

std::shared_ptr<const Dictionary> StoredDictionary::Current() const {
  const std::lock_guard lock(mutex_);
  return dictionary_;
}

std::uint32_t StoredDictionary::KnownRecords(
    const PendingAdditions* mine) const {
  const std::lock_guard lock(mutex_);
  return CountsFor(mine).records;
}

std::vector<StoredDictionary::Record> StoredDictionary::ReadBehind(
    DbTxn* transaction, std::uint32_t number) {
  std::vector<Record> records;
  Cursor cursor(table_, transaction);
  for (bool found = cursor.Seek(RecordKey(number + 1)); found;
       found = cursor.Next())
    records.push_back(
        {RecordNumber(cursor.key()), std::string(cursor.value())});
  return records;
}

void StoredDictionary::Refresh(DbTxn* transaction,
                               const PendingAdditions* mine) {
  const std::vector<Record> records =
      ReadBehind(transaction, KnownRecords(mine));
  const std::lock_guard lock(mutex_);
  for (const Record& record : records) Take(record, mine);
}

// A record that was read: of this transaction, or committed.
void StoredDictionary::Take(const Record& record,
                            const PendingAdditions* mine) {
  if (record.number <= CountsFor(mine).records) return;
  // What another transaction added is committed by now, or gone.
  if (owner_ != nullptr && owner_ != mine) ForgetPending();
  const bool is_mine = mine != nullptr && mine->first_record != 0 &&
                       record.number >= mine->first_record;
  TakeBytes(record, !is_mine);
  if (is_mine)
    owner_ = mine;
  else
    committed_ = all_;
}

void StoredDictionary::TakeBytes(const Record& record, bool is_committed) {
  if (record.number != all_.records + 1)
    ThrowDamaged("a record of the dictionary is missing");
  AddRecord(record.bytes, is_committed, *dictionary_, all_);
}

// Who reads with the dictionary as it was keeps it.
void StoredDictionary::ForgetPending() {
  auto kept = std::make_shared<Dictionary>();
  for (NameId id = 0; id < committed_.names; ++id) {
    const Name& name = dictionary_->name(id);
    kept->AddName(name.prefix, name.uri, name.local);
  }
  for (PathId id = 1; id < committed_.paths; ++id) {
    const Path& path = dictionary_->path(id);
    kept->AddPath(path.parent, path.kind, path.name);
    kept->AddTraits(id, path.traits);
  }
  dictionary_ = std::move(kept);
  all_ = committed_;
  owner_ = nullptr;
}

// Adds records behind the one that the caller takes for the last. False, and
// what is new is read, when others have added something meanwhile.
bool StoredDictionary::Append(DbTxn* transaction, PendingAdditions* mine,
                              std::uint32_t behind,
                              const std::vector<std::string>& records) {
  std::uint32_t last = 0;
  {
    // Its page is ours until the transaction ends.
    Cursor cursor(table_, transaction);
    if (cursor.Last(DB_RMW)) last = RecordNumber(cursor.key());
  }
  if (last < behind) ThrowDamaged("records of the dictionary are missing");
  bool is_last = last == behind;
  std::uint32_t number = last;
  for (const std::string& record : records)
    is_last =
        is_last && table_.Insert(transaction, RecordKey(++number), record);
  if (!is_last) {
    Refresh(transaction, mine);
    return false;
  }
  const std::lock_guard lock(mutex_);
  if (mine != nullptr && mine->first_record == 0) mine->first_record = last + 1;
  for (const std::string& record : records) Take({++last, record}, mine);
  return true;
}

bool StoredDictionary::Add(DbTxn* transaction, PendingAdditions* mine,
                           const DictionaryAdditions& additions) {
  std::vector<std::string> records;
  for (const Name& name : additions.names) records.push_back(NameRecord(name));
  for (const auto& path : additions.paths) records.push_back(PathRecord(path));
  return Append(transaction, mine, additions.behind_record, records);
}

void StoredDictionary::AddTraits(DbTxn* transaction, PendingAdditions* mine,
                                 PathId path, std::uint8_t traits) {
  const std::string record = TraitRecord(path, traits);
  for (;;) {
    const View view = ViewFor(mine);
    std::uint8_t known = view.dictionary->path(path).traits;
    if (mine != nullptr) {
      const auto own = mine->traits.find(path);
      if (own != mine->traits.end()) known |= own->second;
    }
    if ((known & traits) == traits) return;
    if (!Append(transaction, mine, view.record_count, {record})) continue;
    if (mine != nullptr) mine->traits[path] |= traits;
    return;
  }
}

void StoredDictionary::Committed(const PendingAdditions& mine) {
  const std::lock_guard lock(mutex_);
  // Else somebody has read it all from the table already.
  if (owner_ != &mine) return;
  for (const auto& [path, traits] : mine.traits)
    dictionary_->AddTraits(path, traits);
  committed_ = all_;
  owner_ = nullptr;
}

void StoredDictionary::Dropped(const PendingAdditions& mine) {
  const std::lock_guard lock(mutex_);
  if (owner_ == &mine) ForgetPending();
}

NameId ViewPaths::NameOf(const XmlName& name, bool& is_other_prefix) {
  const Dictionary& known = *view_.dictionary;
  const auto found = known.FindName(name.uri, name.local);
  if (found && *found < view_.name_limit) {
    is_other_prefix = known.name(*found).prefix != name.prefix;
    return *found;
  }
  const auto next =
      view_.name_limit + static_cast<std::uint32_t>(additions_.names.size());
  const auto [added, is_new] = new_names_.try_emplace(
      {std::string(name.uri), std::string(name.local)}, next);
  if (is_new)
    additions_.names.push_back({std::string(name.prefix), std::string(name.uri),
                                std::string(name.local)});
  is_other_prefix =
      additions_.names[added->second - view_.name_limit].prefix != name.prefix;
  return added->second;
}

PathSource::Found ViewPaths::Child(PathId parent, PathKind kind,
                                   const XmlName& name) {
  Found found;
  const NameId id = NameOf(name, found.is_other_prefix);
  if (parent < view_.path_limit && id < view_.name_limit) {
    const auto path = view_.dictionary->FindPath(parent, kind, id);
    if (path && *path < view_.path_limit) {
      found.path = *path;
      return found;
    }
  }
  const auto next =
      view_.path_limit + static_cast<std::uint32_t>(additions_.paths.size());
  const auto [added, is_new] =
      new_paths_.try_emplace({std::uint64_t{parent} << 32 | id, kind}, next);
  if (is_new) additions_.paths.push_back({parent, kind, id});
  found.path = added->second;
  return found;
}

}  // namespace kiv::xdb
