#include "mq/msmq_queue_info.h"

#include "util/log_entry.h"

namespace kiv::mq {

bool MsmqQueueInfo::Create(const char* /*name*/, const char* /*label*/,
                           bool /*transactional*/) {
  return false;
}

bool MsmqQueueInfo::Delete(const char* /*name*/) { return false; }

std::shared_ptr<Queue> MsmqQueueInfo::Open(const char* name, int /*access*/,
                                           int /*share_mode*/) {
  LogError("mq", "MsmqQueueInfo::Open Failed: '" +
                     Shown(name != nullptr ? name : "") +
                     "': queues of type 'msmq' are not available in this "
                     "build; remove the queue from queue.xml");
  return nullptr;
}

}  // namespace kiv::mq
