#ifndef XDB_XQUERY_VALUES_DECIMAL_PARTS_H_
#define XDB_XQUERY_VALUES_DECIMAL_PARTS_H_

#include <array>
#include <cstddef>

#include "xdb/xquery/values/big_decimal.h"
#include "xdb/xquery/values/decimal.h"
#include "xdb/xquery/values/int128.h"

// What decimals are computed and read with.
namespace kiv::xdb::xq {

// Whatever has so many digits fits Int128.
inline constexpr int kInt128Digits = 38;

inline constexpr auto kPowersOfTen = [] {
  std::array<Int128, kInt128Digits + 1> powers{};
  Int128 power = 1;
  for (Int128& each : powers) {
    each = power;
    power = static_cast<Int128>(static_cast<Uint128>(power) * 10);
  }
  return powers;
}();

inline Int128 PowerOfTen(int exponent) {
  return kPowersOfTen[static_cast<std::size_t>(exponent)];
}

// The canonical form: no zeros at the end of the fraction, small where it fits.
Decimal Narrow(WideDecimal value);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_DECIMAL_PARTS_H_
