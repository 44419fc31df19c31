#ifndef MQ_MSMQ_TIMES_H_
#define MQ_MSMQ_TIMES_H_

#include <optional>

#include "kiv/date_time.h"

namespace kiv::mq {

// Milliseconds since 1970 UTC as local time; the missing-value marker for
// nothing, and for a time that no date has.
DateTime LocalTimeOf(const std::optional<long long>& unix_ms);

}  // namespace kiv::mq

#endif  // MQ_MSMQ_TIMES_H_
