#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/run/conversions.h"

namespace kiv::xdb::xq {

Occurrence Compiler::AddFor(const ast::Binding& binding, Clauses& clauses,
                            std::vector<std::size_t>& slots) {
  PlanPtr operand = Compile(binding.operand);
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
  const std::size_t slot = Declare(binding.variable, one);
  slots.push_back(slot);
  std::optional<std::size_t> at;
  if (binding.at) {
    Properties position;
    position.type = {ItemType::OfAtomic(Type::Integer), Occurrence::One};
    at = Declare(*binding.at, position);
    slots.push_back(*at);
  }
  clauses.push_back(std::make_unique<ForClause>(std::move(operand), slot, at));
  return count;
}

Occurrence Compiler::AddLet(const ast::Binding& binding, Clauses& clauses,
                            std::vector<std::size_t>& slots) {
  PlanPtr operand = Compile(binding.operand);
  if (binding.type) {
    operand = Check(std::move(operand), ResolveType(*binding.type), "XPTY0004",
                    "$" + binding.variable.local);
  }
  const std::size_t slot = Declare(binding.variable, operand->properties);
  slots.push_back(slot);
  clauses.push_back(std::make_unique<LetClause>(std::move(operand), slot));
  return Occurrence::One;
}

// How many tuples there are.
Occurrence Compiler::AddClauses(const std::vector<ast::Binding>& bindings,
                                Clauses& clauses,
                                std::vector<std::size_t>& slots) {
  Occurrence tuples = Occurrence::One;
  for (const ast::Binding& binding : bindings) {
    const bool is_for = binding.kind == ast::Binding::Kind::For;
    tuples = ProductOf(tuples, is_for ? AddFor(binding, clauses, slots)
                                      : AddLet(binding, clauses, slots));
  }
  return tuples;
}

void Compiler::AddOrderBy(const ast::Flwor& expr,
                          std::vector<std::size_t> slots, Clauses& clauses) {
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
  clauses.push_back(
      std::make_unique<OrderByClause>(std::move(keys), std::move(slots)));
}

PlanPtr Compiler::operator()(const ast::Flwor& expr) {
  const Scope scope(*this);
  Clauses clauses;
  std::vector<std::size_t> slots;
  Occurrence tuples = AddClauses(expr.bindings, clauses, slots);
  if (expr.where) {
    clauses.push_back(std::make_unique<WhereClause>(Compile(expr.where)));
    tuples = ProductOf(tuples, Occurrence::Optional);
  }
  if (!expr.order_by.empty()) AddOrderBy(expr, std::move(slots), clauses);
  return std::make_unique<FlworPlan>(std::move(clauses), Compile(expr.result),
                                     tuples);
}

PlanPtr Compiler::operator()(const ast::Quantified& expr) {
  const Scope scope(*this);
  Clauses clauses;
  std::vector<std::size_t> slots;
  AddClauses(expr.bindings, clauses, slots);
  return std::make_unique<QuantifiedPlan>(expr.is_every, std::move(clauses),
                                          Compile(expr.satisfies));
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
      made.slot = Declare(*one.variable, known);
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
  for (auto local = locals_.rbegin(); local != locals_.rend(); ++local) {
    if (local->name == name)
      return std::make_unique<VariablePlan>(local->slot, local->known);
  }
  for (auto global = visible_globals_.rbegin();
       global != visible_globals_.rend(); ++global) {
    if (!((*global)->name == name)) continue;
    if (references_ != nullptr) references_->variables.push_back(*global);
    return std::make_unique<GlobalPlan>(**global);
  }
  throw Error("XPST0008", "there is no variable $" + name.local, expr.position);
}

}  // namespace kiv::xdb::xq
