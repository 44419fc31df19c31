#include "mq/reader_failure.h"

#include "kiv/mq/queue_config.h"
#include "mq/status_board.h"
#include "util/log_entry.h"

namespace kiv::mq {

void ReaderFailed(const QueueConfig* config, const char* function,
                  const std::string& text) {
  LogError("mq", std::string(function) + " Failed: " + text);
  if (config != nullptr) {
    config->Board().SetError(text);
    config->Board().SetState(QueueState::Failed);
  }
}

}  // namespace kiv::mq
