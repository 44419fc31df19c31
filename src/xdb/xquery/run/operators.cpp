#include "xdb/xquery/run/operators.h"

#include <algorithm>

#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {
namespace {

class SequenceIterator final : public Iterator {
 public:
  SequenceIterator(const std::vector<PlanPtr>& parts, const Frame& frame)
      : parts_(parts), frame_(frame) {}

  bool Next(Item& item) override {
    for (;;) {
      if (current_ && current_->Next(item)) return true;
      if (next_ == parts_.size()) return false;
      current_ = parts_[next_++]->Open(frame_);
    }
  }

 private:
  const std::vector<PlanPtr>& parts_;
  const Frame frame_;
  std::size_t next_ = 0;
  IteratorPtr current_;
};

class RangeIterator final : public Iterator {
 public:
  RangeIterator(Execution& run, std::int64_t first, std::int64_t last)
      : run_(run), next_(first), last_(last), is_done_(first > last) {}

  bool Next(Item& item) override {
    if (is_done_) return false;
    run_.Tick();
    item = Item::OfInteger(next_);
    is_done_ = next_ == last_;
    if (!is_done_) ++next_;
    return true;
  }

 private:
  Execution& run_;
  std::int64_t next_;
  const std::int64_t last_;
  bool is_done_;
};

// Of integers past 64 bits.
class BigRangeIterator final : public Iterator {
 public:
  BigRangeIterator(Execution& run, Item first, Item last)
      : run_(run), next_(std::move(first)), last_(std::move(last)) {}

  bool Next(Item& item) override {
    if (CompareValues(Comparison::Gt, next_, last_, 0)) return false;
    run_.Tick();
    item = next_;
    next_ = Add(next_, Item::OfInteger(1), 0);
    return true;
  }

 private:
  Execution& run_;
  Item next_;
  const Item last_;
};

// Of no item, when either operand may be none.
Occurrence ResultOccurrence(const Plan& left, const Plan& right) {
  const bool is_there = left.properties.type.occurrence == Occurrence::One &&
                        right.properties.type.occurrence == Occurrence::One;
  return is_there ? Occurrence::One : Occurrence::Optional;
}

Type AtomicOf(const Plan& plan) {
  return plan.properties.type.item.kind == ItemKind::Atomic
             ? plan.properties.type.item.type
             : Type::AnyAtomic;
}

}  // namespace

SequencePlan::SequencePlan(std::vector<PlanPtr> parts)
    : parts_(std::move(parts)) {
  properties.type = {ItemType::OfKind(ItemKind::Item), Occurrence::Empty};
  bool is_first = true;
  for (const PlanPtr& part : parts_) {
    properties.type = is_first ? part->properties.type
                               : SumOf(properties.type, part->properties.type);
    is_first = false;
  }
}

IteratorPtr SequencePlan::Open(const Frame& frame) const {
  return std::make_unique<SequenceIterator>(parts_, frame);
}

RangePlan::RangePlan(PlanPtr first, PlanPtr last)
    : first_(std::move(first)), last_(std::move(last)) {
  properties.type = {ItemType::OfAtomic(Type::Integer), Occurrence::ZeroOrMore};
}

IteratorPtr RangePlan::Open(const Frame& frame) const {
  const Item first = first_->One(frame);
  const Item last = last_->One(frame);
  if (first.IsNone() || last.IsNone()) return IterateItem({});
  if (!first.IsSmallInteger() || !last.IsSmallInteger()) {
    return std::make_unique<BigRangeIterator>(*frame.run, first, last);
  }
  return std::make_unique<RangeIterator>(*frame.run, first.AsSmallInteger(),
                                         last.AsSmallInteger());
}

bool LogicPlan::Decide(const Frame& frame) const {
  for (const PlanPtr& operand : operands_)
    if (operand->Test(frame) == is_or_) return is_or_;
  return !is_or_;
}

ArithmeticPlan::ArithmeticPlan(Operator op, PlanPtr left, PlanPtr right)
    : op_(op), left_(std::move(left)), right_(std::move(right)) {
  Type type = ResultOf(op, AtomicOf(*left_), AtomicOf(*right_));
  if (type == Type::None) type = Type::AnyAtomic;
  properties.type = {ItemType::OfAtomic(type),
                     ResultOccurrence(*left_, *right_)};
}

Item ArithmeticPlan::Compute(const Frame& frame) const {
  const Item left = left_->One(frame);
  const Item right = right_->One(frame);
  if (left.IsNone() || right.IsNone()) return {};
  const int zone = frame.run->zone();
  switch (op_) {
    case Operator::Add:
      return Add(left, right, zone);
    case Operator::Subtract:
      return Subtract(left, right, zone);
    case Operator::Multiply:
      return Multiply(left, right, zone);
    default:
      return Calculate(op_, left, right, zone);
  }
}

SignPlan::SignPlan(bool is_negative, PlanPtr operand)
    : is_negative_(is_negative), operand_(std::move(operand)) {
  Type type = AtomicOf(*operand_);
  if (type == Type::UntypedAtomic) type = Type::Double;
  if (IsInteger(type)) type = Type::Integer;
  if (!IsNumeric(type)) type = Type::AnyAtomic;
  properties.type = {ItemType::OfAtomic(type),
                     operand_->properties.type.occurrence};
}

Item SignPlan::Compute(const Frame& frame) const {
  Item value = operand_->One(frame);
  if (value.IsNone()) return value;
  return is_negative_ ? Negate(value) : UnaryPlus(value);
}

ValueComparisonPlan::ValueComparisonPlan(Comparison comparison, PlanPtr left,
                                         PlanPtr right)
    : comparison_(comparison),
      left_(std::move(left)),
      right_(std::move(right)) {
  properties.type = {ItemType::OfAtomic(Type::Boolean),
                     ResultOccurrence(*left_, *right_)};
}

bool ValueComparisonPlan::Test(const Frame& frame) const {
  const Item answer = One(frame);
  return !answer.IsNone() && answer.AsBoolean();
}

Item ValueComparisonPlan::Compute(const Frame& frame) const {
  const Item left = left_->One(frame);
  const Item right = right_->One(frame);
  if (left.IsNone() || right.IsNone()) return {};
  return Item::OfBoolean(
      CompareValues(comparison_, left, right, frame.run->zone()));
}

bool GeneralComparisonPlan::Decide(const Frame& frame) const {
  const int zone = frame.run->zone();
  if (left_->properties.IsAtMostOne() && right_->properties.IsAtMostOne()) {
    const Item left = left_->One(frame);
    if (left.IsNone()) return false;
    const Item right = right_->One(frame);
    return !right.IsNone() && CompareGeneral(comparison_, left, right, zone);
  }
  if (left_->properties.IsAtMostOne()) {
    const Item left = left_->One(frame);
    if (left.IsNone()) return false;
    const IteratorPtr rights = right_->Open(frame);
    for (Item right; rights->Next(right);) {
      frame.run->Tick();
      if (CompareGeneral(comparison_, left, right, zone)) return true;
    }
    return false;
  }
  const Value right = ValueOf(*right_, frame);
  if (right.size() == 0) return false;
  const IteratorPtr lefts = left_->Open(frame);
  Item left;
  while (lefts->Next(left)) {
    for (const Item& one : right.items()) {
      frame.run->Tick();
      if (CompareGeneral(comparison_, left, one, zone)) return true;
    }
  }
  return false;
}

NodeComparisonPlan::NodeComparisonPlan(ast::NodeRelation relation, PlanPtr left,
                                       PlanPtr right)
    : relation_(relation), left_(std::move(left)), right_(std::move(right)) {
  properties.type = {ItemType::OfAtomic(Type::Boolean),
                     ResultOccurrence(*left_, *right_)};
}

Item NodeComparisonPlan::Compute(const Frame& frame) const {
  const Item left = left_->One(frame);
  const Item right = right_->One(frame);
  if (left.IsNone() || right.IsNone()) return {};
  const int order = CompareOrder(left, right);
  return Item::OfBoolean(relation_ == ast::NodeRelation::Is       ? order == 0
                         : relation_ == ast::NodeRelation::Before ? order < 0
                                                                  : order > 0);
}

SetPlan::SetPlan(bool is_except, PlanPtr left, PlanPtr right)
    : is_except_(is_except), left_(std::move(left)), right_(std::move(right)) {
  properties = left_->properties;
  if (properties.type.occurrence == Occurrence::One)
    properties.type.occurrence = Occurrence::Optional;
  if (properties.type.occurrence == Occurrence::OneOrMore)
    properties.type.occurrence = Occurrence::ZeroOrMore;
}

IteratorPtr SetPlan::Open(const Frame& frame) const {
  const Sequence left = ItemsOf(*left_, frame);
  const Sequence right = ItemsOf(*right_, frame);
  Sequence result;
  auto other = right.begin();
  for (const Item& node : left) {
    while (other != right.end() && CompareOrder(*other, node) < 0) ++other;
    const bool is_in_both = other != right.end() && IsSameNode(*other, node);
    if (is_in_both != is_except_) result.push_back(node);
  }
  return IterateItems(std::move(result));
}

IfPlan::IfPlan(PlanPtr condition, PlanPtr then, PlanPtr otherwise)
    : condition_(std::move(condition)),
      then_(std::move(then)),
      otherwise_(std::move(otherwise)) {
  const Properties& left = then_->properties;
  const Properties& right = otherwise_->properties;
  properties.type = UnionOf(left.type, right.type);
  properties.is_ordered = left.is_ordered && right.is_ordered;
  properties.is_disjoint = left.is_disjoint && right.is_disjoint;
}

IteratorPtr IfPlan::Open(const Frame& frame) const {
  return Chosen(frame).Open(frame);
}

Item IfPlan::One(const Frame& frame) const { return Chosen(frame).One(frame); }

bool IfPlan::Test(const Frame& frame) const {
  return Chosen(frame).Test(frame);
}

}  // namespace kiv::xdb::xq
