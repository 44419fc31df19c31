#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/operators.h"

namespace kiv::xdb::xq {

// Each operand is evaluated once a tuple of those before it.
Occurrence Compiler::AddFor(const ast::Binding& binding, Drafts& drafts) {
  DraftClause draft;
  draft.loops = loops_;
  draft.operand =
      Observe(draft.needs, [&] { return Compile(binding.operand); });
  std::optional<Provenance> provenance =
      std::exchange(provenance_, std::nullopt);
  PlanPtr& operand = draft.operand;
  const Occurrence count = operand->properties.type.occurrence;
  if (binding.type) {
    SequenceType type = ResolveType(*binding.type);
    const bool may_be_one = Allows(type.occurrence, 1);
    type.occurrence = may_be_one ? Occurrence::ZeroOrMore : Occurrence::Empty;
    operand = Check(std::move(operand), type, "XPTY0004",
                    "$" + binding.variable.local);
  }
  if (binding.at && Resolve(*binding.at, "") == Resolve(binding.variable, "")) {
    throw Error("XQST0089",
                "$" + binding.variable.local + " is its own position",
                binding.position);
  }
  Properties one = operand->properties;
  one.type.occurrence = Occurrence::One;
  one.is_ordered = one.is_disjoint = one.IsNodes();
  ++loops_;
  draft.variable = Declare(binding.variable, one);
  if (provenance && !binding.at && !binding.type) {
    provenance->is_direct = false;
    locals_.back().provenance = std::move(provenance);
  }
  if (binding.at) {
    Properties position;
    position.type = {ItemType::OfAtomic(Type::Integer), Occurrence::One};
    draft.at = Declare(*binding.at, position);
  }
  drafts.push_back(std::move(draft));
  return count;
}

Occurrence Compiler::AddLet(const ast::Binding& binding, Drafts& drafts) {
  DraftClause draft;
  draft.is_for = false;
  draft.loops = loops_;
  draft.operand =
      Observe(draft.needs, [&] { return Compile(binding.operand); });
  if (binding.type) {
    draft.operand = Check(std::move(draft.operand), ResolveType(*binding.type),
                          "XPTY0004", "$" + binding.variable.local);
  }
  draft.variable = Declare(binding.variable, draft.operand->properties);
  if (!binding.type)
    locals_.back().collection = NamedCollection(*binding.operand);
  draft.is_name = locals_.back().collection != nullptr;
  drafts.push_back(std::move(draft));
  return Occurrence::One;
}

// How many tuples there are.
Occurrence Compiler::AddClauses(const std::vector<ast::Binding>& bindings,
                                Drafts& drafts) {
  Occurrence tuples = Occurrence::One;
  for (const ast::Binding& binding : bindings) {
    const bool is_for = binding.kind == ast::Binding::Kind::For;
    tuples = ProductOf(
        tuples, is_for ? AddFor(binding, drafts) : AddLet(binding, drafts));
  }
  return tuples;
}

Clauses Compiler::Finish(Drafts drafts) {
  Clauses clauses;
  for (DraftClause& draft : drafts) {
    if (draft.join) {
      clauses.push_back(std::make_unique<JoinClause>(
          std::move(draft.operand), draft.variable, draft.at,
          *std::move(draft.join), draft.table_slot));
    } else if (draft.is_for) {
      clauses.push_back(std::make_unique<ForClause>(std::move(draft.operand),
                                                    draft.variable, draft.at));
    } else {
      clauses.push_back(std::make_unique<LetClause>(
          std::move(draft.operand), draft.variable, draft.is_name));
    }
    // One clause of all: they lie in each other, and may not lie too deep.
    std::vector<PlanPtr>& conditions = draft.conditions;
    if (conditions.size() > 1) {
      PlanPtr all = std::make_unique<LogicPlan>(std::move(conditions), false);
      clauses.push_back(std::make_unique<WhereClause>(std::move(all)));
    } else if (!conditions.empty()) {
      clauses.push_back(
          std::make_unique<WhereClause>(std::move(conditions.front())));
    }
  }
  return clauses;
}

std::unique_ptr<const Clause> Compiler::OrderBy(const ast::Flwor& expr,
                                                const Drafts& drafts) {
  std::vector<OrderByClause::Key> keys;
  for (const ast::OrderSpec& spec : expr.order_by) {
    if (spec.collation)
      CheckCollation(*spec.collation, "XQST0076", spec.position);
    OrderByClause::Key& key = keys.emplace_back();
    key.plan = AtMostOne(Atomize(Compile(spec.key)), "a key of order by");
    key.is_descending = spec.is_descending;
    key.is_none_least =
        spec.empty ? *spec.empty == ast::EmptyOrder::Least : is_empty_least_;
  }
  std::vector<Bound> bound;
  for (const DraftClause& draft : drafts) {
    bound.push_back(draft.variable);
    if (draft.at) bound.push_back(*draft.at);
  }
  return std::make_unique<OrderByClause>(std::move(keys), std::move(bound));
}

PlanPtr Compiler::operator()(const ast::Flwor& expr) {
  const Scope scope(*this);
  const OwnLocals own(*this);
  const std::size_t outer_loops = loops_;
  Drafts drafts;
  Occurrence tuples = AddClauses(expr.bindings, drafts);
  if (expr.where) {
    AddCondition(*expr.where, drafts);
    RequireCondition(*expr.where);
    tuples = ProductOf(tuples, Occurrence::Optional);
  }
  std::unique_ptr<const Clause> order_by;
  if (!expr.order_by.empty()) order_by = OrderBy(expr, drafts);
  PlanPtr result = Compile(expr.result);
  loops_ = outer_loops;
  Clauses clauses = Finish(std::move(drafts));
  if (order_by) clauses.push_back(std::move(order_by));
  return std::make_unique<FlworPlan>(std::move(clauses), std::move(result),
                                     tuples);
}

// What must hold for some tuple is a condition of the tuples.
PlanPtr Compiler::operator()(const ast::Quantified& expr) {
  const Scope scope(*this);
  const OwnLocals own(*this);
  const std::size_t outer_loops = loops_;
  Drafts drafts;
  AddClauses(expr.bindings, drafts);
  PlanPtr condition;
  if (expr.is_every) {
    condition = Compile(expr.satisfies);
  } else {
    AddCondition(*expr.satisfies, drafts);
    RequireCondition(*expr.satisfies);
  }
  loops_ = outer_loops;
  return std::make_unique<QuantifiedPlan>(
      expr.is_every, Finish(std::move(drafts)), std::move(condition));
}

PlanPtr Compiler::operator()(const ast::Typeswitch& expr) {
  PlanPtr operand = Compile(expr.operand);
  std::vector<TypeswitchPlan::Case> cases;
  const auto add = [&](const ast::Typeswitch::Case& one, bool is_default) {
    const Scope scope(*this);
    TypeswitchPlan::Case made;
    if (!is_default) made.type = ResolveType(one.type);
    if (one.variable) {
      Properties known;
      if (is_default)
        known = operand->properties;
      else
        known.type = made.type;
      made.variable = Declare(*one.variable, known);
    }
    made.result = Compile(one.result);
    cases.push_back(std::move(made));
  };
  for (const ast::Typeswitch::Case& one : expr.cases) add(one, false);
  add(expr.otherwise, true);
  return std::make_unique<TypeswitchPlan>(std::move(operand), std::move(cases));
}

PlanPtr Compiler::operator()(const ast::VariableReference& expr) {
  const QName name = Resolve(expr.name, "");
  if (const LocalVariable* local = FindLocal(expr.name)) {
    if (local->collection != nullptr) return Collection(*local->collection);
    needs_->AddSlot(local->slot);
    const auto place = static_cast<std::size_t>(local - locals_.data());
    if (place >= first_own_local_) provenance_ = local->provenance;
    return std::make_unique<VariablePlan>(local->slot, local->known,
                                          ToText(local->name));
  }
  for (auto global = visible_globals_.rbegin();
       global != visible_globals_.rend(); ++global) {
    if (!((*global)->name == name)) continue;
    if (references_ != nullptr) references_->variables.push_back(*global);
    const auto named = named_collections_.find(*global);
    if (named != named_collections_.end() && named->second != nullptr)
      return Collection(*named->second);
    return std::make_unique<GlobalPlan>(**global);
  }
  throw Error("XPST0008", "there is no variable $" + name.local, expr.position);
}

}  // namespace kiv::xdb::xq
