#include "xdb/xquery/values/lexical.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <system_error>

#include "util/hex_digits.h"

namespace kiv::xdb::xq {
namespace {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::size_t CountDigits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

// "12", "12.", ".5", "1.5e-7"; no sign in front.
bool IsUnsignedNumber(std::string_view text) {
  const std::size_t whole = CountDigits(text);
  text.remove_prefix(whole);
  std::size_t fraction = 0;
  if (!text.empty() && text[0] == '.') {
    text.remove_prefix(1);
    fraction = CountDigits(text);
    text.remove_prefix(fraction);
  }
  if (whole + fraction == 0) return false;
  if (text.empty()) return true;
  if (text[0] != 'e' && text[0] != 'E') return false;
  text.remove_prefix(1);
  if (!text.empty() && (text[0] == '-' || text[0] == '+'))
    text.remove_prefix(1);
  return !text.empty() && CountDigits(text) == text.size();
}

// Whether a number out of range is so because it is small: its first digit that
// counts stands behind the point, exponent included.
bool IsTiny(std::string_view text) {
  const std::size_t end = std::min(text.find_first_of("eE"), text.size());
  const std::string_view digits = text.substr(0, end);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t first = digits.find_first_of("123456789");
  if (first == digits.npos) return true;
  // An exponent of more digits than this decides alone.
  std::string_view exponent_text = text.substr(std::min(end + 1, text.size()));
  const bool is_negative = !exponent_text.empty() && exponent_text[0] == '-';
  std::int64_t exponent = 0;
  for (const char c : exponent_text)
    if (IsDigit(c) && exponent < 1'000'000'000'000)
      exponent = exponent * 10 + (c - '0');
  if (is_negative) exponent = -exponent;
  return exponent + static_cast<std::int64_t>(point) -
             static_cast<std::int64_t>(first) <
         0;
}

// Numbers without an exponent and with so few digits that the coefficient and
// the power of ten are exact, so that one division rounds once: nearly all that
// documents contain. False for any other text.
bool ParseShort(std::string_view number, double& value) {
  constexpr std::size_t kMostDigits = 15;  // below 2^53
  constexpr std::array<double, kMostDigits + 1> kPowers = {
      1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
      1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  if (number.size() > kMostDigits) return false;
  std::int64_t coefficient = 0;
  std::size_t digits = 0, fraction = 0;
  bool has_point = false;
  for (const char c : number) {
    if (IsDigit(c)) {
      coefficient = coefficient * 10 + (c - '0');
      ++digits;
      fraction += has_point;
    } else if (c == '.' && !has_point) {
      has_point = true;
    } else {
      return false;
    }
  }
  if (digits == 0) return false;
  value = static_cast<double>(coefficient) / kPowers[fraction];
  return true;
}

template <typename T>
bool ParseFloating(std::string_view text, T& value) {
  const bool has_minus = !text.empty() && text[0] == '-';
  std::string_view number = text;
  if (has_minus || (!text.empty() && text[0] == '+')) number.remove_prefix(1);
  if (!number.empty() && !IsDigit(number[0]) && number[0] != '.') {
    if (text == "NaN") {
      value = std::numeric_limits<T>::quiet_NaN();
    } else if (text == "INF" || text == "-INF") {
      value = std::numeric_limits<T>::infinity();
      if (has_minus) value = -value;
    } else {
      return false;
    }
    return true;
  }
  if (!IsUnsignedNumber(number)) return false;
  T parsed = 0;
  const auto result =
      std::from_chars(number.data(), number.data() + number.size(), parsed);
  if (result.ec == std::errc::result_out_of_range)
    parsed = IsTiny(number) ? T{0} : std::numeric_limits<T>::infinity();
  value = has_minus ? -parsed : parsed;
  return true;
}

// The shortest digits that read back, then laid out: plain from 0.000001 up to
// below 1000000, else with one digit before the point and an exponent.
template <typename T>
void AppendFloating(T value, std::string& text) {
  if (std::isnan(value)) {
    text += "NaN";
    return;
  }
  if (std::signbit(value)) text += '-';
  value = std::fabs(value);
  if (std::isinf(value)) {
    text += "INF";
    return;
  }
  std::array<char, 40> shortest;
  if (value == 0 || (value >= T(0.000001L) && value < T(1'000'000))) {
    const auto end =
        std::to_chars(shortest.data(), shortest.data() + shortest.size(), value,
                      std::chars_format::fixed);
    text.append(shortest.data(), end.ptr);
    return;
  }
  const auto end =
      std::to_chars(shortest.data(), shortest.data() + shortest.size(), value,
                    std::chars_format::scientific);
  const std::string_view form(
      shortest.data(), static_cast<std::size_t>(end.ptr - shortest.data()));
  const std::size_t mark = form.find('e');
  text += form.substr(0, mark);
  if (mark == 1) text += ".0";
  text += 'E';
  std::string_view exponent = form.substr(mark + 1);
  if (exponent[0] == '-') text += '-';
  exponent.remove_prefix(1);
  exponent.remove_prefix(
      std::min(exponent.find_first_not_of('0'), exponent.size() - 1));
  text += exponent;
}

struct Range {
  char32_t first, last;
};

constexpr Range kNameStart[] = {
    {':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
constexpr Range kNameRest[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};

template <std::size_t N>
bool IsIn(char32_t c, const Range (&ranges)[N]) {
  return std::any_of(std::begin(ranges), std::end(ranges), [c](const Range& r) {
    return c >= r.first && c <= r.last;
  });
}

// The next character of UTF-8 that is taken to be well formed.
char32_t TakeCharacter(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t size = lead < 0x80   ? 1
                           : lead < 0xE0 ? 2
                           : lead < 0xF0 ? 3
                                         : 4;
  char32_t c = size == 1 ? lead : lead & (0x7F >> size);
  const std::size_t end = std::min(size, text.size());
  for (std::size_t i = 1; i < end; ++i)
    c = c << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
  text.remove_prefix(end);
  return c;
}

bool AreNameCharacters(std::string_view text, bool has_colons) {
  while (!text.empty()) {
    const char32_t c = TakeCharacter(text);
    if (c == ':' ? !has_colons : !IsIn(c, kNameStart) && !IsIn(c, kNameRest))
      return false;
  }
  return true;
}

bool IsNameOf(std::string_view text, bool has_colons) {
  if (text.empty()) return false;
  std::string_view rest = text;
  const char32_t first = TakeCharacter(rest);
  return IsIn(first, kNameStart) && (has_colons || first != ':') &&
         AreNameCharacters(rest, has_colons);
}

constexpr std::string_view kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

bool ParseBoolean(std::string_view text, bool& value) {
  value = text == "true" || text == "1";
  return value || text == "false" || text == "0";
}

bool ParseDouble(std::string_view text, double& value) {
  const bool has_minus = !text.empty() && text[0] == '-';
  if (ParseShort(text.substr(has_minus ? 1 : 0), value)) {
    if (has_minus) value = -value;
    return true;
  }
  return ParseFloating(text, value);
}

bool ParseFloat(std::string_view text, float& value) {
  return ParseFloating(text, value);
}

void AppendDouble(double value, std::string& text) {
  AppendFloating(value, text);
}

void AppendFloat(float value, std::string& text) {
  AppendFloating(value, text);
}

bool ParseHex(std::string_view text, std::string& octets) {
  if (text.size() % 2 != 0) return false;
  octets.clear();
  octets.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = HexValue(text[i]), low = HexValue(text[i + 1]);
    if (high < 0 || low < 0) return false;
    octets += static_cast<char>(high << 4 | low);
  }
  return true;
}

bool ParseBase64(std::string_view text, std::string& octets) {
  octets.clear();
  octets.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int digits = 0, pads = 0;
  for (const char c : text) {
    if (IsSpace(c)) continue;
    std::size_t digit = 0;
    if (c == '=') {
      ++pads;
    } else {
      digit = kBase64Digits.find(c);
      if (digit == kBase64Digits.npos || pads > 0) return false;
    }
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    if (++digits < 4) continue;
    if (pads > 2) return false;
    // What the padding leaves out must be zero.
    if ((bits & ((1u << (8 * pads)) - 1)) != 0) return false;
    for (int i = 0; i < 3 - pads; ++i)
      octets += static_cast<char>(bits >> (16 - 8 * i));
    bits = 0;
    digits = 0;
    if (pads > 0) pads = 4;  // nothing but white space may follow
  }
  return digits == 0;
}

void AppendHex(std::string_view octets, std::string& text) {
  for (const char octet : octets) AppendHexByte(text, octet);
}

void AppendBase64(std::string_view octets, std::string& text) {
  for (std::size_t i = 0; i < octets.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, octets.size() - i);
    std::uint32_t bits = 0;
    for (std::size_t j = 0; j < 3; ++j)
      bits = bits << 8 |
             (j < count ? static_cast<unsigned char>(octets[i + j]) : 0u);
    for (std::size_t j = 0; j < 4; ++j)
      text += j <= count ? kBase64Digits[bits >> (18 - 6 * j) & 63] : '=';
  }
}

bool IsName(std::string_view text) { return IsNameOf(text, true); }

bool IsNcName(std::string_view text) { return IsNameOf(text, false); }

bool IsNmToken(std::string_view text) {
  return !text.empty() && AreNameCharacters(text, true);
}

// Up to eight letters, then parts of up to eight letters and digits.
bool IsLanguage(std::string_view text) {
  bool is_first = true;
  while (true) {
    const std::size_t end = std::min(text.find('-'), text.size());
    const std::string_view part = text.substr(0, end);
    if (part.empty() || part.size() > 8) return false;
    for (const char c : part)
      if (!IsLetter(c) && (is_first || !IsDigit(c))) return false;
    if (end == text.size()) return true;
    text.remove_prefix(end + 1);
    is_first = false;
  }
}

bool SplitQName(std::string_view text, std::string_view& prefix,
                std::string_view& local) {
  const std::size_t colon = text.find(':');
  if (colon == text.npos) {
    prefix = {};
    local = text;
    return IsNcName(local);
  }
  prefix = text.substr(0, colon);
  local = text.substr(colon + 1);
  return IsNcName(prefix) && IsNcName(local);
}

// Nearly everything is a reference once what it lacks is escaped. Not so a
// percent sign without its digits, a second fragment, and a colon in the first
// part that has no scheme before it.
bool IsUri(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && (i + 2 >= text.size() || HexValue(text[i + 1]) < 0 ||
                           HexValue(text[i + 2]) < 0))
      return false;
  }
  if (std::count(text.begin(), text.end(), '#') > 1) return false;
  const std::size_t mark = text.find_first_of(":/?#");
  if (mark == text.npos || text[mark] != ':') return true;
  const std::string_view scheme = text.substr(0, mark);
  return !scheme.empty() && IsLetter(scheme[0]) &&
         std::all_of(scheme.begin(), scheme.end(), [](char c) {
           return IsLetter(c) || IsDigit(c) || c == '+' || c == '-' || c == '.';
         });
}

std::string_view TrimSpace(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view NormalizeSpace(std::string_view text, Type type,
                                std::string& room) {
  if (type == Type::String || type == Type::UntypedAtomic) return text;
  const bool collapses = type != Type::NormalizedString;
  if (collapses) text = TrimSpace(text);
  if (std::none_of(text.begin(), text.end(), IsSpace)) return text;
  room.clear();
  for (const char c : text) {
    if (!IsSpace(c))
      room += c;
    else if (!collapses || room.back() != ' ')
      room += ' ';
  }
  return room;
}

}  // namespace kiv::xdb::xq
