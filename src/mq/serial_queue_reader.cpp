#include "kiv/mq/serial_queue_reader.h"

#include <string>

#include "kiv/date_time.h"
#include "kiv/dom_element.h"
#include "kiv/mq/queue_config.h"
#include "kiv/startup.h"
#include "mq/queue_times.h"
#include "mq/reader_opening.h"
#include "mq/status_board.h"

namespace kiv::mq {
namespace {

constexpr char kFunction[] = "serial_queue_reader_func";
constexpr int kDefaultInterval = 60;
constexpr int kRestartWaitMs = 5000;
// With an interval of 0 an empty queue is asked that often.
constexpr int kShortestPauseMs = 100;

// What the board shows within the queue's times: a queue that failed is failed
// until a receive works again, not between two tries.
QueueState StateInTimes(bool is_failing) {
  return is_failing ? QueueState::Failed : QueueState::Reading;
}

// True when a message was taken.
bool TakeOne(QueueConfig& config, Queue& queue, module::Module& processor,
             bool& is_failing) {
  const std::shared_ptr<Message> message = queue.Receive();
  const std::string error = message == nullptr ? queue.LastError() : "";
  StatusBoard& board = config.Board();
  is_failing = !error.empty();
  if (is_failing) board.SetError(error);
  board.SetState(StateInTimes(is_failing));
  std::string body;
  if (message == nullptr || !message->GetBody(body)) return message != nullptr;
  board.SetLastMessage(DateTime::Now().Ticks());
  const bool is_handled = processor.process_mem(
      body.data(), static_cast<int>(body.size()), nullptr);
  board.CountMessage(body.size(), is_handled);
  return true;
}

}  // namespace

SerialQueueReaderThread::SerialQueueReaderThread(SerialQueueReader* reader)
    : reader_(reader) {}

int SerialQueueReaderThread::run() {
  const ThreadInit com;
  ReaderOpening<Queue> opened;
  if (const int fault = opened.Open(kFunction, reader_)) return fault;
  QueueConfig& config = *opened.config;
  StatusBoard& board = config.Board();
  bool is_failing = false;
  while (IsRunning()) {
    const bool is_time = IsInTimes(config.GetDuration(), DateTime::NowTime());
    board.SetState(is_time ? StateInTimes(is_failing)
                           : QueueState::OutsideTimes);
    const bool has_taken = is_time && TakeOne(config, *opened.queue,
                                              *opened.processor, is_failing);
    if (!IsRunning()) break;
    const int seconds = reader_->Interval();
    if (seconds > 0)
      Sleep(1000LL * seconds);
    else if (!has_taken)
      Sleep(kShortestPauseMs);
  }
  board.SetState(QueueState::Stopped);
  return 0;
}

SerialQueueReader::SerialQueueReader(DomElement& queue, QueueConfig* config)
    : config_(config),
      interval_(queue.AttributeInt("interval", kDefaultInterval)) {}

bool SerialQueueReader::Start() {
  Stop(kRestartWaitMs);
  thread_ = std::make_shared<SerialQueueReaderThread>(this);
  return thread_->start(this, config_);
}

bool SerialQueueReader::Stop(int wait_milliseconds) {
  return thread_ == nullptr || thread_->Stop(wait_milliseconds);
}

}  // namespace kiv::mq
