#ifndef XDB_TREE_NAME_LISTS_H_
#define XDB_TREE_NAME_LISTS_H_

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace kiv::xdb {

struct Node;

// The elements of a tree by their names, each list in document order: what
// "//name" looks for in a large tree without looking at all nodes.
class NameLists {
 public:
  explicit NameLists(std::span<const Node> nodes);

  // By the word of an element.
  std::span<const std::uint32_t> Find(std::uint32_t word) const;

 private:
  struct List {
    std::uint32_t begin = 0;
    std::uint32_t size = 0;
  };

  std::unordered_map<std::uint32_t, List> lists_;
  std::vector<std::uint32_t> nodes_;  // list behind list
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_NAME_LISTS_H_
