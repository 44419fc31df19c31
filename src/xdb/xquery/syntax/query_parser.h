#ifndef XDB_XQUERY_SYNTAX_QUERY_PARSER_H_
#define XDB_XQUERY_SYNTAX_QUERY_PARSER_H_

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/xquery/syntax/ast.h"
#include "xdb/xquery/syntax/lexer.h"
#include "xdb/xquery/syntax/parser.h"

namespace kiv::xdb::xq {

struct OperatorInfo;

// Recursive descent, one token of lookahead and at two places two; binary
// operators by precedence. Each Parse... stands at its first token and leaves
// what is behind it.
class QueryParser {
 public:
  QueryParser(std::string_view text, const ParseLimits& limits)
      : lexer_(text), max_depth_(limits.max_depth) {}

  ast::Module ParseModule();

 private:
  // parse_prolog.cpp: the module and its prolog
  void ParseVersion(ast::Module& module);
  void RefuseLibraryModule();
  void ParseProlog(ast::Prolog& prolog);
  bool ParseDeclaration(ast::Prolog& prolog, bool& is_past_settings);
  template <typename T>
  void SetOnce(std::optional<T>& setting, T value, std::string_view code);
  void ParseBoundarySpace(ast::Prolog& prolog);
  void ParseConstruction(ast::Prolog& prolog);
  void ParseOrdering(ast::Prolog& prolog);
  void ParseBaseUri(ast::Prolog& prolog);
  void ParseCopyNamespaces(ast::Prolog& prolog);
  void ParseDefault(ast::Prolog& prolog);
  void ParseNamespace(ast::Prolog& prolog);
  void ParseVariable(ast::Prolog& prolog);
  void ParseFunction(ast::Prolog& prolog);
  std::vector<ast::Parameter> ParseParameters();
  void ParseOption(ast::Prolog& prolog);
  bool RefuseImport();

  // parse_expressions.cpp
  ast::ExprPtr ParseExpr();
  ast::ExprPtr ParseExprSingle();
  ast::ExprPtr ParseOperators(int lowest);
  ast::ExprPtr ParseOperation(ast::ExprPtr left, const OperatorInfo& op);
  template <typename Node>
  ast::ExprPtr ParseRow(ast::ExprPtr first, const OperatorInfo& op);
  template <typename Node>
  ast::ExprPtr ParseTyped(ast::ExprPtr operand);
  const OperatorInfo* CurrentOperator();
  ast::ExprPtr ParseUnary();
  ast::ExprPtr ParseValue();
  [[noreturn]] void RefuseValidate();
  ast::ExprPtr ParseExtension();
  ast::Pragma ParsePragma();

  // parse_flwor.cpp: FLWOR and conditions
  ast::ExprPtr ParseFlwor();
  enum class Clause { For, Let, Quantified };
  void ParseBindings(Clause clause, std::vector<ast::Binding>& out);
  std::vector<ast::OrderSpec> ParseOrderSpecs();
  ast::ExprPtr ParseQuantified();
  ast::ExprPtr ParseTypeswitch();
  void ParseCase(ast::Typeswitch::Case& result);
  ast::ExprPtr ParseIf();

  // parse_paths.cpp: paths, steps and primary expressions
  ast::ExprPtr ParsePath();
  ast::ExprPtr ParseSteps(ast::ExprPtr first);
  static bool MayBeginStep(const Token& token);
  ast::ExprPtr ParseStep();
  bool IsKindTestAhead();
  ast::Axis TakeAxis();
  ast::ExprPtr ParseAxisStep(ast::Axis axis, Position position);
  ast::ExprPtr ParseParentStep();
  ast::ExprPtr ParsePrimary();
  ast::ExprPtr ParseNamed();
  ast::ExprPtr ParseLiteral();
  ast::ExprPtr ParseParenthesised();
  ast::ExprPtr ParseFunctionCall();
  ast::ExprPtr ParseOrderingMode();
  ast::ExprPtr ParseEnclosed();
  ast::ExprPtr ParseFilter(ast::ExprPtr base, Position position);
  std::vector<ast::ExprPtr> ParsePredicates();

  // parse_types.cpp
  ast::SequenceType ParseSequenceType();
  std::optional<ast::SequenceType> ParseTypeDeclaration();
  ast::SingleType ParseSingleType();
  ast::Occurrence ParseOccurrence();
  ast::NodeTest ParseNodeTest();
  ast::NodeTest ParseKindTest();
  void ParseTypedNode(ast::NodeTest& test);
  void ParseNameOrStar(ast::NodeTest& test);

  // parse_constructors.cpp
  std::optional<ast::ConstructedKind> ComputedAhead();
  ast::ExprPtr ParseComputed(ast::ConstructedKind kind);
  // These read characters and stand at the "<" of what they read.
  ast::ExprPtr ParseDirect();
  ast::ExprPtr ParseDirectElement();
  ast::ExprPtr ParseDirectComment();
  ast::ExprPtr ParseDirectInstruction();
  void ParseAttributes(ast::DirectElement& element);
  void ParseAttribute(ast::DirectElement& element);
  std::vector<ast::Part> ParseAttributeValue();
  void AddNamespace(ast::DirectElement& element,
                    const ast::DirectAttribute& attribute);
  void ParseContent(ast::DirectElement& element);
  class PartList;
  void ParseSpecial(PartList& parts);
  ast::ExprPtr ParseEnclosedHere();
  void ParseCdata(std::string& text);
  void ParseEndTag(const ast::DirectElement& element);
  ast::LexicalName ParseTagName(std::string_view what);

  // Tokens
  const Token& Current() { return lexer_.Current(); }
  bool Is(TokenKind kind) { return Current().kind == kind; }
  bool IsWord(const Token& token, std::string_view word) const {
    return token.kind == TokenKind::Name && lexer_.Text(token) == word;
  }
  bool IsWord(std::string_view word) { return IsWord(Current(), word); }
  bool TakeIf(TokenKind kind);
  bool TakeIfWord(std::string_view word);
  Token Take(TokenKind kind, std::string_view expected);
  void TakeWord(std::string_view word);
  // True when the first of the two words stands there, false for the second;
  // both fail otherwise.
  bool TakeChoice(std::string_view first, std::string_view second);
  ast::LexicalName TakeName(std::string_view expected);
  std::string TakeNcName(std::string_view expected);
  ast::LexicalName TakeVariable();
  std::string TakeString(std::string_view expected);
  ast::UriLiteral TakeUri();
  ast::LexicalName NameOf(const Token& token) const;

  // Where characters are read.
  [[noreturn]] void RefuseHere(std::string_view expected);

  [[noreturn]] void Refuse(std::string_view expected);
  [[noreturn]] static void Fail(std::string_view code,
                                const std::string& message, Position position);

  // The depth of what is parsed. Where a tree grows upward (a - b - c), what
  // was parsed sinks; `deepest_` is how deep anything in the expression at hand
  // lies by now.
  class Level {
   public:
    explicit Level(QueryParser& parser) : parser_(parser) {
      parser_.CheckDepth(++parser_.depth_);
    }
    ~Level() { --parser_.depth_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

   private:
    QueryParser& parser_;
  };
  // What is made of parts each of which lies in the next one: a - b - c, the
  // steps of a path, its predicates, the clauses of a FLWOR.
  class Chain {
   public:
    explicit Chain(QueryParser& parser)
        : parser_(parser),
          outside_(std::exchange(parser.deepest_, parser.depth_)) {}
    ~Chain() { parser_.deepest_ = std::max(parser_.deepest_, outside_); }
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

   private:
    QueryParser& parser_;
    const std::size_t outside_;
  };
  // All that was parsed of the chain at hand comes to lie in one more.
  void Sink() { CheckDepth(deepest_ + 1); }
  void CheckDepth(std::size_t depth);

  Lexer lexer_;
  std::size_t max_depth_;
  std::size_t depth_ = 0;
  std::size_t deepest_ = 0;
  bool is_boundary_space_kept_ = false;
  Position declaration_;  // of the prolog, the one at hand
};

// A new node at that place.
template <typename Node>
std::unique_ptr<Node> Make(Position position) {
  auto node = std::make_unique<Node>();
  node->position = position;
  return node;
}

// For a message: in quotes, cut where it is long.
std::string Quoted(std::string_view text);
std::string Quoted(const ast::LexicalName& name);

// The names that a function without a prefix cannot have.
bool IsReservedFunctionName(std::string_view name);

// Without white space at its ends, and a single space wherever there is some.
std::string CollapseSpace(std::string_view text);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_SYNTAX_QUERY_PARSER_H_
