#ifndef MQ_QUEUE_TEXT_H_
#define MQ_QUEUE_TEXT_H_

#include <string>

namespace kiv::mq {

class ComQueueConfig;

// The queue as the document of one element, from which the same configuration
// can be read. Empty when it cannot be written.
std::string QueueText(const ComQueueConfig& config);

}  // namespace kiv::mq

#endif  // MQ_QUEUE_TEXT_H_
