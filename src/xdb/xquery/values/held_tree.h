#ifndef XDB_XQUERY_VALUES_HELD_TREE_H_
#define XDB_XQUERY_VALUES_HELD_TREE_H_

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "xdb/xquery/values/counted.h"

namespace kiv::xdb {
class Tree;
}

namespace kiv::xdb::xq {

// A tree as one execution holds it. Trees are shared by threads and never
// change; items count this instead, which is the execution's own, and take the
// document order of nodes of two trees from it.
class HeldTree : public Counted {
 public:
  HeldTree(std::shared_ptr<const Tree> tree, std::uint64_t order)
      : tree_(std::move(tree)), order_(order) {}

  const Tree& tree() const { return *tree_; }
  const std::shared_ptr<const Tree>& shared_tree() const { return tree_; }
  std::uint64_t order() const { return order_; }

 private:
  const std::shared_ptr<const Tree> tree_;
  const std::uint64_t order_;
};

// The text of a text, attribute, comment or processing instruction node, or of
// an element whose first child is its only text; lives as long as the tree.
std::string_view TextInTree(const Tree& tree, std::uint32_t node);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_HELD_TREE_H_
