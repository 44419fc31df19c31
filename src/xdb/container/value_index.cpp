#include "xdb/container/value_index.h"

#include <algorithm>
#include <string_view>

#include "xdb/container/environment_access.h"

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

// The entries of one record with the changes that fall on it.
class BlockMerge {
 public:
  void Add(std::string_view entry) {
    if (writer_.size() + entry.size() + 4 > room_) {
      blocks_.push_back({KeyBetween(writer_.last(), entry), writer_.bytes()});
      writer_.Clear();
    }
    writer_.Add(entry);
  }
  std::vector<Block> Take() {
    if (writer_.size() > 0) blocks_.push_back({{}, writer_.bytes()});
    return std::move(blocks_);
  }
  explicit BlockMerge(std::size_t room) : room_(room) {}

 private:
  const std::size_t room_;
  BlockWriter writer_;
  std::vector<Block> blocks_;
};

using ChangeIterator = std::vector<IndexChange>::const_iterator;

// Whether anything changes.
bool Merge(std::string_view block, ChangeIterator begin, ChangeIterator end,
           BlockMerge& merge) {
  bool is_changed = false;
  BlockReader reader(block);
  bool has_entry = reader.Next();
  for (ChangeIterator change = begin; has_entry || change != end;) {
    const int order = !has_entry      ? 1
                      : change == end ? -1
                                      : reader.entry().compare(change->entry);
    if (order < 0) {
      merge.Add(reader.entry());
      has_entry = reader.Next();
      continue;
    }
    if (change->is_added) merge.Add(change->entry);
    is_changed |= change->is_added != (order == 0);
    if (order == 0) has_entry = reader.Next();
    ++change;
  }
  return is_changed;
}

}  // namespace

void SortChanges(std::vector<IndexChange>& changes) {
  std::stable_sort(changes.begin(), changes.end(),
                   [](const IndexChange& a, const IndexChange& b) {
                     return a.entry < b.entry;
                   });
  // The last of equal ones.
  auto out = changes.begin();
  for (auto at = changes.begin(); at != changes.end(); ++at) {
    if (at + 1 != changes.end() && (at + 1)->entry == at->entry) continue;
    if (out != at) *out = std::move(*at);
    ++out;
  }
  changes.erase(out, changes.end());
}

void ValueIndex::Apply(DbTxn* transaction,
                       const std::vector<IndexChange>& changes) {
  if (changes.empty()) return;
  Cursor cursor(table_, transaction);
  std::string key;
  for (auto begin = changes.begin(); begin != changes.end();) {
    const bool has_block = cursor.Seek(begin->entry, DB_RMW);
    key = has_block ? cursor.key() : kLastBlockKey;
    auto end = begin;
    while (end != changes.end() && end->entry <= key) ++end;
    const std::string_view bytes = has_block ? cursor.value() : "";
    BlockMerge merge(kMostBlockBytes);
    if (Merge(bytes, begin, end, merge)) {
      std::vector<Block> blocks = merge.Take();
      if (blocks.size() > 1) {
        BlockMerge cut(kCutBlockBytes);
        Merge(bytes, begin, end, cut);
        blocks = cut.Take();
      }
      if (blocks.empty()) {
        if (has_block) cursor.Erase();
      } else if (has_block) {
        cursor.Overwrite(blocks.back().bytes);
      } else {
        cursor.Insert(key, blocks.back().bytes);
      }
      for (std::size_t i = 0; i + 1 < blocks.size(); ++i)
        cursor.Insert(blocks[i].key, blocks[i].bytes);
    }
    begin = end;
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
