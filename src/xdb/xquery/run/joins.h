#ifndef XDB_XQUERY_RUN_JOINS_H_
#define XDB_XQUERY_RUN_JOINS_H_

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "xdb/xquery/run/flwor.h"
#include "xdb/xquery/run/join_table.h"
#include "xdb/xquery/run/plan.h"

// What is evaluated once for many turns of a loop. The result is kept in a slot
// of its own, which the clauses that bind a variable it was made of empty again
// (Bound::forgets).
namespace kiv::xdb::xq {

// Keeps the sequence of its operand.
class MemoPlan final : public Plan {
 public:
  MemoPlan(PlanPtr operand, std::size_t slot);
  IteratorPtr Open(const Frame& frame) const override;
  Item One(const Frame& frame) const override;
  bool Test(const Frame& frame) const override;

  // Evaluates each time, as something around it is kept instead; before the
  // plan is shared.
  void Disable() { is_enabled_ = false; }
  PlanNote Explain(Execution& run) const override;

 private:
  const Value& Get(const Frame& frame) const;

  const PlanPtr operand_;
  const std::size_t slot_;
  bool is_enabled_ = true;
};

// One side of a comparison, "probe comparison key": the keys go into a table,
// the probes look there.
struct JoinSides {
  JoinComparison comparison;
  // Both atomised, and of one item at most in a value comparison.
  PlanPtr probe;
  PlanPtr key;
  Position position;
};

// "for $x in operand where probe comparison key", where nothing but the key
// depends on $x, and the operand on nothing that changes each time.
class JoinClause final : public Clause {
 public:
  // `table_slot`: where the table is kept.
  JoinClause(PlanPtr operand, Bound item, std::optional<Bound> at,
             JoinSides sides, std::size_t table_slot)
      : operand_(std::move(operand)),
        item_(std::move(item)),
        at_(std::move(at)),
        sides_(std::move(sides)),
        table_slot_(table_slot) {}
  TupleStreamPtr Open(const Frame& frame, TupleStreamPtr before) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  friend class JoinStream;
  const JoinTable& Table(const Frame& frame) const;

  const PlanPtr operand_;
  const Bound item_;
  const std::optional<Bound> at_;
  const JoinSides sides_;
  const std::size_t table_slot_;
};

// A general comparison whose right side is the same for many turns.
class MemberPlan final : public BooleanPlan {
 public:
  MemberPlan(JoinSides sides, std::size_t table_slot)
      : sides_(std::move(sides)), table_slot_(table_slot) {}
  PlanNote Explain(Execution& run) const override;

 protected:
  bool Decide(const Frame& frame) const override;

 private:
  const JoinTable& Table(const Frame& frame) const;

  const JoinSides sides_;
  const std::size_t table_slot_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_JOINS_H_
