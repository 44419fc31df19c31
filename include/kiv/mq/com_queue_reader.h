#ifndef KIV_MQ_COM_QUEUE_READER_H_
#define KIV_MQ_COM_QUEUE_READER_H_

#include <memory>

#include "kiv/export.h"
#include "kiv/mq/queue_reader.h"
#include "kiv/mq/queue_reader_thread.h"

namespace kiv::mq {

class ComQueueReader;

// Hands every block of the line to the processor, with the ComQueueConfig as
// context, until a block begins with "exit" in any case. A queue with times of
// day drops the blocks that end outside them; one without is always read. A
// port that is missing or goes away is waited for.
class KIV_API ComQueueReaderThread final : public QueueReaderThread {
 public:
  // `reader` is not owned.
  explicit ComQueueReaderThread(ComQueueReader* reader);

 private:
  int run() override;

  ComQueueReader* reader_;
};

class KIV_API ComQueueReader final : public QueueReader {
 public:
  // `config` is not owned.
  ComQueueReader(DomElement& queue, QueueConfig* config);

  // Starts a thread, ending an earlier one first: one thread a port.
  bool Start() override;
  bool Stop(int wait_milliseconds) override;

  QueueConfig* GetConfig() const { return config_; }
  // Empty until Start.
  std::shared_ptr<ComQueueReaderThread> GetThread() const { return thread_; }

 private:
  QueueConfig* config_;
  std::shared_ptr<ComQueueReaderThread> thread_;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_COM_QUEUE_READER_H_
