#include "xdb/xquery/syntax/parser.h"

#include <algorithm>
#include <utility>

#include "util/utf8.h"
#include "xdb/xquery/syntax/query_parser.h"
#include "xdb/xquery/values/stack_guard.h"
#include "xdb/xquery/values/xml_characters.h"

namespace kiv::xdb::xq {
ast::Module Parse(std::string_view query, const ParseLimits& limits) {
  std::string room;
  return QueryParser(CheckedQueryText(query, room), limits).ParseModule();
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t kShown = 40;
  return "\"" + std::string(utf8::Prefix(text, kShown)) +
         (text.size() > kShown ? "...\"" : "\"");
}

std::string Quoted(const ast::LexicalName& name) { return Quoted(name.Text()); }

std::string CollapseSpace(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!IsXmlSpace(text[i])) {
      result += text[i];
    } else if (!result.empty() && result.back() != ' ') {
      result += ' ';
    }
  }
  if (result.ends_with(' ')) result.pop_back();
  return result;
}

// ---------------------------------------------------------------------- tokens

void QueryParser::Fail(std::string_view code, const std::string& message,
                       Position position) {
  throw Error(code, message, position);
}

void QueryParser::Refuse(std::string_view expected) {
  const Token& token = Current();
  if (token.kind == TokenKind::Invalid) {
    Fail("XPST0003", token.fault, token.position);
  }
  Fail("XPST0003",
       "expected " + std::string(expected) + ", found " +
           (token.kind == TokenKind::End ? "the end of the query"
                                         : Quoted(lexer_.Text(token))),
       token.position);
}

void QueryParser::RefuseHere(std::string_view expected) {
  std::string found = "the end of the query";
  if (!lexer_.IsAtEnd()) {
    const char* const begin = lexer_.Rest().data();
    char32_t character;
    const char* const end =
        utf8::DecodeOne(begin, begin + lexer_.Rest().size(), character);
    found = Quoted({begin, static_cast<std::size_t>(end - begin)});
  }
  Fail("XPST0003", "expected " + std::string(expected) + ", found " + found,
       lexer_.Here());
}

bool QueryParser::TakeIf(TokenKind kind) {
  if (!Is(kind)) return false;
  lexer_.Take();
  return true;
}

bool QueryParser::TakeIfWord(std::string_view word) {
  if (!IsWord(word)) return false;
  lexer_.Take();
  return true;
}

Token QueryParser::Take(TokenKind kind, std::string_view expected) {
  if (!Is(kind)) Refuse(expected);
  return lexer_.Take();
}

void QueryParser::TakeWord(std::string_view word) {
  if (!TakeIfWord(word)) Refuse("\"" + std::string(word) + "\"");
}

bool QueryParser::TakeChoice(std::string_view first, std::string_view second) {
  if (TakeIfWord(first)) return true;
  if (TakeIfWord(second)) return false;
  Refuse("\"" + std::string(first) + "\" or \"" + std::string(second) + "\"");
}

ast::LexicalName QueryParser::NameOf(const Token& token) const {
  const std::string_view text = lexer_.Text(token);
  ast::LexicalName name;
  name.position = token.position;
  if (token.colon == 0) {
    name.local = text;
  } else {
    name.prefix = text.substr(0, token.colon - token.begin);
    name.local = text.substr(token.colon - token.begin + 1);
  }
  return name;
}

ast::LexicalName QueryParser::TakeName(std::string_view expected) {
  return NameOf(Take(TokenKind::Name, expected));
}

std::string QueryParser::TakeNcName(std::string_view expected) {
  if (!Is(TokenKind::Name) || Current().colon != 0) Refuse(expected);
  return std::string(lexer_.Text(lexer_.Take()));
}

ast::LexicalName QueryParser::TakeVariable() {
  Take(TokenKind::Dollar, "a variable (\"$\")");
  return TakeName("the name of a variable");
}

std::string QueryParser::TakeString(std::string_view expected) {
  return lexer_.StringValue(Take(TokenKind::String, expected));
}

ast::UriLiteral QueryParser::TakeUri() {
  const Position position = Current().position;
  return {position, CollapseSpace(TakeString("a URI in quotes"))};
}

void QueryParser::CheckDepth(std::size_t depth) {
  deepest_ = std::max(deepest_, depth);
  if (IsStackLow()) {
    Fail("XPDY0130", "the query is nested deeper than the stack allows",
         Current().position);
  }
  if (deepest_ <= max_depth_) return;
  Fail("XPDY0130",
       "the query is nested deeper than " + std::to_string(max_depth_) +
           " levels",
       Current().position);
}

}  // namespace kiv::xdb::xq
