#include "xdb/xquery/run/conversions.h"

#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {
namespace {

class AtomizeIterator final : public Iterator {
 public:
  explicit AtomizeIterator(IteratorPtr base) : base_(std::move(base)) {}
  bool Next(Item& item) override {
    if (!base_->Next(item)) return false;
    if (item.IsNode()) item = Atomized(item);
    return true;
  }

 private:
  const IteratorPtr base_;
};

class AtomizePlan final : public Plan {
 public:
  explicit AtomizePlan(PlanPtr base) : base_(std::move(base)) {
    const SequenceType& type = base_->properties.type;
    const ItemKind kind = type.item.kind;
    const bool is_untyped =
        kind == ItemKind::Document || kind == ItemKind::Element ||
        kind == ItemKind::Attribute || kind == ItemKind::Text;
    const bool is_string =
        kind == ItemKind::Comment || kind == ItemKind::ProcessingInstruction;
    properties.type = {ItemType::OfAtomic(is_untyped  ? Type::UntypedAtomic
                                          : is_string ? Type::String
                                                      : Type::AnyAtomic),
                       type.occurrence};
    position = base_->position;
  }
  IteratorPtr Open(const Frame& frame) const override {
    return std::make_unique<AtomizeIterator>(base_->Open(frame));
  }
  Item One(const Frame& frame) const override {
    const Item item = base_->One(frame);
    return item.IsNone() ? item : Atomized(item);
  }
  PlanNote Explain(Execution& run) const override {
    return base_->Explain(run);
  }

 private:
  const PlanPtr base_;
};

// What conversion does to one item.
class Conversion {
 public:
  Conversion(SequenceType type, bool is_numeric, bool converts,
             std::string_view code, std::string what)
      : type_(std::move(type)),
        is_numeric_(is_numeric),
        converts_(converts && type_.item.kind == ItemKind::Atomic),
        code_(code),
        what_(std::move(what)) {}

  const SequenceType& type() const { return type_; }

  void Apply(Item& item) const {
    if (converts_) ConvertAtomic(item);
    if (is_numeric_ ? IsNumeric(item.type()) : Matches(item, type_.item))
      return;
    throw Error(code_, what_ + " must be " + ToText(type_) + " and is " +
                           NameOf(item.type()));
  }

  void CheckCount(std::size_t count, bool is_end) const {
    const Occurrence occurrence = type_.occurrence;
    const bool is_wrong =
        is_end ? count == 0 && (occurrence == Occurrence::One ||
                                occurrence == Occurrence::OneOrMore)
               : (occurrence == Occurrence::Empty && count > 0) ||
                     (count > 1 && (occurrence == Occurrence::One ||
                                    occurrence == Occurrence::Optional));
    if (!is_wrong) return;
    throw Error(code_,
                what_ + " must be " + ToText(type_) +
                    (is_end ? " and is empty" : " and is several items"));
  }

 private:
  void ConvertAtomic(Item& item) const {
    const Type target = type_.item.type;
    if (item.type() == Type::UntypedAtomic) {
      if (is_numeric_)
        item = Cast(item, Type::Double);
      else if (target != Type::AnyAtomic && target != Type::UntypedAtomic)
        item = Cast(item, target);
      return;
    }
    const bool promotes =
        (target == Type::Double &&
         (IsDecimal(item.type()) || item.type() == Type::Float)) ||
        (target == Type::Float && IsDecimal(item.type()));
    if (promotes)
      item = Cast(item, target);
    else if (target == Type::String && item.type() == Type::AnyUri)
      item = item.As(Type::String);
  }

  const SequenceType type_;
  const bool is_numeric_;
  const bool converts_;
  const std::string code_;
  const std::string what_;
};

class ConvertIterator final : public Iterator {
 public:
  ConvertIterator(IteratorPtr base, const Conversion& conversion,
                  Position position)
      : base_(std::move(base)), conversion_(conversion), position_(position) {}

  bool Next(Item& item) override {
    const bool is_there = base_->Next(item);
    try {
      if (is_there) {
        conversion_.CheckCount(++count_, false);
        conversion_.Apply(item);
      } else {
        conversion_.CheckCount(count_, true);
      }
      return is_there;
    } catch (Error& error) {
      error.PlaceAt(position_);
      throw;
    }
  }

 private:
  const IteratorPtr base_;
  const Conversion& conversion_;
  const Position position_;
  std::size_t count_ = 0;
};

class ConvertPlan final : public Plan {
 public:
  ConvertPlan(PlanPtr base, Conversion conversion)
      : base_(std::move(base)), conversion_(std::move(conversion)) {
    properties = base_->properties;
    properties.type = conversion_.type();
    if (conversion_.type().item.kind == ItemKind::Item)
      properties.type.item = base_->properties.type.item;
    position = base_->position;
  }

  IteratorPtr Open(const Frame& frame) const override {
    return std::make_unique<ConvertIterator>(base_->Open(frame), conversion_,
                                             position);
  }

  Item One(const Frame& frame) const override {
    Item item;
    const IteratorPtr iterator = Open(frame);
    if (!iterator->Next(item) || !properties.IsAtMostOne()) return item;
    // That nothing follows is checked as well.
    Item more;
    iterator->Next(more);
    return item;
  }
  PlanNote Explain(Execution& run) const override {
    return base_->Explain(run);
  }

 private:
  const PlanPtr base_;
  const Conversion conversion_;
};

bool IsAtMost(const Properties& properties, Occurrence occurrence) {
  return IsSubtype(SequenceType{ItemType::OfKind(ItemKind::Item),
                                properties.type.occurrence},
                   SequenceType{ItemType::OfKind(ItemKind::Item), occurrence});
}

}  // namespace

PlanPtr Atomize(PlanPtr plan) {
  if (plan->properties.IsAtomic()) return plan;
  return std::make_unique<AtomizePlan>(std::move(plan));
}

PlanPtr Check(PlanPtr plan, const SequenceType& type, std::string_view code,
              std::string what) {
  if (IsSubtype(plan->properties.type, type)) return plan;
  return std::make_unique<ConvertPlan>(
      std::move(plan), Conversion(type, false, false, code, std::move(what)));
}

PlanPtr AtMostOne(PlanPtr plan, std::string what) {
  return Check(std::move(plan),
               {ItemType::OfKind(ItemKind::Item), Occurrence::Optional},
               "XPTY0004", std::move(what));
}

PlanPtr Convert(PlanPtr plan, const SequenceType& type, bool is_numeric,
                std::string what) {
  const bool is_atomic = type.item.kind == ItemKind::Atomic &&
                         type.occurrence != Occurrence::Empty;
  if (is_atomic) plan = Atomize(std::move(plan));
  const ItemType& item = plan->properties.type.item;
  const bool fits = is_numeric ? item.kind == ItemKind::Atomic &&
                                     IsNumeric(item.type) &&
                                     IsAtMost(plan->properties, type.occurrence)
                               : IsSubtype(plan->properties.type, type);
  if (fits) return plan;
  return std::make_unique<ConvertPlan>(
      std::move(plan),
      Conversion(type, is_numeric, true, "XPTY0004", std::move(what)));
}

bool InstancePlan::Decide(const Frame& frame) const {
  const IteratorPtr iterator = operand_->Open(frame);
  std::size_t count = 0;
  Item item;
  while (iterator->Next(item)) {
    if (++count == 2 && !Allows(type_.occurrence, 2)) return false;
    if (type_.occurrence == Occurrence::Empty || !Matches(item, type_.item))
      return false;
  }
  return Allows(type_.occurrence, count);
}

CastPlan::CastPlan(PlanPtr operand, Type type, bool is_optional)
    : operand_(std::move(operand)), type_(type), is_optional_(is_optional) {
  properties.type = {ItemType::OfAtomic(type),
                     is_optional ? Occurrence::Optional : Occurrence::One};
}

Item CastPlan::Compute(const Frame& frame) const {
  Item value = operand_->One(frame);
  if (!value.IsNone()) return Cast(value, type_);
  if (is_optional_) return value;
  throw Error("XPTY0004", "no value to cast to " + NameOf(type_));
}

bool CastablePlan::Decide(const Frame& frame) const {
  const IteratorPtr iterator = operand_->Open(frame);
  Item value, more;
  if (!iterator->Next(value)) return is_optional_;
  return !iterator->Next(more) && IsCastable(value, type_);
}

TypeswitchPlan::TypeswitchPlan(PlanPtr operand, std::vector<Case> cases)
    : operand_(std::move(operand)), cases_(std::move(cases)) {
  properties = cases_.front().result->properties;
  for (const Case& one : cases_) {
    properties.type = UnionOf(properties.type, one.result->properties.type);
    properties.is_ordered &= one.result->properties.is_ordered;
    properties.is_disjoint &= one.result->properties.is_disjoint;
  }
}

IteratorPtr TypeswitchPlan::Open(const Frame& frame) const {
  Value value = ValueOf(*operand_, frame);
  const auto matches = [&value](const SequenceType& type) {
    if (!Allows(type.occurrence, value.size())) return false;
    for (const Item& item : value.items())
      if (!Matches(item, type.item)) return false;
    return true;
  };
  const Case* chosen = &cases_.back();
  for (std::size_t i = 0; i + 1 < cases_.size(); ++i) {
    if (!matches(cases_[i].type)) continue;
    chosen = &cases_[i];
    break;
  }
  if (chosen->variable) chosen->variable->Set(frame, std::move(value));
  return chosen->result->Open(frame);
}

}  // namespace kiv::xdb::xq
