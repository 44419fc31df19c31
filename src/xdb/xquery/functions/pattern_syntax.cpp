#include "xdb/xquery/functions/pattern_syntax.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "util/hex_digits.h"
#include "xdb/xquery/functions/text_steps.h"
#include "xdb/xquery/functions/unicode_text.h"
#include "xdb/xquery/values/error.h"
#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::string_view kNameStart =
    "A-Z_a-z\\x3A\\xC0-\\xD6\\xD8-\\xF6\\xF8-\\u02FF\\u0370-\\u037D\\u037F-"
    "\\u1FFF"
    "\\u200C-\\u200D\\u2070-\\u218F\\u2C00-\\u2FEF\\u3001-\\uD7FF\\uF900-"
    "\\uFDCF"
    "\\uFDF0-\\uFFFD\\U00010000-\\U000EFFFF";
constexpr std::string_view kNameOther =
    "0-9.\\-\\xB7\\u0300-\\u036F\\u203F-\\u2040";

constexpr std::string_view kCategories[] = {
    "C",  "Cc", "Cf", "Cn", "Co", "L",  "Ll", "Lm", "Lo", "Lt", "Lu", "M",
    "Mc", "Me", "Mn", "N",  "Nd", "Nl", "No", "P",  "Pc", "Pd", "Pe", "Pf",
    "Pi", "Po", "Ps", "S",  "Sc", "Sk", "Sm", "So", "Z",  "Zl", "Zp", "Zs"};

// The most that ICU takes; a text hardly ever tells the difference.
constexpr std::uint32_t kMaxRepeat = 0xFFFFFF;

[[noreturn]] void Refuse(const std::string& why) {
  throw Error("FORX0002", "invalid regular expression: " + why);
}

std::string CodePoint(char32_t character) {
  std::string digits;
  do {
    digits.insert(digits.begin(), kUpperHexDigits[character & 15]);
    character >>= 4;
  } while (character != 0);
  return "\\x{" + digits + "}";
}

void AppendRange(std::string& set, CharacterRange range) {
  set += CodePoint(range.first);
  if (range.first != range.last) set += "-" + CodePoint(range.last);
}

// The x flag: white space is gone before anything is read, but for that in
// classes.
std::u32string WithoutSpace(const std::u32string& pattern) {
  std::u32string kept;
  int depth = 0;
  bool is_escaped = false;
  for (const char32_t c : pattern) {
    if (depth == 0 && c < 128 && IsSpace(static_cast<char>(c))) continue;
    kept += c;
    if (is_escaped) {
      is_escaped = false;
    } else {
      is_escaped = c == '\\';
      if (c == '[') ++depth;
      if (c == ']' && depth > 0) --depth;
    }
  }
  return kept;
}

class Translator {
 public:
  Translator(std::string_view pattern, const PatternFlags& flags)
      : flags_(flags) {
    ForEachCharacter(pattern, [&](char32_t c) { pattern_ += c; });
    if (flags.ignores_space) pattern_ = WithoutSpace(pattern_);
  }

  TranslatedPattern Translate() {
    while (!AtEnd()) ReadPiece();
    if (!open_groups_.empty()) Refuse("a parenthesis is not closed");
    TranslatedPattern translated{std::move(icu_), group_count_, std::nullopt};
    if (is_literal_) translated.literal = std::move(literal_);
    return translated;
  }

 private:
  // What "\" and its letter stand for: one character, or the inside of an ICU
  // set.
  struct Escape {
    char32_t character = 0;
    std::string set;  // empty: the character
  };

  bool AtEnd() const { return at_ == pattern_.size(); }
  char32_t Peek(std::size_t ahead = 0) const {
    return at_ + ahead < pattern_.size() ? pattern_[at_ + ahead] : kNoCharacter;
  }
  char32_t Take() {
    if (AtEnd()) Refuse("it ends too early");
    return pattern_[at_++];
  }
  bool TakeIf(char32_t wanted) {
    if (Peek() != wanted) return false;
    ++at_;
    return true;
  }

  void ReadPiece();
  void ReadAtomEscape();
  void ReadBackReference();
  void CloseGroup();
  void ReadQuantifier();
  void ReadQuantity();
  std::uint32_t ReadNumber();

  Escape ReadEscape();
  std::string ReadProperty(bool is_complement);
  std::string ReadClass();
  bool ReadClassItem(std::string& set, bool is_first);

  void AddCharacter(char32_t character);
  void AddSyntax(std::string_view icu) {
    icu_ += icu;
    is_literal_ = false;
  }
  void AppendClassRange(std::string& set, CharacterRange range) const;

  static constexpr char32_t kNoCharacter = 0xFFFFFFFF;
  // Classes nest by subtraction.
  static constexpr int kMaxClassDepth = 64;

  const PatternFlags flags_;
  std::u32string pattern_;
  std::size_t at_ = 0;
  std::string icu_;
  int group_count_ = 0;
  int class_depth_ = 0;
  std::vector<int> open_groups_;
  std::vector<bool> is_closed_ = {false};  // by the number of a group
  bool is_literal_ = true;
  std::string literal_;
};

void Translator::AppendClassRange(std::string& set,
                                  CharacterRange range) const {
  if (!flags_.ignores_case) return AppendRange(set, range);
  for (const CharacterRange& part : WithCaseVariants(range))
    AppendRange(set, part);
}

void Translator::AddCharacter(char32_t character) {
  if (flags_.ignores_case) {
    std::string set;
    AppendClassRange(set, {character, character});
    return AddSyntax("[" + set + "]");
  }
  icu_ += CodePoint(character);
  AppendCharacter(literal_, character);
}

// An atom, with its quantifier, or what lies between atoms.
void Translator::ReadPiece() {
  const char32_t c = Take();
  switch (c) {
    case '|':
      return AddSyntax("|");
    case '(':
      open_groups_.push_back(++group_count_);
      is_closed_.push_back(false);
      return AddSyntax("(");
    case ')':
      CloseGroup();
      break;
    case '[':
      --at_;
      AddSyntax(ReadClass());
      break;
    case '\\':
      ReadAtomEscape();
      break;
    case '.':
      AddSyntax(".");
      break;
    case '^':
      AddSyntax(flags_.is_multi_line ? "(?:(?m:^))" : "(?:^)");
      break;
    case '$':
      AddSyntax(flags_.is_multi_line ? "(?:(?=\\n)|(?<!\\n)\\z)" : "(?:\\z)");
      break;
    case '?':
    case '*':
    case '+':
    case '{':
      Refuse("a quantifier has nothing before it");
    case '}':
    case ']':
      Refuse("a closing bracket has no opening one");
    default:
      AddCharacter(c);
  }
  ReadQuantifier();
}

void Translator::CloseGroup() {
  if (open_groups_.empty()) Refuse("a parenthesis is closed, not opened");
  is_closed_[static_cast<std::size_t>(open_groups_.back())] = true;
  open_groups_.pop_back();
  AddSyntax(")");
}

void Translator::ReadAtomEscape() {
  if (Peek() >= '1' && Peek() <= '9') return ReadBackReference();
  const Escape escape = ReadEscape();
  if (escape.set.empty()) return AddCharacter(escape.character);
  AddSyntax("[" + escape.set + "]");
}

// Of several digits as many are taken as still name a group before.
void Translator::ReadBackReference() {
  auto number = static_cast<int>(Take() - '0');
  while (Peek() >= '0' && Peek() <= '9') {
    const int longer = number * 10 + static_cast<int>(Peek() - '0');
    if (longer > group_count_) break;
    number = longer;
    ++at_;
  }
  if (number > group_count_ || !is_closed_[static_cast<std::size_t>(number)]) {
    Refuse("\\" + std::to_string(number) + " refers to no group before it");
  }
  const std::string reference = "\\" + std::to_string(number);
  AddSyntax((flags_.ignores_case ? "(?i:" : "(?:") + reference + ")");
}

void Translator::ReadQuantifier() {
  const char32_t c = Peek();
  if (c == '?' || c == '*' || c == '+') {
    AddSyntax(std::string(1, static_cast<char>(c)));
    ++at_;
  } else if (c == '{') {
    ++at_;
    ReadQuantity();
  } else {
    return;
  }
  if (TakeIf('?')) AddSyntax("?");
}

void Translator::ReadQuantity() {
  const std::uint32_t least = ReadNumber();
  std::string quantity = "{" + std::to_string(least);
  if (TakeIf(',')) {
    quantity += ",";
    if (Peek() != '}') {
      const std::uint32_t most = ReadNumber();
      if (most < least) Refuse("the bounds of a quantifier are reversed");
      quantity += std::to_string(most);
    }
  }
  if (!TakeIf('}')) Refuse("a quantifier is not closed");
  AddSyntax(quantity + "}");
}

std::uint32_t Translator::ReadNumber() {
  if (Peek() < '0' || Peek() > '9') Refuse("a quantifier lacks its number");
  std::uint64_t number = 0;
  while (Peek() >= '0' && Peek() <= '9') {
    number = std::min<std::uint64_t>(number * 10 + (Take() - '0'), kMaxRepeat);
  }
  return static_cast<std::uint32_t>(number);
}

// Behind the backslash.
Translator::Escape Translator::ReadEscape() {
  constexpr std::string_view kThemselves = "\\|.-^?*+{}()[]$";
  const char32_t c = Take();
  switch (c) {
    case 'n':
      return {'\n', {}};
    case 'r':
      return {'\r', {}};
    case 't':
      return {'\t', {}};
    case 's':
      return {0, "\\x{20}\\t\\n\\r"};
    case 'S':
      return {0, "[^\\x{20}\\t\\n\\r]"};
    case 'd':
      return {0, "\\p{Nd}"};
    case 'D':
      return {0, "\\P{Nd}"};
    case 'w':
      return {0, "[^\\p{P}\\p{Z}\\p{C}]"};
    case 'W':
      return {0, "\\p{P}\\p{Z}\\p{C}"};
    case 'i':
      return {0, std::string(kNameStart)};
    case 'I':
      return {0, "[^" + std::string(kNameStart) + "]"};
    case 'c':
      return {0, std::string(kNameStart) + std::string(kNameOther)};
    case 'C':
      return {0,
              "[^" + std::string(kNameStart) + std::string(kNameOther) + "]"};
    case 'p':
    case 'P':
      return {0, ReadProperty(c == 'P')};
    default:
      if (c < 128 &&
          kThemselves.find(static_cast<char>(c)) != std::string_view::npos) {
        return {c, {}};
      }
      Refuse("unknown escape after a backslash");
  }
}

std::string Translator::ReadProperty(bool is_complement) {
  if (!TakeIf('{')) Refuse("\\p lacks its name in braces");
  std::string name;
  while (!TakeIf('}')) AppendCharacter(name, Take());
  if (std::ranges::find(kCategories, name) != std::end(kCategories))
    return (is_complement ? "\\P{" : "\\p{") + name + "}";
  const auto block = name.starts_with("Is")
                         ? BlockNamed(std::string_view(name).substr(2))
                         : std::nullopt;
  if (!block) Refuse("there is no category or block '" + name + "'");
  std::string range;
  AppendRange(range, *block);
  return is_complement ? "[^" + range + "]" : range;
}

// The class that begins here, as an ICU set.
std::string Translator::ReadClass() {
  if (++class_depth_ > kMaxClassDepth) Refuse("classes nest too deeply");
  Take();
  const bool is_complement = TakeIf('^');
  std::string set;
  for (bool is_first = true; ReadClassItem(set, is_first); is_first = false) {
  }
  set = (is_complement ? "[^" : "[") + set + "]";
  if (TakeIf('-')) set = "[" + set + "--" + ReadClass() + "]";
  if (!TakeIf(']')) Refuse("a class is not closed");
  --class_depth_;
  return set;
}

// A range, character or escape; false before "]" and "-[", which end the items.
bool Translator::ReadClassItem(std::string& set, bool is_first) {
  const char32_t c = Peek();
  if (!is_first && (c == ']' || (c == '-' && Peek(1) == '['))) return false;
  Take();
  if (c == '[' || c == ']') Refuse("a bracket in a class is not escaped");
  if (c == '-') {
    const bool is_last = Peek() == ']' || (Peek() == '-' && Peek(1) == '[');
    if (!is_first && !is_last) Refuse("a hyphen in a class is not escaped");
    AppendClassRange(set, {c, c});
    return true;
  }
  Escape first{c, {}};
  if (c == '\\') first = ReadEscape();
  if (!first.set.empty()) {
    set += first.set;
    return true;
  }
  CharacterRange range{first.character, first.character};
  const bool is_range = Peek() == '-' && Peek(1) != ']' && Peek(1) != '[' &&
                        !(Peek(1) == '-' && Peek(2) == '[');
  if (is_range) {
    Take();
    Escape last{Take(), {}};
    if (last.character == '-') Refuse("a hyphen in a class is not escaped");
    if (last.character == '\\') last = ReadEscape();
    if (!last.set.empty()) Refuse("a range ends with a class");
    range.last = last.character;
    if (range.last < range.first) Refuse("the ends of a range are reversed");
  }
  AppendClassRange(set, range);
  return true;
}

}  // namespace

PatternFlags PatternFlags::FromText(std::string_view text) {
  PatternFlags flags;
  for (const char c : text) {
    switch (c) {
      case 's':
        flags.dot_is_all = true;
        break;
      case 'm':
        flags.is_multi_line = true;
        break;
      case 'i':
        flags.ignores_case = true;
        break;
      case 'x':
        flags.ignores_space = true;
        break;
      default:
        throw Error("FORX0001", "'" + std::string(text) +
                                    "' are not flags of a regular expression");
    }
  }
  return flags;
}

TranslatedPattern TranslatePattern(std::string_view pattern,
                                   const PatternFlags& flags) {
  return Translator(pattern, flags).Translate();
}

}  // namespace kiv::xdb::xq
