#ifndef XDB_XQUERY_VALUES_DECIMAL_H_
#define XDB_XQUERY_VALUES_DECIMAL_H_

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "xdb/xquery/values/int128.h"

namespace kiv::xdb::xq {

class BigDecimal;

// A decimal number of any size: coefficient / 10^scale, without zeros at the
// end of a fraction. Where the coefficient fits 64 bits and the scale is at
// most 18 it is small and lies here, else in a BigDecimal, which is counted.
//
// Sums, differences and products are exact up to kMaxFraction digits behind the
// point, then rounded to even. Error FOAR0002 past kMaxDigits digits.
class Decimal {
 public:
  static constexpr int kMaxSmallScale = 18;
  static constexpr int kMaxFraction = 400;
  static constexpr int kMaxDigits = 100'000;

  Decimal() noexcept = default;
  Decimal(std::int64_t value) noexcept : coefficient_(value) {}
  // coefficient / 10^scale, scale 0..18.
  Decimal(std::int64_t coefficient, int scale) noexcept;
  Decimal(const Decimal& other) noexcept;
  Decimal(Decimal&& other) noexcept;
  Decimal& operator=(Decimal other) noexcept;
  ~Decimal();

  // "-12.50": sign, digits, a point among them; no exponent, no white space.
  // None when it is not that.
  static std::optional<Decimal> FromText(std::string_view text);
  // Exactly the number that `value`, which is finite, stands for, to
  // kMaxFraction digits: 0.1e0 has 55 of them.
  static Decimal FromDouble(double value);
  // The shortest number that reads back as `value`: 0.1.
  static Decimal FromDoubleShortest(double value);
  static Decimal FromFloatShortest(float value);
  // As coefficient() and scale() of a small one gave them.
  static Decimal Canonical(std::int64_t coefficient, int scale) noexcept {
    Decimal value(coefficient);
    value.scale_ = scale;
    return value;
  }
  static Decimal FromInt128(Int128 coefficient, int scale = 0);
  // The number that `big`, from another decimal, holds; counts it.
  explicit Decimal(const BigDecimal* big) noexcept;
  // One of its own, for a number that several threads read, who may not count.
  static Decimal CopyOf(const BigDecimal& big);

  bool IsSmall() const { return big_ == nullptr; }
  std::int64_t coefficient() const { return coefficient_; }  // small only
  int scale() const { return scale_; }                       // small only
  const BigDecimal* big() const { return big_; }             // null when small

  bool IsInteger() const;
  bool IsZero() const { return big_ == nullptr && coefficient_ == 0; }
  int Sign() const;  // -1, 0, 1
  // None when it has a fraction or does not fit.
  std::optional<std::int64_t> ToInt64() const;
  // Times 10^scale, rounded half to even; none when it does not fit.
  std::optional<Int128> ToScaledInt128(int scale) const;
  // Rounded to the nearest, ties to even; infinite past the range.
  double ToDouble() const;
  float ToFloat() const;
  // "-12.5", "100", "0.001".
  std::string ToText() const;

  Decimal operator-() const;
  friend Decimal operator+(const Decimal& left, const Decimal& right);
  friend Decimal operator-(const Decimal& left, const Decimal& right);
  friend Decimal operator*(const Decimal& left, const Decimal& right);
  // Error FOAR0001 for a zero divisor, here and below. The quotient is rounded
  // half to even at 20 digits behind the point, or as many as an operand has
  // where that is more; below 1, at 20 significant digits at least.
  friend Decimal operator/(const Decimal& left, const Decimal& right);
  // Cut toward zero; exact.
  static Decimal IntegerQuotient(const Decimal& left, const Decimal& right);
  // With the sign of `left`; exact.
  static Decimal Remainder(const Decimal& left, const Decimal& right);

  enum class Rounding { Down, Floor, Ceiling, HalfUp, HalfEven };
  // To `digits` behind the point, or before it when negative. HalfUp: toward
  // positive infinity, as fn:round.
  Decimal Round(std::int64_t digits, Rounding rounding) const;

  friend std::strong_ordering operator<=>(const Decimal& left,
                                          const Decimal& right);
  friend bool operator==(const Decimal& left, const Decimal& right) {
    return std::is_eq(left <=> right);
  }

 private:
  std::int64_t coefficient_ = 0;
  int scale_ = 0;
  const BigDecimal* big_ = nullptr;
};

inline Decimal::Decimal(std::int64_t coefficient, int scale) noexcept
    : coefficient_(coefficient), scale_(scale) {
  while (scale_ > 0 && coefficient_ % 10 == 0) {
    coefficient_ /= 10;
    --scale_;
  }
}

inline Decimal::Decimal(Decimal&& other) noexcept
    : coefficient_(other.coefficient_), scale_(other.scale_), big_(other.big_) {
  other.big_ = nullptr;
}

inline Decimal& Decimal::operator=(Decimal other) noexcept {
  std::swap(coefficient_, other.coefficient_);
  std::swap(scale_, other.scale_);
  std::swap(big_, other.big_);
  return *this;
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_DECIMAL_H_
