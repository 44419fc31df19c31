#ifndef MQ_QUEUE_TIMES_H_
#define MQ_QUEUE_TIMES_H_

#include <algorithm>
#include <vector>

#include "kiv/date_time.h"

namespace kiv::mq {

// Whether the time of day lies in one of the ranges.
inline bool IsInTimes(const std::vector<DateTimeDuration>& times,
                      const DateTime& now) {
  return std::any_of(
      times.begin(), times.end(),
      [&now](const DateTimeDuration& time) { return time.IsInScope(now); });
}

}  // namespace kiv::mq

#endif  // MQ_QUEUE_TIMES_H_
