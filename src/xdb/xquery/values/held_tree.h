#ifndef XDB_XQUERY_VALUES_HELD_TREE_H_
#define XDB_XQUERY_VALUES_HELD_TREE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/xquery/values/counted.h"

namespace kiv::xdb {
class Tree;
}

namespace kiv::xdb::xq {

// Where a tree comes from. Both are empty for what is not known.
struct TreeOrigin {
  virtual ~TreeOrigin() = default;

  std::string document_uri;
  std::string base_uri;
  // Documents of one collection stand in the order of their names, whichever
  // was met first. Empty: a tree stands where it was met.
  std::string collection;
  std::string name;
  // Attributes that are IDs by a declaration, and those that refer to them;
  // ascending.
  std::vector<std::uint32_t> ids;
  std::vector<std::uint32_t> id_references;
};

// A tree as one execution holds it. Trees are shared by threads and never
// change; items count this instead, which is the execution's own, and take the
// document order of nodes of two trees from it.
class HeldTree : public Counted {
 public:
  // `bytes`: what the tree takes, where it is this execution's alone.
  HeldTree(std::shared_ptr<const Tree> tree, std::uint64_t order,
           std::shared_ptr<const TreeOrigin> origin = nullptr,
           std::size_t bytes = 0)
      : tree_(std::move(tree)), origin_(std::move(origin)), order_(order) {
    Charge(bytes);
  }

  const Tree& tree() const { return *tree_; }
  const std::shared_ptr<const Tree>& shared_tree() const { return tree_; }
  std::uint64_t order() const { return order_; }
  // Null: nothing is known.
  const std::shared_ptr<const TreeOrigin>& origin() const { return origin_; }

 private:
  const std::shared_ptr<const Tree> tree_;
  const std::shared_ptr<const TreeOrigin> origin_;
  const std::uint64_t order_;
};

// The text of a text, attribute, comment or processing instruction node, or of
// an element whose first child is its only text; lives as long as the tree.
std::string_view TextInTree(const Tree& tree, std::uint32_t node);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_HELD_TREE_H_
