#include "xdb/xquery/values/decimal.h"

#include <algorithm>

#include "xdb/xquery/values/decimal_parts.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

constexpr int kQuotientDigits = 20;

int DigitCount(Uint128 value) {
  int count = 0;
  for (auto rest = static_cast<Int128>(value);
       count < kInt128Digits && rest >= PowerOfTen(count);)
    ++count;
  return count;
}

[[noreturn]] void ThrowDivisionByZero() {
  throw Error("FOAR0001", "division by zero");
}

WideDecimal Widen(const Decimal& value) {
  if (!value.IsSmall()) return value.big()->value();
  return {value.coefficient() < 0, Natural(Magnitude(value.coefficient())),
          static_cast<std::size_t>(value.scale())};
}

// Brings a fraction that is too long to kMaxFraction digits, half to even.
void RoundTo(WideDecimal& value, std::size_t scale) {
  if (value.scale <= scale) return;
  const Natural::Lost lost = value.magnitude.ShiftDown(value.scale - scale);
  value.scale = scale;
  if (lost == Natural::Lost::MoreThanHalf ||
      (lost == Natural::Lost::Half && value.magnitude.IsOdd()))
    value.magnitude.Increment();
}

void RefuseDigits(std::size_t count) {
  if (count <= Decimal::kMaxDigits) return;
  throw Error("FOAR0002", "a number of more than " +
                              std::to_string(Decimal::kMaxDigits) + " digits");
}

Decimal Held(WideDecimal value) {
  const auto* big = Counted::Make<BigDecimal>(0, std::move(value));
  Decimal result(big);
  big->Drop();
  return result;
}

}  // namespace

Decimal Narrow(WideDecimal value) {
  RoundTo(value, Decimal::kMaxFraction);
  if (value.scale > 0) {
    const std::size_t zeros =
        value.magnitude.IsZero()
            ? value.scale
            : std::min(value.scale, value.magnitude.TrailingZeros());
    value.magnitude.ShiftDown(zeros);
    value.scale -= zeros;
  }
  Uint128 low;
  if (value.scale <= Decimal::kMaxSmallScale &&
      value.magnitude.ToUint128(low) && low <= Uint128{1} << 63) {
    const Int128 coefficient = value.is_negative ? -Int128(low) : Int128(low);
    if (FitsInt64(coefficient)) {
      return Decimal(static_cast<std::int64_t>(coefficient),
                     static_cast<int>(value.scale));
    }
  }
  RefuseDigits(value.magnitude.DigitCount());
  return Held(std::move(value));
}

namespace {

void AlignScales(WideDecimal& left, WideDecimal& right) {
  const std::size_t scale = std::max(left.scale, right.scale);
  left.magnitude.ShiftUp(scale - left.scale);
  right.magnitude.ShiftUp(scale - right.scale);
  left.scale = right.scale = scale;
}

Decimal AddWide(WideDecimal left, WideDecimal right) {
  AlignScales(left, right);
  if (left.is_negative == right.is_negative) {
    left.magnitude.Add(right.magnitude);
  } else {
    if (left.magnitude < right.magnitude) std::swap(left, right);
    left.magnitude.Subtract(right.magnitude);
  }
  return Narrow(std::move(left));
}

// The quotient at `scale` digits behind the point, half to even.
Decimal DivideWide(WideDecimal left, const WideDecimal& right,
                   std::size_t scale) {
  left.magnitude.ShiftUp(scale + right.scale - left.scale);
  Natural rest = left.magnitude.DivideBy(right.magnitude);
  const Natural same = rest;
  rest.Add(same);
  const auto half = rest <=> right.magnitude;
  if (std::is_gt(half) || (std::is_eq(half) && left.magnitude.IsOdd()))
    left.magnitude.Increment();
  left.is_negative = left.is_negative != right.is_negative;
  left.scale = scale;
  return Narrow(std::move(left));
}

struct Digits {
  int count;
  int scale;
};

Digits DigitsOf(const Decimal& value) {
  if (value.IsSmall())
    return {DigitCount(Magnitude(value.coefficient())), value.scale()};
  const WideDecimal& wide = value.big()->value();
  return {static_cast<int>(wide.magnitude.DigitCount()),
          static_cast<int>(wide.scale)};
}

int QuotientScale(const Digits& left, const Digits& right) {
  const int scale = std::max({kQuotientDigits, left.scale, right.scale});
  // 1 for a quotient from 1 (perhaps 0.1) up, 0 from 0.1 (0.01) up, ...
  const int places =
      (left.count - left.scale) - (right.count - right.scale) + 1;
  return std::min(scale + std::max(0, -places + 1),
                  std::max(Decimal::kMaxFraction, scale));
}

// Both coefficients at the greater scale, when they fit.
bool AlignSmall(const Decimal& left, const Decimal& right, Int128& first,
                Int128& second) {
  if (!left.IsSmall() || !right.IsSmall()) return false;
  const int scale = std::max(left.scale(), right.scale());
  first = left.coefficient() * PowerOfTen(scale - left.scale());
  second = right.coefficient() * PowerOfTen(scale - right.scale());
  return true;
}

}  // namespace

Decimal::Decimal(const BigDecimal* big) noexcept : big_(big) { big_->Keep(); }

Decimal Decimal::CopyOf(const BigDecimal& big) { return Held(big.value()); }

Decimal::Decimal(const Decimal& other) noexcept
    : coefficient_(other.coefficient_), scale_(other.scale_), big_(other.big_) {
  if (big_ != nullptr) big_->Keep();
}

Decimal::~Decimal() {
  if (big_ != nullptr) big_->Drop();
}

Decimal Decimal::FromInt128(Int128 coefficient, int scale) {
  // Zeros at the end, many at a time: division is slow at this width.
  for (int zeros = 16; zeros > 0 && !FitsInt64(coefficient); zeros /= 2) {
    while (zeros <= scale && coefficient % PowerOfTen(zeros) == 0) {
      coefficient /= PowerOfTen(zeros);
      scale -= zeros;
    }
  }
  while (scale > kMaxSmallScale && coefficient % 10 == 0) {
    coefficient /= 10;
    --scale;
  }
  if (FitsInt64(coefficient) && scale <= kMaxSmallScale)
    return Decimal(static_cast<std::int64_t>(coefficient), scale);
  return Narrow({coefficient < 0, Natural(Magnitude(coefficient)),
                 static_cast<std::size_t>(scale)});
}

bool Decimal::IsInteger() const {
  return IsSmall() ? scale_ == 0 : big_->value().scale == 0;
}

int Decimal::Sign() const {
  if (!IsSmall()) return big_->value().is_negative ? -1 : 1;
  return (coefficient_ > 0) - (coefficient_ < 0);
}

std::optional<std::int64_t> Decimal::ToInt64() const {
  if (!IsSmall() || scale_ != 0) return std::nullopt;
  return coefficient_;
}

std::optional<Int128> Decimal::ToScaledInt128(int scale) const {
  WideDecimal wide = Widen(Round(scale, Rounding::HalfEven));
  wide.magnitude.ShiftUp(static_cast<std::size_t>(scale) - wide.scale);
  Uint128 magnitude;
  if (!wide.magnitude.ToUint128(magnitude) || magnitude >> 127 != 0)
    return std::nullopt;
  return wide.is_negative ? -Int128(magnitude) : Int128(magnitude);
}

Decimal Decimal::operator-() const {
  if (IsSmall()) return FromInt128(-Int128{coefficient_}, scale_);
  WideDecimal wide = big_->value();
  wide.is_negative = !wide.is_negative;
  return Narrow(std::move(wide));
}

Decimal operator+(const Decimal& left, const Decimal& right) {
  Int128 first, second;
  if (AlignSmall(left, right, first, second)) {
    return Decimal::FromInt128(first + second,
                               std::max(left.scale_, right.scale_));
  }
  return AddWide(Widen(left), Widen(right));
}

Decimal operator-(const Decimal& left, const Decimal& right) {
  Int128 first, second;
  if (AlignSmall(left, right, first, second)) {
    return Decimal::FromInt128(first - second,
                               std::max(left.scale_, right.scale_));
  }
  WideDecimal taken = Widen(right);
  taken.is_negative = !taken.is_negative;
  return AddWide(Widen(left), std::move(taken));
}

Decimal operator*(const Decimal& left, const Decimal& right) {
  if (left.IsSmall() && right.IsSmall()) {
    return Decimal::FromInt128(Int128{left.coefficient_} * right.coefficient_,
                               left.scale_ + right.scale_);
  }
  const WideDecimal first = Widen(left), second = Widen(right);
  // What rounding will not save is not computed: it takes longest.
  const std::size_t digits =
      first.magnitude.DigitCount() + second.magnitude.DigitCount();
  constexpr std::size_t kMost = 2 * std::size_t{Decimal::kMaxFraction} + 1;
  if (digits > kMost) RefuseDigits(digits - kMost);
  return Narrow({first.is_negative != second.is_negative,
                 first.magnitude * second.magnitude,
                 first.scale + second.scale});
}

Decimal operator/(const Decimal& left, const Decimal& right) {
  if (right.IsZero()) ThrowDivisionByZero();
  if (left.IsZero()) return left;
  const Digits first = DigitsOf(left), second = DigitsOf(right);
  const int scale = QuotientScale(first, second);
  const int shift = scale + second.scale - first.scale;
  if (!left.IsSmall() || !right.IsSmall() ||
      first.count + shift > kInt128Digits) {
    return DivideWide(Widen(left), Widen(right),
                      static_cast<std::size_t>(scale));
  }
  const Int128 dividend = left.coefficient_ * PowerOfTen(shift);
  const Int128 divisor = right.coefficient_;
  Int128 quotient = dividend / divisor;
  const Uint128 twice = 2 * Magnitude(dividend - quotient * divisor);
  if (twice > Magnitude(divisor) ||
      (twice == Magnitude(divisor) && quotient % 2 != 0))
    quotient += (dividend < 0) == (divisor < 0) ? 1 : -1;
  return Decimal::FromInt128(quotient, scale);
}

Decimal Decimal::IntegerQuotient(const Decimal& left, const Decimal& right) {
  if (right.IsZero()) ThrowDivisionByZero();
  Int128 first, second;
  if (AlignSmall(left, right, first, second)) return FromInt128(first / second);
  WideDecimal dividend = Widen(left), divisor = Widen(right);
  AlignScales(dividend, divisor);
  dividend.magnitude.DivideBy(divisor.magnitude);
  return Narrow({dividend.is_negative != divisor.is_negative,
                 std::move(dividend.magnitude), 0});
}

Decimal Decimal::Remainder(const Decimal& left, const Decimal& right) {
  if (right.IsZero()) ThrowDivisionByZero();
  Int128 first, second;
  if (AlignSmall(left, right, first, second))
    return FromInt128(first % second, std::max(left.scale_, right.scale_));
  WideDecimal dividend = Widen(left), divisor = Widen(right);
  AlignScales(dividend, divisor);
  return Narrow({dividend.is_negative,
                 dividend.magnitude.DivideBy(divisor.magnitude),
                 dividend.scale});
}

namespace {

// Whether a magnitude that lost digits grows by one.
bool GrowsBy(Decimal::Rounding rounding, Natural::Lost lost, bool is_negative,
             bool is_odd) {
  using Rounding = Decimal::Rounding;
  using Lost = Natural::Lost;
  if (lost == Lost::Nothing) return false;
  switch (rounding) {
    case Rounding::Down:
      return false;
    case Rounding::Floor:
      return is_negative;
    case Rounding::Ceiling:
      return !is_negative;
    case Rounding::HalfUp:
      return lost == Lost::MoreThanHalf || (lost == Lost::Half && !is_negative);
    case Rounding::HalfEven:
      return lost == Lost::MoreThanHalf || (lost == Lost::Half && is_odd);
  }
  return false;
}

}  // namespace

Decimal Decimal::Round(std::int64_t digits, Rounding rounding) const {
  const auto scale = static_cast<std::int64_t>(
      IsSmall() ? static_cast<std::size_t>(scale_) : big_->value().scale);
  if (digits >= scale) return *this;
  // Further left than any digit, all that can be left is zero or one unit.
  digits = std::max<std::int64_t>(digits, -2 * std::int64_t{kMaxDigits});
  WideDecimal wide = Widen(*this);
  const Natural::Lost lost =
      wide.magnitude.ShiftDown(static_cast<std::size_t>(scale - digits));
  if (GrowsBy(rounding, lost, wide.is_negative, wide.magnitude.IsOdd()))
    wide.magnitude.Increment();
  if (digits < 0) {
    wide.magnitude.ShiftUp(static_cast<std::size_t>(-digits));
    digits = 0;
  }
  wide.scale = static_cast<std::size_t>(digits);
  return Narrow(std::move(wide));
}

std::strong_ordering operator<=>(const Decimal& left, const Decimal& right) {
  Int128 first, second;
  if (AlignSmall(left, right, first, second)) return first <=> second;
  if (left.Sign() != right.Sign()) return left.Sign() <=> right.Sign();
  WideDecimal one = Widen(left), other = Widen(right);
  AlignScales(one, other);
  return one.is_negative ? other.magnitude <=> one.magnitude
                         : one.magnitude <=> other.magnitude;
}

}  // namespace kiv::xdb::xq
