#ifndef XDB_XQUERY_COMPILE_NEEDS_H_
#define XDB_XQUERY_COMPILE_NEEDS_H_

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kiv::xdb::xq {

// What the value of an expression depends on besides the documents.
struct Needs {
  // Of the variables that are bound outside of it; ascending.
  std::vector<std::size_t> slots;
  // The context item, its position or the size.
  bool focus = false;
  // Makes nodes, which are others each time, or is noticed outside: it cannot
  // be evaluated at another time or more rarely.
  bool is_tied = false;

  void AddSlot(std::size_t slot) {
    const auto place = std::lower_bound(slots.begin(), slots.end(), slot);
    if (place == slots.end() || *place != slot) slots.insert(place, slot);
  }
  void Add(const Needs& part) {
    for (const std::size_t slot : part.slots) AddSlot(slot);
    focus |= part.focus;
    is_tied |= part.is_tied;
  }
  bool Has(std::size_t slot) const {
    return std::binary_search(slots.begin(), slots.end(), slot);
  }
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_COMPILE_NEEDS_H_
