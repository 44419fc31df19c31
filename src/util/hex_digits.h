#ifndef UTIL_HEX_DIGITS_H_
#define UTIL_HEX_DIGITS_H_

#include <string>

// Single bytes and digits; for whole texts there is kiv/hex.h.
namespace kiv {

inline constexpr char kUpperHexDigits[] = "0123456789ABCDEF";
inline constexpr char kLowerHexDigits[] = "0123456789abcdef";

inline void AppendHexByte(std::string& out, char byte,
                          const char* digits = kUpperHexDigits) {
  const auto value = static_cast<unsigned char>(byte);
  out += digits[value >> 4];
  out += digits[value & 15];
}

// Of either case; -1 for what is no digit.
constexpr int HexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

}  // namespace kiv

#endif  // UTIL_HEX_DIGITS_H_
