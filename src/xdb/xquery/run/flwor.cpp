#include "xdb/xquery/run/flwor.h"

#include <algorithm>

#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/values/compare.h"

namespace kiv::xdb::xq {
namespace {

// One tuple without variables, with which every FLWOR begins.
class OneTuple final : public TupleStream {
 public:
  bool Next() override { return !std::exchange(is_over_, true); }

 private:
  bool is_over_ = false;
};

class ForStream final : public TupleStream {
 public:
  ForStream(const Frame& frame, TupleStreamPtr before, const Plan& operand,
            const Bound& bound, const std::optional<Bound>& at)
      : frame_(frame),
        before_(std::move(before)),
        operand_(operand),
        bound_(bound),
        at_(at) {}

  bool Next() override {
    Item item;
    for (;;) {
      frame_.run->Tick();
      if (items_ && items_->Next(item)) break;
      items_.reset();
      if (!before_->Next()) return false;
      items_ = operand_.Open(frame_);
      position_ = 0;
    }
    bound_.Set(frame_, Value(std::move(item)));
    ++position_;
    if (at_) at_->Set(frame_, Value(Item::OfInteger(position_)));
    return true;
  }

 private:
  const Frame frame_;
  const TupleStreamPtr before_;
  const Plan& operand_;
  const Bound& bound_;
  const std::optional<Bound>& at_;
  IteratorPtr items_;
  std::int64_t position_ = 0;
};

class LetStream final : public TupleStream {
 public:
  LetStream(const Frame& frame, TupleStreamPtr before, const Plan& operand,
            const Bound& variable)
      : frame_(frame),
        before_(std::move(before)),
        operand_(operand),
        variable_(variable) {}

  bool Next() override {
    if (!before_->Next()) return false;
    variable_.Set(frame_, ValueOf(operand_, frame_));
    return true;
  }

 private:
  const Frame frame_;
  const TupleStreamPtr before_;
  const Plan& operand_;
  const Bound& variable_;
};

class WhereStream final : public TupleStream {
 public:
  WhereStream(const Frame& frame, TupleStreamPtr before, const Plan& condition)
      : frame_(frame), before_(std::move(before)), condition_(condition) {}

  bool Next() override {
    while (before_->Next())
      if (condition_.Test(frame_)) return true;
    return false;
  }

 private:
  const Frame frame_;
  const TupleStreamPtr before_;
  const Plan& condition_;
};

class OrderByStream final : public TupleStream {
 public:
  OrderByStream(const Frame& frame, TupleStreamPtr before,
                const OrderByClause& clause)
      : frame_(frame), before_(std::move(before)), clause_(clause) {}

  bool Next() override {
    if (before_) Fill();
    if (next_ == order_.size()) return false;
    const std::size_t first = order_[next_++] * clause_.slots().size();
    for (std::size_t i = 0; i < clause_.slots().size(); ++i)
      clause_.slots()[i].Set(frame_, values_[first + i]);
    return true;
  }

 private:
  void Fill() {
    while (before_->Next()) {
      charge_.GrowTo(order_.capacity() * sizeof(std::size_t) +
                     values_.capacity() * sizeof(Value) +
                     keys_.capacity() * sizeof(Item));
      order_.push_back(order_.size());
      for (const Bound& bound : clause_.slots())
        values_.push_back(frame_.slots[bound.slot]);
      for (const OrderByClause::Key& key : clause_.keys())
        keys_.push_back(key.plan->One(frame_));
    }
    before_.reset();
    std::stable_sort(order_.begin(), order_.end(),
                     [this](std::size_t left, std::size_t right) {
                       return IsBefore(left, right);
                     });
  }

  bool IsBefore(std::size_t left, std::size_t right) const {
    frame_.run->Tick();
    const std::size_t count = clause_.keys().size();
    for (std::size_t i = 0; i < count; ++i) {
      const OrderByClause::Key& key = clause_.keys()[i];
      const int order =
          CompareForOrder(keys_[left * count + i], keys_[right * count + i],
                          key.is_none_least, frame_.run->zone());
      if (order != 0) return (order < 0) != key.is_descending;
    }
    return false;
  }

  const Frame frame_;
  TupleStreamPtr before_;
  const OrderByClause& clause_;
  // Of all tuples, one behind the other.
  std::vector<Value> values_;
  Sequence keys_;
  std::vector<std::size_t> order_;
  MemoryCharge charge_;
  std::size_t next_ = 0;
};

TupleStreamPtr OpenClauses(const Clauses& clauses, const Frame& frame) {
  TupleStreamPtr tuples = std::make_unique<OneTuple>();
  for (const auto& clause : clauses)
    tuples = clause->Open(frame, std::move(tuples));
  return tuples;
}

class FlworIterator final : public Iterator {
 public:
  FlworIterator(const Frame& frame, TupleStreamPtr tuples, const Plan& result)
      : frame_(frame), tuples_(std::move(tuples)), result_(result) {}

  bool Next(Item& item) override {
    for (;;) {
      if (current_ && current_->Next(item)) return true;
      current_.reset();
      if (!tuples_->Next()) return false;
      current_ = result_.Open(frame_);
    }
  }

 private:
  const Frame frame_;
  const TupleStreamPtr tuples_;
  const Plan& result_;
  IteratorPtr current_;
};

}  // namespace

TupleStreamPtr ForClause::Open(const Frame& frame,
                               TupleStreamPtr before) const {
  return std::make_unique<ForStream>(frame, std::move(before), *operand_, item_,
                                     at_);
}

TupleStreamPtr LetClause::Open(const Frame& frame,
                               TupleStreamPtr before) const {
  if (is_name_) return before;
  return std::make_unique<LetStream>(frame, std::move(before), *operand_,
                                     variable_);
}

TupleStreamPtr WhereClause::Open(const Frame& frame,
                                 TupleStreamPtr before) const {
  return std::make_unique<WhereStream>(frame, std::move(before), *condition_);
}

TupleStreamPtr OrderByClause::Open(const Frame& frame,
                                   TupleStreamPtr before) const {
  return std::make_unique<OrderByStream>(frame, std::move(before), *this);
}

FlworPlan::FlworPlan(Clauses clauses, PlanPtr result, Occurrence tuples)
    : clauses_(std::move(clauses)), result_(std::move(result)) {
  properties.type = result_->properties.type;
  properties.type.occurrence = ProductOf(tuples, properties.type.occurrence);
  if (tuples == Occurrence::One) {
    properties.is_ordered = result_->properties.is_ordered;
    properties.is_disjoint = result_->properties.is_disjoint;
  }
}

IteratorPtr FlworPlan::Open(const Frame& frame) const {
  return std::make_unique<FlworIterator>(frame, OpenClauses(clauses_, frame),
                                         *result_);
}

bool QuantifiedPlan::Decide(const Frame& frame) const {
  const TupleStreamPtr tuples = OpenClauses(clauses_, frame);
  while (tuples->Next())
    if (!condition_ || condition_->Test(frame) != is_every_) return !is_every_;
  return is_every_;
}

}  // namespace kiv::xdb::xq
