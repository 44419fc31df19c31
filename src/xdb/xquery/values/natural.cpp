#include "xdb/xquery/values/natural.h"

#include <algorithm>
#include <array>

namespace kiv::xdb::xq {
namespace {

constexpr std::array<std::uint32_t, 10> kPowers = {
    1,       10,        100,        1'000,       10'000,
    100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

}  // namespace

Natural::Natural(Uint128 value) {
  for (; value != 0; value /= kBase)
    digits_.push_back(static_cast<std::uint32_t>(value % kBase));
}

Natural Natural::FromDigits(std::string_view digits) {
  Natural number;
  number.digits_.reserve(digits.size() / kDigitsEach + 1);
  while (!digits.empty()) {
    const std::size_t count = std::min<std::size_t>(digits.size(), kDigitsEach);
    std::uint32_t digit = 0;
    for (const char c : digits.substr(digits.size() - count))
      digit = digit * 10 + static_cast<std::uint32_t>(c - '0');
    number.digits_.push_back(digit);
    digits.remove_suffix(count);
  }
  number.Trim();
  return number;
}

std::size_t Natural::DigitCount() const {
  if (digits_.empty()) return 0;
  std::size_t count = (digits_.size() - 1) * kDigitsEach;
  for (std::uint32_t rest = digits_.back(); rest != 0; rest /= 10) ++count;
  return count;
}

std::size_t Natural::TrailingZeros() const {
  if (digits_.empty()) return 0;
  std::size_t index = 0;
  while (digits_[index] == 0) ++index;
  std::size_t count = index * kDigitsEach;
  for (std::uint32_t rest = digits_[index]; rest % 10 == 0; rest /= 10) ++count;
  return count;
}

bool Natural::ToUint128(Uint128& value) const {
  constexpr Uint128 kMost = ~Uint128{0};
  value = 0;
  for (std::size_t i = digits_.size(); i-- > 0;) {
    if (value > (kMost - digits_[i]) / kBase) return false;
    value = value * kBase + digits_[i];
  }
  return true;
}

std::string Natural::ToDigits() const {
  if (digits_.empty()) return "0";
  std::string text = std::to_string(digits_.back());
  text.reserve(digits_.size() * kDigitsEach);
  for (std::size_t i = digits_.size() - 1; i-- > 0;) {
    for (int place = kDigitsEach; place-- > 0;)
      text += static_cast<char>(
          '0' + digits_[i] / kPowers[static_cast<std::size_t>(place)] % 10);
  }
  return text;
}

void Natural::Add(const Natural& other) {
  if (digits_.size() < other.digits_.size())
    digits_.resize(other.digits_.size());
  std::uint32_t carry = 0;
  for (std::size_t i = 0; i < digits_.size(); ++i) {
    if (i >= other.digits_.size() && carry == 0) return;
    const std::uint32_t sum =
        digits_[i] + (i < other.digits_.size() ? other.digits_[i] : 0) + carry;
    carry = sum >= kBase;
    digits_[i] = carry ? sum - kBase : sum;
  }
  if (carry != 0) digits_.push_back(carry);
}

void Natural::Increment() {
  for (std::uint32_t& digit : digits_) {
    if (++digit < kBase) return;
    digit = 0;
  }
  digits_.push_back(1);
}

void Natural::Subtract(const Natural& other) {
  std::uint32_t borrow = 0;
  for (std::size_t i = 0; i < digits_.size(); ++i) {
    if (i >= other.digits_.size() && borrow == 0) break;
    const std::uint32_t taken =
        (i < other.digits_.size() ? other.digits_[i] : 0) + borrow;
    borrow = digits_[i] < taken;
    digits_[i] = (borrow ? digits_[i] + kBase : digits_[i]) - taken;
  }
  Trim();
}

Natural Natural::operator*(const Natural& other) const {
  Natural product;
  if (IsZero() || other.IsZero()) return product;
  product.digits_.resize(digits_.size() + other.digits_.size());
  for (std::size_t i = 0; i < digits_.size(); ++i) {
    std::uint64_t carry = 0;
    for (std::size_t j = 0; j < other.digits_.size() || carry != 0; ++j) {
      std::uint64_t sum = product.digits_[i + j] + carry;
      if (j < other.digits_.size())
        sum += static_cast<std::uint64_t>(digits_[i]) * other.digits_[j];
      product.digits_[i + j] = static_cast<std::uint32_t>(sum % kBase);
      carry = sum / kBase;
    }
  }
  product.Trim();
  return product;
}

void Natural::MultiplyBy(std::uint32_t factor) {
  std::uint64_t carry = 0;
  for (std::uint32_t& digit : digits_) {
    carry += static_cast<std::uint64_t>(digit) * factor;
    digit = static_cast<std::uint32_t>(carry % kBase);
    carry /= kBase;
  }
  if (carry != 0) digits_.push_back(static_cast<std::uint32_t>(carry));
}

std::uint32_t Natural::DivideBy(std::uint32_t divisor) {
  std::uint64_t rest = 0;
  for (std::size_t i = digits_.size(); i-- > 0;) {
    rest = rest * kBase + digits_[i];
    digits_[i] = static_cast<std::uint32_t>(rest / divisor);
    rest %= divisor;
  }
  Trim();
  return static_cast<std::uint32_t>(rest);
}

Natural Natural::DivideBy(const Natural& divisor) {
  if (*this < divisor) {
    Natural rest;
    std::swap(rest, *this);
    return rest;
  }
  if (divisor.digits_.size() == 1) {
    return Natural(Uint128{DivideBy(divisor.digits_[0])});
  }
  return DivideLong(divisor);
}

// Long division, a digit of the quotient at a time: the estimate from the two
// leading digits is at most two too large once the divisor's first digit is
// half the base or more, to which both are scaled.
Natural Natural::DivideLong(const Natural& divisor) {
  const std::uint32_t scale = kBase / (divisor.digits_.back() + 1);
  Natural low = divisor;
  low.MultiplyBy(scale);
  const std::size_t dividend_size = digits_.size();
  MultiplyBy(scale);
  if (digits_.size() == dividend_size) digits_.push_back(0);

  const std::vector<std::uint32_t>& d = low.digits_;
  const std::size_t n = d.size();
  Natural quotient;
  quotient.digits_.resize(digits_.size() - n);
  for (std::size_t at = digits_.size() - n; at-- > 0;) {
    const std::uint64_t lead =
        static_cast<std::uint64_t>(digits_[at + n]) * kBase +
        digits_[at + n - 1];
    std::uint64_t guess = lead / d[n - 1];
    std::uint64_t rest = lead % d[n - 1];
    while (guess >= kBase ||
           guess * d[n - 2] > rest * kBase + digits_[at + n - 2]) {
      --guess;
      rest += d[n - 1];
      if (rest >= kBase) break;
    }
    std::uint64_t carry = 0;
    std::uint32_t borrow = 0;
    for (std::size_t i = 0; i <= n; ++i) {
      carry += i < n ? guess * d[i] : 0;
      const auto taken = static_cast<std::uint32_t>(carry % kBase) + borrow;
      carry /= kBase;
      borrow = digits_[at + i] < taken;
      digits_[at + i] =
          (borrow ? digits_[at + i] + kBase : digits_[at + i]) - taken;
    }
    if (borrow != 0) {  // one too large
      --guess;
      std::uint32_t over = 0;
      for (std::size_t i = 0; i <= n; ++i) {
        const std::uint32_t sum = digits_[at + i] + (i < n ? d[i] : 0) + over;
        over = sum >= kBase;
        digits_[at + i] = over ? sum - kBase : sum;
      }
    }
    quotient.digits_[at] = static_cast<std::uint32_t>(guess);
  }
  quotient.Trim();
  Trim();
  DivideBy(scale);
  std::swap(quotient, *this);
  return quotient;
}

void Natural::ShiftUp(std::size_t count) {
  if (digits_.empty()) return;
  MultiplyBy(kPowers[count % kDigitsEach]);
  digits_.insert(digits_.begin(), count / kDigitsEach, 0);
}

Natural::Lost Natural::ShiftDown(std::size_t count) {
  if (count == 0 || digits_.empty()) return Lost::Nothing;
  if (count > DigitCount()) {
    digits_.clear();
    return Lost::LessThanHalf;
  }
  // The last digit lost decides, and whether there is anything below it.
  const std::size_t below = count - 1;
  const std::size_t whole = below / kDigitsEach;
  bool has_more = std::any_of(
      digits_.begin(), digits_.begin() + static_cast<std::ptrdiff_t>(whole),
      [](std::uint32_t digit) { return digit != 0; });
  digits_.erase(digits_.begin(),
                digits_.begin() + static_cast<std::ptrdiff_t>(whole));
  has_more |= DivideBy(kPowers[below % kDigitsEach]) != 0;
  const std::uint32_t last = DivideBy(10u);
  if (last == 5 && !has_more) return Lost::Half;
  if (last >= 5) return Lost::MoreThanHalf;
  return last != 0 || has_more ? Lost::LessThanHalf : Lost::Nothing;
}

std::strong_ordering Natural::operator<=>(const Natural& other) const {
  if (digits_.size() != other.digits_.size())
    return digits_.size() <=> other.digits_.size();
  return std::lexicographical_compare_three_way(
      digits_.rbegin(), digits_.rend(), other.digits_.rbegin(),
      other.digits_.rend());
}

}  // namespace kiv::xdb::xq
