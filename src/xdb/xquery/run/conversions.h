#ifndef XDB_XQUERY_RUN_CONVERSIONS_H_
#define XDB_XQUERY_RUN_CONVERSIONS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/xquery/run/flwor.h"
#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

// The typed values of the items, which are atomic values then.
PlanPtr Atomize(PlanPtr plan);

// Fails with `code` when there are more or fewer items than that, or items of
// another type; changes nothing.
PlanPtr Check(PlanPtr plan, const SequenceType& type, std::string_view code,
              std::string what);
// One item at most, XPTY0004.
PlanPtr AtMostOne(PlanPtr plan, std::string what);

// The function conversion rules: what a call does with its arguments. With
// `is_numeric` the type is one of the four of numbers.
PlanPtr Convert(PlanPtr plan, const SequenceType& type, bool is_numeric,
                std::string what);

class InstancePlan final : public BooleanPlan {
 public:
  InstancePlan(PlanPtr operand, SequenceType type)
      : operand_(std::move(operand)), type_(std::move(type)) {}
  PlanNote Explain(Execution& run) const override;

 protected:
  bool Decide(const Frame& frame) const override;

 private:
  const PlanPtr operand_;
  const SequenceType type_;
};

// The operand is atomised.
class CastPlan final : public SinglePlan {
 public:
  CastPlan(PlanPtr operand, Type type, bool is_optional);
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;

 private:
  const PlanPtr operand_;
  const Type type_;
  const bool is_optional_;
};

class CastablePlan final : public BooleanPlan {
 public:
  CastablePlan(PlanPtr operand, Type type, bool is_optional)
      : operand_(std::move(operand)), type_(type), is_optional_(is_optional) {}
  PlanNote Explain(Execution& run) const override;

 protected:
  bool Decide(const Frame& frame) const override;

 private:
  const PlanPtr operand_;
  const Type type_;
  const bool is_optional_;
};

class TypeswitchPlan final : public Plan {
 public:
  struct Case {
    SequenceType type;
    std::optional<Bound> variable;
    PlanPtr result;
  };

  // The last case is the default.
  TypeswitchPlan(PlanPtr operand, std::vector<Case> cases);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr operand_;
  const std::vector<Case> cases_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_CONVERSIONS_H_
