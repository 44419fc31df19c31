#ifndef MQ_MSMQ_QUEUE_INFO_H_
#define MQ_MSMQ_QUEUE_INFO_H_

#include "kiv/mq/queue.h"

namespace kiv::mq {

// The queue kind "msmq", which this build lacks: no queue of it opens.
class MsmqQueueInfo final : public QueueInfo {
 public:
  bool Create(const char* name, const char* label, bool transactional) override;
  bool Delete(const char* name) override;
  // Empty, with a line in the log that says so.
  std::shared_ptr<Queue> Open(const char* name, int access,
                              int share_mode) override;
};

}  // namespace kiv::mq

#endif  // MQ_MSMQ_QUEUE_INFO_H_
