#include "xdb/xquery/run/paths.h"

#include <algorithm>

#include "xdb/xquery/run/constant.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/nodes.h"

namespace kiv::xdb::xq {
namespace {

using ast::Axis;

class AxisIterator final : public Iterator {
 public:
  AxisIterator(Execution& run, Axis axis, const NodeMatch& match,
               const Item& origin)
      : cursor_(run, axis, match, origin) {}
  bool Next(Item& item) override { return cursor_.Next(item); }

 private:
  AxisCursor cursor_;
};

class FilterIterator final : public Iterator {
 public:
  FilterIterator(const Frame& frame, IteratorPtr base, const Plan& predicate,
                 std::int64_t size)
      : inner_{frame.run, frame.slots, &focus_},
        base_(std::move(base)),
        predicate_(predicate) {
    focus_.position = 0;
    focus_.size = size;
  }

  bool Next(Item& item) override {
    while (base_->Next(focus_.item)) {
      inner_.run->Tick();
      ++focus_.position;
      if (!Holds(predicate_, inner_)) continue;
      item = focus_.item;
      return true;
    }
    return false;
  }

 private:
  Focus focus_;
  const Frame inner_;
  const IteratorPtr base_;
  const Plan& predicate_;
};

class PathIterator final : public Iterator {
 public:
  PathIterator(const Frame& frame, IteratorPtr left, const Plan& left_plan,
               const Plan& right, std::int64_t size, bool skips_inner)
      : inner_{frame.run, frame.slots, &focus_},
        left_(std::move(left)),
        left_plan_(left_plan),
        right_(right),
        skips_inner_(skips_inner) {
    focus_.position = 0;
    focus_.size = size;
  }

  bool Next(Item& item) override {
    for (;;) {
      if (current_ && current_->Next(item)) return true;
      current_.reset();
      if (!left_->Next(focus_.item)) return false;
      inner_.run->Tick();
      if (!focus_.item.IsNode()) {
        throw Error("XPTY0019", "a step begins at a value that is no node",
                    left_plan_.position);
      }
      ++focus_.position;
      if (skips_inner_ && IsInner(focus_.item)) continue;
      current_ = right_.Open(inner_);
    }
  }

 private:
  // Whether it lies in the last one that does not.
  bool IsInner(const Item& item) {
    if (!outer_.IsNone() && item.held_tree() == outer_.held_tree() &&
        item.node() < outer_.tree().End(outer_.node())) {
      return true;
    }
    outer_ = item;
    return false;
  }

  Focus focus_;
  const Frame inner_;
  const IteratorPtr left_;
  const Plan& left_plan_;
  const Plan& right_;
  const bool skips_inner_;
  Item outer_;
  IteratorPtr current_;
};

const Item& ContextOf(const Frame& frame) {
  if (frame.focus == nullptr)
    throw Error("XPDY0002",
                "the context item is undefined: a path begins with "
                "collection(), doc() or a variable");
  return frame.focus->item;
}

ItemKind KindOfAxis(Axis axis, const NodeMatch& match) {
  switch (match.kind) {
    case NodeMatch::Kind::Type:
      return match.type.kind;
    case NodeMatch::Kind::Any:
      return axis == Axis::Attribute ? ItemKind::Attribute : ItemKind::Node;
    default:
      return match.principal == NodeKind::Attribute ? ItemKind::Attribute
                                                    : ItemKind::Element;
  }
}

}  // namespace

Item ContextItemPlan::Compute(const Frame& frame) const {
  return ContextOf(frame);
}

RootPlan::RootPlan() {
  properties.type = {ItemType::OfKind(ItemKind::Document), Occurrence::One};
  properties.is_ordered = properties.is_disjoint = true;
}

Item RootPlan::Compute(const Frame& frame) const {
  const Item& item = ContextOf(frame);
  if (!item.IsNode())
    throw Error("XPTY0020", "the context item of a path is no node");
  if (item.tree().kind(0) != NodeKind::Document) {
    throw Error("XPDY0050",
                "the root of the tree with the context node is no document");
  }
  return RootOfNode(item);
}

AxisPlan::AxisPlan(Axis axis, NodeMatch match)
    : axis_(axis), match_(std::move(match)) {
  const bool is_single = axis == Axis::Self || axis == Axis::Parent;
  properties.type = {ItemType::OfKind(KindOfAxis(axis, match_)),
                     is_single ? Occurrence::Optional : Occurrence::ZeroOrMore};
  properties.is_ordered = !IsReverse(axis) || is_single;
  properties.is_disjoint = is_single || axis == Axis::Child ||
                           axis == Axis::Attribute ||
                           axis == Axis::FollowingSibling;
}

IteratorPtr AxisPlan::Open(const Frame& frame) const {
  if (frame.focus == nullptr) {
    throw Error("XPDY0002",
                "the context item of a step is undefined: a path begins with "
                "collection(), doc() or a variable",
                position);
  }
  const Item& item = frame.focus->item;
  if (!item.IsNode()) {
    throw Error("XPTY0020", "the context item of a step is no node", position);
  }
  return std::make_unique<AxisIterator>(*frame.run, axis_, match_, item);
}

FilterPlan::FilterPlan(PlanPtr base, PlanPtr predicate, bool uses_last,
                       bool is_positional)
    : base_(std::move(base)),
      predicate_(std::move(predicate)),
      uses_last_(uses_last),
      is_positional_(is_positional) {
  properties = base_->properties;
  const Occurrence whole = properties.type.occurrence;
  if (whole == Occurrence::One)
    properties.type.occurrence = Occurrence::Optional;
  if (whole == Occurrence::OneOrMore)
    properties.type.occurrence = Occurrence::ZeroOrMore;
  const auto* constant = dynamic_cast<const ConstantPlan*>(predicate_.get());
  if (constant == nullptr || !constant->item().IsSmallInteger()) return;
  position_wanted_ = constant->item().AsSmallInteger();
  if (properties.type.occurrence != Occurrence::Empty)
    properties.type.occurrence = Occurrence::Optional;
  properties.is_ordered = properties.is_disjoint = properties.IsNodes();
}

IteratorPtr FilterPlan::Open(const Frame& frame) const {
  IteratorPtr base = base_->Open(frame);
  if (position_wanted_ > 0) {
    Item item;
    for (std::int64_t i = 0; i < position_wanted_; ++i) {
      frame.run->Tick();
      if (!base->Next(item)) return IterateItem({});
    }
    return IterateItem(std::move(item));
  }
  std::int64_t size = 0;
  if (uses_last_) {
    Sequence items = Drain(*base);
    size = static_cast<std::int64_t>(items.size());
    base = IterateItems(std::move(items));
  }
  return std::make_unique<FilterIterator>(frame, std::move(base), *predicate_,
                                          size);
}

ReversePlan::ReversePlan(PlanPtr base) : base_(std::move(base)) {
  properties = base_->properties;
  properties.is_ordered = true;
}

IteratorPtr ReversePlan::Open(const Frame& frame) const {
  Sequence items = ItemsOf(*base_, frame);
  std::reverse(items.begin(), items.end());
  return IterateItems(std::move(items));
}

PathPlan::PathPlan(PlanPtr left, PlanPtr right, bool uses_last, bool is_last)
    : left_(std::move(left)),
      right_(std::move(right)),
      uses_last_(uses_last),
      is_last_(is_last) {
  Infer();
}

// Whether the order of the parts is the order of the whole: steps downwards
// from subtrees that lie beside each other keep to them.
void PathPlan::Infer() {
  const Properties& left = left_->properties;
  const Properties& right = right_->properties;
  properties.type = right.type;
  properties.type.occurrence =
      ProductOf(left.type.occurrence, right.type.occurrence);
  if (right.IsAtomic()) {
    must_sort_ = false;
    return;
  }
  properties.is_ordered = right.IsNodes();
  if (left.IsAtMostOne() && right.is_ordered) {
    must_sort_ = false;
    properties.is_disjoint = right.is_disjoint;
    return;
  }
  const Plan* base = right_.get();
  bool is_positional = false;
  while (const auto* filter = dynamic_cast<const FilterPlan*>(base)) {
    is_positional |= filter->is_positional();
    base = &filter->base();
  }
  const auto* axis = dynamic_cast<const AxisPlan*>(base);
  if (axis == nullptr || !left.is_ordered) return;
  switch (axis->axis()) {
    case Axis::Attribute:
      must_sort_ = false;
      properties.is_disjoint = true;
      return;
    case Axis::Self:
      must_sort_ = false;
      properties.is_disjoint = left.is_disjoint;
      return;
    case Axis::Child:
      must_sort_ = !left.is_disjoint;
      properties.is_disjoint = left.is_disjoint;
      return;
    case Axis::Descendant:
    case Axis::DescendantOrSelf: {
      // An attribute is itself, and not among what its element gives.
      const ItemKind kind = left.type.item.kind;
      const bool may_be_attribute =
          axis->axis() == Axis::DescendantOrSelf &&
          (kind == ItemKind::Attribute || kind == ItemKind::Node ||
           kind == ItemKind::Item);
      skips_inner_ = !left.is_disjoint && !is_positional && !may_be_attribute;
      must_sort_ = !left.is_disjoint && !skips_inner_;
      return;
    }
    default:
      return;
  }
}

IteratorPtr PathPlan::Open(const Frame& frame) const {
  IteratorPtr left = left_->Open(frame);
  std::int64_t size = 0;
  if (uses_last_) {
    Sequence items = Drain(*left);
    size = static_cast<std::int64_t>(items.size());
    left = IterateItems(std::move(items));
  }
  auto iterator = std::make_unique<PathIterator>(frame, std::move(left), *left_,
                                                 *right_, size, skips_inner_);
  if (!must_sort_) return iterator;
  Sequence items = Drain(*iterator);
  const auto nodes = static_cast<std::size_t>(std::count_if(
      items.begin(), items.end(), [](const Item& i) { return i.IsNode(); }));
  if (nodes != 0 && nodes != items.size()) {
    throw Error(is_last_ ? "XPTY0018" : "XPTY0019",
                "a path gives nodes and values that are none", position);
  }
  if (nodes != 0) SortNodes(*frame.run, items);
  return IterateItems(std::move(items));
}

SortedNodesPlan::SortedNodesPlan(PlanPtr base) : base_(std::move(base)) {
  properties = base_->properties;
  properties.is_ordered = true;
  if (!properties.IsNodes() && !properties.IsAtomic())
    properties.type.item = ItemType::OfKind(ItemKind::Node);
}

IteratorPtr SortedNodesPlan::Open(const Frame& frame) const {
  Sequence items = ItemsOf(*base_, frame);
  for (const Item& item : items) {
    if (!item.IsNode()) {
      throw Error("XPTY0004", NameOf(item.type()) + " where nodes must be",
                  position);
    }
  }
  SortNodes(*frame.run, items);
  return IterateItems(std::move(items));
}

}  // namespace kiv::xdb::xq
