#include <algorithm>
#include <utility>

#include "xdb/xquery/syntax/query_parser.h"

namespace kiv::xdb::xq {
namespace {

bool IsEncodingName(std::string_view name) {
  const auto is_letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  };
  return !name.empty() && is_letter(name[0]) &&
         std::all_of(name.begin(), name.end(), [&](char c) {
           return is_letter(c) || (c >= '0' && c <= '9') || c == '.' ||
                  c == '_' || c == '-';
         });
}

}  // namespace

ast::Module QueryParser::ParseModule() {
  ast::Module module;
  ParseVersion(module);
  RefuseLibraryModule();
  ParseProlog(module.prolog);
  module.body = ParseExpr();
  if (!Is(TokenKind::End)) Refuse("an operator or the end of the query");
  return module;
}

void QueryParser::ParseVersion(ast::Module& module) {
  if (!IsWord("xquery") || !IsWord(lexer_.Ahead(1), "version")) return;
  if (lexer_.Ahead(2).kind != TokenKind::String) return;
  lexer_.Take();
  lexer_.Take();
  const Position version_position = Current().position;
  module.version = TakeString("the version in quotes");
  Position encoding_position;
  const bool has_encoding = TakeIfWord("encoding");
  if (has_encoding) {
    encoding_position = Current().position;
    module.encoding = TakeString("the name of an encoding in quotes");
  }
  Take(TokenKind::Semicolon, "\";\"");
  if (module.version != "1.0") {
    Fail("XQST0031", "version \"" + module.version + "\" is not supported",
         version_position);
  }
  if (has_encoding && !IsEncodingName(module.encoding)) {
    Fail("XQST0087", "\"" + module.encoding + "\" is no name of an encoding",
         encoding_position);
  }
}

void QueryParser::RefuseLibraryModule() {
  if (!IsWord("module") || !IsWord(lexer_.Ahead(1), "namespace")) return;
  const Position position = Current().position;
  lexer_.Take();
  lexer_.Take();
  TakeNcName("a prefix");
  Take(TokenKind::Equal, "\"=\"");
  const ast::UriLiteral uri = TakeUri();
  Take(TokenKind::Semicolon, "\";\"");
  if (uri.text.empty()) {
    Fail("XQST0088", "a module needs a namespace", uri.position);
  }
  Fail("XQST0016", "modules are not supported", position);
}

// ---------------------------------------------------------------------- prolog

void QueryParser::ParseProlog(ast::Prolog& prolog) {
  bool is_past_settings = false;
  for (;;) {
    if (IsWord("import") && RefuseImport()) continue;
    if (!IsWord("declare") || !ParseDeclaration(prolog, is_past_settings)) {
      return;
    }
    Take(TokenKind::Semicolon, "\";\" behind the declaration");
  }
}

// False when it is no declaration: "declare" is a name as well.
bool QueryParser::ParseDeclaration(ast::Prolog& prolog,
                                   bool& is_past_settings) {
  const Token& second = lexer_.Ahead(1);
  if (second.kind != TokenKind::Name) return false;
  struct Declaration {
    std::string_view word;
    void (QueryParser::*parse)(ast::Prolog&);
    bool is_setting;
  };
  static constexpr Declaration kDeclarations[] = {
      {"variable", &QueryParser::ParseVariable, false},
      {"function", &QueryParser::ParseFunction, false},
      {"option", &QueryParser::ParseOption, false},
      {"namespace", &QueryParser::ParseNamespace, true},
      {"default", &QueryParser::ParseDefault, true},
      {"boundary-space", &QueryParser::ParseBoundarySpace, true},
      {"construction", &QueryParser::ParseConstruction, true},
      {"ordering", &QueryParser::ParseOrdering, true},
      {"base-uri", &QueryParser::ParseBaseUri, true},
      {"copy-namespaces", &QueryParser::ParseCopyNamespaces, true},
  };
  const auto* const declaration = std::find_if(
      std::begin(kDeclarations), std::end(kDeclarations),
      [&](const Declaration& one) { return IsWord(second, one.word); });
  if (declaration == std::end(kDeclarations)) return false;
  if (declaration->is_setting && is_past_settings) {
    Fail("XPST0003",
         "namespaces and settings come before variables, functions and options",
         Current().position);
  }
  is_past_settings = !declaration->is_setting;
  declaration_ = lexer_.Take().position;
  lexer_.Take();
  (this->*declaration->parse)(prolog);
  return true;
}

template <typename T>
void QueryParser::SetOnce(std::optional<T>& setting, T value,
                          std::string_view code) {
  if (setting) Fail(code, "this is declared already", declaration_);
  setting = std::move(value);
}

void QueryParser::ParseBoundarySpace(ast::Prolog& prolog) {
  is_boundary_space_kept_ = TakeChoice("preserve", "strip");
  SetOnce(prolog.boundary_space_preserve, is_boundary_space_kept_, "XQST0068");
}

void QueryParser::ParseConstruction(ast::Prolog& prolog) {
  SetOnce(prolog.construction_preserve, TakeChoice("preserve", "strip"),
          "XQST0067");
}

void QueryParser::ParseOrdering(ast::Prolog& prolog) {
  SetOnce(prolog.is_ordered, TakeChoice("ordered", "unordered"), "XQST0065");
}

void QueryParser::ParseBaseUri(ast::Prolog& prolog) {
  SetOnce(prolog.base_uri, TakeUri(), "XQST0032");
}

void QueryParser::ParseCopyNamespaces(ast::Prolog& prolog) {
  ast::CopyNamespaces mode;
  mode.preserve = TakeChoice("preserve", "no-preserve");
  Take(TokenKind::Comma, "\",\"");
  mode.inherit = TakeChoice("inherit", "no-inherit");
  SetOnce(prolog.copy_namespaces, mode, "XQST0055");
}

void QueryParser::ParseDefault(ast::Prolog& prolog) {
  if (TakeIfWord("collation")) {
    SetOnce(prolog.default_collation, TakeUri(), "XQST0038");
  } else if (TakeIfWord("order")) {
    TakeWord("empty");
    const bool is_greatest = TakeChoice("greatest", "least");
    SetOnce(prolog.empty_order,
            is_greatest ? ast::EmptyOrder::Greatest : ast::EmptyOrder::Least,
            "XQST0069");
  } else {
    if (!IsWord("element") && !IsWord("function")) {
      Refuse("\"collation\", \"order\", \"element\" or \"function\"");
    }
    const bool is_element = TakeChoice("element", "function");
    TakeWord("namespace");
    SetOnce(is_element ? prolog.default_element_namespace
                       : prolog.default_function_namespace,
            TakeUri(), "XQST0066");
  }
}

void QueryParser::ParseNamespace(ast::Prolog& prolog) {
  ast::NamespaceDeclaration declaration;
  declaration.position = declaration_;
  declaration.prefix = TakeNcName("a prefix");
  Take(TokenKind::Equal, "\"=\"");
  declaration.uri = TakeUri().text;
  prolog.namespaces.push_back(std::move(declaration));
}

void QueryParser::ParseVariable(ast::Prolog& prolog) {
  ast::VariableDeclaration declaration;
  declaration.position = declaration_;
  declaration.name = TakeVariable();
  declaration.type = ParseTypeDeclaration();
  if (!TakeIfWord("external")) {
    Take(TokenKind::Assign, "\":=\" or \"external\"");
    declaration.value = ParseExprSingle();
  }
  prolog.variables.push_back(std::move(declaration));
}

// A reserved name is allowed here: a call with a prefix reaches the function
// where the prefix is bound to the default namespace.
void QueryParser::ParseFunction(ast::Prolog& prolog) {
  ast::FunctionDeclaration declaration;
  declaration.position = declaration_;
  declaration.name = TakeName("the name of a function");
  declaration.parameters = ParseParameters();
  declaration.result = ParseTypeDeclaration();
  if (!TakeIfWord("external")) {
    if (!Is(TokenKind::LeftBrace)) Refuse("\"{\" or \"external\"");
    declaration.body = ParseEnclosed();
  }
  prolog.functions.push_back(std::move(declaration));
}

std::vector<ast::Parameter> QueryParser::ParseParameters() {
  std::vector<ast::Parameter> parameters;
  Take(TokenKind::LeftParen, "\"(\"");
  if (TakeIf(TokenKind::RightParen)) return parameters;
  do {
    ast::Parameter& parameter = parameters.emplace_back();
    parameter.name = TakeVariable();
    parameter.type = ParseTypeDeclaration();
  } while (TakeIf(TokenKind::Comma));
  Take(TokenKind::RightParen, "\",\" or \")\"");
  return parameters;
}

void QueryParser::ParseOption(ast::Prolog& prolog) {
  ast::OptionDeclaration declaration;
  declaration.position = declaration_;
  declaration.name = TakeName("the name of an option");
  declaration.value = TakeString("the value of the option in quotes");
  prolog.options.push_back(std::move(declaration));
}

// False when it is no import: "import" is a name as well. A whole import is
// read, so that what is wrong with its form is said first.
bool QueryParser::RefuseImport() {
  const bool is_schema = IsWord(lexer_.Ahead(1), "schema");
  if (!is_schema && !IsWord(lexer_.Ahead(1), "module")) return false;
  const Position position = lexer_.Take().position;
  lexer_.Take();
  bool has_prefix = false;
  if (TakeIfWord("namespace")) {
    has_prefix = true;
    TakeNcName("a prefix");
    Take(TokenKind::Equal, "\"=\"");
  } else if (is_schema && TakeIfWord("default")) {
    TakeWord("element");
    TakeWord("namespace");
  }
  const ast::UriLiteral uri = TakeUri();
  if (TakeIfWord("at")) {
    do TakeUri();
    while (TakeIf(TokenKind::Comma));
  }
  Take(TokenKind::Semicolon, "\";\" behind the import");
  if (uri.text.empty() && !is_schema) {
    Fail("XQST0088", "a module needs a namespace", uri.position);
  }
  if (uri.text.empty() && has_prefix) {
    Fail("XQST0057", "a prefix needs a namespace", uri.position);
  }
  if (is_schema) Fail("XQST0009", "schemas are not supported", position);
  Fail("XQST0016", "modules are not supported", position);
}

}  // namespace kiv::xdb::xq
