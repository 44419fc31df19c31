#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "xdb/xquery/values/decimal_parts.h"

namespace kiv::xdb::xq {

std::optional<Decimal> Decimal::FromText(std::string_view text) {
  bool is_negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    is_negative = text[0] == '-';
    text.remove_prefix(1);
  }
  std::int64_t small = 0;
  int fraction = 0;
  bool has_point = false;
  std::size_t digits = 0;
  for (const char c : text) {
    if (c == '.' && !has_point) {
      has_point = true;
    } else if (c >= '0' && c <= '9') {
      if (digits < kMaxSmallScale) small = small * 10 + (c - '0');
      ++digits;
      fraction += has_point;
    } else {
      return std::nullopt;
    }
  }
  if (digits == 0) return std::nullopt;
  if (digits <= kMaxSmallScale)
    return Decimal(is_negative ? -small : small, fraction);
  std::string all(text);
  std::erase(all, '.');
  return Narrow({is_negative, Natural::FromDigits(all),
                 static_cast<std::size_t>(fraction)});
}

Decimal Decimal::FromDouble(double value) {
  if (std::fabs(value) < 9.2e18 && value == std::trunc(value))
    return Decimal(static_cast<std::int64_t>(value));
  std::array<char, 1500> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed, 1074);
  return *FromText({text.data(), end.ptr});
}

namespace {

template <typename T>
Decimal FromShortest(T value) {
  std::array<char, 400> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed);
  return *Decimal::FromText(
      {text.data(), static_cast<std::size_t>(end.ptr - text.data())});
}

}  // namespace

Decimal Decimal::FromDoubleShortest(double value) {
  return FromShortest(value);
}

Decimal Decimal::FromFloatShortest(float value) { return FromShortest(value); }

namespace {

// A long or odd decimal goes through its text, which rounds once.
template <typename T>
T Parsed(const std::string& text) {
  T value = 0;
  const auto result =
      std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    // Decimals have at most kMaxFraction digits; still, too small is zero.
    const bool is_small = text.find_first_of("123456789") > text.find('.');
    const T bound = is_small ? T{0} : std::numeric_limits<T>::infinity();
    return text[0] == '-' ? -bound : bound;
  }
  return value;
}

}  // namespace

double Decimal::ToDouble() const {
  constexpr std::int64_t kExact = std::int64_t{1} << 53;
  if (IsSmall()) {
    if (scale_ == 0) return static_cast<double>(coefficient_);
    if (coefficient_ >= -kExact && coefficient_ <= kExact) {
      // Both are exact, so the division rounds once.
      return static_cast<double>(coefficient_) /
             static_cast<double>(PowerOfTen(scale_));
    }
  }
  return Parsed<double>(ToText());
}

float Decimal::ToFloat() const {
  if (IsSmall() && scale_ == 0) return static_cast<float>(coefficient_);
  return Parsed<float>(ToText());
}

std::string Decimal::ToText() const {
  std::string digits;
  std::size_t scale;
  bool is_negative;
  if (IsSmall()) {
    if (scale_ == 0) return std::to_string(coefficient_);
    is_negative = coefficient_ < 0;
    digits =
        std::to_string(static_cast<std::uint64_t>(Magnitude(coefficient_)));
    scale = static_cast<std::size_t>(scale_);
  } else {
    const WideDecimal& wide = big_->value();
    is_negative = wide.is_negative;
    digits = wide.magnitude.ToDigits();
    scale = wide.scale;
  }
  if (scale > 0) {
    if (digits.size() <= scale)
      digits.insert(0, scale + 1 - digits.size(), '0');
    digits.insert(digits.size() - scale, 1, '.');
  }
  if (is_negative) digits.insert(0, 1, '-');
  return digits;
}

}  // namespace kiv::xdb::xq
