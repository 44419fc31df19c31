#include "xdb/xquery/run/nodes.h"

#include <algorithm>

#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/compare.h"
#include "xdb/xquery/values/stack_guard.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::string_view kXmlNamespace =
    "http://www.w3.org/XML/1998/namespace";

// The only text in an element, with nothing beside it.
bool IsLeaf(const Tree& tree, NodeId element) {
  const NodeId child = tree.FirstChild(element);
  return child + 1 == tree.End(element) && tree.kind(child) == NodeKind::Text;
}

bool HasOwnText(const Tree& tree, NodeId node) {
  const NodeKind kind = tree.kind(node);
  if (kind == NodeKind::Document) return false;
  return kind != NodeKind::Element || IsLeaf(tree, node);
}

std::optional<std::string> XmlBase(const Tree& tree, NodeId element) {
  for (NodeId i = element + 1; i != tree.FirstChild(element); ++i) {
    if (tree.kind(i) == NodeKind::Attribute && tree.name(i).local == "base" &&
        tree.name(i).uri == kXmlNamespace) {
      return std::string(tree.value(i));
    }
  }
  return std::nullopt;
}

bool HaveEqualAttributes(const Tree& left, NodeId left_node, const Tree& right,
                         NodeId right_node) {
  const auto count = [](const Tree& tree, NodeId node) {
    const NodeId end = tree.FirstChild(node);
    std::size_t attributes = 0;
    for (NodeId i = node + 1; i != end; ++i)
      attributes += tree.kind(i) == NodeKind::Attribute;
    return attributes;
  };
  if (count(left, left_node) != count(right, right_node)) return false;
  const NodeId left_end = left.FirstChild(left_node);
  const NodeId right_end = right.FirstChild(right_node);
  for (NodeId i = left_node + 1; i != left_end; ++i) {
    if (left.kind(i) != NodeKind::Attribute) continue;
    bool is_found = false;
    for (NodeId j = right_node + 1; j != right_end && !is_found; ++j) {
      is_found = right.kind(j) == NodeKind::Attribute &&
                 left.name(i).local == right.name(j).local &&
                 left.name(i).uri == right.name(j).uri &&
                 left.value(i) == right.value(j);
    }
    if (!is_found) return false;
  }
  return true;
}

bool AreEqualNodes(const Tree& left, NodeId left_node, const Tree& right,
                   NodeId right_node);

// Comments and instructions do not count.
NodeId SkipUncounted(const Tree& tree, NodeId node, NodeId end) {
  while (node != end && (tree.kind(node) == NodeKind::Comment ||
                         tree.kind(node) == NodeKind::Instruction))
    ++node;
  return node;
}

bool HaveEqualChildren(const Tree& left, NodeId left_node, const Tree& right,
                       NodeId right_node) {
  const NodeId left_end = left.End(left_node);
  const NodeId right_end = right.End(right_node);
  NodeId i = SkipUncounted(left, left.FirstChild(left_node), left_end);
  NodeId j = SkipUncounted(right, right.FirstChild(right_node), right_end);
  while (i != left_end && j != right_end) {
    if (!AreEqualNodes(left, i, right, j)) return false;
    i = SkipUncounted(left, left.End(i), left_end);
    j = SkipUncounted(right, right.End(j), right_end);
  }
  return i == left_end && j == right_end;
}

bool AreEqualNodes(const Tree& left, NodeId left_node, const Tree& right,
                   NodeId right_node) {
  RequireStack();
  const NodeKind kind = left.kind(left_node);
  if (kind != right.kind(right_node)) return false;
  switch (kind) {
    case NodeKind::Document:
      return HaveEqualChildren(left, left_node, right, right_node);
    case NodeKind::Element:
    case NodeKind::Attribute:
      if (left.name(left_node).local != right.name(right_node).local ||
          left.name(left_node).uri != right.name(right_node).uri) {
        return false;
      }
      if (kind == NodeKind::Attribute)
        return left.value(left_node) == right.value(right_node);
      return HaveEqualAttributes(left, left_node, right, right_node) &&
             HaveEqualChildren(left, left_node, right, right_node);
    default:
      return left.target(left_node) == right.target(right_node) &&
             left.value(left_node) == right.value(right_node);
  }
}

}  // namespace

std::string StringOfNode(const Item& node) {
  return node.tree().StringValue(node.node());
}

Item StringOfItem(const Item& item) {
  if (!item.IsNode()) return StringOf(item);
  if (HasOwnText(item.tree(), item.node()))
    return Item::OfTreeText(item.held_tree(), item.node(), Type::String);
  return Item::OfText(StringOfNode(item));
}

Item Atomized(const Item& item) {
  if (!item.IsNode()) return item;
  const NodeKind kind = item.tree().kind(item.node());
  const Type type = kind == NodeKind::Comment || kind == NodeKind::Instruction
                        ? Type::String
                        : Type::UntypedAtomic;
  if (HasOwnText(item.tree(), item.node()))
    return Item::OfTreeText(item.held_tree(), item.node(), type);
  return Item::OfText(StringOfNode(item), type);
}

std::optional<QName> NameOfNode(const Item& node) {
  const Tree& tree = node.tree();
  switch (tree.kind(node.node())) {
    case NodeKind::Element:
    case NodeKind::Attribute: {
      const Name& name = tree.name(node.node());
      return QName{std::string(tree.prefix(node.node())), name.uri, name.local};
    }
    case NodeKind::Instruction:
      return QName{"", "", std::string(tree.target(node.node()))};
    default:
      return std::nullopt;
  }
}

Item ParentOf(const Item& node) {
  if (node.node() == 0) return {};
  return Item::OfNode(node.held_tree(), node.tree()[node.node()].parent);
}

Item RootOfNode(const Item& node) { return Item::OfNode(node.held_tree(), 0); }

Namespaces NamespacesOf(const Tree& tree, NodeId element) {
  Namespaces found;
  for (NodeId node = element;; node = tree[node].parent) {
    if (tree.kind(node) == NodeKind::Element) {
      for (NodeId i = node + 1;
           i != tree.End(node) && tree.kind(i) == NodeKind::Namespace; ++i) {
        found.emplace(tree.target(i), tree.value(i));
      }
    }
    if (node == 0) break;
  }
  std::erase_if(found, [](const auto& entry) {
    return entry.second.empty() || entry.first == "xml";
  });
  return found;
}

std::optional<std::string> BaseUriOf(const Item& node) {
  const Tree& tree = node.tree();
  const auto& origin = node.held_tree()->origin();
  NodeId at = node.node();
  const NodeKind kind = tree.kind(at);
  if (kind != NodeKind::Element && kind != NodeKind::Document) {
    if (at == 0) {
      if (kind != NodeKind::Instruction && kind != NodeKind::Comment &&
          kind != NodeKind::Text) {
        return std::nullopt;
      }
      return std::nullopt;
    }
    at = tree[at].parent;
  }
  std::vector<std::string> relative;
  for (;; at = tree[at].parent) {
    if (tree.kind(at) == NodeKind::Element)
      if (auto base = XmlBase(tree, at)) relative.push_back(*base);
    if (at == 0) break;
  }
  std::string base = origin ? origin->base_uri : "";
  for (; !relative.empty(); relative.pop_back())
    base = ResolveReference(relative.back(), base).value_or(relative.back());
  if (base.empty()) return std::nullopt;
  return base;
}

void SortNodes(Sequence& nodes) {
  const auto is_before = [](const Item& left, const Item& right) {
    return CompareOrder(left, right) < 0;
  };
  if (!std::is_sorted(nodes.begin(), nodes.end(), is_before))
    std::sort(nodes.begin(), nodes.end(), is_before);
  nodes.erase(std::unique(nodes.begin(), nodes.end(), IsSameNode), nodes.end());
}

bool IsDeepEqual(const Item& left, const Item& right, int zone) {
  if (left.IsNode() != right.IsNode()) return false;
  if (!left.IsNode()) return IsSameKey(left, right, zone);
  return AreEqualNodes(left.tree(), left.node(), right.tree(), right.node());
}

}  // namespace kiv::xdb::xq
