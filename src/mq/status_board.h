#ifndef MQ_STATUS_BOARD_H_
#define MQ_STATUS_BOARD_H_

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

#include "kiv/mq/queue_status.h"

namespace kiv::mq {

// A queue's figures. Counted by its one reader thread, read from any.
class StatusBoard {
 public:
  void SetState(QueueState state) {
    state_.store(state, std::memory_order_relaxed);
  }
  void CountMessage(std::size_t bytes, bool is_handled) {
    Add(messages_, 1);
    Add(bytes_, bytes);
    if (!is_handled) Add(failures_, 1);
  }
  void CountRefused() { Add(refused_, 1); }
  void SetLastMessage(long long ticks) {
    last_message_.store(ticks, std::memory_order_relaxed);
  }
  void SetError(const std::string& text) {
    const std::lock_guard lock(mutex_);
    last_error_ = text;
  }

  QueueStatus Snapshot() const {
    QueueStatus status;
    status.state = state_;
    status.messages = messages_;
    status.bytes = bytes_;
    status.failures = failures_;
    status.refused = refused_;
    const long long ticks = last_message_;
    if (ticks != kNone) status.last_message = DateTime(ticks);
    const std::lock_guard lock(mutex_);
    status.last_error = last_error_;
    return status;
  }

 private:
  using Counter = std::atomic<unsigned long long>;
  static constexpr long long kNone = -1;

  // One writer: no locked addition.
  static void Add(Counter& counter, unsigned long long more) {
    counter.store(counter.load(std::memory_order_relaxed) + more,
                  std::memory_order_relaxed);
  }

  std::atomic<QueueState> state_{QueueState::Stopped};
  Counter messages_{0};
  Counter bytes_{0};
  Counter failures_{0};
  Counter refused_{0};
  std::atomic<long long> last_message_{kNone};
  mutable std::mutex mutex_;
  std::string last_error_;
};

}  // namespace kiv::mq

#endif  // MQ_STATUS_BOARD_H_
