#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/run/constant.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/operators.h"

// What a loop does not change is evaluated once and kept, and a condition that
// compares one loop with another one becomes a look-up in a table. The errors
// that remain are those of the values that are compared.
namespace kiv::xdb::xq {
namespace {

using ast::ExprKind;

static_assert(static_cast<int>(Comparison::Ge) ==
              static_cast<int>(ast::Relation::Ge));

Comparison ComparisonOf(ast::Relation relation) {
  return static_cast<Comparison>(static_cast<int>(relation));
}

// What takes longer than looking whether it was evaluated already.
bool IsWorthKeeping(ExprKind kind) {
  switch (kind) {
    case ExprKind::Path:
    case ExprKind::Filter:
    case ExprKind::FunctionCall:
    case ExprKind::Flwor:
    case ExprKind::Quantified:
    case ExprKind::Union:
    case ExprKind::Intersect:
    case ExprKind::Except:
    case ExprKind::CastAs:
      return true;
    default:
      return false;
  }
}

bool IsSmall(const Plan& plan) {
  return plan.properties.IsAtMostOne() ||
         dynamic_cast<const SequencePlan*>(&plan) != nullptr;
}

}  // namespace

// Compiles what is a part of another expression, and notes what it needs.
PlanPtr Compiler::Observe(Needs& needs,
                          const std::function<PlanPtr()>& make_plan) {
  Needs* const outer = std::exchange(needs_, &needs);
  const std::size_t end = slot_count_;
  PlanPtr plan;
  try {
    plan = make_plan();
  } catch (...) {
    needs_ = outer;
    throw;
  }
  needs_ = outer;
  while (!needs.slots.empty() && needs.slots.back() >= end)
    needs.slots.pop_back();
  if (outer != nullptr) outer->Add(needs);
  return plan;
}

// Whether the value is the same in all turns of the innermost of so many loops.
bool Compiler::IsSteady(const Needs& needs, std::size_t loops) const {
  if (loops == 0 || needs.is_tied) return false;
  if (needs.focus && focus_loops_ != 0) return false;
  for (const std::size_t slot : needs.slots)
    if (slots_[slot].loops >= loops) return false;
  return true;
}

// A slot for what is made of those variables.
std::size_t Compiler::KeptSlot(const Needs& needs) {
  const std::size_t slot = NewSlot().slot;
  for (const std::size_t variable : needs.slots)
    slots_[variable].forgets->push_back(slot);
  return slot;
}

// Of the expressions in each other that could be kept only the outer one is.
PlanPtr Compiler::MayKeep(const ast::Expr& expr, PlanPtr plan,
                          const Needs& needs, std::size_t first_memo) {
  if (!IsWorthKeeping(expr.kind) || !IsSteady(needs, loops_)) return plan;
  if (dynamic_cast<const ConstantPlan*>(plan.get()) != nullptr) return plan;
  for (std::size_t i = first_memo; i < memos_.size(); ++i)
    if (memos_[i].loops == loops_) memos_[i].plan->Disable();
  auto memo = std::make_unique<MemoPlan>(std::move(plan), KeptSlot(needs));
  memos_.push_back({memo.get(), loops_});
  return memo;
}

// Conditions are tested as soon as the variables they need are there.
void Compiler::AddCondition(const ast::Expr& condition, Drafts& drafts) {
  if (const auto* all = ast::As<ast::And>(&condition)) {
    for (const ast::ExprPtr& one : all->operands) AddCondition(*one, drafts);
    return;
  }
  Needs needs;
  PlanPtr plan =
      Observe(needs, [&] { return ConditionOrJoin(condition, drafts); });
  if (!plan) return;
  std::size_t place = drafts.size() - 1;
  while (!needs.is_tied && place > 0 && !drafts[place].needs.is_tied &&
         !drafts[place].IsNeededBy(needs)) {
    --place;
  }
  drafts[place].conditions.push_back(std::move(plan));
}

// Null when the condition became a part of a clause.
PlanPtr Compiler::ConditionOrJoin(const ast::Expr& condition, Drafts& drafts) {
  const auto* general = ast::As<ast::GeneralComparison>(&condition);
  const auto* single = ast::As<ast::ValueComparison>(&condition);
  if (general == nullptr && single == nullptr) return Compile(condition);
  try {
    ComparedSides sides =
        general != nullptr ? SidesOf(*general) : SidesOf(*single);
    std::size_t last = drafts.size() - 1;
    while (last > 0 && !drafts[last].IsNeededBy(sides.left_needs) &&
           !drafts[last].IsNeededBy(sides.right_needs)) {
      --last;
    }
    if (MakeJoin(sides, drafts[last])) return nullptr;
    return Compared(std::move(sides));
  } catch (Error& error) {
    error.PlaceAt(condition.position);
    throw;
  }
}

Compiler::ComparedSides Compiler::SidesOf(const ast::GeneralComparison& expr) {
  ComparedSides sides;
  sides.comparison = {ComparisonOf(expr.relation), true};
  sides.position = expr.position;
  sides.left =
      Observe(sides.left_needs, [&] { return Atomize(Compile(expr.left)); });
  sides.right =
      Observe(sides.right_needs, [&] { return Atomize(Compile(expr.right)); });
  return sides;
}

Compiler::ComparedSides Compiler::SidesOf(const ast::ValueComparison& expr) {
  constexpr const char* kWhat = "an operand of a comparison";
  ComparedSides sides;
  sides.comparison = {ComparisonOf(expr.relation), false};
  sides.position = expr.position;
  sides.left =
      Observe(sides.left_needs, [&] { return Operand(expr.left, kWhat); });
  sides.right =
      Observe(sides.right_needs, [&] { return Operand(expr.right, kWhat); });
  return sides;
}

// The operand of the clause and the keys must be the same for all tuples that
// look there.
bool Compiler::MakeJoin(ComparedSides& sides, DraftClause& draft) {
  if (!draft.is_for || draft.join ||
      sides.comparison.comparison == Comparison::Ne) {
    return false;
  }
  const bool is_key_left = draft.IsNeededBy(sides.left_needs);
  if (is_key_left == draft.IsNeededBy(sides.right_needs)) return false;
  const Needs& key = is_key_left ? sides.left_needs : sides.right_needs;
  const Needs& probe = is_key_left ? sides.right_needs : sides.left_needs;
  Needs table = draft.needs;
  for (const std::size_t slot : key.slots)
    if (!draft.Binds(slot)) table.AddSlot(slot);
  table.is_tied |= key.is_tied || probe.is_tied;
  table.focus |= key.focus;
  if (!IsSteady(table, draft.loops)) return false;
  JoinSides& join = draft.join.emplace();
  join.comparison = sides.comparison;
  if (is_key_left)
    join.comparison.comparison = Turned(join.comparison.comparison);
  join.probe = std::move(is_key_left ? sides.right : sides.left);
  join.key = std::move(is_key_left ? sides.left : sides.right);
  join.position = sides.position;
  draft.table_slot = KeptSlot(table);
  return true;
}

// A comparison as it stands; a side of many values that is the same for many
// turns becomes a table.
PlanPtr Compiler::Compared(ComparedSides sides) {
  std::unique_ptr<Plan> plan;
  const JoinComparison& comparison = sides.comparison;
  const bool is_left_kept =
      IsSteady(sides.left_needs, loops_) && !IsSmall(*sides.left);
  const bool is_right_kept =
      IsSteady(sides.right_needs, loops_) && !IsSmall(*sides.right);
  if (!comparison.is_general) {
    plan = std::make_unique<ValueComparisonPlan>(
        comparison.comparison, std::move(sides.left), std::move(sides.right));
  } else if (is_left_kept == is_right_kept ||
             comparison.comparison == Comparison::Ne) {
    plan = std::make_unique<GeneralComparisonPlan>(
        comparison.comparison, std::move(sides.left), std::move(sides.right));
  } else {
    JoinSides join{comparison, std::move(sides.left), std::move(sides.right),
                   sides.position};
    if (is_left_kept) {
      join.comparison.comparison = Turned(comparison.comparison);
      std::swap(join.probe, join.key);
    }
    plan = std::make_unique<MemberPlan>(
        std::move(join),
        KeptSlot(is_left_kept ? sides.left_needs : sides.right_needs));
  }
  plan->position = sides.position;
  return plan;
}

}  // namespace kiv::xdb::xq
