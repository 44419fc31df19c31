#ifndef XDB_XQUERY_RUN_NODES_H_
#define XDB_XQUERY_RUN_NODES_H_

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "xdb/tree/tree.h"
#include "xdb/xquery/values/item.h"

// What the data model says of nodes.
namespace kiv::xdb::xq {

class Execution;

inline constexpr std::string_view kXmlNamespace =
    "http://www.w3.org/XML/1998/namespace";
inline constexpr std::string_view kXmlnsNamespace =
    "http://www.w3.org/2000/xmlns/";

// Prefix to URI; the empty prefix is the default namespace.
using Namespaces = std::map<std::string, std::string, std::less<>>;

std::string StringOfNode(const Item& node);
// fn:string of any item, as xs:string.
Item StringOfItem(const Item& item);
// The typed value of a node, an atomic value as it is.
Item Atomized(const Item& item);

// None where the node has none.
std::optional<QName> NameOfNode(const Item& node);
Item RootOfNode(const Item& node);
// The namespaces in scope of an element, xml left out.
Namespaces NamespacesOf(const Tree& tree, NodeId element);
std::optional<std::string> BaseUriOf(const Item& node);

// Of two trees.
inline int CompareTrees(const HeldTree& left, const HeldTree& right) {
  if (left.order() != right.order())
    return left.order() < right.order() ? -1 : 1;
  const int order = left.origin()->name.compare(right.origin()->name);
  // Two states of a document.
  return order != 0 ? order : std::less<>()(&left, &right) ? -1 : 1;
}

// Below 0, 0, above 0: in document order.
inline int CompareOrder(const Item& left, const Item& right) {
  if (left.held_tree() != right.held_tree())
    return CompareTrees(*left.held_tree(), *right.held_tree());
  return left.node() < right.node() ? -1 : left.node() > right.node() ? 1 : 0;
}
inline bool IsSameNode(const Item& left, const Item& right) {
  return left.held_tree() == right.held_tree() && left.node() == right.node();
}
// In document order, none twice.
void SortNodes(Execution& run, Sequence& nodes);

bool IsDeepEqual(Execution& run, const Item& left, const Item& right);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_NODES_H_
