#include <algorithm>

#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/run/paths.h"

namespace kiv::xdb::xq {

using ast::Axis;
using ast::TestKind;

bool Compiler::Predicate::IsPositional() const {
  const Properties& known = plan->properties;
  const bool is_truth_value =
      known.IsNodes() || (known.type.item.kind == ItemKind::Atomic &&
                          !IsNumeric(known.type.item.type) &&
                          known.type.item.type != Type::AnyAtomic);
  return use.position || use.last || !is_truth_value;
}

// Compiles what is evaluated with a focus of its own, and notes what it asks of
// that.
PlanPtr Compiler::WithFocus(FocusUse& use,
                            const std::function<PlanPtr()>& make_plan) {
  FocusUse* const outer = std::exchange(focus_use_, &use);
  const std::size_t outer_loops = std::exchange(focus_loops_, ++loops_);
  const auto restore = [&] {
    focus_use_ = outer;
    focus_loops_ = outer_loops;
    --loops_;
  };
  try {
    Needs needs;
    const bool had_focus = needs_->focus;
    PlanPtr plan = Observe(needs, make_plan);
    needs_->focus = had_focus;
    restore();
    return plan;
  } catch (...) {
    restore();
    throw;
  }
}

NodeMatch Compiler::ResolveTest(const ast::NodeTest& test, Axis axis) {
  NodeMatch match;
  match.principal =
      axis == Axis::Attribute ? NodeKind::Attribute : NodeKind::Element;
  if (test.kind == TestKind::AnyKind) return match;
  if (test.kind != TestKind::Name) {
    match.kind = NodeMatch::Kind::Type;
    match.type = ResolveNodeType(test);
    return match;
  }
  if (test.any_namespace && test.any_local) {
    match.kind = NodeMatch::Kind::Type;
    match.type = ItemType::OfKind(axis == Axis::Attribute ? ItemKind::Attribute
                                                          : ItemKind::Element);
  } else if (test.any_namespace) {
    match.kind = NodeMatch::Kind::Local;
    match.name.local = test.name.local;
  } else if (test.any_local) {
    match.kind = NodeMatch::Kind::Uri;
    match.name = Resolve(test.name, "");
  } else {
    match.kind = NodeMatch::Kind::Name;
    match.name = Resolve(test.name, axis == Axis::Attribute
                                        ? std::string()
                                        : default_element_namespace());
    match.slot = name_count_++;
  }
  return match;
}

std::vector<Compiler::Predicate> Compiler::CompilePredicates(
    const std::vector<ast::ExprPtr>& predicates) {
  std::vector<Predicate> compiled;
  for (const ast::ExprPtr& predicate : predicates) {
    Predicate& one = compiled.emplace_back();
    one.plan = WithFocus(one.use, [&] { return Compile(predicate); });
  }
  return compiled;
}

PlanPtr Compiler::MakeStep(Axis axis, const ast::AxisStep& step,
                           std::vector<Predicate> predicates) {
  const auto place = [&step](std::unique_ptr<Plan> plan) -> PlanPtr {
    plan->position = step.position;
    return plan;
  };
  PlanPtr plan =
      place(std::make_unique<AxisPlan>(axis, ResolveTest(step.test, axis)));
  for (Predicate& predicate : predicates) {
    const bool is_positional = predicate.IsPositional();
    plan = place(
        std::make_unique<FilterPlan>(std::move(plan), std::move(predicate.plan),
                                     predicate.use.last, is_positional));
  }
  if (!IsReverse(axis) || plan->properties.is_ordered) return plan;
  return place(std::make_unique<ReversePlan>(std::move(plan)));
}

PlanPtr Compiler::operator()(const ast::AxisStep& expr) {
  needs_->focus = true;
  return MakeStep(expr.axis, expr, CompilePredicates(expr.predicates));
}

PlanPtr Compiler::operator()(const ast::Root&) {
  needs_->focus = true;
  return std::make_unique<RootPlan>();
}

PlanPtr Compiler::operator()(const ast::ContextItem&) {
  needs_->focus = true;
  return std::make_unique<ContextItemPlan>();
}

PlanPtr Compiler::Join(PlanPtr left, const ast::Expr& right, bool is_last) {
  FocusUse use;
  PlanPtr step = WithFocus(use, [&] { return Compile(right); });
  auto path = std::make_unique<PathPlan>(std::move(left), std::move(step),
                                         use.last, is_last);
  path->position = right.position;
  return path;
}

// "//a" walks down once, unless a predicate counts the children of each parent.
PlanPtr Compiler::operator()(const ast::Path& expr) {
  PlanPtr plan = Compile(expr.steps.front());
  std::optional<Provenance> from = std::exchange(provenance_, std::nullopt);
  for (std::size_t i = 1; i < expr.steps.size(); ++i) {
    const auto* any = ast::As<ast::AxisStep>(expr.steps[i]);
    const bool is_any = any != nullptr && any->axis == Axis::DescendantOrSelf &&
                        any->test.kind == TestKind::AnyKind &&
                        any->predicates.empty() && i + 1 < expr.steps.size();
    const auto* child =
        is_any ? ast::As<ast::AxisStep>(expr.steps[i + 1]) : nullptr;
    if (child == nullptr || child->axis != Axis::Child) {
      plan = Join(std::move(plan), *expr.steps[i], i + 1 == expr.steps.size());
      continue;
    }
    std::vector<Predicate> predicates = CompilePredicates(child->predicates);
    bool is_positional = false;
    for (const Predicate& one : predicates)
      is_positional = is_positional || one.IsPositional();
    if (is_positional) plan = Join(std::move(plan), *expr.steps[i], false);
    PlanPtr step = MakeStep(is_positional ? Axis::Child : Axis::Descendant,
                            *child, std::move(predicates));
    auto path = std::make_unique<PathPlan>(std::move(plan), std::move(step),
                                           false, i + 2 == expr.steps.size());
    path->position = child->position;
    plan = std::move(path);
    ++i;
  }
  for (std::size_t i = 1; i < expr.steps.size(); ++i) {
    Follow(from, *expr.steps[i]);
    if (const auto* step = ast::As<ast::AxisStep>(expr.steps[i]))
      RequirePredicates(from, step->predicates);
  }
  provenance_ = std::move(from);
  return plan;
}

PlanPtr Compiler::operator()(const ast::Filter& expr) {
  PlanPtr plan = Compile(expr.base);
  std::optional<Provenance> from = std::exchange(provenance_, std::nullopt);
  std::vector<Predicate> predicates = CompilePredicates(expr.predicates);
  // What a position counts must all be there.
  if (std::any_of(predicates.begin(), predicates.end(),
                  [](const Predicate& one) { return one.IsPositional(); }))
    from.reset();
  RequirePredicates(from, expr.predicates);
  provenance_ = std::move(from);
  for (Predicate& predicate : predicates) {
    const bool is_positional = predicate.IsPositional();
    auto filter =
        std::make_unique<FilterPlan>(std::move(plan), std::move(predicate.plan),
                                     predicate.use.last, is_positional);
    filter->position = expr.position;
    plan = std::move(filter);
  }
  return plan;
}

}  // namespace kiv::xdb::xq
