#ifndef XDB_CONTAINER_VALUE_INDEX_H_
#define XDB_CONTAINER_VALUE_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/container/index_block.h"
#include "xdb/container/index_key.h"
#include "xdb/container/table.h"

namespace kiv::xdb {

// Entries that come in or go out, many: their bytes lie one behind the other.
class IndexChanges {
 public:
  struct Change {
    std::string_view entry;
    bool is_added;
  };

  bool IsEmpty() const { return places_.empty(); }
  std::size_t size() const { return places_.size(); }

  void Add(std::string_view entry, bool is_added);
  void Append(const IndexChanges& more);
  void Clear();

  // By entry; of several for one the last remains. Before Append and Add that
  // is undone.
  void Sort();
  Change operator[](std::size_t n) const {
    return {EntryOf(places_[n]), places_[n].is_added != 0};
  }

 private:
  struct Place {
    std::uint64_t beginning;  // of the entry: sorts as its first bytes do
    std::uint32_t offset;
    std::uint32_t size : 31;
    std::uint32_t is_added : 1;
  };

  std::string_view EntryOf(const Place& place) const {
    return std::string_view(bytes_).substr(place.offset, place.size);
  }

  std::string bytes_;
  std::vector<Place> places_;
};

// The key of the last block, behind every entry: no path begins with it.
inline constexpr std::string_view kLastBlockKey = "\xFF";

// The entries in blocks of some hundred, one record each. The key of a block is
// not before any of its entries and before all of the next block; that of the
// last is behind everything.
class ValueIndex {
 public:
  explicit ValueIndex(Table& table) : table_(table) {}

  // Sorted. What is there already, or is not there to go, is no error.
  void Apply(DbTxn* transaction, const IndexChanges& changes);

 private:
  Table& table_;
};

// Entries from one on, in their order. Blocks are read one at a time; a change
// between two is seen or not.
class EntryReader {
 public:
  EntryReader(Table& table, DbTxn* transaction, std::string from);
  // False behind the last. Throws StoreError, and TreeError for damage.
  bool Next();
  std::string_view entry() const { return reader_.entry(); }

 private:
  Cursor cursor_;
  std::string from_;
  BlockReader reader_;
  bool has_block_ = false;
  bool is_inside_ = false;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_VALUE_INDEX_H_
