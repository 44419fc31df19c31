#ifndef XDB_XQUERY_FUNCTIONS_TEXT_STEPS_H_
#define XDB_XQUERY_FUNCTIONS_TEXT_STEPS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "util/utf8.h"

// Characters of UTF-8 texts, which are well formed wherever items hold them.
namespace kiv::xdb::xq {

inline bool IsAscii(std::string_view text) {
  std::uint64_t seen = 0;
  std::size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t eight;
    std::memcpy(&eight, text.data() + at, 8);
    seen |= eight;
  }
  for (; at < text.size(); ++at) seen |= static_cast<std::uint64_t>(text[at]);
  return (seen & 0x8080808080808080U) == 0;
}

using utf8::IsContinuation;

inline std::size_t CountCharacters(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) count += IsContinuation(c) ? 0 : 1;
  return count;
}

// Where the character so many behind `at` begins; the size when there are
// fewer.
inline std::size_t SkipCharacters(std::string_view text, std::size_t at,
                                  std::size_t count) {
  for (; count > 0 && at < text.size(); --count) {
    do ++at;
    while (at < text.size() && IsContinuation(text[at]));
  }
  return at;
}

inline void AppendCharacter(std::string& text, char32_t character) {
  char bytes[4];
  text.append(bytes, utf8::EncodeOne(character, bytes));
}

template <typename Take>
void ForEachCharacter(std::string_view text, Take take) {
  const char* in = text.data();
  const char* const end = in + text.size();
  while (in != end) {
    char32_t character;
    in = utf8::DecodeOne(in, end, character);
    take(character);
  }
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_TEXT_STEPS_H_
