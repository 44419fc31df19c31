#include <array>
#include <cstdint>

#include "kiv/parser/parser.h"
#include "parser/parser_messages.h"
#include "parser/scanner.h"
#include "util/log_entry.h"

namespace kiv::parser {
namespace {

// A sign and digits as they stand in the text, the digits' value wrapped at 64
// bits.
struct Digits {
  bool is_negative = false;
  std::uint64_t value = 0;
  unsigned count = 0;
};

bool TakePositiveSign(Scanner& scanner, bool def) {
  scanner.SkipBlanks();
  if (scanner.TakeChar('+')) return true;
  if (scanner.TakeChar('-')) return false;
  return def;
}

Digits TakeInteger(Scanner& scanner, unsigned max_digits) {
  Digits digits;
  digits.is_negative = !TakePositiveSign(scanner, true);
  scanner.SkipBlanks();
  digits.count = scanner.TakeDigits(max_digits, digits.value);
  return digits;
}

// Narrowing 64 wrapped bits gives what accumulating in T would have given.
template <class T>
bool ParseInteger(const char* text, const char* end, T& out, unsigned& consumed,
                  T def, unsigned max_digits) {
  Scanner scanner(text, end);
  const Digits digits = TakeInteger(scanner, max_digits);
  // The sign counts for the default as well: "-" alone negates it. Callers tell
  // "-" from nothing by that.
  const std::uint64_t value =
      digits.count > 0 ? digits.value : static_cast<std::uint64_t>(def);
  out = static_cast<T>(digits.is_negative ? 0 - value : value);
  consumed = scanner.Consumed();
  return true;
}

constexpr unsigned kMaxFractionDigits = 19;

constexpr std::array<std::uint64_t, kMaxFractionDigits + 1> PowersOfTen() {
  std::array<std::uint64_t, kMaxFractionDigits + 1> powers{1};
  for (unsigned i = 1; i <= kMaxFractionDigits; ++i) {
    powers[i] = powers[i - 1] * 10;
  }
  return powers;
}

constexpr auto kPowersOfTen = PowersOfTen();

// False for a fraction that is too long.
bool TakeReal(Scanner& scanner, double& out) {
  const Digits whole = TakeInteger(scanner, 0);
  const auto integer = static_cast<std::int64_t>(
      whole.is_negative ? 0 - whole.value : whole.value);
  out = static_cast<double>(integer);
  scanner.SkipBlanks();
  if (!scanner.TakeChar('.')) return true;
  scanner.SkipBlanks();
  std::uint64_t fraction;
  const unsigned count = scanner.TakeDigits(0, fraction);
  // Read as a signed number, a fraction in the top half was never above 0; such
  // texts have been read without it ever since.
  if (static_cast<std::int64_t>(fraction) <= 0) return true;
  if (count > kMaxFractionDigits) return false;
  const auto unsigned_integer = static_cast<std::uint64_t>(integer);
  const double magnitude =
      static_cast<double>(integer < 0 ? 0 - unsigned_integer
                                      : unsigned_integer) +
      static_cast<double>(fraction) / static_cast<double>(kPowersOfTen[count]);
  out = whole.is_negative ? -magnitude : magnitude;
  return true;
}

template <class T>
bool ParseReal(const char* text, const char* end, T& out, unsigned& consumed,
               T def) {
  consumed = 0;
  Scanner scanner(text, end);
  if (scanner.AtEnd()) {
    out = def;
    return true;
  }
  double real;
  if (!TakeReal(scanner, real)) {
    LogError("parser", message::FractionTooLong());
    return false;
  }
  out = static_cast<T>(real);
  consumed = scanner.Consumed();
  return true;
}

}  // namespace

bool Parser::ParseSign(const char* text, const char* end, bool& positive,
                       unsigned& consumed, bool def) {
  Scanner scanner(text, end);
  positive = TakePositiveSign(scanner, def);
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseInt8(const char* text, const char* end, std::int8_t& out,
                       unsigned& consumed, std::int8_t def,
                       unsigned maxDigits) {
  return ParseInteger(text, end, out, consumed, def, maxDigits);
}

bool Parser::ParseInt16(const char* text, const char* end, std::int16_t& out,
                        unsigned& consumed, std::int16_t def,
                        unsigned maxDigits) {
  return ParseInteger(text, end, out, consumed, def, maxDigits);
}

bool Parser::ParseInt32(const char* text, const char* end, std::int32_t& out,
                        unsigned& consumed, std::int32_t def,
                        unsigned maxDigits) {
  return ParseInteger(text, end, out, consumed, def, maxDigits);
}

bool Parser::ParseInt64(const char* text, const char* end, long long& out,
                        unsigned& consumed, long long def, unsigned maxDigits) {
  return ParseInteger(text, end, out, consumed, def, maxDigits);
}

bool Parser::ParseDouble(const char* text, const char* end, double& out,
                         unsigned& consumed, double def) {
  return ParseReal(text, end, out, consumed, def);
}

bool Parser::ParseFloat(const char* text, const char* end, float& out,
                        unsigned& consumed, float def) {
  return ParseReal(text, end, out, consumed, def);
}

}  // namespace kiv::parser
