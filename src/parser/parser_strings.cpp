#include <string_view>

#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "parser/parser_messages.h"
#include "parser/scanner.h"
#include "util/log_entry.h"

namespace kiv::parser {
namespace {

// Most values fit, so that they are built without growing.
constexpr std::size_t kUsualSize = 1024;

// What the escape behind a backslash stands for, appended to `out`.
bool TakeEscape(Scanner& scanner, std::string& out) {
  const std::string_view rest = scanner.Rest();
  if (rest.empty()) {
    LogError("parser", message::BadEscape({}));
    return false;
  }
  // A two-byte character stands for itself, whole: its second byte may look
  // like the closing quote's backslash.
  if (CharacterSize(rest, 0) == 2) {
    out += scanner.Take(2);
    return true;
  }
  char character;
  unsigned size;
  if (!Parser::ParseTransMeanChar(rest.data(), character, size)) {
    LogError("parser", message::BadEscape(rest.substr(0, 1)));
    return false;
  }
  scanner.Take(size);
  out += character;
  return true;
}

// Up to the closing quote, which stays, or to the end.
bool TakeQuoted(Scanner& scanner, char quote, std::string& out) {
  out.clear();
  out.reserve(kUsualSize);
  while (!scanner.AtEnd()) {
    out += scanner.TakeWhile([quote](std::string_view character) {
      return character.front() != quote && character.front() != '\\';
    });
    if (!scanner.TakeChar('\\')) break;
    if (!TakeEscape(scanner, out)) {
      out.clear();
      return false;
    }
  }
  return true;
}

}  // namespace

bool Parser::ParseTransMeanChar(const char* p, char& c, unsigned& consumed) {
  consumed = 0;
  if (p == nullptr || *p == '\0') return false;
  switch (*p) {
    case 'a':
      c = '\a';
      break;
    case 'b':
      c = '\b';
      break;
    case 'f':
      c = '\f';
      break;
    case 'n':
      c = '\n';
      break;
    case 'r':
      c = '\r';
      break;
    case 't':
      c = '\t';
      break;
    case 'v':
      c = '\v';
      break;
    default:
      c = *p;
  }
  consumed = 1;
  return true;
}

bool Parser::ParseString(const char* text, const char* end, std::string& out,
                         unsigned& consumed, const std::string& def) {
  consumed = 0;
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  if (scanner.AtEnd()) {
    out = def;
    consumed = scanner.Consumed();
    return true;
  }
  const bool is_verbatim = scanner.TakeChar('@');
  if (is_verbatim) scanner.SkipBlanks();
  if (!scanner.NextIs('"') && !scanner.NextIs('\'')) {
    LogError("parser", message::NoOpeningQuote());
    return false;
  }
  const char quote = scanner.Take(1).front();
  if (scanner.AtEnd()) {
    out = def;
  } else if (is_verbatim) {
    out = scanner.TakeTo(quote);
  } else if (!TakeQuoted(scanner, quote, out)) {
    return false;
  }
  // The closing quote is left to the caller, who sees by it whether there was
  // one.
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseBool(const char* text, const char* end, bool& out,
                       unsigned& consumed, bool def) {
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  const std::string_view word = DropTrailingBlanks(TakeWord(scanner));
  consumed = scanner.Consumed();
  if (word == "1" || EqualIgnoreCase(word, "true")) {
    out = true;
  } else if (word == "0" || EqualIgnoreCase(word, "false")) {
    out = false;
  } else {
    out = def;
  }
  return true;
}

bool Parser::ParseStrBool(const char* text, const char* end, bool& out,
                          unsigned& consumed, bool def) {
  std::string string;
  if (!ParseString(text, end, string, consumed)) {
    LogError("parser", message::NoStringForBool());
    return false;
  }
  trim(string);
  if (EqualIgnoreCase(string, "true")) {
    out = true;
  } else if (EqualIgnoreCase(string, "false")) {
    out = false;
  } else {
    out = def;
  }
  return true;
}

}  // namespace kiv::parser
