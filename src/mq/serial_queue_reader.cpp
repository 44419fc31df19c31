#include "kiv/mq/serial_queue_reader.h"

#include <string>

#include "kiv/date_time.h"
#include "kiv/dom_element.h"
#include "kiv/mq/queue_config.h"
#include "kiv/startup.h"
#include "mq/queue_times.h"
#include "mq/reader_failure.h"
#include "mq/status_board.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

constexpr char kFunction[] = "serial_queue_reader_func";
constexpr int kDefaultInterval = 60;
constexpr int kRestartWaitMs = 5000;
// With an interval of 0 an empty queue is asked that often.
constexpr int kShortestPauseMs = 100;

// True when a message was taken.
bool TakeOne(QueueConfig& config, Queue& queue, module::Module& processor) {
  const std::shared_ptr<Message> message = queue.Receive();
  std::string body;
  if (message == nullptr || !message->GetBody(body)) return message != nullptr;
  StatusBoard& board = config.Board();
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
  if (reader_ == nullptr)
    return ReaderFailed(nullptr, kFunction, "reader can not be null", 1);
  QueueConfig* const config = reader_->GetConfig();
  const auto processor = config != nullptr ? config->GetModule() : nullptr;
  if (processor == nullptr)
    return ReaderFailed(config, kFunction, "module can not be null", 2);
  const auto queue_info = config->GetQueueInfo();
  const auto queue = queue_info != nullptr
                         ? queue_info->Open(config->Name().c_str(),
                                            QueueInfo::ACCESS_RECEIVE, 0)
                         : nullptr;
  if (queue == nullptr)
    return ReaderFailed(config, kFunction,
                        "open '" + Shown(config->Name()) + "' queue failed", 3);
  StatusBoard& board = config->Board();
  while (IsRunning()) {
    const bool is_time = IsInTimes(config->GetDuration(), DateTime::NowTime());
    board.SetState(is_time ? QueueState::Reading : QueueState::OutsideTimes);
    const bool has_taken = is_time && TakeOne(*config, *queue, *processor);
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
