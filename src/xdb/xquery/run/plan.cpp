#include "xdb/xquery/run/plan.h"

#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/compare.h"
#include "xdb/xquery/values/stack_guard.h"

namespace kiv::xdb::xq {

Item Plan::One(const Frame& frame) const {
  Item item;
  Open(frame)->Next(item);
  return item;
}

bool Plan::Test(const Frame& frame) const {
  try {
    return EffectiveBooleanOf(*Open(frame));
  } catch (Error& error) {
    error.PlaceAt(position);
    throw;
  }
}

IteratorPtr SinglePlan::Open(const Frame& frame) const {
  return IterateItem(One(frame));
}

Item SinglePlan::One(const Frame& frame) const {
  RequireStack(position);
  try {
    return Compute(frame);
  } catch (Error& error) {
    error.PlaceAt(position);
    throw;
  }
}

bool SinglePlan::Test(const Frame& frame) const {
  const Item item = One(frame);
  if (item.IsNone()) return false;
  try {
    return EffectiveBoolean(item);
  } catch (Error& error) {
    error.PlaceAt(position);
    throw;
  }
}

BooleanPlan::BooleanPlan() {
  properties.type = {ItemType::OfAtomic(Type::Boolean), Occurrence::One};
}

bool BooleanPlan::Test(const Frame& frame) const {
  try {
    return Decide(frame);
  } catch (Error& error) {
    error.PlaceAt(position);
    throw;
  }
}

IteratorPtr IterateItem(Item item) {
  return std::make_unique<SingleIterator>(std::move(item));
}

IteratorPtr IterateItems(Sequence items) {
  return std::make_unique<ValueIterator>(Value(std::move(items)));
}

Sequence Drain(Iterator& iterator) {
  constexpr std::size_t kBetweenChecks = 4096;
  MemoryCharge charge;
  Sequence items;
  Item item;
  while (iterator.Next(item)) {
    items.push_back(std::move(item));
    if (items.size() % kBetweenChecks != 0) continue;
    charge.GrowTo(items.capacity() * sizeof(Item));
  }
  return items;
}

Sequence ItemsOf(const Plan& plan, const Frame& frame) {
  return Drain(*plan.Open(frame));
}

Value ValueOf(const Plan& plan, const Frame& frame) {
  if (plan.properties.IsAtMostOne()) return Value(plan.One(frame));
  return Value(ItemsOf(plan, frame));
}

bool EffectiveBooleanOf(Iterator& iterator) {
  Item first, second;
  if (!iterator.Next(first)) return false;
  if (first.IsNode()) return true;
  if (iterator.Next(second)) {
    throw Error("FORG0006",
                "a sequence of several values has no effective boolean value");
  }
  return EffectiveBoolean(first);
}

bool Holds(const Plan& predicate, const Frame& frame) {
  const SequenceType& type = predicate.properties.type;
  if (type.item.kind == ItemKind::Atomic && type.item.type == Type::Boolean)
    return predicate.Test(frame);
  if (predicate.properties.IsNodes()) return predicate.Test(frame);
  Item first, second;
  const IteratorPtr iterator = predicate.Open(frame);
  if (!iterator->Next(first)) return false;
  if (first.IsNode()) return true;
  if (iterator->Next(second)) {
    throw Error("FORG0006",
                "a sequence of several values has no effective boolean value",
                predicate.position);
  }
  if (!IsNumeric(first.type())) return EffectiveBoolean(first);
  return CompareValues(Comparison::Eq, first,
                       Item::OfInteger(frame.focus->position), 0);
}

}  // namespace kiv::xdb::xq
