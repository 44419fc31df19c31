#ifndef XDB_CONTAINER_VALUE_INDEX_H_
#define XDB_CONTAINER_VALUE_INDEX_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/container/index_block.h"
#include "xdb/container/index_key.h"
#include "xdb/container/table.h"

namespace kiv::xdb {

// An entry that comes in or goes out.
struct IndexChange {
  std::string entry;
  bool is_added = true;
};

// Sorts, and leaves the last one for each entry.
void SortChanges(std::vector<IndexChange>& changes);

// The key of the last block, behind every entry: no path begins with it.
inline constexpr std::string_view kLastBlockKey = "\xFF";

// The entries in blocks of some hundred, one record each. The key of a block is
// not before any of its entries and before all of the next block; that of the
// last is behind everything.
class ValueIndex {
 public:
  explicit ValueIndex(Table& table) : table_(table) {}

  // Sorted. What is there already, or is not there to go, is no error.
  void Apply(DbTxn* transaction, const std::vector<IndexChange>& changes);

 private:
  class Change;
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
