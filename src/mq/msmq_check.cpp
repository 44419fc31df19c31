#include "mq/msmq_check.h"

#include "mq/message_store.h"
#include "mq/queue_name.h"

namespace kiv::mq {

void CheckMsmqQueue(const std::string& name,
                    const std::function<void(ConfigFinding::Severity,
                                             const std::string&)>& add) {
  using Severity = ConfigFinding::Severity;
  if (name.empty()) return;  // said where names are looked at
  QueueName queue;
  std::string reason;
  if (!QueueName::Read(name, queue, reason)) {
    add(Severity::Fault, reason);
    return;
  }
  if (queue.Text().find('\\') != std::string::npos ||
      queue.Text().find('=') != std::string::npos) {
    add(Severity::Warning,
        "the name looks like a path to another computer's queue: queues are "
        "this service's own, under the name alone");
  }
  const auto stores = MessageStores::Choose(reason);
  std::string remark;
  if (stores == nullptr || !stores->Check(queue, remark, reason))
    add(Severity::Fault, reason);
  else if (!remark.empty())
    add(Severity::Warning, remark);
}

}  // namespace kiv::mq
