#ifndef MQ_MSMQ_QUEUE_IMPL_H_
#define MQ_MSMQ_QUEUE_IMPL_H_

#include <memory>
#include <mutex>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "mq/message_store.h"

namespace kiv::mq {

struct MsmqQueue::Impl {
  std::string name;
  int access = 0;
  std::unique_ptr<MessageStore> store;

  mutable std::mutex mutex;  // guards the store and what follows
  std::string last_error;
  // What the log already has: a queue that is polled would fill it.
  std::string logged_error;
};

}  // namespace kiv::mq

#endif  // MQ_MSMQ_QUEUE_IMPL_H_
