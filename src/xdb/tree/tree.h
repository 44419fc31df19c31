#ifndef XDB_TREE_TREE_H_
#define XDB_TREE_TREE_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/tree/dictionary.h"
#include "xdb/tree/name_lists.h"
#include "xdb/tree/stored_tree.h"

namespace kiv::xdb {

// A node's number in its tree: nodes stand in document order, the root is 0, a
// document unless the tree was assembled of something else, and behind an
// element come its namespace declarations, its attributes, its children.
using NodeId = std::uint32_t;

enum class NodeKind : std::uint8_t {
  Document,
  Element,
  Attribute,
  Namespace,  // a declaration
  Text,       // adjacent text and CDATA sections as one
  Comment,
  Instruction,
};

struct Node {
  std::uint32_t word;  // the kind in the lowest 4 bits, then the name
  std::uint32_t size;  // nodes of the subtree, this one included
  NodeId parent;
  // An element's path; of the others, where the value is stored.
  std::uint32_t place;

  NodeKind kind() const { return static_cast<NodeKind>(word & 15U); }
  NameId name() const { return word >> 4; }  // of elements and attributes
};
static_assert(sizeof(Node) == 16);

// A document to walk through, made of its stored form in one pass; values stay
// where they are stored.
//
// Threads: any number.
class Tree {
 public:
  // Decodes `bytes`, which `keeper` keeps alive. Throws TreeError for what the
  // builder never makes, and UnknownPath for paths that the dictionary lacks.
  Tree(std::shared_ptr<const Dictionary> dictionary,
       std::shared_ptr<const void> keeper, std::string_view bytes);
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  const Dictionary& dictionary() const { return *dictionary_; }
  const TreeHead& head() const { return head_; }
  // The stored form, for TreeText.
  std::string_view bytes() const { return bytes_; }

  std::uint32_t node_count() const {
    return static_cast<std::uint32_t>(nodes_.size());
  }
  const Node* nodes() const { return nodes_.data(); }
  const Node& operator[](NodeId node) const { return nodes_[node]; }
  NodeKind kind(NodeId node) const { return nodes_[node].kind(); }
  // The node behind the subtree.
  NodeId End(NodeId node) const { return node + nodes_[node].size; }
  // The first node in an element that is no declaration and no attribute;
  // End(node) when there is none.
  NodeId FirstChild(NodeId node) const;

  // Of an element or attribute.
  PathId path(NodeId node) const;
  const Name& name(NodeId node) const {
    return dictionary_->name(nodes_[node].name());
  }
  // As written, which may be another than the name's.
  std::string_view prefix(NodeId node) const;

  // Text, comment, attribute; content of an instruction; URI of a declaration.
  std::string_view value(NodeId node) const;
  // Of an instruction; the declared prefix of a declaration.
  std::string_view target(NodeId node) const;
  // The value, or all text in an element or the document.
  std::string StringValue(NodeId node) const;

  // Of a tree of so many nodes; the lists are made when first asked for.
  static constexpr std::uint32_t kNodesForLists = 4096;
  std::span<const NodeId> ElementsNamed(NameId name) const;

  // Bytes of memory, roughly, the lists included.
  std::size_t MemoryBytes() const;

 private:
  friend class TreeDecoder;
  friend class TreeAssembler;

  explicit Tree(std::shared_ptr<const Dictionary> dictionary)
      : dictionary_(std::move(dictionary)) {}

  std::shared_ptr<const Dictionary> dictionary_;
  std::shared_ptr<const void> keeper_;
  std::string_view bytes_;
  TreeHead head_;
  std::vector<Node> nodes_;
  // Texts that are not stored in one piece.
  std::vector<std::string> joined_;
  // Ascending by node.
  std::vector<std::pair<NodeId, std::string_view>> prefixes_;
  mutable std::once_flag has_lists_;
  mutable std::unique_ptr<const NameLists> lists_;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TREE_H_
