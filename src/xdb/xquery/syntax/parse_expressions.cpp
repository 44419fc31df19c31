#include <algorithm>
#include <utility>

#include "xdb/xquery/syntax/query_parser.h"

namespace kiv::xdb::xq {

using ast::ExprPtr;

// Expr ::= ExprSingle ("," ExprSingle)*
ExprPtr QueryParser::ParseExpr() {
  const Position position = Current().position;
  ExprPtr first = ParseExprSingle();
  if (!Is(TokenKind::Comma)) return first;
  auto sequence = Make<ast::Sequence>(position);
  sequence->items.push_back(std::move(first));
  while (TakeIf(TokenKind::Comma)) {
    sequence->items.push_back(ParseExprSingle());
  }
  return sequence;
}

ExprPtr QueryParser::ParseExprSingle() {
  if (Is(TokenKind::Name)) {
    struct Statement {
      std::string_view word;
      TokenKind next;  // without it the word is a name
      ExprPtr (QueryParser::*parse)();
    };
    static constexpr Statement kStatements[] = {
        {"for", TokenKind::Dollar, &QueryParser::ParseFlwor},
        {"let", TokenKind::Dollar, &QueryParser::ParseFlwor},
        {"if", TokenKind::LeftParen, &QueryParser::ParseIf},
        {"some", TokenKind::Dollar, &QueryParser::ParseQuantified},
        {"every", TokenKind::Dollar, &QueryParser::ParseQuantified},
        {"typeswitch", TokenKind::LeftParen, &QueryParser::ParseTypeswitch},
    };
    for (const Statement& statement : kStatements) {
      if (!IsWord(statement.word) || lexer_.Ahead(1).kind != statement.next) {
        continue;
      }
      const Level level(*this);
      return (this->*statement.parse)();
    }
  }
  return ParseOperators(0);
}

// ------------------------------------------------------------------- operators

namespace {

enum class Form {
  Or,
  And,
  GeneralComparison,
  ValueComparison,
  NodeComparison,
  Range,
  Arithmetic,
  Union,
  Intersect,
  Except,
  InstanceOf,
  TreatAs,
  CastableAs,
  CastAs,
};

}  // namespace

struct OperatorInfo {
  std::string_view text;
  int level;      // higher binds closer
  bool is_chain;  // a op b op c is (a op b) op c; else it is an error
  Form form;
  int which;  // the enumerator of Relation, NodeRelation, ArithmeticOperator
};

namespace {

using enum ast::Relation;

template <typename Which>
constexpr OperatorInfo Single(std::string_view text, int level, Form form,
                              Which which) {
  return {text, level, false, form, static_cast<int>(which)};
}

constexpr OperatorInfo Chain(
    std::string_view text, int level, Form form,
    ast::ArithmeticOperator which = ast::ArithmeticOperator::Add) {
  return {text, level, true, form, static_cast<int>(which)};
}

constexpr int kTightest = 11;

constexpr OperatorInfo kOperators[] = {
    Chain("or", 0, Form::Or),
    Chain("and", 1, Form::And),
    Single("=", 2, Form::GeneralComparison, Eq),
    Single("!=", 2, Form::GeneralComparison, Ne),
    Single("<", 2, Form::GeneralComparison, Lt),
    Single("<=", 2, Form::GeneralComparison, Le),
    Single(">", 2, Form::GeneralComparison, Gt),
    Single(">=", 2, Form::GeneralComparison, Ge),
    Single("eq", 2, Form::ValueComparison, Eq),
    Single("ne", 2, Form::ValueComparison, Ne),
    Single("lt", 2, Form::ValueComparison, Lt),
    Single("le", 2, Form::ValueComparison, Le),
    Single("gt", 2, Form::ValueComparison, Gt),
    Single("ge", 2, Form::ValueComparison, Ge),
    Single("is", 2, Form::NodeComparison, ast::NodeRelation::Is),
    Single("<<", 2, Form::NodeComparison, ast::NodeRelation::Before),
    Single(">>", 2, Form::NodeComparison, ast::NodeRelation::After),
    Single("to", 3, Form::Range, 0),
    Chain("+", 4, Form::Arithmetic, ast::ArithmeticOperator::Add),
    Chain("-", 4, Form::Arithmetic, ast::ArithmeticOperator::Subtract),
    Chain("*", 5, Form::Arithmetic, ast::ArithmeticOperator::Multiply),
    Chain("div", 5, Form::Arithmetic, ast::ArithmeticOperator::Divide),
    Chain("idiv", 5, Form::Arithmetic, ast::ArithmeticOperator::IntegerDivide),
    Chain("mod", 5, Form::Arithmetic, ast::ArithmeticOperator::Modulo),
    Chain("union", 6, Form::Union),
    Chain("|", 6, Form::Union),
    Chain("intersect", 7, Form::Intersect),
    Chain("except", 7, Form::Except),
    Single("instance", 8, Form::InstanceOf, 0),
    Single("treat", 9, Form::TreatAs, 0),
    Single("castable", 10, Form::CastableAs, 0),
    Single("cast", kTightest, Form::CastAs, 0),
};

}  // namespace

// Null where no operator stands.
const OperatorInfo* QueryParser::CurrentOperator() {
  const Token& token = Current();
  switch (token.kind) {
    case TokenKind::End:
    case TokenKind::RightParen:
    case TokenKind::RightBracket:
    case TokenKind::RightBrace:
    case TokenKind::Comma:
    case TokenKind::Semicolon:
      return nullptr;
    default:
      break;
  }
  const std::string_view text = lexer_.Text(token);
  const auto* const found =
      std::find_if(std::begin(kOperators), std::end(kOperators),
                   [&](const OperatorInfo& one) { return one.text == text; });
  return found == std::end(kOperators) ? nullptr : found;
}

// Operands joined by operators of that level and closer ones.
ExprPtr QueryParser::ParseOperators(int lowest) {
  const Level level(*this);
  const Chain chain(*this);
  ExprPtr left = ParseUnary();
  int highest = kTightest;
  for (;;) {
    const OperatorInfo* const op = CurrentOperator();
    if (op == nullptr || op->level < lowest || op->level > highest) break;
    Sink();
    left = ParseOperation(std::move(left), *op);
    highest = op->is_chain ? op->level : op->level - 1;
  }
  return left;
}

namespace {

template <typename Node>
std::unique_ptr<Node> Join(Position position, ExprPtr left, ExprPtr right) {
  auto node = Make<Node>(position);
  node->left = std::move(left);
  node->right = std::move(right);
  return node;
}

}  // namespace

// At the operator; the left operand has been read.
ExprPtr QueryParser::ParseOperation(ExprPtr left, const OperatorInfo& op) {
  switch (op.form) {
    case Form::Or:
      return ParseRow<ast::Or>(std::move(left), op);
    case Form::And:
      return ParseRow<ast::And>(std::move(left), op);
    case Form::Union:
      return ParseRow<ast::Union>(std::move(left), op);
    case Form::InstanceOf:
      return ParseTyped<ast::InstanceOf>(std::move(left));
    case Form::TreatAs:
      return ParseTyped<ast::TreatAs>(std::move(left));
    case Form::CastableAs:
      return ParseTyped<ast::CastableAs>(std::move(left));
    case Form::CastAs:
      return ParseTyped<ast::CastAs>(std::move(left));
    default:
      break;
  }
  const Position position = lexer_.Take().position;
  ExprPtr right = ParseOperators(op.level + 1);
  switch (op.form) {
    case Form::GeneralComparison: {
      auto node = Join<ast::GeneralComparison>(position, std::move(left),
                                               std::move(right));
      node->relation = static_cast<ast::Relation>(op.which);
      return node;
    }
    case Form::ValueComparison: {
      auto node = Join<ast::ValueComparison>(position, std::move(left),
                                             std::move(right));
      node->relation = static_cast<ast::Relation>(op.which);
      return node;
    }
    case Form::NodeComparison: {
      auto node = Join<ast::NodeComparison>(position, std::move(left),
                                            std::move(right));
      node->relation = static_cast<ast::NodeRelation>(op.which);
      return node;
    }
    case Form::Range: {
      auto node = Make<ast::Range>(position);
      node->first = std::move(left);
      node->last = std::move(right);
      return node;
    }
    case Form::Intersect:
      return Join<ast::Intersect>(position, std::move(left), std::move(right));
    case Form::Except:
      return Join<ast::Except>(position, std::move(left), std::move(right));
    default: {
      auto node =
          Join<ast::Arithmetic>(position, std::move(left), std::move(right));
      node->op = static_cast<ast::ArithmeticOperator>(op.which);
      return node;
    }
  }
}

// first op a op b ... in one node, however many there are.
template <typename Node>
ExprPtr QueryParser::ParseRow(ExprPtr first, const OperatorInfo& op) {
  auto node = Make<Node>(Current().position);
  node->operands.push_back(std::move(first));
  const OperatorInfo* next = &op;
  do {
    lexer_.Take();
    node->operands.push_back(ParseOperators(op.level + 1));
    next = CurrentOperator();
  } while (next != nullptr && next->form == op.form);
  return node;
}

// The operators with a type behind them; each is of two words.
template <typename Node>
ExprPtr QueryParser::ParseTyped(ExprPtr operand) {
  auto node = Make<Node>(lexer_.Take().position);
  node->operand = std::move(operand);
  TakeWord(std::is_same_v<Node, ast::InstanceOf> ? "of" : "as");
  if constexpr (std::is_same_v<decltype(node->type), ast::SingleType>) {
    node->type = ParseSingleType();
  } else {
    node->type = ParseSequenceType();
  }
  return node;
}

ExprPtr QueryParser::ParseUnary() {
  if (!Is(TokenKind::Plus) && !Is(TokenKind::Minus)) return ParseValue();
  auto unary = Make<ast::Unary>(Current().position);
  while (Is(TokenKind::Plus) || Is(TokenKind::Minus)) {
    unary->is_negative ^= lexer_.Take().kind == TokenKind::Minus;
  }
  unary->operand = ParseValue();
  return unary;
}

// ValueExpr ::= ValidateExpr | PathExpr | ExtensionExpr
ExprPtr QueryParser::ParseValue() {
  if (Is(TokenKind::PragmaOpen)) return ParseExtension();
  if (IsWord("validate")) {
    const Token& next = lexer_.Ahead(1);
    if (next.kind == TokenKind::LeftBrace ||
        ((IsWord(next, "lax") || IsWord(next, "strict")) &&
         lexer_.Ahead(2).kind == TokenKind::LeftBrace)) {
      RefuseValidate();
    }
  }
  return ParsePath();
}

void QueryParser::RefuseValidate() {
  const Position position = lexer_.Take().position;
  if (!Is(TokenKind::LeftBrace)) lexer_.Take();
  ParseEnclosed();
  Fail("XQST0075", "validation is not supported", position);
}

// ------------------------------------------------------------------- extension

ExprPtr QueryParser::ParseExtension() {
  auto extension = Make<ast::Extension>(Current().position);
  while (Is(TokenKind::PragmaOpen)) extension->pragmas.push_back(ParsePragma());
  Take(TokenKind::LeftBrace, "\"{\"");
  if (TakeIf(TokenKind::RightBrace)) return extension;
  extension->operand = ParseExpr();
  Take(TokenKind::RightBrace, "\"}\"");
  return extension;
}

// "(#" S? QName (S PragmaContents)? "#)": no comments inside, nor tokens.
ast::Pragma QueryParser::ParsePragma() {
  lexer_.Seek(Current().end);
  ast::Pragma pragma;
  lexer_.SkipSpace();
  pragma.name = ParseTagName("the name of a pragma");
  const bool has_space = lexer_.SkipSpace();
  const std::string_view rest = lexer_.Rest();
  const std::size_t end = rest.find("#)");
  if (end == std::string_view::npos || (!has_space && end != 0)) {
    RefuseHere(has_space ? "a pragma with \"#)\" at its end"
                         : "white space or \"#)\"");
  }
  pragma.content = rest.substr(0, end);
  lexer_.Seek(lexer_.offset() + end + 2);
  return pragma;
}

}  // namespace kiv::xdb::xq
