#ifndef KIV_MQ_FACTORY_H_
#define KIV_MQ_FACTORY_H_

#include <memory>

#include "kiv/export.h"
#include "kiv/mq/config.h"
#include "kiv/mq/queue.h"
#include "kiv/mq/queue_config.h"
#include "kiv/mq/queue_reader.h"

namespace kiv {
class DomElement;
}

namespace kiv::mq {

// Makes the objects of a queue kind. Everything handed out is empty on failure.
class KIV_API Factory {
 public:
  // Queue kinds: message queue, serial port.
  static constexpr char T_MSMQ[] = "msmq";
  static constexpr char T_COM[] = "com";
  // Reader kinds: polling thread, no thread.
  static constexpr char RT_SERIAL[] = "serial";
  static constexpr char RT_REALTIME[] = "realtime";

  // The process's configuration, loaded by the first call and stopped and
  // dropped at process exit. The first call comes from one thread, before any
  // other.
  static std::shared_ptr<Config> GetConfig();

  // Only constructed by its "type": the element is read by Init.
  static std::shared_ptr<QueueConfig> CreateConfig(DomElement& queue);
  // A serial port has its own reader, whatever "reader" says.
  static std::shared_ptr<QueueReader> LoadReader(DomElement& queue,
                                                 QueueConfig* config);
  static std::shared_ptr<QueueInfo> CreateQueueInfoObject(const char* type);
};

}  // namespace kiv::mq

#endif  // KIV_MQ_FACTORY_H_
