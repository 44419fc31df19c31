#include <cstring>
#include <string_view>

#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "parser/scanner.h"

namespace kiv::parser {

bool Parser::IgnoreSpaces(const char* text, const char* end,
                          unsigned& consumed) {
  consumed = Scanner(text, end).SkipBlanks();
  return true;
}

bool Parser::IgnoreSpacesTail(const char* text, const char* end,
                              unsigned& consumed) {
  const std::string_view all = Scanner(text, end).Rest();
  consumed = static_cast<unsigned>(all.size() - DropTrailingBlanks(all).size());
  return true;
}

bool Parser::IgnoreNextChar(const char* text, const char* end,
                            unsigned& consumed) {
  consumed = Scanner(text, end).AtEnd() ? 0 : 1;
  return consumed != 0;
}

bool Parser::IgnoreNextChar(const char* text, const char* end, char c,
                            unsigned& consumed) {
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  scanner.TakeChar(c);
  consumed = scanner.Consumed();
  return true;
}

bool Parser::IsEqual(const char* a, const char* b, bool ignoreCase,
                     unsigned n) {
  if (a == nullptr || b == nullptr) return false;
  if (n == 0) {
    return (ignoreCase ? stricmp(a, b) : strcmp(a, b)) == 0;
  }
  // memchr first: neither text may be read behind its NUL.
  if (std::memchr(a, 0, n) != nullptr || std::memchr(b, 0, n) != nullptr) {
    return false;
  }
  return ignoreCase ? EqualIgnoreCase({a, n}, {b, n})
                    : std::memcmp(a, b, n) == 0;
}

bool Parser::IgnoreNextString(const char* text, const char* end,
                              const char* sBegin, const char* sEnd,
                              bool ignoreCase, unsigned& consumed) {
  const std::string_view string = Scanner(sBegin, sEnd).Rest();
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  if (StartsWith(scanner.Rest(), string, ignoreCase)) {
    scanner.Take(string.size());
  }
  consumed = scanner.Consumed();
  return true;
}

bool Parser::IgnoreNextString(const char* text, const char* end,
                              const std::string& s, bool ignoreCase,
                              unsigned& consumed) {
  return IgnoreNextString(text, end, s.data(), s.data() + s.size(), ignoreCase,
                          consumed);
}

bool Parser::IgnoreNextString(const char* text, const char* end,
                              const char* sBegin, const char* sEnd,
                              unsigned& consumed) {
  return IgnoreNextString(text, end, sBegin, sEnd, false, consumed);
}

bool Parser::IgnoreNextString(const char* text, const char* end,
                              const std::string& s, unsigned& consumed) {
  return IgnoreNextString(text, end, s, false, consumed);
}

bool Parser::ParseAlpha(const char* text, const char* end, unsigned maxCount,
                        std::string& out, unsigned& consumed) {
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  out = scanner.TakeLetters(maxCount);
  consumed = scanner.Consumed();
  return true;
}

}  // namespace kiv::parser
