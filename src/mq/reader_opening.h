#ifndef MQ_READER_OPENING_H_
#define MQ_READER_OPENING_H_

#include <memory>
#include <string>

#include "kiv/module/module.h"
#include "kiv/mq/queue_config.h"
#include "mq/reader_failure.h"
#include "util/log_entry.h"

namespace kiv::mq {

// What a reader's thread works with; QueueKind is Queue or a class of it.
template <class QueueKind>
struct ReaderOpening {
  QueueConfig* config = nullptr;
  std::shared_ptr<module::Module> processor;
  std::shared_ptr<QueueKind> queue;

  // 0, or the thread's result; the log and the queue's board then say why.
  // `function` stands before the texts.
  template <class Reader>
  int Open(const char* function, Reader* reader) {
    if (reader == nullptr) {
      ReaderFailed(nullptr, function, "reader can not be null");
      return 1;
    }
    config = reader->GetConfig();
    if (config != nullptr) processor = config->GetModule();
    if (processor == nullptr) {
      ReaderFailed(config, function, "module can not be null");
      return 2;
    }
    if (const auto queue_info = config->GetQueueInfo())
      queue = std::dynamic_pointer_cast<QueueKind>(queue_info->Open(
          config->Name().c_str(), QueueInfo::ACCESS_RECEIVE, 0));
    if (queue == nullptr) {
      ReaderFailed(config, function,
                   "open '" + Shown(config->Name()) + "' queue failed");
      return 3;
    }
    return 0;
  }
};

}  // namespace kiv::mq

#endif  // MQ_READER_OPENING_H_
