#include "xdb/xquery/syntax/lexer.h"

#include <algorithm>

#include "util/utf8.h"
#include "xdb/xquery/values/xml_characters.h"

namespace kiv::xdb::xq {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

Position Advance(Position position, std::string_view over) {
  for (const char c : over) {
    if (c == '\n') {
      ++position.line;
      position.column = 1;
    } else if (!utf8::IsContinuation(c)) {
      ++position.column;
    }
  }
  return position;
}

// CR LF and CR become LF.
void AppendWithLineFeeds(std::string_view text, std::string& out) {
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      out += text[i];
      continue;
    }
    out += '\n';
    if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
  }
}

[[noreturn]] void RefuseCharacter(std::string_view before, const char* why) {
  std::string lines;
  AppendWithLineFeeds(before, lines);
  throw Error("XPST0003", why, Advance({1, 1}, lines));
}

}  // namespace

std::string_view CheckedQueryText(std::string_view query, std::string& room) {
  if (query.starts_with("\xEF\xBB\xBF")) query.remove_prefix(3);
  const char* const begin = query.data();
  const char* const end = begin + query.size();
  bool has_carriage_return = false;
  for (const char* in = begin; in != end;) {
    const auto byte = static_cast<unsigned char>(*in);
    if (byte >= 0x20 && byte < 0x80) {
      ++in;
      continue;
    }
    char32_t character;
    const char* const next = utf8::DecodeOne(in, end, character);
    const std::string_view before(begin, static_cast<std::size_t>(in - begin));
    if (character == kReplacementUnit &&
        std::string_view(in, static_cast<std::size_t>(next - in)) !=
            "\xEF\xBF\xBD") {
      RefuseCharacter(before, "the query is not UTF-8");
    }
    if (!IsXmlCharacter(character)) {
      RefuseCharacter(before, "a character that XML does not allow");
    }
    has_carriage_return |= character == '\r';
    in = next;
  }
  if (!has_carriage_return) return query;
  AppendWithLineFeeds(query, room);
  return room;
}

Token Lexer::Take() {
  const Token taken = Current();
  std::copy(ahead_.begin() + 1,
            ahead_.begin() + static_cast<std::ptrdiff_t>(ahead_count_),
            ahead_.begin());
  --ahead_count_;
  return taken;
}

Position Lexer::PositionAt(std::size_t offset) {
  if (offset < known_offset_) {
    known_offset_ = 0;
    known_ = {1, 1};
  }
  known_ = Advance(known_, text_.substr(known_offset_, offset - known_offset_));
  known_offset_ = offset;
  return known_;
}

bool Lexer::SkipSpace() {
  const std::size_t begin = offset_;
  while (offset_ < text_.size() && IsXmlSpace(text_[offset_])) ++offset_;
  return offset_ != begin;
}

// At "(:". False, standing at its begin, when the comment has no end.
bool Lexer::SkipComment() {
  const std::size_t begin = offset_;
  std::size_t depth = 0;
  do {
    offset_ = text_.find(':', offset_);
    if (offset_ == std::string_view::npos) {
      offset_ = begin;
      return false;
    }
    // There is a character before: the comment begins with "(:".
    // "(:)" opens and does not close.
    if (text_[offset_ - 1] == '(') {
      ++depth;
      ++offset_;
    } else if (At(offset_ + 1) == ')') {
      --depth;
      offset_ += 2;
    } else {
      ++offset_;
    }
  } while (depth > 0);
  return true;
}

// White space and comments.
bool Lexer::SkipIgnorable() {
  for (;;) {
    SkipSpace();
    if (!StartsWith("(:")) return true;
    if (!SkipComment()) return false;
  }
}

bool Lexer::IsNameAt(std::size_t offset) const {
  if (offset >= text_.size()) return false;
  char32_t character;
  utf8::DecodeOne(text_.data() + offset, text_.data() + text_.size(),
                  character);
  return IsNameStart(character);
}

std::string_view Lexer::TakeNcName() {
  const char* const begin = text_.data() + offset_;
  const char* const end = SkipNcName(begin, text_.data() + text_.size());
  const auto size = static_cast<std::size_t>(end - begin);
  offset_ += size;
  return {begin, size};
}

Token Lexer::Scan() {
  Token token;
  const bool is_ignorable_whole = SkipIgnorable();
  token.begin = offset_;
  token.position = PositionAt(offset_);
  const char c = At(offset_);
  if (!is_ignorable_whole) {
    token.kind = TokenKind::Invalid;
    token.fault = "a comment without an end";
    offset_ = text_.size();
  } else if (offset_ == text_.size()) {
    token.kind = TokenKind::End;
  } else if (IsNameAt(offset_)) {
    ScanName(token);
  } else if (IsDigit(c) || (c == '.' && IsDigit(At(offset_ + 1)))) {
    ScanNumber(token);
  } else if (c == '"' || c == '\'') {
    ScanString(token);
  } else {
    ScanSymbol(token);
  }
  token.end = offset_;
  return token;
}

void Lexer::ScanName(Token& token) {
  token.kind = TokenKind::Name;
  TakeNcName();
  if (At(offset_) != ':') return;
  if (At(offset_ + 1) == '*') {
    token.kind = TokenKind::PrefixAndStar;
    token.colon = offset_;
    offset_ += 2;
  } else if (IsNameAt(offset_ + 1)) {
    token.colon = offset_++;
    TakeNcName();
  }
}

void Lexer::ScanNumber(Token& token) {
  const auto skip_digits = [this] {
    while (IsDigit(At(offset_))) ++offset_;
  };
  token.kind = TokenKind::Integer;
  skip_digits();
  if (At(offset_) == '.') {
    token.kind = TokenKind::Decimal;
    ++offset_;
    skip_digits();
  }
  if (At(offset_) == 'e' || At(offset_) == 'E') {
    const char sign = At(offset_ + 1);
    const std::size_t digits = offset_ + (sign == '+' || sign == '-' ? 2 : 1);
    if (IsDigit(At(digits))) {
      token.kind = TokenKind::Double;
      offset_ = digits;
      skip_digits();
    }
  }
  if (IsNameAt(offset_)) {
    token.kind = TokenKind::Invalid;
    token.fault = "a number and a name need white space between them";
  }
}

void Lexer::ScanString(Token& token) {
  const char quote = text_[offset_];
  token.kind = TokenKind::String;
  for (;;) {
    offset_ = text_.find(quote, offset_ + 1);
    if (offset_ == std::string_view::npos) {
      token.kind = TokenKind::Invalid;
      token.fault = "a string without an end";
      offset_ = text_.size();
      return;
    }
    ++offset_;
    if (At(offset_) != quote) return;
  }
}

void Lexer::ScanSymbol(Token& token) {
  // The longer ones before those that they begin with.
  struct Symbol {
    std::string_view text;
    TokenKind kind;
  };
  using enum TokenKind;
  static constexpr Symbol kSymbols[] = {
      {"(#", PragmaOpen}, {"(", LeftParen},     {")", RightParen},
      {"[", LeftBracket}, {"]", RightBracket},  {"{", LeftBrace},
      {"}", RightBrace},  {",", Comma},         {"$", Dollar},
      {"//", SlashSlash}, {"/", Slash},         {"@", At},
      {"..", DotDot},     {".", Dot},           {"::", ColonColon},
      {":=", Assign},     {"=", Equal},         {"*", Star},
      {"+", Plus},        {"-", Minus},         {"|", Bar},
      {"!=", NotEqual},   {"<=", LessEqual},    {"<<", LessLess},
      {"<", Less},        {">=", GreaterEqual}, {">>", GreaterGreater},
      {">", Greater},     {";", Semicolon},     {"?", Question},
  };
  for (const Symbol& symbol : kSymbols) {
    if (!Skip(symbol.text)) continue;
    token.kind = symbol.kind;
    if (symbol.kind == Star && this->At(offset_) == ':' &&
        IsNameAt(offset_ + 1)) {
      token.kind = StarAndLocal;
      token.colon = offset_++;
      TakeNcName();
    }
    return;
  }
  token.kind = Invalid;
  token.fault = "a character that begins nothing in the language";
  char32_t character;
  offset_ = static_cast<std::size_t>(
      utf8::DecodeOne(text_.data() + offset_, text_.data() + text_.size(),
                      character) -
      text_.data());
}

std::string Lexer::StringValue(const Token& token) {
  const char quote = text_[token.begin];
  const char stops[] = {quote, '&'};
  const std::string_view inside =
      text_.substr(0, token.end - 1);  // offsets stay those of the text
  std::string value;
  std::size_t at = token.begin + 1;
  for (;;) {
    const std::size_t stop = std::min(
        inside.find_first_of(std::string_view(stops, 2), at), inside.size());
    value += inside.substr(at, stop - at);
    if (stop == inside.size()) return value;
    if (inside[stop] == '&') {
      at = AppendReference(stop, value);
    } else {
      value += quote;  // doubled
      at = stop + 2;
    }
  }
}

std::size_t Lexer::AppendReference(std::size_t offset, std::string& out) {
  const std::size_t end = std::min(text_.find(';', offset), text_.size());
  std::string_view name = text_.substr(offset + 1, end - offset - 1);
  const auto refuse = [&](std::string_view code, const std::string& why) {
    throw Error(code, why, PositionAt(offset));
  };
  struct Entity {
    std::string_view name;
    char character;
  };
  static constexpr Entity kEntities[] = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
  for (const Entity& entity : kEntities) {
    if (end == text_.size() || entity.name != name) continue;
    out += entity.character;
    return end + 1;
  }
  const bool is_hexadecimal = name.starts_with("#x");
  const std::string_view digits =
      name.starts_with('#') ? name.substr(is_hexadecimal ? 2 : 1) : "";
  if (end == text_.size() || digits.empty() ||
      digits.find_first_not_of(is_hexadecimal
                                   ? "0123456789abcdefABCDEF"
                                   : "0123456789") != std::string_view::npos) {
    refuse("XPST0003",
           "expected a reference such as \"&lt;\" or \"&#10;\" behind \"&\"");
  }
  char32_t character = 0;
  for (const char c : digits) {
    const auto digit =
        static_cast<char32_t>(IsDigit(c) ? c - '0' : (c | 0x20) - 'a' + 10);
    character = character * (is_hexadecimal ? 16 : 10) + digit;
    // Stays above every character, and far below a wrap.
    character = std::min<char32_t>(character, 0x110000);
  }
  if (!IsXmlCharacter(character)) {
    refuse("XQST0090", "the reference \"&" + std::string(name.substr(0, 20)) +
                           (name.size() > 20 ? "..." : ";") +
                           "\" names no character of XML");
  }
  char bytes[4];
  out.append(bytes, utf8::EncodeOne(character, bytes));
  return end + 1;
}

}  // namespace kiv::xdb::xq
