#include "kiv/mq/queue_status.h"

namespace kiv::mq {

const char* QueueStateText(QueueState state) {
  switch (state) {
    case QueueState::Stopped:
      return "stopped";
    case QueueState::Starting:
      return "starting";
    case QueueState::Reading:
      return "reading";
    case QueueState::OutsideTimes:
      return "outside its times";
    case QueueState::Unplugged:
      return "unplugged";
    case QueueState::StoppedByLine:
      return "stopped by \"exit\"";
    case QueueState::LeftToHost:
      return "left to the host";
    case QueueState::Failed:
      return "failed";
    case QueueState::Observing:
      return "only observing";
    case QueueState::Polling:
      return "polling";
    case QueueState::Gone:
      return "directory is gone";
  }
  return "";
}

}  // namespace kiv::mq
