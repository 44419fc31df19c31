#ifndef MQ_QUEUE_CONFIG_ACCESS_H_
#define MQ_QUEUE_CONFIG_ACCESS_H_

#include <memory>
#include <utility>

#include "kiv/mq/queue_config.h"

namespace kiv::mq {

// Reads an element into a configuration. Init is protected, and a friend of
// QueueConfig could also destroy it by its base: a derived name may only call.
class QueueConfigAccess final : public QueueConfig {
 public:
  QueueConfigAccess() = delete;

  static bool Read(QueueConfig& config, DomElement& element,
                   std::shared_ptr<QueueReader> reader) {
    return (config.*&QueueConfigAccess::Init)(element, std::move(reader));
  }
};

}  // namespace kiv::mq

#endif  // MQ_QUEUE_CONFIG_ACCESS_H_
