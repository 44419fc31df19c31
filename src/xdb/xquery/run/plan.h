#ifndef XDB_XQUERY_RUN_PLAN_H_
#define XDB_XQUERY_RUN_PLAN_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "xdb/xquery/run/plan_note.h"
#include "xdb/xquery/run/value.h"
#include "xdb/xquery/values/error.h"
#include "xdb/xquery/values/sequence_type.h"

namespace kiv::xdb::xq {

class Execution;

// The context item with its place.
struct Focus {
  Item item;
  std::int64_t position = 1;
  // Only where the expression asks for last().
  std::int64_t size = 1;
};

// What an expression is evaluated in. The slots of the variables and the focus
// outlive every iterator that was opened with them. No focus: undefined.
struct Frame {
  Execution* run;
  Value* slots;
  const Focus* focus;
};

// Gives the items of a sequence one at a time, evaluating no more than it must.
class Iterator : public CountedByNew {
 public:
  Iterator() = default;
  virtual ~Iterator() = default;
  Iterator(const Iterator&) = delete;
  Iterator& operator=(const Iterator&) = delete;

  // False, `item` then untouched or none, at the end and ever after.
  virtual bool Next(Item& item) = 0;
};

using IteratorPtr = std::unique_ptr<Iterator>;

// What is known of a sequence before it is evaluated.
struct Properties {
  SequenceType type;
  // Nodes in document order, none twice.
  bool is_ordered = false;
  // No node lies inside another one.
  bool is_disjoint = false;

  bool IsAtMostOne() const {
    return type.occurrence == Occurrence::Empty ||
           type.occurrence == Occurrence::One ||
           type.occurrence == Occurrence::Optional;
  }
  bool IsAtomic() const {
    return type.occurrence == Occurrence::Empty ||
           type.item.kind == ItemKind::Atomic;
  }
  bool IsNodes() const {
    return type.occurrence != Occurrence::Empty &&
           type.item.kind != ItemKind::Item &&
           type.item.kind != ItemKind::Atomic;
  }
};

// An expression as it is executed. Plans never change once they are made and
// are shared by threads.
class Plan {
 public:
  Plan() = default;
  virtual ~Plan() = default;
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;

  virtual IteratorPtr Open(const Frame& frame) const = 0;
  // The first item, none when there is none: all there is where the properties
  // say so.
  virtual Item One(const Frame& frame) const;
  // The effective boolean value.
  virtual bool Test(const Frame& frame) const;

  // What it does; `run` may be asked for what the documents hold.
  virtual PlanNote Explain(Execution& run) const = 0;

  Properties properties;
  Position position;
};

using PlanPtr = std::unique_ptr<const Plan>;

// A plan of one item or none.
class SinglePlan : public Plan {
 public:
  IteratorPtr Open(const Frame& frame) const final;
  // Places the errors of Compute.
  Item One(const Frame& frame) const final;
  bool Test(const Frame& frame) const override;

 protected:
  virtual Item Compute(const Frame& frame) const = 0;
};

// A plan of a truth value.
class BooleanPlan : public SinglePlan {
 public:
  BooleanPlan();
  bool Test(const Frame& frame) const final;

 protected:
  virtual bool Decide(const Frame& frame) const = 0;
  Item Compute(const Frame& frame) const final {
    return Item::OfBoolean(Decide(frame));
  }
};

std::vector<PlanNote> NotesOf(const std::vector<PlanPtr>& plans,
                              Execution& run);

// ------------------------------------------------------------------- iterators

class SingleIterator final : public Iterator {
 public:
  explicit SingleIterator(Item item) : item_(std::move(item)) {}
  bool Next(Item& item) override {
    if (item_.IsNone()) return false;
    item = std::move(item_);
    return true;
  }

 private:
  Item item_;
};

class ValueIterator final : public Iterator {
 public:
  explicit ValueIterator(Value value) : value_(std::move(value)) {}
  bool Next(Item& item) override {
    if (next_ == value_.size()) return false;
    item = value_[next_++];
    return true;
  }

 private:
  const Value value_;
  std::size_t next_ = 0;
};

IteratorPtr IterateItem(Item item);
IteratorPtr IterateItems(Sequence items);

// The whole sequence; fails when it takes more memory than there may be.
Sequence Drain(Iterator& iterator);
Sequence ItemsOf(const Plan& plan, const Frame& frame);
Value ValueOf(const Plan& plan, const Frame& frame);

// The effective boolean value of what an iterator gives.
bool EffectiveBooleanOf(Iterator& iterator);

// Whether a predicate keeps the item at that position.
bool Holds(const Plan& predicate, const Frame& frame);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_PLAN_H_
