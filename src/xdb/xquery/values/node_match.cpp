#include <string_view>

#include "xdb/tree/tree.h"
#include "xdb/xquery/values/held_tree.h"
#include "xdb/xquery/values/sequence_type.h"

// What the values ask of a tree; all else about nodes lies above them.
namespace kiv::xdb::xq {
namespace {

// No schema has been at work: elements are untyped, attributes untyped atomic
// values.
bool HasAnnotation(Type own, Type asked) {
  return asked == Type::None || DerivesFrom(own, asked);
}

bool HasName(const Tree& tree, NodeId node, const ItemType& type) {
  if (!type.name) return true;
  const Name& name = tree.name(node);
  return name.local == type.name->local && name.uri == type.name->uri;
}

bool MatchesNode(const Tree& tree, NodeId node, const ItemType& type);

// One element, comments and instructions, and no text.
bool HasRoot(const Tree& tree, const ItemType& type) {
  const NodeId end = tree.End(0);
  bool has_element = false;
  for (NodeId child = tree.FirstChild(0); child < end;
       child = tree.End(child)) {
    const NodeKind kind = tree.kind(child);
    if (kind == NodeKind::Text) return false;
    if (kind != NodeKind::Element) continue;
    if (has_element || !MatchesNode(tree, child, type)) return false;
    has_element = true;
  }
  return has_element;
}

bool MatchesNode(const Tree& tree, NodeId node, const ItemType& type) {
  const NodeKind kind = tree.kind(node);
  switch (type.kind) {
    case ItemKind::Item:
    case ItemKind::Node:
      return true;
    case ItemKind::Document:
      return kind == NodeKind::Document &&
             (!type.root || HasRoot(tree, *type.root));
    case ItemKind::Element:
      return kind == NodeKind::Element && HasName(tree, node, type) &&
             HasAnnotation(Type::Untyped, type.type);
    case ItemKind::Attribute:
      return kind == NodeKind::Attribute && HasName(tree, node, type) &&
             HasAnnotation(Type::UntypedAtomic, type.type);
    case ItemKind::Text:
      return kind == NodeKind::Text;
    case ItemKind::Comment:
      return kind == NodeKind::Comment;
    case ItemKind::ProcessingInstruction:
      return kind == NodeKind::Instruction &&
             (!type.name || tree.target(node) == type.name->local);
    case ItemKind::Atomic:
      return false;
  }
  return false;
}

}  // namespace

bool Matches(const Item& item, const ItemType& type) {
  if (item.IsNode()) return MatchesNode(item.tree(), item.node(), type);
  return type.kind == ItemKind::Item ||
         (type.kind == ItemKind::Atomic && DerivesFrom(item.type(), type.type));
}

std::string_view TextInTree(const Tree& tree, std::uint32_t node) {
  if (tree.kind(node) == NodeKind::Element)
    return tree.value(tree.FirstChild(node));
  return tree.value(node);
}

}  // namespace kiv::xdb::xq
