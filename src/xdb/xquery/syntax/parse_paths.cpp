#include <algorithm>
#include <utility>

#include "xdb/xquery/syntax/query_parser.h"

namespace kiv::xdb::xq {

using ast::Axis;
using ast::ExprPtr;

namespace {

// "//" is /descendant-or-self::node()/.
ExprPtr AnyDepth(Position position) {
  auto step = Make<ast::AxisStep>(position);
  step->axis = Axis::DescendantOrSelf;
  step->test.position = position;
  return step;
}

}  // namespace

ExprPtr QueryParser::ParsePath() {
  if (!Is(TokenKind::Slash) && !Is(TokenKind::SlashSlash)) {
    ExprPtr step = ParseStep();
    if (!Is(TokenKind::Slash) && !Is(TokenKind::SlashSlash)) return step;
    return ParseSteps(std::move(step));
  }
  auto root = Make<ast::Root>(Current().position);
  // What may begin a step does: "/ * 5" is no product.
  if (Is(TokenKind::Slash) && !MayBeginStep(lexer_.Ahead(1))) {
    lexer_.Take();
    return root;
  }
  return ParseSteps(std::move(root));
}

// At the "/" or "//" behind the first step.
ExprPtr QueryParser::ParseSteps(ExprPtr first) {
  auto path = Make<ast::Path>(first->position);
  path->steps.push_back(std::move(first));
  while (Is(TokenKind::Slash) || Is(TokenKind::SlashSlash)) {
    const Token separator = lexer_.Take();
    if (separator.kind == TokenKind::SlashSlash) {
      path->steps.push_back(AnyDepth(separator.position));
    }
    path->steps.push_back(ParseStep());
    Sink();
  }
  return path;
}

bool QueryParser::MayBeginStep(const Token& token) {
  switch (token.kind) {
    case TokenKind::Name:
    case TokenKind::Star:
    case TokenKind::PrefixAndStar:
    case TokenKind::StarAndLocal:
    case TokenKind::String:
    case TokenKind::Integer:
    case TokenKind::Decimal:
    case TokenKind::Double:
    case TokenKind::Dollar:
    case TokenKind::LeftParen:
    case TokenKind::At:
    case TokenKind::Dot:
    case TokenKind::DotDot:
    case TokenKind::Less:
      return true;
    default:
      return false;
  }
}

// ----------------------------------------------------------------------- steps

namespace {

struct AxisName {
  std::string_view name;
  Axis axis;
};
constexpr AxisName kAxes[] = {
    {"child", Axis::Child},
    {"descendant", Axis::Descendant},
    {"attribute", Axis::Attribute},
    {"self", Axis::Self},
    {"descendant-or-self", Axis::DescendantOrSelf},
    {"following-sibling", Axis::FollowingSibling},
    {"following", Axis::Following},
    {"parent", Axis::Parent},
    {"ancestor", Axis::Ancestor},
    {"preceding-sibling", Axis::PrecedingSibling},
    {"preceding", Axis::Preceding},
    {"ancestor-or-self", Axis::AncestorOrSelf},
};

}  // namespace

// The name and its "::".
Axis QueryParser::TakeAxis() {
  for (const AxisName& one : kAxes) {
    if (!TakeIfWord(one.name)) continue;
    lexer_.Take();
    return one.axis;
  }
  Refuse("the name of an axis");
}

ExprPtr QueryParser::ParseStep() {
  const Token& token = Current();
  switch (token.kind) {
    case TokenKind::Star:
    case TokenKind::PrefixAndStar:
    case TokenKind::StarAndLocal:
      return ParseAxisStep(Axis::Child, token.position);
    case TokenKind::At:
      return ParseAxisStep(Axis::Attribute, lexer_.Take().position);
    case TokenKind::DotDot:
      return ParseParentStep();
    case TokenKind::Name:
      return ParseNamed();
    default: {
      const Position position = token.position;
      return ParseFilter(ParsePrimary(), position);
    }
  }
}

// A step, a function call or a constructor: whatever begins with a name.
ExprPtr QueryParser::ParseNamed() {
  const Position position = Current().position;
  switch (lexer_.Ahead(1).kind) {
    case TokenKind::ColonColon:
      return ParseAxisStep(TakeAxis(), position);
    case TokenKind::LeftParen:
      if (!IsKindTestAhead()) return ParseFilter(ParseFunctionCall(), position);
      return ParseAxisStep(IsWord("attribute") || IsWord("schema-attribute")
                               ? Axis::Attribute
                               : Axis::Child,
                           position);
    case TokenKind::LeftBrace:
      if (IsWord("ordered") || IsWord("unordered")) {
        return ParseFilter(ParseOrderingMode(), position);
      }
      [[fallthrough]];
    case TokenKind::Name:
      if (const auto kind = ComputedAhead()) {
        return ParseFilter(ParseComputed(*kind), position);
      }
      [[fallthrough]];
    default:
      return ParseAxisStep(Axis::Child, position);
  }
}

// At the test.
ExprPtr QueryParser::ParseAxisStep(Axis axis, Position position) {
  auto step = Make<ast::AxisStep>(position);
  step->axis = axis;
  step->test = ParseNodeTest();
  step->predicates = ParsePredicates();
  return step;
}

// ".." is parent::node().
ExprPtr QueryParser::ParseParentStep() {
  auto step = Make<ast::AxisStep>(lexer_.Take().position);
  step->axis = Axis::Parent;
  step->test.position = step->position;
  step->predicates = ParsePredicates();
  return step;
}

ExprPtr QueryParser::ParseFilter(ExprPtr base, Position position) {
  if (!Is(TokenKind::LeftBracket)) return base;
  auto filter = Make<ast::Filter>(position);
  filter->base = std::move(base);
  filter->predicates = ParsePredicates();
  return filter;
}

std::vector<ExprPtr> QueryParser::ParsePredicates() {
  std::vector<ExprPtr> predicates;
  while (TakeIf(TokenKind::LeftBracket)) {
    predicates.push_back(ParseExpr());
    Take(TokenKind::RightBracket, "\"]\"");
    Sink();
  }
  return predicates;
}

// --------------------------------------------------------- primary expressions

ExprPtr QueryParser::ParsePrimary() {
  switch (Current().kind) {
    case TokenKind::String:
    case TokenKind::Integer:
    case TokenKind::Decimal:
    case TokenKind::Double:
      return ParseLiteral();
    case TokenKind::Dollar: {
      auto reference = Make<ast::VariableReference>(Current().position);
      reference->name = TakeVariable();
      return reference;
    }
    case TokenKind::LeftParen:
      return ParseParenthesised();
    case TokenKind::Dot:
      return Make<ast::ContextItem>(lexer_.Take().position);
    case TokenKind::Less:
      lexer_.Seek(Current().begin);
      return ParseDirect();
    default:
      Refuse("an expression");
  }
}

ExprPtr QueryParser::ParseLiteral() {
  const Token token = lexer_.Take();
  auto literal = Make<ast::Literal>(token.position);
  if (token.kind == TokenKind::String) {
    literal->text = lexer_.StringValue(token);
    return literal;
  }
  literal->type = token.kind == TokenKind::Integer   ? ast::LiteralKind::Integer
                  : token.kind == TokenKind::Decimal ? ast::LiteralKind::Decimal
                                                     : ast::LiteralKind::Double;
  literal->text = lexer_.Text(token);
  return literal;
}

ExprPtr QueryParser::ParseParenthesised() {
  const Position position = lexer_.Take().position;
  if (TakeIf(TokenKind::RightParen)) return Make<ast::Sequence>(position);
  ExprPtr inside = ParseExpr();
  Take(TokenKind::RightParen, "\",\" or \")\"");
  return inside;
}

ExprPtr QueryParser::ParseFunctionCall() {
  auto call = Make<ast::FunctionCall>(Current().position);
  call->name = TakeName("the name of a function");
  if (call->name.prefix.empty() && IsReservedFunctionName(call->name.local)) {
    Fail("XPST0003", Quoted(call->name) + " cannot be the name of a function",
         call->position);
  }
  Take(TokenKind::LeftParen, "\"(\"");
  if (TakeIf(TokenKind::RightParen)) return call;
  do {
    call->arguments.push_back(ParseExprSingle());
  } while (TakeIf(TokenKind::Comma));
  Take(TokenKind::RightParen, "\",\" or \")\"");
  return call;
}

ExprPtr QueryParser::ParseOrderingMode() {
  auto mode = Make<ast::OrderingMode>(Current().position);
  mode->is_ordered = TakeChoice("ordered", "unordered");
  mode->operand = ParseEnclosed();
  return mode;
}

// "{" Expr "}"
ExprPtr QueryParser::ParseEnclosed() {
  Take(TokenKind::LeftBrace, "\"{\"");
  ExprPtr inside = ParseExpr();
  Take(TokenKind::RightBrace, "\"}\"");
  return inside;
}

}  // namespace kiv::xdb::xq
