#include "kiv/date_time.h"

namespace kiv {

DateTimeDuration::DateTimeDuration(const DateTime& a, const DateTime& b) {
  SetDuration(a, b);
}

bool DateTimeDuration::SetDuration(const DateTime& a, const DateTime& b) {
  // Copies first: a and b may be this object's own ends.
  const bool in_order = a <= b;
  const DateTime start = in_order ? a : b;
  const DateTime stop = in_order ? b : a;
  start_ = start;
  stop_ = stop;
  return true;
}

bool DateTimeDuration::IsInScope(const DateTime& time) const {
  return start_ <= time && time <= stop_;
}

}  // namespace kiv
