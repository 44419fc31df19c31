#include "kiv/mq/factory.h"

#include <exception>
#include <string>

#include "kiv/dom_element.h"
#include "kiv/mq/com_queue.h"
#include "kiv/mq/com_queue_reader.h"
#include "kiv/mq/msmq_queue.h"
#include "kiv/mq/serial_queue_reader.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

// For a processor that is at work when the process ends.
constexpr int kExitWaitMs = 2000;

}  // namespace

std::shared_ptr<Config> Factory::GetConfig() {
  // Its end stops what still runs, whoever else holds the set.
  struct ProcessConfig {
    std::shared_ptr<Config> config{new Config(true)};
    ~ProcessConfig() { config->Stop(kExitWaitMs); }
  };
  static const ProcessConfig process;
  return process.config;
}

std::shared_ptr<QueueConfig> Factory::CreateConfig(DomElement& queue) {
  if (!queue.IsValid()) return nullptr;
  const std::string type = queue.Attribute("type");
  if (type == T_MSMQ)
    return std::shared_ptr<RealMessageQueueConfig>(new RealMessageQueueConfig);
  if (type == T_COM) return std::shared_ptr<ComQueueConfig>(new ComQueueConfig);
  LogError("mq", "Factory::CreateConfig Failed: Invalid queue type '" +
                     Shown(type) + "'");
  return nullptr;
}

std::shared_ptr<QueueReader> Factory::LoadReader(DomElement& queue,
                                                 QueueConfig* config) {
  if (!queue.IsValid() || config == nullptr) return nullptr;
  const std::string type = queue.Attribute("type");
  if (type.empty()) return nullptr;
  if (type == T_COM) return std::make_shared<ComQueueReader>(queue, config);
  const std::string reader = queue.Attribute("reader");
  if (reader == RT_SERIAL)
    return std::make_shared<SerialQueueReader>(queue, config);
  if (reader == RT_REALTIME)
    return std::make_shared<RealTimeQueueReader>(queue, config);
  return nullptr;
}

std::shared_ptr<QueueInfo> Factory::CreateQueueInfoObject(const char* type) {
  const std::string kind = type != nullptr ? type : "";
  if (kind == T_MSMQ) return std::make_shared<MsmqQueueInfo>();
  if (kind == T_COM) return std::make_shared<ComQueueInfo>();
  return nullptr;
}

}  // namespace kiv::mq
