#ifndef XDB_XQUERY_RUN_PATHS_H_
#define XDB_XQUERY_RUN_PATHS_H_

#include "xdb/xquery/run/axes.h"
#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

// ".", XPDY0002 where it is undefined.
class ContextItemPlan final : public SinglePlan {
 public:
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;
};

// The leading "/".
class RootPlan final : public SinglePlan {
 public:
  RootPlan();
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;
};

// One axis of the context node, in the order of the axis.
class AxisPlan final : public Plan {
 public:
  AxisPlan(ast::Axis axis, NodeMatch match);
  IteratorPtr Open(const Frame& frame) const override;

  ast::Axis axis() const { return axis_; }
  PlanNote Explain(Execution& run) const override;

 private:
  const ast::Axis axis_;
  const NodeMatch match_;
};

// base[predicate].
class FilterPlan final : public Plan {
 public:
  // `is_positional`: whether it keeps an item may depend on the others.
  FilterPlan(PlanPtr base, PlanPtr predicate, bool uses_last,
             bool is_positional);
  IteratorPtr Open(const Frame& frame) const override;

  const Plan& base() const { return *base_; }
  bool is_positional() const { return is_positional_; }
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr base_;
  const PlanPtr predicate_;
  const bool uses_last_;
  const bool is_positional_;
  // The only position that the predicate keeps, 0 when it is no such one.
  std::int64_t position_wanted_ = 0;
};

// Items in the opposite order: what a reverse axis gives, as a step.
class ReversePlan final : public Plan {
 public:
  explicit ReversePlan(PlanPtr base);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr base_;
};

// left/right: right for each node of left as the context item, nodes in
// document order.
class PathPlan final : public Plan {
 public:
  // `is_last`: no step follows.
  PathPlan(PlanPtr left, PlanPtr right, bool uses_last, bool is_last);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  void Infer();

  const PlanPtr left_;
  const PlanPtr right_;
  const bool uses_last_;
  const bool is_last_;
  bool must_sort_ = true;
  // What is below a node has all that is below the nodes inside it.
  bool skips_inner_ = false;
};

// Nodes in document order, none twice, of what a plan gives: XPTY0004 for
// anything that is no node.
class SortedNodesPlan final : public Plan {
 public:
  explicit SortedNodesPlan(PlanPtr base);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr base_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_PATHS_H_
