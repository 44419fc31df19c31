#ifndef XDB_XQUERY_RUN_OPERATORS_H_
#define XDB_XQUERY_RUN_OPERATORS_H_

#include <vector>

#include "xdb/xquery/run/plan.h"
#include "xdb/xquery/syntax/ast.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/compare.h"

namespace kiv::xdb::xq {

// The comma.
class SequencePlan final : public Plan {
 public:
  explicit SequencePlan(std::vector<PlanPtr> parts);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const std::vector<PlanPtr> parts_;
};

class RangePlan final : public Plan {
 public:
  RangePlan(PlanPtr first, PlanPtr last);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr first_;
  const PlanPtr last_;
};

// and, or: `is_or` is the value that ends it.
class LogicPlan final : public BooleanPlan {
 public:
  LogicPlan(std::vector<PlanPtr> operands, bool is_or)
      : operands_(std::move(operands)), is_or_(is_or) {}
  PlanNote Explain(Execution& run) const override;

 protected:
  bool Decide(const Frame& frame) const override;

 private:
  const std::vector<PlanPtr> operands_;
  const bool is_or_;
};

// Operands are atomised and of one item at most.
class ArithmeticPlan final : public SinglePlan {
 public:
  ArithmeticPlan(Operator op, PlanPtr left, PlanPtr right);
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;

 private:
  const Operator op_;
  const PlanPtr left_;
  const PlanPtr right_;
};

class SignPlan final : public SinglePlan {
 public:
  SignPlan(bool is_negative, PlanPtr operand);
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;

 private:
  const bool is_negative_;
  const PlanPtr operand_;
};

// Operands are atomised and of one item at most; no item gives none.
class ValueComparisonPlan final : public SinglePlan {
 public:
  ValueComparisonPlan(Comparison comparison, PlanPtr left, PlanPtr right);
  bool Test(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;

 private:
  const Comparison comparison_;
  const PlanPtr left_;
  const PlanPtr right_;
};

// Operands are atomised.
class GeneralComparisonPlan final : public BooleanPlan {
 public:
  GeneralComparisonPlan(Comparison comparison, PlanPtr left, PlanPtr right)
      : comparison_(comparison),
        left_(std::move(left)),
        right_(std::move(right)) {}
  PlanNote Explain(Execution& run) const override;

 protected:
  bool Decide(const Frame& frame) const override;

 private:
  const Comparison comparison_;
  const PlanPtr left_;
  const PlanPtr right_;
};

class NodeComparisonPlan final : public SinglePlan {
 public:
  NodeComparisonPlan(ast::NodeRelation relation, PlanPtr left, PlanPtr right);
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;

 private:
  const ast::NodeRelation relation_;
  const PlanPtr left_;
  const PlanPtr right_;
};

// intersect and except of sorted nodes.
class SetPlan final : public Plan {
 public:
  SetPlan(bool is_except, PlanPtr left, PlanPtr right);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const bool is_except_;
  const PlanPtr left_;
  const PlanPtr right_;
};

class IfPlan final : public Plan {
 public:
  IfPlan(PlanPtr condition, PlanPtr then, PlanPtr otherwise);
  IteratorPtr Open(const Frame& frame) const override;
  Item One(const Frame& frame) const override;
  bool Test(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const Plan& Chosen(const Frame& frame) const {
    return condition_->Test(frame) ? *then_ : *otherwise_;
  }

  const PlanPtr condition_;
  const PlanPtr then_;
  const PlanPtr otherwise_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_OPERATORS_H_
