#include <utility>

#include "xdb/xquery/syntax/query_parser.h"

namespace kiv::xdb::xq {

using ast::ExprPtr;

ExprPtr QueryParser::ParseFlwor() {
  const Chain chain(*this);
  auto flwor = Make<ast::Flwor>(Current().position);
  const auto is_clause = [this] {
    return (IsWord("for") || IsWord("let")) &&
           lexer_.Ahead(1).kind == TokenKind::Dollar;
  };
  while (is_clause()) {
    ParseBindings(TakeChoice("for", "let") ? Clause::For : Clause::Let,
                  flwor->bindings);
  }
  if (TakeIfWord("where")) flwor->where = ParseExprSingle();
  flwor->is_stable = TakeIfWord("stable");
  if (flwor->is_stable || IsWord("order")) {
    TakeWord("order");
    TakeWord("by");
    flwor->order_by = ParseOrderSpecs();
  }
  if (!TakeIfWord("return")) {
    Refuse(!flwor->order_by.empty() ? "\"return\""
           : flwor->where           ? "\"order by\" or \"return\""
                          : "\"for\", \"let\", \"where\", \"order by\" or "
                            "\"return\"");
  }
  flwor->result = ParseExprSingle();
  return flwor;
}

// The variables of one clause, which stands behind its first word.
void QueryParser::ParseBindings(Clause clause, std::vector<ast::Binding>& out) {
  do {
    ast::Binding& binding = out.emplace_back();
    binding.kind = clause == Clause::Let ? ast::Binding::Kind::Let
                                         : ast::Binding::Kind::For;
    binding.position = Current().position;
    binding.variable = TakeVariable();
    binding.type = ParseTypeDeclaration();
    if (clause == Clause::For && TakeIfWord("at")) binding.at = TakeVariable();
    if (clause == Clause::Let) {
      Take(TokenKind::Assign, "\":=\"");
    } else {
      TakeWord("in");
    }
    binding.operand = ParseExprSingle();
    Sink();
  } while (TakeIf(TokenKind::Comma));
}

std::vector<ast::OrderSpec> QueryParser::ParseOrderSpecs() {
  std::vector<ast::OrderSpec> specs;
  do {
    ast::OrderSpec& spec = specs.emplace_back();
    spec.position = Current().position;
    spec.key = ParseExprSingle();
    if (!TakeIfWord("ascending")) spec.is_descending = TakeIfWord("descending");
    if (TakeIfWord("empty")) {
      spec.empty = TakeChoice("greatest", "least") ? ast::EmptyOrder::Greatest
                                                   : ast::EmptyOrder::Least;
    }
    if (TakeIfWord("collation")) spec.collation = TakeUri().text;
  } while (TakeIf(TokenKind::Comma));
  return specs;
}

ExprPtr QueryParser::ParseQuantified() {
  const Chain chain(*this);
  auto quantified = Make<ast::Quantified>(Current().position);
  quantified->is_every = TakeChoice("every", "some");
  ParseBindings(Clause::Quantified, quantified->bindings);
  TakeWord("satisfies");
  quantified->satisfies = ParseExprSingle();
  return quantified;
}

// ------------------------------------------------------------------ conditions

ExprPtr QueryParser::ParseIf() {
  auto conditional = Make<ast::If>(lexer_.Take().position);
  Take(TokenKind::LeftParen, "\"(\"");
  conditional->condition = ParseExpr();
  Take(TokenKind::RightParen, "\")\"");
  TakeWord("then");
  conditional->then = ParseExprSingle();
  TakeWord("else");
  conditional->otherwise = ParseExprSingle();
  return conditional;
}

ExprPtr QueryParser::ParseTypeswitch() {
  auto choice = Make<ast::Typeswitch>(lexer_.Take().position);
  Take(TokenKind::LeftParen, "\"(\"");
  choice->operand = ParseExpr();
  Take(TokenKind::RightParen, "\")\"");
  if (!IsWord("case")) Refuse("\"case\"");
  while (IsWord("case")) ParseCase(choice->cases.emplace_back());
  choice->otherwise.position = Current().position;
  if (!TakeIfWord("default")) Refuse("\"case\" or \"default\"");
  choice->otherwise.type.occurrence = ast::Occurrence::ZeroOrMore;
  if (Is(TokenKind::Dollar)) choice->otherwise.variable = TakeVariable();
  TakeWord("return");
  choice->otherwise.result = ParseExprSingle();
  return choice;
}

void QueryParser::ParseCase(ast::Typeswitch::Case& result) {
  result.position = lexer_.Take().position;
  if (Is(TokenKind::Dollar)) {
    result.variable = TakeVariable();
    TakeWord("as");
  }
  result.type = ParseSequenceType();
  TakeWord("return");
  result.result = ParseExprSingle();
}

}  // namespace kiv::xdb::xq
