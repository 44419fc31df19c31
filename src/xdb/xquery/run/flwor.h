#ifndef XDB_XQUERY_RUN_FLWOR_H_
#define XDB_XQUERY_RUN_FLWOR_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

// The tuples of a FLWOR expression: each Next fills the slots of the variables
// with another one.
class TupleStream : public CountedByNew {
 public:
  TupleStream() = default;
  virtual ~TupleStream() = default;
  TupleStream(const TupleStream&) = delete;
  TupleStream& operator=(const TupleStream&) = delete;

  virtual bool Next() = 0;
};

using TupleStreamPtr = std::unique_ptr<TupleStream>;

// One clause: what it makes of the tuples before it.
class Clause {
 public:
  Clause() = default;
  virtual ~Clause() = default;
  Clause(const Clause&) = delete;
  Clause& operator=(const Clause&) = delete;

  virtual TupleStreamPtr Open(const Frame& frame,
                              TupleStreamPtr before) const = 0;
  virtual PlanNote Explain(Execution& run) const = 0;
};

using Clauses = std::vector<std::unique_ptr<const Clause>>;

// The slots that hold what was made of a variable's value. The list grows while
// the query is compiled, also behind the clause that has it.
using Forgets = std::shared_ptr<std::vector<std::size_t>>;

// The slot of a variable that a clause binds.
struct Bound {
  std::size_t slot = 0;
  Forgets forgets;
  std::string name = {};  // for people

  void Set(const Frame& frame, Value value) const {
    frame.slots[slot] = std::move(value);
    for (const std::size_t kept : *forgets) frame.slots[kept] = Value();
  }
};

class ForClause final : public Clause {
 public:
  ForClause(PlanPtr operand, Bound item, std::optional<Bound> at)
      : operand_(std::move(operand)),
        item_(std::move(item)),
        at_(std::move(at)) {}
  TupleStreamPtr Open(const Frame& frame, TupleStreamPtr before) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr operand_;
  const Bound item_;
  const std::optional<Bound> at_;
};

class LetClause final : public Clause {
 public:
  // `is_name`: nobody asks for the value, as each reference to the variable is
  // the operand itself.
  LetClause(PlanPtr operand, Bound variable, bool is_name)
      : operand_(std::move(operand)),
        variable_(std::move(variable)),
        is_name_(is_name) {}
  TupleStreamPtr Open(const Frame& frame, TupleStreamPtr before) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr operand_;
  const Bound variable_;
  const bool is_name_;
};

class WhereClause final : public Clause {
 public:
  explicit WhereClause(PlanPtr condition) : condition_(std::move(condition)) {}
  TupleStreamPtr Open(const Frame& frame, TupleStreamPtr before) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const PlanPtr condition_;
};

class OrderByClause final : public Clause {
 public:
  // The key is atomised and of one item at most.
  struct Key {
    PlanPtr plan;
    bool is_descending = false;
    bool is_none_least = true;
  };

  // `slots`: of the variables of the clauses before.
  OrderByClause(std::vector<Key> keys, std::vector<Bound> slots)
      : keys_(std::move(keys)), slots_(std::move(slots)) {}
  TupleStreamPtr Open(const Frame& frame, TupleStreamPtr before) const override;

  const std::vector<Key>& keys() const { return keys_; }
  const std::vector<Bound>& slots() const { return slots_; }
  PlanNote Explain(Execution& run) const override;

 private:
  const std::vector<Key> keys_;
  const std::vector<Bound> slots_;
};

class FlworPlan final : public Plan {
 public:
  FlworPlan(Clauses clauses, PlanPtr result, Occurrence tuples);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const Clauses clauses_;
  const PlanPtr result_;
};

class QuantifiedPlan final : public BooleanPlan {
 public:
  // No condition: that there is a tuple.
  QuantifiedPlan(bool is_every, Clauses clauses, PlanPtr condition)
      : is_every_(is_every),
        clauses_(std::move(clauses)),
        condition_(std::move(condition)) {}
  PlanNote Explain(Execution& run) const override;

 protected:
  bool Decide(const Frame& frame) const override;

 private:
  const bool is_every_;
  const Clauses clauses_;
  const PlanPtr condition_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_FLWOR_H_
