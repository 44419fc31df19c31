#ifndef MQ_MSMQ_CHECK_H_
#define MQ_MSMQ_CHECK_H_

#include <functional>
#include <string>

#include "kiv/mq/config_check.h"

namespace kiv::mq {

// Says what stands in the way of a message queue of that name, and what is odd
// about it. Creates nothing and takes no message.
void CheckMsmqQueue(const std::string& name,
                    const std::function<void(ConfigFinding::Severity,
                                             const std::string&)>& add);

}  // namespace kiv::mq

#endif  // MQ_MSMQ_CHECK_H_
