#include "xdb/container/value_index.h"

#include <algorithm>
#include <string_view>

#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

// A record of more than a quarter of a page would get pages of its own.
constexpr std::size_t kMostBlockBytes = 1900;
// What a full block is cut into, so that the next entries find room.
constexpr std::size_t kCutBlockBytes = 1200;

// The shortest key that is not before `left` but before `right`.
std::string KeyBetween(const std::string& left, std::string_view right) {
  std::size_t shared = 0;
  while (shared < left.size() && left[shared] == right[shared]) ++shared;
  if (shared + 1 < right.size())
    return std::string(right.substr(0, shared + 1));
  return left;
}

struct Block {
  std::string key;  // empty in the last of a row: that of the record
  std::string bytes;
};

std::vector<Block> Cut(std::string bytes) {
  std::vector<Block> blocks;
  if (bytes.size() > kMostBlockBytes) {
    BlockReader reader(bytes);
    BlockWriter writer;
    while (reader.Next()) {
      if (writer.size() + reader.entry().size() + 4 > kCutBlockBytes) {
        blocks.push_back(
            {KeyBetween(writer.last(), reader.entry()), writer.bytes()});
        writer.Clear();
      }
      writer.Add(reader.entry());
    }
    bytes = writer.bytes();
  }
  if (!bytes.empty()) blocks.push_back({{}, std::move(bytes)});
  return blocks;
}

// In the place of the block where the cursor is.
void Write(Cursor& cursor, bool has_block, const std::string& key,
           const std::vector<Block>& blocks) {
  if (blocks.empty()) {
    if (has_block) cursor.Erase();
    return;
  }
  if (has_block)
    cursor.Overwrite(blocks.back().bytes);
  else
    cursor.Insert(key, blocks.back().bytes);
  for (std::size_t i = 0; i + 1 < blocks.size(); ++i)
    cursor.Insert(blocks[i].key, blocks[i].bytes);
}

std::uint64_t BeginningOf(std::string_view entry) {
  std::uint64_t beginning = 0;
  for (std::size_t i = 0; i < 8; ++i)
    beginning = beginning << 8 |
                (i < entry.size() ? static_cast<unsigned char>(entry[i]) : 0U);
  return beginning;
}

}  // namespace

void IndexChanges::Add(std::string_view entry, bool is_added) {
  if (bytes_.size() + entry.size() > UINT32_MAX)
    throw StoreError(Failure::OutOfSpace,
                     "too many values for one change of the index");
  places_.push_back({BeginningOf(entry),
                     static_cast<std::uint32_t>(bytes_.size()),
                     static_cast<std::uint32_t>(entry.size()) & 0x7FFFFFFFU,
                     is_added ? 1U : 0U});
  bytes_ += entry;
}

void IndexChanges::Append(const IndexChanges& more) {
  for (std::size_t n = 0; n < more.size(); ++n)
    Add(more[n].entry, more[n].is_added);
}

void IndexChanges::Clear() {
  bytes_.clear();
  places_.clear();
}

void IndexChanges::Sort() {
  // Equal ones in the order in which they came.
  std::sort(places_.begin(), places_.end(),
            [this](const Place& a, const Place& b) {
              if (a.beginning != b.beginning) return a.beginning < b.beginning;
              const int order = EntryOf(a).compare(EntryOf(b));
              return order != 0 ? order < 0 : a.offset < b.offset;
            });
  auto out = places_.begin();
  for (auto at = places_.begin(); at != places_.end(); ++at) {
    const auto next = at + 1;
    if (next != places_.end() && next->beginning == at->beginning &&
        EntryOf(*next) == EntryOf(*at))
      continue;
    *out++ = *at;
  }
  places_.erase(out, places_.end());
}

void ValueIndex::Apply(DbTxn* transaction, const IndexChanges& changes) {
  if (changes.IsEmpty()) return;
  Cursor cursor(table_, transaction);
  std::string key;
  for (std::size_t begin = 0; begin != changes.size();) {
    const bool has_block = cursor.Seek(changes[begin].entry, DB_RMW);
    key = has_block ? cursor.key() : kLastBlockKey;
    std::size_t end = begin;
    while (end != changes.size() && changes[end].entry <= key) ++end;
    const std::string_view bytes = has_block ? cursor.value() : "";
    BlockEditor editor(bytes);
    bool is_changed = false;
    for (; begin != end; ++begin) {
      const auto& [entry, is_added] = changes[begin];
      is_changed |= is_added ? editor.Insert(entry) : editor.Remove(entry);
    }
    if (is_changed) Write(cursor, has_block, key, Cut(editor.Finish()));
  }
}

EntryReader::EntryReader(Table& table, DbTxn* transaction, std::string from)
    : cursor_(table, transaction), from_(std::move(from)) {}

bool EntryReader::Next() {
  for (;;) {
    if (is_inside_ && reader_.Next()) {
      // The first block may begin before what was asked for.
      if (!from_.empty() && reader_.entry() < from_) continue;
      from_.clear();
      return true;
    }
    if (has_block_ ? !cursor_.Next() : !cursor_.Seek(from_)) return false;
    has_block_ = true;
    is_inside_ = true;
    // The cursor's own bytes change with its next step only.
    reader_ = BlockReader(cursor_.value());
  }
}

}  // namespace kiv::xdb
