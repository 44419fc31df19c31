#include "xdb/xquery/run/nodes.h"

#include <algorithm>

#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/compare.h"
#include "xdb/xquery/values/stack_guard.h"

namespace kiv::xdb::xq {
namespace {

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

// Comments and instructions do not count.
NodeId SkipUncounted(const Tree& tree, NodeId node, NodeId end) {
  while (node != end && (tree.kind(node) == NodeKind::Comment ||
                         tree.kind(node) == NodeKind::Instruction))
    ++node;
  return node;
}

// Whether nodes of two trees are deep-equal.
class NodeComparison {
 public:
  NodeComparison(Execution& run, const Tree& left, const Tree& right)
      : run_(run), left_(left), right_(right) {}

  bool AreEqual(NodeId left, NodeId right) {
    RequireStack();
    run_.Tick();
    const NodeKind kind = left_.kind(left);
    if (kind != right_.kind(right)) return false;
    switch (kind) {
      case NodeKind::Document:
        return HaveEqualChildren(left, right);
      case NodeKind::Element:
        return HaveEqualNames(left, right) &&
               HaveEqualAttributes(left, right) &&
               HaveEqualChildren(left, right);
      case NodeKind::Attribute:
        return HaveEqualNames(left, right) &&
               left_.value(left) == right_.value(right);
      default:
        return left_.target(left) == right_.target(right) &&
               left_.value(left) == right_.value(right);
    }
  }

 private:
  bool HaveEqualNames(NodeId left, NodeId right) const {
    return left_.name(left).local == right_.name(right).local &&
           left_.name(left).uri == right_.name(right).uri;
  }

  static std::size_t CountAttributes(const Tree& tree, NodeId element) {
    const NodeId end = tree.FirstChild(element);
    std::size_t count = 0;
    for (NodeId i = element + 1; i != end; ++i)
      count += tree.kind(i) == NodeKind::Attribute;
    return count;
  }

  bool HaveEqualAttributes(NodeId left, NodeId right) {
    if (CountAttributes(left_, left) != CountAttributes(right_, right))
      return false;
    const NodeId left_end = left_.FirstChild(left);
    const NodeId right_end = right_.FirstChild(right);
    for (NodeId i = left + 1; i != left_end; ++i) {
      if (left_.kind(i) != NodeKind::Attribute) continue;
      bool is_found = false;
      for (NodeId j = right + 1; j != right_end && !is_found; ++j) {
        run_.Tick();
        is_found = right_.kind(j) == NodeKind::Attribute &&
                   HaveEqualNames(i, j) && left_.value(i) == right_.value(j);
      }
      if (!is_found) return false;
    }
    return true;
  }

  bool HaveEqualChildren(NodeId left, NodeId right) {
    const NodeId left_end = left_.End(left);
    const NodeId right_end = right_.End(right);
    NodeId i = SkipUncounted(left_, left_.FirstChild(left), left_end);
    NodeId j = SkipUncounted(right_, right_.FirstChild(right), right_end);
    while (i != left_end && j != right_end) {
      if (!AreEqual(i, j)) return false;
      i = SkipUncounted(left_, left_.End(i), left_end);
      j = SkipUncounted(right_, right_.End(j), right_end);
    }
    return i == left_end && j == right_end;
  }

  Execution& run_;
  const Tree& left_;
  const Tree& right_;
};

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

void SortNodes(Execution& run, Sequence& nodes) {
  const auto is_before = [&run](const Item& left, const Item& right) {
    run.Tick();
    return CompareOrder(left, right) < 0;
  };
  if (!std::is_sorted(nodes.begin(), nodes.end(), is_before))
    std::sort(nodes.begin(), nodes.end(), is_before);
  nodes.erase(std::unique(nodes.begin(), nodes.end(), IsSameNode), nodes.end());
}

bool IsDeepEqual(Execution& run, const Item& left, const Item& right) {
  if (left.IsNode() != right.IsNode()) return false;
  if (!left.IsNode()) return IsSameKey(left, right, run.zone());
  return NodeComparison(run, left.tree(), right.tree())
      .AreEqual(left.node(), right.node());
}

}  // namespace kiv::xdb::xq
