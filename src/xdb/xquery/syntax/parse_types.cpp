#include <algorithm>

#include "xdb/xquery/syntax/query_parser.h"

namespace kiv::xdb::xq {

using ast::Occurrence;
using ast::TestKind;

std::optional<ast::SequenceType> QueryParser::ParseTypeDeclaration() {
  if (!TakeIfWord("as")) return std::nullopt;
  return ParseSequenceType();
}

ast::SequenceType QueryParser::ParseSequenceType() {
  ast::SequenceType type;
  type.position = Current().position;
  if (!Is(TokenKind::Name)) Refuse("a type");
  if (lexer_.Ahead(1).kind != TokenKind::LeftParen) {
    type.kind = ast::TypeKind::Atomic;
    type.atomic = TakeName("a type");
  } else if (IsWord("empty-sequence") || IsWord("item")) {
    const bool is_item = TakeChoice("item", "empty-sequence");
    Take(TokenKind::LeftParen, "\"(\"");
    Take(TokenKind::RightParen, "\")\"");
    type.kind = is_item ? ast::TypeKind::Item : ast::TypeKind::Empty;
    if (!is_item) return type;
  } else if (IsKindTestAhead()) {
    type.kind = ast::TypeKind::Node;
    type.node = ParseKindTest();
  } else {
    Refuse("a type");
  }
  type.occurrence = ParseOccurrence();
  return type;
}

// A "*" or "+" behind a type belongs to it and is no operator.
Occurrence QueryParser::ParseOccurrence() {
  if (TakeIf(TokenKind::Question)) return Occurrence::Optional;
  if (TakeIf(TokenKind::Star)) return Occurrence::ZeroOrMore;
  if (TakeIf(TokenKind::Plus)) return Occurrence::OneOrMore;
  return Occurrence::One;
}

ast::SingleType QueryParser::ParseSingleType() {
  ast::SingleType type;
  type.name = TakeName("an atomic type");
  type.is_optional = TakeIf(TokenKind::Question);
  return type;
}

ast::NodeTest QueryParser::ParseNodeTest() {
  if (IsKindTestAhead()) return ParseKindTest();
  ast::NodeTest test;
  test.kind = TestKind::Name;
  test.position = Current().position;
  ParseNameOrStar(test);
  return test;
}

namespace {

struct KindTestWord {
  std::string_view word;
  TestKind kind;
};
constexpr KindTestWord kKindTests[] = {
    {"node", TestKind::AnyKind},
    {"text", TestKind::Text},
    {"comment", TestKind::Comment},
    {"element", TestKind::Element},
    {"attribute", TestKind::Attribute},
    {"document-node", TestKind::Document},
    {"processing-instruction", TestKind::ProcessingInstruction},
    {"schema-element", TestKind::SchemaElement},
    {"schema-attribute", TestKind::SchemaAttribute},
};

const KindTestWord* FindKindTest(std::string_view word) {
  const auto* const found =
      std::find_if(std::begin(kKindTests), std::end(kKindTests),
                   [&](const KindTestWord& one) { return one.word == word; });
  return found == std::end(kKindTests) ? nullptr : found;
}

}  // namespace

bool IsReservedFunctionName(std::string_view name) {
  return FindKindTest(name) != nullptr || name == "item" ||
         name == "empty-sequence" || name == "if" || name == "typeswitch";
}

bool QueryParser::IsKindTestAhead() {
  return Is(TokenKind::Name) && lexer_.Ahead(1).kind == TokenKind::LeftParen &&
         FindKindTest(lexer_.Text(Current())) != nullptr;
}

ast::NodeTest QueryParser::ParseKindTest() {
  ast::NodeTest test;
  test.position = Current().position;
  test.kind = FindKindTest(lexer_.Text(lexer_.Take()))->kind;
  Take(TokenKind::LeftParen, "\"(\"");
  switch (test.kind) {
    case TestKind::Element:
    case TestKind::Attribute:
      ParseTypedNode(test);
      break;
    case TestKind::SchemaElement:
    case TestKind::SchemaAttribute:
      test.name = TakeName("a name");
      break;
    case TestKind::Document:
      if (IsKindTestAhead() &&
          (IsWord("element") || IsWord("schema-element"))) {
        test.root = std::make_unique<ast::NodeTest>(ParseKindTest());
      }
      break;
    case TestKind::ProcessingInstruction:
      if (Is(TokenKind::String)) {
        test.target = TakeString("a target");
      } else if (!Is(TokenKind::RightParen)) {
        test.target = TakeNcName("a target or \")\"");
      }
      break;
    case TestKind::Name:
    case TestKind::AnyKind:
    case TestKind::Text:
    case TestKind::Comment:
      break;
  }
  Take(TokenKind::RightParen, "\")\"");
  return test;
}

// The inside of element() and attribute().
void QueryParser::ParseTypedNode(ast::NodeTest& test) {
  test.any_namespace = test.any_local = true;
  if (Is(TokenKind::RightParen)) return;
  if (Is(TokenKind::Name) || Is(TokenKind::Star)) {
    ParseNameOrStar(test);
  } else {
    Refuse("a name, \"*\" or \")\"");
  }
  if (!TakeIf(TokenKind::Comma)) return;
  test.type = TakeName("a type");
  if (test.kind == TestKind::Element) {
    test.is_nillable = TakeIf(TokenKind::Question);
  }
}

void QueryParser::ParseNameOrStar(ast::NodeTest& test) {
  const TokenKind kind = Current().kind;
  test.any_namespace =
      kind == TokenKind::Star || kind == TokenKind::StarAndLocal;
  test.any_local = kind == TokenKind::Star || kind == TokenKind::PrefixAndStar;
  if (kind != TokenKind::Name && !test.any_namespace && !test.any_local) {
    Refuse("a name or the test of a node");
  }
  const Token token = lexer_.Take();
  if (kind == TokenKind::Star) return;
  test.name = NameOf(token);
  // The "*" of the text stands for no name.
  if (test.any_namespace) test.name.prefix.clear();
  if (test.any_local) test.name.local.clear();
}

}  // namespace kiv::xdb::xq
