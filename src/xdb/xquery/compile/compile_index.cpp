#include <algorithm>

#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/operators.h"
#include "xdb/xquery/run/variables.h"

// What a path from a collection, or a condition of a loop over one, demands of
// the documents: of a predicate that is true only where some leaf has a certain
// value, the plan of the collection gets a copy that is about that value alone.
namespace kiv::xdb::xq {
namespace {

using ast::Axis;
using ast::ExprKind;
using ast::TestKind;

// A condition may hold other collections, whose conditions are copies in it:
// without a limit there would be three times as many for each that lies deeper.
constexpr std::size_t kMostCopied = 20'000;

bool IsPathLike(ExprKind kind) {
  return kind == ExprKind::Path || kind == ExprKind::AxisStep ||
         kind == ExprKind::ContextItem || kind == ExprKind::VariableReference;
}

// "text()", which gives the value of a leaf.
bool IsTextStep(const ast::Expr& step) {
  const auto* axis_step = ast::As<ast::AxisStep>(&step);
  return axis_step != nullptr && axis_step->axis == Axis::Child &&
         axis_step->test.kind == TestKind::Text &&
         axis_step->predicates.empty();
}

std::vector<const ast::Expr*> StepsOf(const ast::Expr& expr) {
  std::vector<const ast::Expr*> steps;
  if (const auto* path = ast::As<ast::Path>(&expr)) {
    for (const ast::ExprPtr& step : path->steps) steps.push_back(step.get());
  } else {
    steps.push_back(&expr);
  }
  return steps;
}

}  // namespace

// The call that an expression is when its value is the same wherever it stands;
// else null.
const ast::FunctionCall* Compiler::NamedCollection(
    const ast::Expr& expr) const {
  const auto* call = ast::As<ast::FunctionCall>(&expr);
  if (call == nullptr) return nullptr;
  const Function* function = LibraryFunction(*call);
  if (function == nullptr || function->engine != EngineFunction::Collection)
    return nullptr;
  for (const ast::ExprPtr& argument : call->arguments) {
    const auto* literal = ast::As<ast::Literal>(argument);
    if (literal == nullptr || literal->type != ast::LiteralKind::String)
      return nullptr;
  }
  return call;
}

// That call once more, for requirements of its own.
PlanPtr Compiler::Collection(const ast::FunctionCall& expr) {
  auto plan = std::make_unique<CollectionPlan>(
      expr.arguments.empty() ? nullptr : Compile(expr.arguments.front()),
      slot_count_);
  plan->position = expr.position;
  provenance_ = Provenance{plan.get(), {}, false, loops_, true};
  return plan;
}

PlanPtr Compiler::Substituted() {
  Properties known;
  known.type = {ItemType::OfAtomic(Type::UntypedAtomic), Occurrence::Optional};
  needs_->AddSlot(substitute_.slot);
  return std::make_unique<VariablePlan>(substitute_.slot, known, "value");
}

// One step further; none where it leaves the ways that an index knows.
void Compiler::Follow(std::optional<Provenance>& from, const ast::Expr& expr) {
  const auto* step = ast::As<ast::AxisStep>(&expr);
  if (!from) return;
  if (step == nullptr || from->way.size() == kMostPatternSteps)
    return from.reset();
  if (step->axis == Axis::DescendantOrSelf &&
      step->test.kind == TestKind::AnyKind) {
    from->is_any_depth = true;
    return;
  }
  const bool is_down = step->axis == Axis::Child ||
                       step->axis == Axis::Descendant ||
                       step->axis == Axis::Attribute;
  if (!is_down || step->test.kind != TestKind::Name) return from.reset();
  from->way.push_back({from->is_any_depth || step->axis == Axis::Descendant,
                       ResolveTest(step->test, step->axis)});
  from->is_any_depth = false;
}

void Compiler::RequirePredicates(const std::optional<Provenance>& from,
                                 const std::vector<ast::ExprPtr>& predicates) {
  if (!from || !from->is_direct) return;
  for (const ast::ExprPtr& predicate : predicates) {
    FocusUse unused;
    WithFocus(unused, [&]() -> PlanPtr {
      LeafRoots roots{&*from, from->collection, !from->is_kept};
      if (auto condition = IndexConditionOf(*predicate, roots))
        from->collection->Require(*std::move(condition));
      return nullptr;
    });
  }
}

// A condition that tuples of the FLWOR being compiled must fulfil.
void Compiler::RequireCondition(const ast::Expr& condition) {
  if (const auto* all = ast::As<ast::And>(&condition)) {
    for (const ast::ExprPtr& one : all->operands) RequireCondition(*one);
    return;
  }
  LeafRoots roots;
  if (auto wanted = IndexConditionOf(condition, roots))
    roots.collection->Require(*std::move(wanted));
}

std::optional<IndexCondition> Compiler::IndexConditionOf(const ast::Expr& expr,
                                                         LeafRoots& roots) {
  if (const auto* all = ast::As<ast::And>(&expr))
    return ConditionsOf(all->operands, false, roots);
  if (const auto* any = ast::As<ast::Or>(&expr))
    return ConditionsOf(any->operands, true, roots);
  if (IsPathLike(expr.kind)) return ConditionOfPath(expr, roots);
  const auto* call = ast::As<ast::FunctionCall>(&expr);
  if (call != nullptr && call->arguments.size() == 1) {
    const Function* function = LibraryFunction(*call);
    if (function != nullptr && function->name == "exists")
      return ConditionOfPath(*call->arguments.front(), roots);
  }
  if (TestsTruth(expr)) return ConditionOfValue(expr, roots);
  return std::nullopt;
}

std::optional<IndexCondition> Compiler::ConditionsOf(
    const std::vector<ast::ExprPtr>& operands, bool must_all,
    LeafRoots& roots) {
  IndexCondition condition;
  condition.kind =
      must_all ? IndexCondition::Kind::Any : IndexCondition::Kind::All;
  for (const ast::ExprPtr& operand : operands) {
    auto part = IndexConditionOf(*operand, roots);
    if (part)
      condition.parts.push_back(*std::move(part));
    else if (must_all)
      return std::nullopt;
  }
  if (condition.parts.empty()) return std::nullopt;
  return condition;
}

// That there is such a node, with what its own predicates demand.
std::optional<IndexCondition> Compiler::ConditionOfPath(const ast::Expr& expr,
                                                        LeafRoots& roots) {
  if (!IsPathLike(expr.kind)) return std::nullopt;
  const std::vector<const ast::Expr*> steps = StepsOf(expr);
  std::optional<Provenance> from = StartOf(*steps.front(), roots);
  if (!from) return std::nullopt;
  IndexCondition condition;
  condition.kind = IndexCondition::Kind::All;
  for (std::size_t i = 0; i < steps.size() && from; ++i) {
    const auto* step = ast::As<ast::AxisStep>(steps[i]);
    if (step == nullptr && i == 0) continue;
    Follow(from, *steps[i]);
    if (!from || step == nullptr) continue;
    LeafRoots inner{&*from, roots.collection, roots.may_vary};
    auto parts = ConditionsOf(step->predicates, false, inner);
    if (parts) condition.parts.push_back(*std::move(parts));
  }
  if (auto leaf = LeafOf(expr, roots)) {
    IndexCondition& exists = condition.parts.emplace_back();
    exists.pattern = std::move(leaf->way);
    exists.is_text = leaf->is_text;
  }
  if (condition.parts.empty()) return std::nullopt;
  return condition;
}

// A test of what some leaf has as its value.
std::optional<IndexCondition> Compiler::ConditionOfValue(const ast::Expr& expr,
                                                         LeafRoots& roots) {
  if (copied_count_ > kMostCopied) return std::nullopt;
  const ast::Expr* const leaf_expr = FindLeaf(expr, roots);
  if (leaf_expr == nullptr) return std::nullopt;
  std::optional<Leaf> leaf = LeafOf(*leaf_expr, roots);
  IndexCondition condition;
  condition.pattern = std::move(leaf->way);
  condition.is_text = leaf->is_text;
  condition.value_slot = NewSlot();
  Needs needs;
  const Substitute outer = std::exchange(
      substitute_, Substitute{leaf_expr, condition.value_slot.slot});
  const bool was_copying = std::exchange(is_copying_, true);
  const Scope scope(*this);
  const std::size_t outer_loops = loops_;
  bool is_made = true;
  try {
    condition.test = Observe(needs, [&] { return Compile(expr); });
    AddComparison(expr, *leaf_expr, condition, needs);
  } catch (const Error&) {
    // An untyped value cannot stand there.
    loops_ = outer_loops;
    is_made = false;
  }
  substitute_ = outer;
  is_copying_ = was_copying;
  if (!is_made) return std::nullopt;
  if (!IsKnownBefore(needs, condition.value_slot.slot, roots))
    return std::nullopt;
  condition.is_constant = needs.slots.size() <= 1;
  condition.slot_end = slot_count_;
  return condition;
}

// Whether all but the value of the leaf is there when the collection is opened.
bool Compiler::IsKnownBefore(const Needs& needs, std::size_t value_slot,
                             const LeafRoots& roots) const {
  if (needs.focus || needs.is_tied) return false;
  return std::all_of(
      needs.slots.begin(), needs.slots.end(), [&](std::size_t slot) {
        return slot == value_slot ||
               (roots.may_vary && slot < roots.collection->slot_count());
      });
}

void Compiler::AddComparison(const ast::Expr& expr, const ast::Expr& leaf,
                             IndexCondition& condition, Needs& needs) {
  const auto add = [&](ast::Relation relation, const ast::ExprPtr& left,
                       const ast::ExprPtr& right, bool is_single) {
    const bool is_leaf_left = left.get() == &leaf;
    if (!is_leaf_left && right.get() != &leaf) return;
    const auto comparison = static_cast<Comparison>(static_cast<int>(relation));
    condition.comparison = is_leaf_left ? comparison : Turned(comparison);
    condition.is_single = is_single;
    condition.compared = Observe(
        needs, [&] { return Atomize(Compile(is_leaf_left ? right : left)); });
  };
  if (const auto* general = ast::As<ast::GeneralComparison>(&expr))
    add(general->relation, general->left, general->right, false);
  if (const auto* single = ast::As<ast::ValueComparison>(&expr))
    add(single->relation, single->left, single->right, true);
}

std::optional<Compiler::Provenance> Compiler::StartOf(const ast::Expr& expr,
                                                      LeafRoots& roots) {
  if (roots.focus != nullptr) {
    if (expr.kind != ExprKind::ContextItem && expr.kind != ExprKind::AxisStep)
      return std::nullopt;
    return *roots.focus;
  }
  const auto* reference = ast::As<ast::VariableReference>(&expr);
  const LocalVariable* local =
      reference != nullptr ? FindLocal(reference->name) : nullptr;
  if (local == nullptr || !local->provenance) return std::nullopt;
  if (static_cast<std::size_t>(local - locals_.data()) < first_own_local_)
    return std::nullopt;
  const Provenance& provenance = *local->provenance;
  if (roots.collection != nullptr && roots.collection != provenance.collection)
    return std::nullopt;
  roots.collection = provenance.collection;
  // In a loop the operand may be kept without knowing of the condition.
  roots.may_vary = provenance.loops == 0 && !provenance.is_kept;
  return provenance;
}

// The way to the leaf that a path gives; predicates only make them fewer.
std::optional<Compiler::Leaf> Compiler::LeafOf(const ast::Expr& expr,
                                               LeafRoots& roots) {
  if (!IsPathLike(expr.kind)) return std::nullopt;
  std::vector<const ast::Expr*> steps = StepsOf(expr);
  std::optional<Provenance> from = StartOf(*steps.front(), roots);
  if (!from) return std::nullopt;
  Leaf leaf;
  leaf.is_text = IsTextStep(*steps.back());
  if (leaf.is_text) steps.pop_back();
  for (std::size_t i = 0; i < steps.size(); ++i)
    if (i != 0 || steps[i]->kind == ExprKind::AxisStep) Follow(from, *steps[i]);
  if (!from || from->is_any_depth || from->way.empty()) return std::nullopt;
  leaf.way = std::move(from->way);
  return leaf;
}

// The path that an expression is about, in operations of one value each; null
// when there is none.
const ast::Expr* Compiler::FindLeaf(const ast::Expr& expr, LeafRoots& roots) {
  const auto find_in = [&](const ast::ExprPtr& left,
                           const ast::ExprPtr& right) {
    const ast::Expr* found = FindLeaf(*left, roots);
    return found != nullptr ? found : FindLeaf(*right, roots);
  };
  switch (expr.kind) {
    case ExprKind::GeneralComparison: {
      const auto& comparison = static_cast<const ast::GeneralComparison&>(expr);
      return find_in(comparison.left, comparison.right);
    }
    case ExprKind::ValueComparison: {
      const auto& comparison = static_cast<const ast::ValueComparison&>(expr);
      return find_in(comparison.left, comparison.right);
    }
    case ExprKind::Arithmetic: {
      const auto& arithmetic = static_cast<const ast::Arithmetic&>(expr);
      return find_in(arithmetic.left, arithmetic.right);
    }
    case ExprKind::Unary:
      return FindLeaf(*static_cast<const ast::Unary&>(expr).operand, roots);
    case ExprKind::CastAs:
      return FindLeaf(*static_cast<const ast::CastAs&>(expr).operand, roots);
    case ExprKind::FunctionCall:
      return FindLeafInCall(static_cast<const ast::FunctionCall&>(expr), roots);
    default:
      return LeafOf(expr, roots) ? &expr : nullptr;
  }
}

const ast::Expr* Compiler::FindLeafInCall(const ast::FunctionCall& expr,
                                          LeafRoots& roots) {
  const Function* function = LibraryFunction(expr);
  const bool is_of_values =
      function == nullptr
          ? Resolve(expr.name, default_function_namespace_).uri ==
                kSchemaNamespace
          : function->scalar != nullptr ||
                function->engine == EngineFunction::String ||
                function->engine == EngineFunction::Data;
  if (!is_of_values) return nullptr;
  for (const ast::ExprPtr& argument : expr.arguments)
    if (const ast::Expr* found = FindLeaf(*argument, roots)) return found;
  return nullptr;
}

const Function* Compiler::LibraryFunction(const ast::FunctionCall& expr) const {
  const QName name = Resolve(expr.name, default_function_namespace_);
  return name.uri == kFunctionNamespace
             ? FindFunction(name.local, expr.arguments.size())
             : nullptr;
}

// As a predicate it asks for no position.
bool Compiler::TestsTruth(const ast::Expr& expr) const {
  if (expr.kind == ExprKind::GeneralComparison ||
      expr.kind == ExprKind::ValueComparison) {
    return true;
  }
  const auto* call = ast::As<ast::FunctionCall>(&expr);
  const Function* function = call != nullptr ? LibraryFunction(*call) : nullptr;
  return function != nullptr && function->scalar != nullptr &&
         function->result.atomic == Type::Boolean;
}

}  // namespace kiv::xdb::xq
