#include "dm/variant_number.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "kiv/encoding.h"
#include "util/gb_text.h"

namespace dm {
namespace {

constexpr int kMaxScale = 28;

std::string_view Trimmed(std::string_view text) {
  text = WithoutBlanks(text);
  // from_chars knows no plus sign.
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
    text.remove_prefix(1);
  }
  return text;
}

std::optional<std::int64_t> RoundedToInteger(double real) {
  // The first number beyond; itself a double, as the largest integer is not.
  constexpr double kBeyond = 9223372036854775808.0;
  const double rounded = std::nearbyint(real);
  if (!(rounded >= -kBeyond && rounded < kBeyond)) return std::nullopt;
  return static_cast<std::int64_t>(rounded);
}

std::optional<std::int64_t> Signed(std::uint64_t magnitude, bool negative) {
  constexpr auto kLargest =
      static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (magnitude > kLargest + negative) return std::nullopt;
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

// Ninety-six bits, highest first.
struct Digits {
  std::uint32_t words[3];

  bool IsZero() const { return (words[0] | words[1] | words[2]) == 0; }

  // Gives the remainder.
  std::uint32_t DivideByTen() {
    std::uint64_t rest = 0;
    for (std::uint32_t& word : words) {
      rest = rest << 32 | word;
      word = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
    return static_cast<std::uint32_t>(rest);
  }
};

Digits DigitsOf(const DECIMAL& decimal) {
  return {{decimal.Hi32, static_cast<std::uint32_t>(decimal.Lo64 >> 32),
           static_cast<std::uint32_t>(decimal.Lo64)}};
}

std::optional<std::int64_t> DecimalToInteger(const DECIMAL& decimal) {
  Digits digits = DigitsOf(decimal);
  std::uint32_t last = 0;
  bool has_rest = false;
  for (int i = 0; i < decimal.scale; ++i) {
    has_rest = has_rest || last != 0;
    last = digits.DivideByTen();
  }
  if (digits.words[0] != 0) return std::nullopt;
  std::uint64_t whole = std::uint64_t{digits.words[1]} << 32 | digits.words[2];
  const bool is_half = last == 5 && !has_rest;
  const bool up = is_half ? whole % 2 != 0 : last >= 5;
  if (up && ++whole == 0) return std::nullopt;
  return Signed(whole, decimal.sign != 0);
}

bool IsDecimal(const DECIMAL& decimal) { return decimal.scale <= kMaxScale; }

}  // namespace

std::string TextOfBstr(BSTR text) {
  const unsigned length = SysStringLen(text);
  if (length == 0) return {};
  // Up to a NUL inside, where the text of a String would end, too.
  return kiv::wstringToString(text, length).get();
}

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && kiv::IsAsciiSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && kiv::IsAsciiSpace(text.back())) text.remove_suffix(1);
  return text;
}

template <typename Number>
std::optional<Number> NumberInText(std::string_view text) {
  text = Trimmed(text);
  Number number;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

template std::optional<std::int64_t> NumberInText(std::string_view text);
template std::optional<double> NumberInText(std::string_view text);

std::optional<GUID> GuidInText(std::string_view text) {
  text = WithoutBlanks(text);
  if (text.size() > 2 && text.front() == '{' && text.back() == '}')
    text = text.substr(1, text.size() - 2);
  GUID guid;
  if (!dm_string_to_guid(std::string(text).c_str(), &guid)) return std::nullopt;
  return guid;
}

DECIMAL DecimalFromCurrency(CY currency) {
  const bool negative = currency.int64 < 0;
  const auto bits = static_cast<std::uint64_t>(currency.int64);
  return {0, 4, static_cast<std::uint8_t>(negative ? 0x80 : 0), 0,
          negative ? 0 - bits : bits};
}

std::string DecimalText(const DECIMAL& decimal) {
  Digits digits = DigitsOf(decimal);
  std::string text;  // backwards
  for (int i = 0; !digits.IsZero() || i <= decimal.scale; ++i) {
    if (i == decimal.scale && i > 0) text += '.';
    text += static_cast<char>('0' + digits.DivideByTen());
  }
  if (decimal.sign != 0) text += '-';
  return {text.rbegin(), text.rend()};
}

std::optional<double> VariantToReal(const VARIANT& variant) {
  switch (variant.vt) {
    case VT_R4:
      return variant.fltVal;
    case VT_R8:
      return variant.dblVal;
    case VT_DATE:
      return variant.date;
    case VT_CY:
      return static_cast<double>(variant.cyVal.int64) / 10000;
    case VT_DECIMAL:
      // The text is exact and its reading rounds once.
      if (!IsDecimal(variant.decVal)) return std::nullopt;
      return NumberInText<double>(DecimalText(variant.decVal));
    case VT_UI8:
      return static_cast<double>(variant.ullVal);
    case VT_BSTR:
      return NumberInText<double>(TextOfBstr(variant.bstrVal));
    default:
      break;
  }
  const auto integer = VariantToInteger(variant);
  if (!integer) return std::nullopt;
  return static_cast<double>(*integer);
}

std::optional<std::int64_t> VariantToInteger(const VARIANT& variant) {
  switch (variant.vt) {
    case VT_I1:
      return variant.cVal;
    case VT_UI1:
      return variant.bVal;
    case VT_I2:
      return variant.iVal;
    case VT_UI2:
      return variant.uiVal;
    case VT_I4:
    case VT_INT:
      return variant.lVal;
    case VT_UI4:
    case VT_UINT:
      return variant.ulVal;
    case VT_ERROR:
      return variant.scode;
    case VT_I8:
      return variant.llVal;
    case VT_UI8:
      return Signed(variant.ullVal, false);
    case VT_BOOL:
      return variant.boolVal != VARIANT_FALSE ? -1 : 0;
    case VT_CY:
      return DecimalToInteger(DecimalFromCurrency(variant.cyVal));
    case VT_DECIMAL:
      if (!IsDecimal(variant.decVal)) return std::nullopt;
      return DecimalToInteger(variant.decVal);
    case VT_R4:
      return RoundedToInteger(variant.fltVal);
    case VT_R8:
      return RoundedToInteger(variant.dblVal);
    case VT_DATE:
      return RoundedToInteger(variant.date);
    case VT_BSTR: {
      const std::string text = TextOfBstr(variant.bstrVal);
      if (const auto exact = NumberInText<std::int64_t>(text)) return exact;
      const auto real = NumberInText<double>(text);
      return real ? RoundedToInteger(*real) : std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

std::optional<bool> VariantToBool(const VARIANT& variant) {
  if (variant.vt == VT_BSTR) {
    const std::string text = TextOfBstr(variant.bstrVal);
    if (kiv::EqualIgnoreCase(Trimmed(text), "true")) return true;
    if (kiv::EqualIgnoreCase(Trimmed(text), "false")) return false;
  }
  const auto real = VariantToReal(variant);
  if (!real || std::isnan(*real)) return std::nullopt;
  return *real != 0;
}

}  // namespace dm
