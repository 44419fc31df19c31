#include <algorithm>
#include <utility>

#include "xdb/xquery/syntax/query_parser.h"
#include "xdb/xquery/values/xml_characters.h"

namespace kiv::xdb::xq {

using ast::ConstructedKind;
using ast::ExprPtr;

// -------------------------------------------------------- computed
// constructors

// At a name with "{" or another name behind it.
std::optional<ConstructedKind> QueryParser::ComputedAhead() {
  struct Word {
    std::string_view word;
    ConstructedKind kind;
    bool has_name;
  };
  static constexpr Word kWords[] = {
      {"document", ConstructedKind::Document, false},
      {"element", ConstructedKind::Element, true},
      {"attribute", ConstructedKind::Attribute, true},
      {"text", ConstructedKind::Text, false},
      {"comment", ConstructedKind::Comment, false},
      {"processing-instruction", ConstructedKind::ProcessingInstruction, true},
  };
  const auto* const found =
      std::find_if(std::begin(kWords), std::end(kWords),
                   [&](const Word& one) { return IsWord(one.word); });
  if (found == std::end(kWords)) return std::nullopt;
  const bool is_here =
      lexer_.Ahead(1).kind == TokenKind::LeftBrace ||
      (found->has_name && lexer_.Ahead(2).kind == TokenKind::LeftBrace);
  return is_here ? std::optional(found->kind) : std::nullopt;
}

ExprPtr QueryParser::ParseComputed(ConstructedKind kind) {
  auto node = Make<ast::ComputedNode>(lexer_.Take().position);
  node->node = kind;
  const bool has_name = kind == ConstructedKind::Element ||
                        kind == ConstructedKind::Attribute ||
                        kind == ConstructedKind::ProcessingInstruction;
  if (!has_name) {
    node->content = ParseEnclosed();
    return node;
  }
  if (Is(TokenKind::LeftBrace)) {
    node->name_expr = ParseEnclosed();
  } else if (kind == ConstructedKind::ProcessingInstruction) {
    node->name.position = Current().position;
    node->name.local = TakeNcName("a target, which has no prefix");
  } else {
    node->name = TakeName("a name");
  }
  Take(TokenKind::LeftBrace, "\"{\"");
  if (TakeIf(TokenKind::RightBrace)) return node;
  node->content = ParseExpr();
  Take(TokenKind::RightBrace, "\"}\"");
  return node;
}

// ---------------------------------------------------------- direct
// constructors

ExprPtr QueryParser::ParseDirect() {
  if (lexer_.StartsWith("<!--")) return ParseDirectComment();
  if (lexer_.StartsWith("<?")) return ParseDirectInstruction();
  return ParseDirectElement();
}

ExprPtr QueryParser::ParseDirectComment() {
  auto comment = Make<ast::DirectComment>(lexer_.Here());
  lexer_.Skip("<!--");
  const std::size_t end = lexer_.Rest().find("--");
  if (end == std::string_view::npos) {
    Fail("XPST0003", "a comment without an end", comment->position);
  }
  comment->text = lexer_.Rest().substr(0, end);
  lexer_.Seek(lexer_.offset() + end);
  if (!lexer_.Skip("-->")) {
    Fail("XPST0003", "\"--\" inside a comment", lexer_.Here());
  }
  return comment;
}

ExprPtr QueryParser::ParseDirectInstruction() {
  auto instruction = Make<ast::DirectInstruction>(lexer_.Here());
  lexer_.Skip("<?");
  instruction->target = lexer_.TakeNcName();
  std::string lower = instruction->target;
  for (char& c : lower)
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  if (lower.empty() || lower == "xml") {
    Fail("XPST0003",
         "expected the target of a processing instruction, other than \"xml\"",
         instruction->position);
  }
  const bool has_space = lexer_.SkipSpace();
  const std::size_t end = lexer_.Rest().find("?>");
  if (end == std::string_view::npos) {
    Fail("XPST0003", "a processing instruction without an end",
         instruction->position);
  }
  if (!has_space && end != 0) RefuseHere("white space or \"?>\"");
  instruction->text = lexer_.Rest().substr(0, end);
  lexer_.Seek(lexer_.offset() + end + 2);
  return instruction;
}

// A name with or without a prefix, right here.
ast::LexicalName QueryParser::ParseTagName(std::string_view what) {
  ast::LexicalName name;
  name.position = lexer_.Here();
  name.local = lexer_.TakeNcName();
  if (name.local.empty()) RefuseHere(what);
  if (lexer_.Skip(":")) {
    name.prefix = std::exchange(name.local, lexer_.TakeNcName());
    if (name.local.empty()) RefuseHere(what);
  }
  return name;
}

ExprPtr QueryParser::ParseDirectElement() {
  const Level level(*this);
  auto element = Make<ast::DirectElement>(lexer_.Here());
  lexer_.Skip("<");
  element->name = ParseTagName("the name of an element right behind \"<\"");
  ParseAttributes(*element);
  if (lexer_.Skip("/>")) return element;
  lexer_.Skip(">");
  ParseContent(*element);
  ParseEndTag(*element);
  return element;
}

// Up to the "/>" or ">".
void QueryParser::ParseAttributes(ast::DirectElement& element) {
  for (;;) {
    const bool has_space = lexer_.SkipSpace();
    if (lexer_.StartsWith("/>") || lexer_.StartsWith(">")) return;
    if (!has_space) RefuseHere("white space, \"/>\" or \">\"");
    ParseAttribute(element);
  }
}

void QueryParser::ParseAttribute(ast::DirectElement& element) {
  ast::DirectAttribute attribute;
  attribute.name = ParseTagName("an attribute, \"/>\" or \">\"");
  lexer_.SkipSpace();
  if (!lexer_.Skip("=")) RefuseHere("\"=\"");
  lexer_.SkipSpace();
  attribute.value = ParseAttributeValue();
  const ast::LexicalName& name = attribute.name;
  if (name.prefix == "xmlns" ||
      (name.prefix.empty() && name.local == "xmlns")) {
    AddNamespace(element, attribute);
  } else {
    element.attributes.push_back(std::move(attribute));
  }
}

void QueryParser::AddNamespace(ast::DirectElement& element,
                               const ast::DirectAttribute& attribute) {
  ast::NamespaceAttribute declaration;
  declaration.position = attribute.name.position;
  if (!attribute.name.prefix.empty()) declaration.prefix = attribute.name.local;
  for (const ast::Part& part : attribute.value) {
    if (part.expr != nullptr) {
      Fail("XQST0022", "the URI of a namespace is computed", part.position);
    }
    declaration.uri = CollapseSpace(part.text);
  }
  for (const ast::NamespaceAttribute& other : element.namespaces) {
    if (other.prefix == declaration.prefix) {
      Fail("XQST0071", "the same prefix is declared twice",
           declaration.position);
    }
  }
  element.namespaces.push_back(std::move(declaration));
}

// ------------------------------------------------------- content of
// constructors

// The pieces of content as they are read: characters gather until something
// else comes.
class QueryParser::PartList {
 public:
  PartList(QueryParser& parser, bool is_boundary_space_kept)
      : parser_(parser), is_space_kept_(is_boundary_space_kept) {}

  // Characters as they stand, references and CDATA sections (which are never
  // boundary space), and everything else.
  std::string& Literal() { return Open().text; }
  std::string& Protected() {
    is_protected_ = true;
    return Open().text;
  }
  void Add(ast::Part part) {
    Close();
    parts_.push_back(std::move(part));
  }

  std::vector<ast::Part> Take() {
    Close();
    return std::move(parts_);
  }

 private:
  ast::Part& Open() {
    if (!is_open_) {
      run_ = {};
      run_.position = parser_.lexer_.Here();
      is_open_ = true;
      is_protected_ |= is_space_kept_;
    }
    return run_;
  }

  void Close() {
    const bool is_boundary_space =
        !is_protected_ &&
        std::all_of(run_.text.begin(), run_.text.end(), IsXmlSpace);
    if (is_open_ && !run_.text.empty() && !is_boundary_space) {
      parts_.push_back(std::move(run_));
    }
    is_open_ = false;
    is_protected_ = false;
  }

  QueryParser& parser_;
  bool is_space_kept_;
  std::vector<ast::Part> parts_;
  ast::Part run_;
  bool is_open_ = false;
  bool is_protected_ = false;
};

// At "&", "{" or "}", which content and the values of attributes have in
// common.
void QueryParser::ParseSpecial(PartList& parts) {
  if (lexer_.StartsWith("&")) {
    std::string& text = parts.Protected();
    lexer_.Seek(lexer_.AppendReference(lexer_.offset(), text));
  } else if (lexer_.StartsWith("{{") || lexer_.StartsWith("}}")) {
    parts.Literal() += lexer_.Rest()[0];
    lexer_.Seek(lexer_.offset() + 2);
  } else if (lexer_.StartsWith("{")) {
    ast::Part part;
    part.position = lexer_.Here();
    part.expr = ParseEnclosedHere();
    parts.Add(std::move(part));
  } else {
    Fail("XPST0003", "a single \"}\"; the character is written \"}}\"",
         lexer_.Here());
  }
}

// An enclosed expression between characters: tokens inside, and nothing is read
// behind its "}".
ExprPtr QueryParser::ParseEnclosedHere() {
  lexer_.Skip("{");
  ExprPtr inside = ParseExpr();
  lexer_.Seek(Take(TokenKind::RightBrace, "\"}\"").end);
  return inside;
}

std::vector<ast::Part> QueryParser::ParseAttributeValue() {
  const Position position = lexer_.Here();
  if (!lexer_.StartsWith("\"") && !lexer_.StartsWith("'")) {
    RefuseHere("the value of the attribute in quotes");
  }
  const char quote = lexer_.Rest()[0];
  const char doubled[] = {quote, quote};
  const char stops[] = {quote, '&', '{', '}', '<'};
  lexer_.Seek(lexer_.offset() + 1);
  PartList parts(*this, true);
  for (;;) {
    const std::string_view rest = lexer_.Rest();
    const std::size_t size =
        std::min(rest.find_first_of(std::string_view(stops, std::size(stops))),
                 rest.size());
    if (size == rest.size()) {
      Fail("XPST0003", "the value of an attribute without an end", position);
    }
    if (size > 0) {
      // White space in a value becomes spaces, as when a document is parsed.
      std::string& text = parts.Literal();
      const std::size_t begin = text.size();
      text += rest.substr(0, size);
      std::replace_if(text.begin() + static_cast<std::ptrdiff_t>(begin),
                      text.end(), IsXmlSpace, ' ');
      lexer_.Seek(lexer_.offset() + size);
    }
    if (lexer_.Skip(std::string_view(doubled, 2))) {
      parts.Literal() += quote;
    } else if (lexer_.Skip(std::string_view(doubled, 1))) {
      return parts.Take();
    } else if (lexer_.StartsWith("<")) {
      Fail("XPST0003", "\"<\" in the value of an attribute", lexer_.Here());
    } else {
      ParseSpecial(parts);
    }
  }
}

void QueryParser::ParseContent(ast::DirectElement& element) {
  PartList parts(*this, is_boundary_space_kept_);
  for (;;) {
    const std::string_view rest = lexer_.Rest();
    const std::size_t size = std::min(rest.find_first_of("<&{}"), rest.size());
    if (size > 0) {
      parts.Literal() += rest.substr(0, size);
      lexer_.Seek(lexer_.offset() + size);
    }
    if (lexer_.IsAtEnd()) {
      Fail("XPST0003", "the element " + Quoted(element.name) + " has no end",
           element.position);
    }
    if (lexer_.StartsWith("</")) break;
    if (lexer_.StartsWith("<![CDATA[")) {
      ParseCdata(parts.Protected());
    } else if (lexer_.StartsWith("<")) {
      ast::Part part;
      part.position = lexer_.Here();
      part.expr = ParseDirect();
      parts.Add(std::move(part));
    } else {
      ParseSpecial(parts);
    }
  }
  element.content = parts.Take();
}

void QueryParser::ParseCdata(std::string& text) {
  const Position position = lexer_.Here();
  lexer_.Skip("<![CDATA[");
  const std::size_t end = lexer_.Rest().find("]]>");
  if (end == std::string_view::npos) {
    Fail("XPST0003", "a CDATA section without an end", position);
  }
  text += lexer_.Rest().substr(0, end);
  lexer_.Seek(lexer_.offset() + end + 3);
}

void QueryParser::ParseEndTag(const ast::DirectElement& element) {
  lexer_.Skip("</");
  const ast::LexicalName name = ParseTagName("the name of the element");
  if (name.prefix != element.name.prefix || name.local != element.name.local) {
    Fail("XPST0003",
         "expected the end of " + Quoted(element.name) + ", found that of " +
             Quoted(name),
         name.position);
  }
  lexer_.SkipSpace();
  if (!lexer_.Skip(">")) RefuseHere("\">\"");
}

}  // namespace kiv::xdb::xq
