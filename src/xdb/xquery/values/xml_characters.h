#ifndef XDB_XQUERY_VALUES_XML_CHARACTERS_H_
#define XDB_XQUERY_VALUES_XML_CHARACTERS_H_

#include <array>

#include "util/utf8.h"

// The character classes of XML 1.0: characters as in every edition, names as in
// the fifth. A name here has no colon.
namespace kiv::xdb::xq {

constexpr bool IsXmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

constexpr bool IsXmlCharacter(char32_t c) {
  return (c >= 0x20 && c <= 0xD7FF) || c == '\t' || c == '\n' || c == '\r' ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

namespace xml_characters {

inline constexpr unsigned char kStart = 1;
inline constexpr unsigned char kFollow = 2;

constexpr std::array<unsigned char, 128> MakeAsciiClasses() {
  std::array<unsigned char, 128> classes{};
  for (unsigned c = 0; c < 128; ++c) {
    const bool is_start =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    const bool is_follow = (c >= '0' && c <= '9') || c == '-' || c == '.';
    classes[c] = is_start ? kStart | kFollow : is_follow ? kFollow : 0;
  }
  return classes;
}

inline constexpr auto kAsciiClasses = MakeAsciiClasses();

constexpr bool IsOtherNameStart(char32_t c) {
  return (c >= 0xC0 && c <= 0x2FF && c != 0xD7 && c != 0xF7) ||
         (c >= 0x370 && c <= 0x1FFF && c != 0x37E) ||
         (c >= 0x200C && c <= 0x200D) || (c >= 0x2070 && c <= 0x218F) ||
         (c >= 0x2C00 && c <= 0x2FEF) || (c >= 0x3001 && c <= 0xD7FF) ||
         (c >= 0xF900 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0xEFFFF);
}

}  // namespace xml_characters

constexpr bool IsNameStart(char32_t c) {
  return c < 128 ? (xml_characters::kAsciiClasses[c] & xml_characters::kStart)
                 : xml_characters::IsOtherNameStart(c);
}

constexpr bool IsNameCharacter(char32_t c) {
  return c < 128
             ? (xml_characters::kAsciiClasses[c] & xml_characters::kFollow)
             : xml_characters::IsOtherNameStart(c) || c == 0xB7 ||
                   (c >= 0x300 && c <= 0x36F) || (c >= 0x203F && c <= 0x2040);
}

// What is behind the name that the UTF-8 text begins with; `in` when it begins
// with none.
inline const char* SkipNcName(const char* in, const char* end) {
  bool is_first = true;
  while (in != end) {
    char32_t character = static_cast<unsigned char>(*in);
    const char* next = in + 1;
    if (character >= 128) next = utf8::DecodeOne(in, end, character);
    if (!(is_first ? IsNameStart(character) : IsNameCharacter(character))) {
      break;
    }
    is_first = false;
    in = next;
  }
  return in;
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_XML_CHARACTERS_H_
