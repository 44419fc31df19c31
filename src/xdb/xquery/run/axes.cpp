#include "xdb/xquery/run/axes.h"

#include <algorithm>

#include "xdb/xquery/run/execution.h"

namespace kiv::xdb::xq {

namespace {

constexpr NodeId kNodesBetweenTicks = 4096;
// Fewer nodes are looked at one by one.
constexpr NodeId kNodesForList = 256;

}  // namespace

using ast::Axis;

bool IsReverse(Axis axis) {
  return axis == Axis::Parent || axis == Axis::Ancestor ||
         axis == Axis::AncestorOrSelf || axis == Axis::Preceding ||
         axis == Axis::PrecedingSibling;
}

AxisCursor::AxisCursor(Execution& run, Axis axis, const NodeMatch& match,
                       const Item& origin)
    : run_(run),
      axis_(axis),
      match_(match),
      origin_(origin),
      tree_(origin.tree()) {
  if (match.kind == NodeMatch::Kind::Name) {
    const auto id = run.NameIn(tree_, match.slot, match.name);
    never_ = !id;
    if (id) word_ = static_cast<std::uint32_t>(match.principal) | *id << 4;
    is_named_below_ = axis == Axis::Child || axis == Axis::Descendant ||
                      axis == Axis::Attribute;
  }
  const NodeId node = origin.node();
  if (is_named_below_ && axis == Axis::Descendant && !never_ &&
      tree_[node].size >= kNodesForList &&
      tree_.node_count() >= Tree::kNodesForLists) {
    TakeList(word_ >> 4);
  }
  SetBounds();
}

inline void AxisCursor::SetBounds() {
  const NodeId node = origin_.node();
  const bool is_attribute = tree_.kind(node) == NodeKind::Attribute;
  at_ = node;
  switch (axis_) {
    case Axis::Child:
      at_ = tree_.FirstChild(node);
      end_ = tree_.End(node);
      break;
    case Axis::Descendant:
      ++at_;
      end_ = tree_.End(node);
      break;
    case Axis::DescendantOrSelf:
      end_ = tree_.End(node);
      break;
    case Axis::Attribute:
      ++at_;
      end_ =
          tree_.kind(node) == NodeKind::Element ? tree_.FirstChild(node) : at_;
      break;
    case Axis::Following:
      at_ = is_attribute ? node + 1 : tree_.End(node);
      end_ = tree_.node_count();
      break;
    case Axis::FollowingSibling:
      end_ = node == 0 || is_attribute ? at_ : tree_.End(tree_[node].parent);
      at_ = tree_.End(node);
      if (end_ < at_) at_ = end_;
      break;
    case Axis::PrecedingSibling:
      end_ = node == 0 || is_attribute ? node
                                       : tree_.FirstChild(tree_[node].parent);
      break;
    case Axis::Parent:
    case Axis::Ancestor:
    case Axis::Preceding:
    case Axis::Self:
    case Axis::AncestorOrSelf:
      break;
  }
}

void AxisCursor::TakeList(NameId name) {
  has_list_ = true;
  const std::span<const NodeId> all = tree_.ElementsNamed(name);
  const NodeId node = origin_.node();
  const auto begin = std::upper_bound(all.begin(), all.end(), node);
  const auto end = std::lower_bound(begin, all.end(), tree_.End(node));
  list_ = {begin, end};
}

// Of one name downwards: nothing but the words is looked at.
bool AxisCursor::NextNamed(Item& item) {
  if (has_list_) {
    if (list_.empty()) return false;
    run_.Tick();
    item = Item::OfNode(origin_.held_tree(), list_.front());
    list_ = list_.subspan(1);
    return true;
  }
  const Node* const nodes = tree_.nodes();
  const bool is_flat = axis_ == Axis::Child;
  while (at_ < end_) {
    const NodeId last =
        is_flat ? end_ : std::min(end_, at_ + kNodesBetweenTicks);
    run_.Tick();
    while (at_ < last) {
      const NodeId node = at_;
      at_ += is_flat ? nodes[node].size : 1;
      if (nodes[node].word != word_) continue;
      item = Item::OfNode(origin_.held_tree(), node);
      return true;
    }
  }
  return false;
}

bool AxisCursor::Next(Item& item) {
  if (never_) return false;
  if (is_named_below_) return NextNamed(item);
  NodeId node;
  while (Step(node)) {
    run_.Tick();
    if (!Passes(node)) continue;
    item = Item::OfNode(origin_.held_tree(), node);
    return true;
  }
  return false;
}

bool AxisCursor::Step(NodeId& node) {
  switch (axis_) {
    case Axis::Self:
    case Axis::Parent:
    case Axis::Ancestor:
    case Axis::AncestorOrSelf:
      return StepUp(node);
    case Axis::Child:
    case Axis::FollowingSibling:
      if (at_ >= end_) return false;
      node = at_;
      at_ = tree_.End(at_);
      return true;
    case Axis::Preceding:
    case Axis::PrecedingSibling:
      return StepBack(node);
    default:
      return StepForward(node);
  }
}

bool AxisCursor::StepForward(NodeId& node) {
  const bool wants_attributes = axis_ == Axis::Attribute;
  for (; at_ < end_; ++at_) {
    const bool is_wanted =
        wants_attributes ? tree_.kind(at_) == NodeKind::Attribute
                         : IsContent(at_) || (axis_ == Axis::DescendantOrSelf &&
                                              at_ == origin_.node());
    if (!is_wanted) continue;
    node = at_++;
    return true;
  }
  return false;
}

// Backwards there is no telling where a subtree begins, but its parent says
// whether a node is one of the siblings, and its end whether it is an ancestor.
bool AxisCursor::StepBack(NodeId& node) {
  const bool wants_siblings = axis_ == Axis::PrecedingSibling;
  const NodeId parent = tree_[origin_.node()].parent;
  while (at_ > end_) {
    --at_;
    if (!IsContent(at_)) continue;
    if (wants_siblings ? tree_[at_].parent != parent
                       : tree_.End(at_) > origin_.node()) {
      continue;
    }
    node = at_;
    return true;
  }
  return false;
}

bool AxisCursor::StepUp(NodeId& node) {
  if (is_done_) return false;
  const bool with_self = axis_ == Axis::Self || axis_ == Axis::AncestorOrSelf;
  if (at_ == origin_.node() && !with_self) {
    if (at_ == 0) return false;
    at_ = tree_[at_].parent;
  }
  node = at_;
  is_done_ = axis_ == Axis::Self || axis_ == Axis::Parent || at_ == 0;
  if (!is_done_) {
    at_ = tree_[at_].parent;
  }
  return true;
}

bool AxisCursor::Passes(NodeId node) const {
  switch (match_.kind) {
    case NodeMatch::Kind::Any:
      return true;
    case NodeMatch::Kind::Name:
      return tree_[node].word == word_;
    case NodeMatch::Kind::Uri:
      return tree_.kind(node) == match_.principal &&
             tree_.name(node).uri == match_.name.uri;
    case NodeMatch::Kind::Local:
      return tree_.kind(node) == match_.principal &&
             tree_.name(node).local == match_.name.local;
    case NodeMatch::Kind::Type:
      return Matches(Item::OfNode(origin_.held_tree(), node), match_.type);
  }
  return false;
}

}  // namespace kiv::xdb::xq
