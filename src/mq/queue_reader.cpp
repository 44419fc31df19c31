#include "kiv/mq/queue_reader.h"

#include "kiv/mq/queue_config.h"
#include "mq/status_board.h"

namespace kiv::mq {

bool QueueReader::Stop(int /*wait_milliseconds*/) { return true; }

RealTimeQueueReader::RealTimeQueueReader(DomElement& /*queue*/,
                                         QueueConfig* config)
    : config_(config) {}

bool RealTimeQueueReader::Start() {
  if (config_ != nullptr) config_->Board().SetState(QueueState::LeftToHost);
  return true;
}

}  // namespace kiv::mq
