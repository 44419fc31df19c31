#include <cmath>

#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/run/constant.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/operators.h"
#include "xdb/xquery/run/paths.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {
namespace {

template <typename To, typename From>
To Same(From from) {
  // Both list the same things in the same order.
  return static_cast<To>(static_cast<int>(from));
}
static_assert(static_cast<int>(Operator::Modulo) ==
              static_cast<int>(ast::ArithmeticOperator::Modulo));

Item ValueOfLiteral(const ast::Literal& literal) {
  switch (literal.type) {
    case ast::LiteralKind::Integer:
      return FromText(literal.text, Type::Integer);
    case ast::LiteralKind::Decimal:
      return FromText(literal.text, Type::Decimal);
    case ast::LiteralKind::Double: {
      Item value = FromText(literal.text, Type::Double);
      if (std::isinf(value.AsDouble()))
        throw Error("FOAR0002", literal.text + " is too large");
      return value;
    }
    case ast::LiteralKind::String:
      return Item::OfText(literal.text);
  }
  return {};
}

}  // namespace

PlanPtr Compiler::operator()(const ast::Literal& expr) {
  try {
    return std::make_unique<ConstantPlan>(ValueOfLiteral(expr));
  } catch (const Error& error) {
    throw Error("FOAR0002", error.message(), expr.position);
  }
}

PlanPtr Compiler::operator()(const ast::Sequence& expr) {
  if (expr.items.empty()) return std::make_unique<ConstantPlan>(Item());
  std::vector<PlanPtr> parts;
  for (const ast::ExprPtr& item : expr.items) parts.push_back(Compile(item));
  return std::make_unique<SequencePlan>(std::move(parts));
}

PlanPtr Compiler::operator()(const ast::OrderingMode& expr) {
  return Compile(expr.operand);
}

PlanPtr Compiler::operator()(const ast::If& expr) {
  PlanPtr condition = Compile(expr.condition);
  PlanPtr then = Compile(expr.then);
  return std::make_unique<IfPlan>(std::move(condition), std::move(then),
                                  Compile(expr.otherwise));
}

PlanPtr Compiler::operator()(const ast::Or& expr) {
  std::vector<PlanPtr> operands;
  for (const ast::ExprPtr& one : expr.operands)
    operands.push_back(Compile(one));
  return std::make_unique<LogicPlan>(std::move(operands), true);
}

PlanPtr Compiler::operator()(const ast::And& expr) {
  std::vector<PlanPtr> operands;
  for (const ast::ExprPtr& one : expr.operands)
    operands.push_back(Compile(one));
  return std::make_unique<LogicPlan>(std::move(operands), false);
}

// Atomised, one item at most.
PlanPtr Compiler::Operand(const ast::ExprPtr& expr, const char* what) {
  return AtMostOne(Atomize(Compile(expr)), what);
}

PlanPtr Compiler::operator()(const ast::GeneralComparison& expr) {
  return Compared(SidesOf(expr));
}

PlanPtr Compiler::operator()(const ast::ValueComparison& expr) {
  return Compared(SidesOf(expr));
}

PlanPtr Compiler::operator()(const ast::NodeComparison& expr) {
  const SequenceType node{ItemType::OfKind(ItemKind::Node),
                          Occurrence::Optional};
  PlanPtr left = Check(Compile(expr.left), node, "XPTY0004", "an operand");
  return std::make_unique<NodeComparisonPlan>(
      expr.relation, std::move(left),
      Check(Compile(expr.right), node, "XPTY0004", "an operand"));
}

PlanPtr Compiler::operator()(const ast::Range& expr) {
  const SequenceType integer{ItemType::OfAtomic(Type::Integer),
                             Occurrence::Optional};
  PlanPtr first =
      Convert(Compile(expr.first), integer, false, "the start of a range");
  return std::make_unique<RangePlan>(
      std::move(first),
      Convert(Compile(expr.last), integer, false, "the end of a range"));
}

PlanPtr Compiler::operator()(const ast::Arithmetic& expr) {
  PlanPtr left = Operand(expr.left, "an operand of arithmetic");
  return std::make_unique<ArithmeticPlan>(
      Same<Operator>(expr.op), std::move(left),
      Operand(expr.right, "an operand of arithmetic"));
}

PlanPtr Compiler::operator()(const ast::Unary& expr) {
  PlanPtr operand = Operand(expr.operand, "an operand of arithmetic");
  const auto* constant = dynamic_cast<const ConstantPlan*>(operand.get());
  if (constant != nullptr && IsNumeric(constant->item().type())) {
    return std::make_unique<ConstantPlan>(expr.is_negative
                                              ? Negate(constant->item())
                                              : UnaryPlus(constant->item()));
  }
  return std::make_unique<SignPlan>(expr.is_negative, std::move(operand));
}

// Nodes in document order.
PlanPtr Compiler::Nodes(const ast::ExprPtr& expr) {
  PlanPtr plan = Compile(expr);
  if (plan->properties.is_ordered && plan->properties.IsNodes()) return plan;
  auto sorted = std::make_unique<SortedNodesPlan>(std::move(plan));
  sorted->position = expr->position;
  return sorted;
}

PlanPtr Compiler::operator()(const ast::Union& expr) {
  std::vector<PlanPtr> parts;
  for (const ast::ExprPtr& one : expr.operands) parts.push_back(Compile(one));
  return std::make_unique<SortedNodesPlan>(
      std::make_unique<SequencePlan>(std::move(parts)));
}

PlanPtr Compiler::operator()(const ast::Intersect& expr) {
  PlanPtr left = Nodes(expr.left);
  return std::make_unique<SetPlan>(false, std::move(left), Nodes(expr.right));
}

PlanPtr Compiler::operator()(const ast::Except& expr) {
  PlanPtr left = Nodes(expr.left);
  return std::make_unique<SetPlan>(true, std::move(left), Nodes(expr.right));
}

PlanPtr Compiler::operator()(const ast::InstanceOf& expr) {
  PlanPtr operand = Compile(expr.operand);
  return std::make_unique<InstancePlan>(std::move(operand),
                                        ResolveType(expr.type));
}

PlanPtr Compiler::operator()(const ast::TreatAs& expr) {
  PlanPtr operand = Compile(expr.operand);
  return Check(std::move(operand), ResolveType(expr.type), "XPDY0050",
               "the operand of treat");
}

// A string literal becomes an xs:QName by the namespaces here.
PlanPtr Compiler::CastOf(PlanPtr operand, Type type, bool is_optional,
                         Position position) const {
  const auto* constant = dynamic_cast<const ConstantPlan*>(operand.get());
  if (type == Type::QName && constant != nullptr &&
      constant->item().type() == Type::String) {
    const auto name = NameOfText(constant->item().AsText());
    if (!name) {
      throw Error("FONS0004", "the prefix of a name is not declared", position);
    }
    return std::make_unique<ConstantPlan>(Item::OfQName(*name));
  }
  auto cast = std::make_unique<CastPlan>(
      AtMostOne(Atomize(std::move(operand)), "the operand of a cast"), type,
      is_optional);
  cast->position = position;
  return cast;
}

PlanPtr Compiler::operator()(const ast::CastAs& expr) {
  PlanPtr operand = Compile(expr.operand);
  return CastOf(std::move(operand), ResolveCastTarget(expr.type.name),
                expr.type.is_optional, expr.position);
}

PlanPtr Compiler::operator()(const ast::CastableAs& expr) {
  PlanPtr operand = Compile(expr.operand);
  const Type type = ResolveCastTarget(expr.type.name);
  const auto* constant = dynamic_cast<const ConstantPlan*>(operand.get());
  if (type == Type::QName && constant != nullptr &&
      constant->item().type() == Type::String) {
    bool is_name = false;
    try {
      is_name = NameOfText(constant->item().AsText()).has_value();
    } catch (const Error&) {
      // No name at all.
    }
    return std::make_unique<ConstantPlan>(Item::OfBoolean(is_name));
  }
  return std::make_unique<CastablePlan>(Atomize(std::move(operand)), type,
                                        expr.type.is_optional);
}

// No pragma is known.
PlanPtr Compiler::operator()(const ast::Extension& expr) {
  for (const ast::Pragma& pragma : expr.pragmas) Resolve(pragma.name, "");
  if (expr.operand) return Compile(expr.operand);
  throw Error("XQST0079", "an extension of which nothing is known",
              expr.position);
}

}  // namespace kiv::xdb::xq
