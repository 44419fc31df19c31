#ifndef KIV_MQ_QUEUE_READER_THREAD_H_
#define KIV_MQ_QUEUE_READER_THREAD_H_

#include <atomic>
#include <memory>

#include "kiv/export.h"

namespace kiv::mq {

class QueueConfig;
class QueueReader;

// The thread of a reader. While it runs it shares in the ownership of itself,
// its reader and the reader's configuration, so that letting go of them never
// pulls them from under a processor.
class KIV_API QueueReaderThread
    : public std::enable_shared_from_this<QueueReaderThread> {
 public:
  virtual ~QueueReaderThread();
  QueueReaderThread(const QueueReaderThread&) = delete;
  QueueReaderThread& operator=(const QueueReaderThread&) = delete;

  // Once. False when the system gives no thread.
  bool start(const QueueReader* reader, const QueueConfig* config);
  // As QueueReader::Stop.
  bool Stop(int wait_milliseconds);
  // -1 until the thread has ended, and when it was cancelled; then 0, 1 no
  // reader, 2 no module, 3 the queue cannot be opened, 4 it failed on the way,
  // as the log says.
  int Result() const { return result_; }

 protected:
  QueueReaderThread();

  // The thread's body: its result. Leaves soon after the running flag falls.
  virtual int run() = 0;
  bool IsRunning() const { return running_ != 0; }
  // Waits; false as soon as a stop is asked for.
  bool Sleep(long long milliseconds) const;

  struct Impl;
  const Impl& State() const { return *impl_; }

 private:
  int RunSafely(const QueueConfig* config);

  std::atomic<int> running_{1};
  std::atomic<int> result_{-1};
  std::unique_ptr<Impl> impl_;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_QUEUE_READER_THREAD_H_
