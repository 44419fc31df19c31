#ifndef UTIL_UTF8_H_
#define UTIL_UTF8_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace kiv {

// Replaces what is no character, bytes or unpaired surrogates.
inline constexpr char16_t kReplacementUnit = 0xFFFD;

// The whole text into a buffer with the room the comment says. They return how
// much was written and add no NUL; one inside the text is a character as any
// other. Ill-formed bytes give one U+FFFD for each longest prefix of a
// character.
std::size_t Utf8ToUtf16(std::string_view text, char16_t* out);  // 1 x size
std::size_t Utf16ToUtf8(std::u16string_view text, char* out);   // 3 x size

std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

bool IsUtf8(std::string_view text);

constexpr bool IsHighSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
constexpr bool IsLowSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

namespace utf8 {

// A byte that does not begin a character.
constexpr bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The text's first bytes, so many at most, without half a character.
constexpr std::string_view Prefix(std::string_view text,
                                  std::size_t most_bytes) {
  if (text.size() <= most_bytes) return text;
  while (most_bytes > 0 && IsContinuation(text[most_bytes])) --most_bytes;
  return text.substr(0, most_bytes);
}

// Writes one to four bytes and returns how many; surrogates must not come here.
inline std::size_t EncodeOne(char32_t character, char* out) {
  const auto continuation = [character](int shift) {
    return static_cast<char>(0x80 | ((character >> shift) & 0x3F));
  };
  if (character < 0x80) {
    out[0] = static_cast<char>(character);
    return 1;
  }
  if (character < 0x800) {
    out[0] = static_cast<char>(0xC0 | character >> 6);
    out[1] = continuation(0);
    return 2;
  }
  if (character < 0x10000) {
    out[0] = static_cast<char>(0xE0 | character >> 12);
    out[1] = continuation(6);
    out[2] = continuation(0);
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | character >> 18);
  out[1] = continuation(12);
  out[2] = continuation(6);
  out[3] = continuation(0);
  return 4;
}

// Reads the character at `in`, which is before `end`, and returns what is
// behind it. Ill-formed: U+FFFD for the longest prefix of a character, at least
// one byte.
inline const char* DecodeOne(const char* in, const char* end,
                             char32_t& character) {
  const auto lead = static_cast<unsigned char>(*in++);
  character = lead;
  if (lead < 0x80) return in;
  // What may follow the lead: the second byte is bounded more closely where
  // overlong forms, surrogates and values past U+10FFFF would begin.
  int more = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    more = 1;
    character = lead & 0x1FU;
  } else if ((lead & 0xF0) == 0xE0) {
    more = 2;
    character = lead & 0x0FU;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    more = 3;
    character = lead & 0x07U;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    character = kReplacementUnit;
    return in;
  }
  for (; more > 0; --more) {
    const auto next = in == end ? static_cast<unsigned char>(0)
                                : static_cast<unsigned char>(*in);
    if (next < low || next > high) {
      character = kReplacementUnit;
      return in;
    }
    character = character << 6 | (next & 0x3FU);
    low = 0x80;
    high = 0xBF;
    ++in;
  }
  return in;
}

}  // namespace utf8
}  // namespace kiv

#endif  // UTIL_UTF8_H_
