#ifndef XDB_XQUERY_RUN_AXES_H_
#define XDB_XQUERY_RUN_AXES_H_

#include <memory>
#include <span>

#include "xdb/tree/tree.h"
#include "xdb/xquery/run/plan.h"
#include "xdb/xquery/syntax/ast.h"

namespace kiv::xdb::xq {

// A node test with its names resolved.
struct NodeMatch {
  enum class Kind { Any, Name, Uri, Local, Type } kind = Kind::Any;
  // Name, Uri, Local: the axis's principal kind.
  NodeKind principal = NodeKind::Element;
  QName name;
  std::size_t slot = 0;  // Name: of Execution::NameIn
  ItemType type;         // Type
};

bool IsReverse(ast::Axis axis);

// The nodes of an axis that pass the test, in the order of the axis.
class AxisCursor {
 public:
  AxisCursor(Execution& run, ast::Axis axis, const NodeMatch& match,
             const Item& origin);
  bool Next(Item& item);

 private:
  bool NextNamed(Item& item);
  void TakeList(NameId name);
  bool Step(NodeId& node);
  bool StepForward(NodeId& node);
  bool StepBack(NodeId& node);
  bool StepUp(NodeId& node);
  void SetBounds();
  bool Passes(NodeId node) const;
  bool IsContent(NodeId node) const {
    const NodeKind kind = tree_.kind(node);
    return kind != NodeKind::Attribute && kind != NodeKind::Namespace;
  }

  Execution& run_;
  const ast::Axis axis_;
  const NodeMatch& match_;
  const Item origin_;
  const Tree& tree_;
  bool never_ = false;
  std::uint32_t word_ = 0;  // of the nodes wanted, Kind::Name
  // Kind::Name on an axis to children, attributes or all that is below.
  bool is_named_below_ = false;
  // Where there is a list of these nodes: the rest of it.
  bool has_list_ = false;
  std::span<const NodeId> list_;
  NodeId at_ = 0;
  NodeId end_ = 0;
  bool is_done_ = false;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_AXES_H_
