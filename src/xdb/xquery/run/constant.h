#ifndef XDB_XQUERY_RUN_CONSTANT_H_
#define XDB_XQUERY_RUN_CONSTANT_H_

#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

// One value that is known when the query is compiled, or none. Executions on
// several threads share it and do not count.
class ConstantPlan final : public SinglePlan {
 public:
  explicit ConstantPlan(Item item) : item_(std::move(item)) {
    properties.type =
        item_.IsNone()
            ? SequenceType{ItemType::OfKind(ItemKind::Item), Occurrence::Empty}
            : SequenceType{ItemType::OfAtomic(item_.type()), Occurrence::One};
    properties.is_ordered = properties.is_disjoint = item_.IsNone();
  }

  const Item& item() const { return item_; }
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame&) const override { return item_.Borrowed(); }

 private:
  const Item item_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_CONSTANT_H_
