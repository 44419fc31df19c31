#include <array>
#include <string_view>

#include "kiv/parser/parser.h"
#include "parser/scanner.h"

namespace kiv::parser {
namespace {

// A set given as a text: its single bytes in a table, its two-byte characters
// looked up in the text.
class CharacterSet {
 public:
  constexpr explicit CharacterSet(std::string_view members)
      : members_(members) {
    for (std::size_t i = 0; i < members.size();) {
      const std::size_t size = CharacterSize(members, i);
      if (size == 1) single_[static_cast<unsigned char>(members[i])] = true;
      i += size;
    }
  }

  bool Contains(std::string_view character) const {
    if (character.size() == 1) {
      return single_[static_cast<unsigned char>(character.front())];
    }
    return FindText(members_, character) != std::string_view::npos;
  }

 private:
  std::string_view members_;
  std::array<bool, 256> single_{};
};

constexpr char kWordDelimiters[] = " !\"#$%&'()*+,-./:;<=>?@[\\]^`{|}~\t";

// sizeof: the terminator is the last of the 34 delimiters.
constexpr CharacterSet kWordDelimiterSet{
    std::string_view(kWordDelimiters, sizeof kWordDelimiters)};

std::string_view Text(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

bool HasLetter(std::string_view text) {
  for (const char c : text) {
    if (IsAsciiAlpha(c)) return true;
  }
  return false;
}

// Where the span before the delimiter ends.
std::size_t SpanSize(std::string_view text, std::string_view delimiter,
                     bool ignore_case) {
  if (delimiter.empty()) return text.size();
  // A delimiter that holds a NUL is never found, as in every comparison here.
  if (delimiter.find('\0') != std::string_view::npos) return text.size();
  if (!ignore_case || !HasLetter(delimiter)) {
    const std::size_t found = delimiter.size() == 1 && IsAscii(delimiter[0])
                                  ? FindAscii(text, delimiter[0])
                                  : FindText(text, delimiter);
    return found == std::string_view::npos ? text.size() : found;
  }
  std::size_t pos = 0;
  while (pos < text.size() &&
         !StartsWithIgnoreCase(text.substr(pos), delimiter)) {
    pos += CharacterSize(text, pos);
  }
  return pos;
}

bool StoreSpan(std::string_view span, std::string& out,
               const std::string& def) {
  const std::string_view shown = DropTrailingBlanks(span);
  if (shown.empty()) {
    out = def;
  } else {
    out = shown;
  }
  return true;
}

}  // namespace

std::string_view TakeWord(Scanner& scanner) {
  return scanner.TakeWhile([](std::string_view character) {
    return !kWordDelimiterSet.Contains(character);
  });
}

bool Parser::ParseTo(const char* text, const char* end, const char* dBegin,
                     const char* dEnd, bool ignoreCase, std::string* out,
                     unsigned& consumed) {
  const std::string_view delimiter = Scanner(dBegin, dEnd).Rest();
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  const std::string_view span =
      scanner.Take(SpanSize(scanner.Rest(), delimiter, ignoreCase));
  if (out != nullptr) *out = DropTrailingBlanks(span);
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseTo(const char* text, const char* end, const char* dBegin,
                     const char* dEnd, bool ignoreCase, std::string& out,
                     unsigned& consumed) {
  return ParseTo(text, end, dBegin, dEnd, ignoreCase, &out, consumed);
}

bool Parser::ParseTo(const char* text, const char* end,
                     const std::string& delimiter, bool ignoreCase,
                     std::string* out, unsigned& consumed) {
  return ParseTo(text, end, delimiter.data(),
                 delimiter.data() + delimiter.size(), ignoreCase, out,
                 consumed);
}

bool Parser::ParseTo(const char* text, const char* end,
                     const std::string& delimiter, bool ignoreCase,
                     std::string& out, unsigned& consumed) {
  return ParseTo(text, end, delimiter, ignoreCase, &out, consumed);
}

bool Parser::ParseTo(const char* text, const char* end,
                     const std::string& delimiter, std::string* out,
                     unsigned& consumed) {
  return ParseTo(text, end, delimiter, true, out, consumed);
}

bool Parser::ParseTo(const char* text, const char* end,
                     const std::string& delimiter, std::string& out,
                     unsigned& consumed) {
  return ParseTo(text, end, delimiter, true, &out, consumed);
}

bool Parser::ParseTo(const char* text, const char* end, char delimiter,
                     std::string* out, unsigned& consumed) {
  return ParseTo(text, end, &delimiter, &delimiter + 1, true, out, consumed);
}

bool Parser::ParseTo(const char* text, const char* end, char delimiter,
                     std::string& out, unsigned& consumed) {
  return ParseTo(text, end, delimiter, &out, consumed);
}

bool Parser::ParseToAny(const char* text, const char* end,
                        const char* stopChars, const char* acceptChars,
                        std::string& out, unsigned& consumed,
                        const std::string& def) {
  const std::string_view stop = Text(stopChars);
  const std::string_view accept = Text(acceptChars);
  if (!stop.empty() && !accept.empty()) return false;
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  std::string_view span;
  if (!stop.empty()) {
    // With its terminator: a NUL stops as well.
    const CharacterSet set(std::string_view(stop.data(), stop.size() + 1));
    span = scanner.TakeWhile([&set](std::string_view character) {
      return !set.Contains(character);
    });
  } else if (!accept.empty()) {
    const CharacterSet set(accept);
    span = scanner.TakeWhile(
        [&set](std::string_view character) { return set.Contains(character); });
  } else {
    span = scanner.TakeAll();
  }
  consumed = scanner.Consumed();
  return StoreSpan(span, out, def);
}

bool Parser::ParseWord(const char* text, const char* end, std::string& out,
                       unsigned& consumed, const std::string& def) {
  Scanner scanner(text, end);
  scanner.SkipBlanks();
  const std::string_view word = TakeWord(scanner);
  consumed = scanner.Consumed();
  return StoreSpan(word, out, def);
}

}  // namespace kiv::parser
