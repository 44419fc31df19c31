#ifndef XDB_XQUERY_VALUES_INT128_H_
#define XDB_XQUERY_VALUES_INT128_H_

#include <cstdint>
#include <limits>

namespace kiv::xdb::xq {

__extension__ using Int128 = __int128;
__extension__ using Uint128 = unsigned __int128;

constexpr bool FitsInt64(Int128 value) {
  return value >= std::numeric_limits<std::int64_t>::min() &&
         value <= std::numeric_limits<std::int64_t>::max();
}

constexpr Uint128 Magnitude(Int128 value) {
  return value < 0 ? -static_cast<Uint128>(value) : static_cast<Uint128>(value);
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_INT128_H_
