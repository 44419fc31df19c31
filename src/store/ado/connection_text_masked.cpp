#include <algorithm>

#include "store/ado/connection_text.h"
#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

constexpr std::string_view kMask = "***";
// Of texts inside of values; deeper ones are masked whole.
constexpr int kMaxDepth = 8;

std::string MaskedAt(std::string_view text, int depth);

// "pwd" may follow whatever stands before the first pair, as in "ado::PWD".
bool IsOfPassword(std::string_view key) {
  std::string lower(key);
  LowerAscii(lower);
  while (!lower.empty() && IsAsciiSpace(lower.back())) lower.pop_back();
  return lower.find("password") != std::string::npos || lower.ends_with("pwd");
}

// Whether a key in the text may be a password's.
bool NamesPassword(std::string text) {
  LowerAscii(text);
  return FindText(text, "password") != std::string::npos ||
         FindText(text, "pwd") != std::string::npos;
}

bool HasPairs(std::string_view text) {
  return FindAscii(text, '=') != std::string_view::npos;
}

// Behind the closing mark of the value whose opening one is at `at`; the end of
// the text when it is missing: what follows may be part of the secret.
std::size_t EndOfDelimited(std::string_view text, std::size_t at, char mark) {
  for (std::size_t from = at + 1;;) {
    const std::size_t end = FindAscii(text, mark, from);
    if (end == std::string_view::npos) return text.size();
    if (end + 1 >= text.size() || text[end + 1] != mark) return end + 1;
    from = end + 2;
  }
}

std::string Undoubled(std::string_view text, char mark) {
  std::string result;
  for (std::size_t at = 0;;) {
    const std::size_t end = FindAscii(text, mark, at);
    if (end == std::string_view::npos) return result.append(text.substr(at));
    result += text.substr(at, end + 1 - at);
    at = std::min(end + 2, text.size());
  }
}

std::string Doubled(std::string_view text, char mark) {
  std::string result;
  for (std::size_t at = 0;;) {
    const std::size_t end = FindAscii(text, mark, at);
    if (end == std::string_view::npos) return result.append(text.substr(at));
    result += text.substr(at, end + 1 - at);
    result += mark;
    at = end + 1;
  }
}

// A value that is no password's, up to the ";" behind it: it may be a text of
// pairs itself.
std::string MaskedValue(std::string_view value, std::size_t end_of_delimited,
                        char mark, int depth) {
  const bool is_delimited =
      end_of_delimited >= 2 && value[end_of_delimited - 1] == mark;
  if (!is_delimited)
    return HasPairs(value) ? MaskedAt(value, depth) : std::string(value);
  const std::string inner =
      Undoubled(value.substr(1, end_of_delimited - 2), mark);
  const std::string_view rest = value.substr(end_of_delimited);
  if (!HasPairs(inner))
    return std::string(value.substr(0, end_of_delimited)) +
           (HasPairs(rest) ? MaskedAt(rest, depth) : std::string(rest));
  const std::string masked = MaskedAt(inner, depth);
  const bool is_closed =
      rest.find_first_not_of(" \t\r\n") == std::string_view::npos;
  // Where the mark means nothing, what is behind it may be the end of a
  // password that began in front of it, or the whole of one.
  return value[0] + Doubled(masked, mark) + mark +
         (is_closed              ? std::string(rest)
          : NamesPassword(inner) ? std::string(kMask)
                                 : MaskedAt(rest, depth));
}

std::string MaskedAt(std::string_view text, int depth) {
  if (depth > kMaxDepth) return std::string(kMask);
  std::string result;
  std::size_t equals = 0;
  for (std::size_t at = 0; at < text.size();) {
    // Far off, it need not be looked for again.
    if (at == 0 || equals < at) equals = FindAscii(text, '=', at);
    const std::size_t end_of_pair =
        std::min(FindAscii(text, ';', at), text.size());
    if (equals == std::string_view::npos || end_of_pair < equals) {
      // No pair.
      const std::size_t behind = std::min(end_of_pair + 1, text.size());
      result += text.substr(at, behind - at);
      at = behind;
      continue;
    }
    std::size_t value = equals + 1;
    while (value < text.size() && IsAsciiSpace(text[value])) ++value;
    result += text.substr(at, value - at);
    const char first = value < text.size() ? text[value] : '\0';
    const char mark = first == '{'                    ? '}'
                      : first == '"' || first == '\'' ? first
                                                      : '\0';
    const std::size_t delimited =
        mark == '\0' ? value : EndOfDelimited(text, value, mark);
    const std::size_t end =
        std::min(FindAscii(text, ';', delimited), text.size());
    if (IsOfPassword(text.substr(at, equals - at))) {
      if (end > value) result += kMask;
    } else {
      result += MaskedValue(text.substr(value, end - value), delimited - value,
                            mark, depth + 1);
    }
    at = end;
  }
  return result;
}

}  // namespace

std::string Masked(std::string_view text) { return MaskedAt(text, 0); }

}  // namespace kiv::store::ado
