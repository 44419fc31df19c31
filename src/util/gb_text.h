#ifndef UTIL_GB_TEXT_H_
#define UTIL_GB_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

// Stepping through local text. A character is one byte, or a lead byte
// 0x81-0xFE with a trail byte 0x40-0xFE except 0x7F; a trail byte may look like
// an ASCII letter, "\" or "|". A lead byte without a trail byte stands alone.
namespace kiv {

constexpr bool IsLeadByte(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 0x81 && value <= 0xFE;
}

constexpr bool IsTrailByte(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= 0x40 && value <= 0xFE && value != 0x7F;
}

// ASCII alone, whatever the locale.
constexpr bool IsAscii(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}
constexpr bool IsAsciiSpace(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}
constexpr bool IsAsciiDigit(char byte) { return byte >= '0' && byte <= '9'; }
constexpr bool IsAsciiUpper(char byte) { return byte >= 'A' && byte <= 'Z'; }
constexpr bool IsAsciiLower(char byte) { return byte >= 'a' && byte <= 'z'; }
constexpr bool IsAsciiAlpha(char byte) {
  return IsAsciiUpper(byte) || IsAsciiLower(byte);
}

// One character on its own, never a byte picked out of a text.
constexpr char AsciiToUpper(char byte) {
  return IsAsciiLower(byte) ? static_cast<char>(byte - 'a' + 'A') : byte;
}
constexpr char AsciiToLower(char byte) {
  return IsAsciiUpper(byte) ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// Bytes of the character that begins at `pos`, which lies inside the text.
constexpr std::size_t CharacterSize(std::string_view text, std::size_t pos) {
  return IsLeadByte(text[pos]) && pos + 1 < text.size() &&
                 IsTrailByte(text[pos + 1])
             ? 2
             : 1;
}

// Whether a character begins at `pos`, given that one begins at `known`, which
// is not behind it. Looks back over lead bytes only.
constexpr bool BeginsCharacter(std::string_view text, std::size_t pos,
                               std::size_t known = 0) {
  if (pos >= text.size() || !IsTrailByte(text[pos])) return true;
  // Behind a byte that cannot lead, a character ends; from there, bytes that
  // can lead pair up.
  std::size_t leads = 0;
  while (pos - leads > known && IsLeadByte(text[pos - leads - 1])) ++leads;
  return leads % 2 == 0;
}

// As std::string_view's, for whole characters only; `from` begins a character.
std::size_t FindAscii(std::string_view text, char ascii, std::size_t from = 0);
std::size_t FindLastAscii(std::string_view text, char ascii);
std::size_t FindText(std::string_view text, std::string_view part,
                     std::size_t from = 0);

// In place. Two-byte characters stay as they are.
void UpperAscii(std::string& text);
void LowerAscii(std::string& text);
void ReplaceAscii(std::string& text, char from, char to);

// -1, 0 or 1; ASCII letters of either case are equal, other bytes compare
// unsigned. Letters count as lower case.
int CompareIgnoreCase(std::string_view a, std::string_view b);
bool EqualIgnoreCase(std::string_view a, std::string_view b);
bool StartsWithIgnoreCase(std::string_view text, std::string_view start);

}  // namespace kiv

#endif  // UTIL_GB_TEXT_H_
