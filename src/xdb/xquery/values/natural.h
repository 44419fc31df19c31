#ifndef XDB_XQUERY_VALUES_NATURAL_H_
#define XDB_XQUERY_VALUES_NATURAL_H_

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/xquery/values/int128.h"

namespace kiv::xdb::xq {

// A whole number from zero up, of any size, as digits to the base 10^9, the
// least first and the last never zero. What is done to decimals is moving their
// point and printing them, so the base is a power of ten.
class Natural {
 public:
  static constexpr std::uint32_t kBase = 1'000'000'000;
  static constexpr int kDigitsEach = 9;

  Natural() = default;
  explicit Natural(Uint128 value);
  // Decimal digits only.
  static Natural FromDigits(std::string_view digits);

  bool IsZero() const { return digits_.empty(); }
  bool IsOdd() const { return !digits_.empty() && digits_[0] % 2 != 0; }
  // Decimal digits; 0 for zero.
  std::size_t DigitCount() const;
  // Decimal digits that are zero at the end; 0 for zero.
  std::size_t TrailingZeros() const;
  std::size_t SizeInBytes() const {
    return digits_.capacity() * sizeof(std::uint32_t);
  }
  // False when it does not fit.
  bool ToUint128(Uint128& value) const;
  std::string ToDigits() const;

  void Add(const Natural& other);
  void Increment();
  // `other` is not greater.
  void Subtract(const Natural& other);
  Natural operator*(const Natural& other) const;
  // The quotient stays here; the remainder comes back. `divisor` is not zero.
  Natural DivideBy(const Natural& divisor);

  // Times 10^count.
  void ShiftUp(std::size_t count);
  // What dropping digits loses, compared with half a unit of the last kept one.
  enum class Lost { Nothing, LessThanHalf, Half, MoreThanHalf };
  Lost ShiftDown(std::size_t count);

  std::strong_ordering operator<=>(const Natural& other) const;
  bool operator==(const Natural& other) const = default;

 private:
  void Trim() {
    while (!digits_.empty() && digits_.back() == 0) digits_.pop_back();
  }
  void MultiplyBy(std::uint32_t factor);
  std::uint32_t DivideBy(std::uint32_t divisor);
  Natural DivideLong(const Natural& divisor);

  std::vector<std::uint32_t> digits_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_NATURAL_H_
