#ifndef XDB_XQUERY_VALUES_BIG_DECIMAL_H_
#define XDB_XQUERY_VALUES_BIG_DECIMAL_H_

#include <utility>

#include "xdb/xquery/values/counted.h"
#include "xdb/xquery/values/natural.h"

namespace kiv::xdb::xq {

// magnitude / 10^scale with a sign, any scale from 0 up.
struct WideDecimal {
  bool is_negative = false;
  Natural magnitude;
  std::size_t scale = 0;
};

// What a Decimal or an Item holds of a number that does not fit it.
class BigDecimal final : public Counted {
 public:
  explicit BigDecimal(WideDecimal value) : value_(std::move(value)) {
    Charge(value_.magnitude.SizeInBytes());
  }
  const WideDecimal& value() const { return value_; }

 private:
  const WideDecimal value_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_BIG_DECIMAL_H_
