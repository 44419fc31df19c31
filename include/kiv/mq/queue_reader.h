#ifndef KIV_MQ_QUEUE_READER_H_
#define KIV_MQ_QUEUE_READER_H_

#include <memory>

#include "kiv/export.h"

namespace kiv {
class DomElement;
}

namespace kiv::mq {

class QueueConfig;

// How messages are taken off a queue. Held by the pointer of its concrete type:
// the base has no virtual destructor.
class KIV_API QueueReader : public std::enable_shared_from_this<QueueReader> {
 public:
  virtual bool Start() = 0;
  // Asks the reader to end and waits for it that long, without limit for a
  // negative time. True when no thread of it runs any more; false when a
  // processor is still at work: it ends after that message. A reader that
  // sleeps wakes at once.
  virtual bool Stop(int wait_milliseconds);

 protected:
  QueueReader() = default;
  ~QueueReader() = default;
  QueueReader(const QueueReader&) = default;
  QueueReader& operator=(const QueueReader&) = default;
};

// Reads nothing: the queue is only created and probed, and its messages are
// left to what else the host attaches to it.
class KIV_API RealTimeQueueReader final : public QueueReader {
 public:
  // `config` is not owned.
  RealTimeQueueReader(DomElement& queue, QueueConfig* config);
  // Succeeds and starts nothing.
  bool Start() override;

 private:
  QueueConfig* config_;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_QUEUE_READER_H_
