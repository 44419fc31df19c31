#ifndef KIV_MQ_SERIAL_QUEUE_READER_H_
#define KIV_MQ_SERIAL_QUEUE_READER_H_

#include <memory>

#include "kiv/export.h"
#include "kiv/mq/queue_reader.h"
#include "kiv/mq/queue_reader_thread.h"

namespace kiv::mq {

class SerialQueueReader;

// Takes at most one message an interval, and only inside the queue's times of
// day: a queue without any "duration" is never read. A message is gone whatever
// its processor answers.
class KIV_API SerialQueueReaderThread final : public QueueReaderThread {
 public:
  // `reader` is not owned.
  explicit SerialQueueReaderThread(SerialQueueReader* reader);

 private:
  int run() override;

  SerialQueueReader* reader_;
};

// Polls its queue from one thread.
class KIV_API SerialQueueReader final : public QueueReader {
 public:
  // Reads "interval": seconds, 60 when absent. `config` is not owned.
  SerialQueueReader(DomElement& queue, QueueConfig* config);

  // Starts a thread, ending an earlier one first: one thread a reader.
  bool Start() override;
  bool Stop(int wait_milliseconds) override;

  QueueConfig* GetConfig() const { return config_; }
  int Interval() const { return interval_; }
  // Empty until Start.
  std::shared_ptr<SerialQueueReaderThread> GetThread() const { return thread_; }

 private:
  QueueConfig* config_;
  int interval_;
  std::shared_ptr<SerialQueueReaderThread> thread_;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_SERIAL_QUEUE_READER_H_
