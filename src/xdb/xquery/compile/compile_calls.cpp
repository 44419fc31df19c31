#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/run/calls.h"
#include "xdb/xquery/run/constant.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/paths.h"

namespace kiv::xdb::xq {
namespace {

[[noreturn]] void ThrowNoFunction(const ast::FunctionCall& expr) {
  const std::size_t count = expr.arguments.size();
  throw Error("XPST0017",
              "there is no function " + expr.name.Text() + " of " +
                  std::to_string(count) +
                  (count == 1 ? " argument" : " arguments"),
              expr.position);
}

}  // namespace

PlanPtr Compiler::operator()(const ast::FunctionCall& expr) {
  const QName name = Resolve(expr.name, default_function_namespace_);
  PlanPtr plan = name.uri == kSchemaNamespace     ? ConstructorCall(expr, name)
                 : name.uri == kFunctionNamespace ? LibraryCall(expr, name)
                                                  : UserCall(expr, name);
  // Of an argument.
  provenance_.reset();
  if (const auto* made = dynamic_cast<const CollectionPlan*>(plan.get()))
    provenance_ =
        Provenance{const_cast<CollectionPlan*>(made), {}, false, loops_, true};
  return plan;
}

PlanPtr Compiler::ConstructorCall(const ast::FunctionCall& expr,
                                  const QName& name) {
  const Type type = TypeNamed(name.local);
  if (!IsAtomic(type) || type == Type::AnyAtomic || type == Type::Notation ||
      expr.arguments.size() != 1) {
    ThrowNoFunction(expr);
  }
  return CastOf(Compile(expr.arguments.front()), type, true, expr.position);
}

PlanPtr Compiler::LibraryCall(const ast::FunctionCall& expr,
                              const QName& name) {
  const Function* function = FindFunction(name.local, expr.arguments.size());
  if (function == nullptr) ThrowNoFunction(expr);
  std::vector<PlanPtr> arguments;
  const auto add = [&](PlanPtr argument) {
    const std::size_t index = arguments.size();
    const SignatureType& type = function->Parameter(index);
    arguments.push_back(
        Convert(std::move(argument), type.ToSequenceType(), type.is_numeric,
                "argument " + std::to_string(index + 1) + " of " + name.local));
  };
  for (const ast::ExprPtr& argument : expr.arguments) add(Compile(argument));
  if (function->implied != ImpliedArgument::None &&
      expr.arguments.size() == function->min_arity) {
    auto context = std::make_unique<ContextItemPlan>();
    context->position = expr.position;
    needs_->focus = true;
    PlanPtr argument = std::move(context);
    if (function->implied == ImpliedArgument::ContextString) {
      Plans item;
      item.push_back(std::move(argument));
      const Function* string = FindFunction("string", 1);
      argument = CallOfEngine(*string, std::move(item),
                              string->result.ToSequenceType());
    }
    add(std::move(argument));
  }
  if (focus_use_ != nullptr) {
    focus_use_->position |= (function->depends_on & kOnPosition) != 0;
    focus_use_->last |= (function->depends_on & kOnSize) != 0;
  }
  needs_->focus |= function->depends_on & (kOnPosition | kOnSize);
  needs_->is_tied |= (function->depends_on & kHasEffect) != 0;
  SequenceType result = function->result.ToSequenceType();
  // What never returns must not pass for an empty sequence.
  if (function->engine == EngineFunction::Error)
    result = {ItemType::OfKind(ItemKind::Item), Occurrence::ZeroOrMore};
  if (function->engine == EngineFunction::Collection) {
    return std::make_unique<CollectionPlan>(
        arguments.empty() ? nullptr : std::move(arguments.front()),
        slot_count_);
  }
  if (function->engine != EngineFunction::None)
    return CallOfEngine(*function, std::move(arguments), result);
  return CallOfScalar(*function, std::move(arguments), result);
}

PlanPtr Compiler::UserCall(const ast::FunctionCall& expr, const QName& name) {
  for (const UserFunction& function : query_.functions) {
    if (!(function.name == name) ||
        function.parameters.size() != expr.arguments.size()) {
      continue;
    }
    if (references_ != nullptr)
      references_->others.push_back(&function_references_[&function]);
    // It may make nodes, or never return.
    needs_->is_tied = true;
    std::vector<PlanPtr> arguments;
    for (std::size_t i = 0; i < expr.arguments.size(); ++i) {
      arguments.push_back(
          Convert(Compile(expr.arguments[i]), function.parameters[i], false,
                  "argument " + std::to_string(i + 1) + " of " + name.local));
    }
    return std::make_unique<UserCallPlan>(function, std::move(arguments));
  }
  ThrowNoFunction(expr);
}

}  // namespace kiv::xdb::xq
