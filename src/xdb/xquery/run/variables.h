#ifndef XDB_XQUERY_RUN_VARIABLES_H_
#define XDB_XQUERY_RUN_VARIABLES_H_

#include <string>
#include <vector>

#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

class VariablePlan final : public Plan {
 public:
  VariablePlan(std::size_t slot, const Properties& known, std::string name);
  IteratorPtr Open(const Frame& frame) const override;
  Item One(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const std::size_t slot_;
  const std::string name_;
};

// A variable of the prolog: its value is found when it is first asked for.
struct GlobalVariable {
  QName name;
  std::size_t index = 0;
  SequenceType type{ItemType::OfKind(ItemKind::Item), Occurrence::ZeroOrMore};
  PlanPtr plan;  // null: external
  std::size_t slot_count = 0;
  Position position;
};

class GlobalPlan final : public Plan {
 public:
  explicit GlobalPlan(const GlobalVariable& variable);
  IteratorPtr Open(const Frame& frame) const override;
  Item One(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const Value& Get(const Frame& frame) const;

  const GlobalVariable& variable_;
};

// A function of the prolog.
struct UserFunction {
  QName name;
  std::vector<SequenceType> parameters;
  SequenceType result{ItemType::OfKind(ItemKind::Item), Occurrence::ZeroOrMore};
  PlanPtr body;  // its result is converted
  std::size_t slot_count = 0;
};

class UserCallPlan final : public Plan {
 public:
  // The arguments are converted.
  UserCallPlan(const UserFunction& function, std::vector<PlanPtr> arguments);
  IteratorPtr Open(const Frame& frame) const override;
  Item One(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  std::vector<Value> SlotsOf(const Frame& frame) const;

  const UserFunction& function_;
  const std::vector<PlanPtr> arguments_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_VARIABLES_H_
