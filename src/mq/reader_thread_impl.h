#ifndef MQ_READER_THREAD_IMPL_H_
#define MQ_READER_THREAD_IMPL_H_

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "kiv/mq/queue_reader_thread.h"
#include "port/wake_event.h"

namespace kiv::mq {

// That a thread is over. Outlives the thread's object, which the thread lets go
// of before its end.
class ThreadEnding {
 public:
  void Begin() { Set(false); }
  void Announce() { Set(true); }

  // Announces the end by its own, which a cancelled thread reaches too.
  class Announcer {
   public:
    explicit Announcer(std::shared_ptr<ThreadEnding> ending)
        : ending_(std::move(ending)) {}
    ~Announcer() { ending_->Announce(); }
    Announcer(const Announcer&) = delete;
    Announcer& operator=(const Announcer&) = delete;

   private:
    const std::shared_ptr<ThreadEnding> ending_;
  };

  // Without limit for a negative time.
  bool WaitFor(int milliseconds) {
    std::unique_lock lock(mutex_);
    const auto is_over = [this] { return is_over_; };
    if (milliseconds >= 0)
      return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                               is_over);
    changed_.wait(lock, is_over);
    return true;
  }

 private:
  void Set(bool is_over) {
    const std::lock_guard lock(mutex_);
    is_over_ = is_over;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_over_ = true;
};

struct QueueReaderThread::Impl {
  port::WakeEvent stop;
  std::shared_ptr<ThreadEnding> ending = std::make_shared<ThreadEnding>();
  std::mutex mutex;  // guards `thread`
  std::thread thread;
};

}  // namespace kiv::mq

#endif  // MQ_READER_THREAD_IMPL_H_
