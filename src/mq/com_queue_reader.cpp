#include "kiv/mq/com_queue_reader.h"

#include <algorithm>
#include <memory>
#include <string>

#include "kiv/date_time.h"
#include "kiv/mq/com_queue.h"
#include "kiv/mq/queue_config.h"
#include "kiv/startup.h"
#include "mq/com_line.h"
#include "mq/queue_times.h"
#include "mq/reader_opening.h"
#include "mq/reader_thread_impl.h"
#include "mq/status_board.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

constexpr char kFunction[] = "com_queue_reader_func";
constexpr int kRestartWaitMs = 5000;
// Bytes and a stop end a wait at once, so its length decides only how often an
// idle reader wakes.
constexpr int kShortestWaitMs = 100;
constexpr int kLongestWaitMs = 3'600'000;

// Ranges name whole seconds: 23:59:59 lasts to midnight.
DateTime ThisSecond() {
  const long long ticks = DateTime::NowTime().Ticks();
  return DateTime(ticks - ticks % TimeSpan::TicksPerSecond);
}

// Hands the blocks of one line to its processor.
class LineReading {
 public:
  LineReading(QueueConfig& config, module::Module& processor, ComLine& line)
      : config_(config),
        com_config_(dynamic_cast<ComQueueConfig*>(&config)),
        board_(config.Board()),
        processor_(processor),
        line_(line) {
    if (com_config_ != nullptr) line_.Configure(ComSettings(*com_config_));
  }

  int WaitMilliseconds() const {
    return std::clamp(line_.Settings().wait_milliseconds, kShortestWaitMs,
                      kLongestWaitMs);
  }

  // The port came or went, or time passed.
  void ShowState() {
    if (!line_.IsPlugged()) {
      board_.SetState(QueueState::Unplugged);
      return;
    }
    CheckTimes();
    board_.SetState(is_time_ ? QueueState::Reading : QueueState::OutsideTimes);
  }

  void ShowFault() {
    if (!line_.LastFault().empty()) board_.SetError(line_.LastFault());
  }

  // False for the stop word.
  bool Take(const Block& block) {
    if (IsStopWord(block)) return false;
    if (line_.Reads() != reads_) {
      reads_ = line_.Reads();
      ShowState();
      if (is_time_) board_.SetLastMessage(DateTime::Now().Ticks());
    }
    if (block.begins && !block.ends) ShowFault();
    if (!is_time_) {
      board_.CountRefused();
      return true;
    }
    // The context's type is the published one, not the base's.
    const bool is_handled = processor_.process_mem(
        block.bytes, static_cast<int>(block.size), com_config_);
    board_.CountMessage(block.size, is_handled);
    return true;
  }

 private:
  // A line cannot wait for its hour as a queue can: what comes outside the
  // times is dropped. A line without times is always read.
  void CheckTimes() {
    const auto& times = config_.GetDuration();
    const bool was_time = is_time_;
    is_time_ = times.empty() || IsInTimes(times, ThisSecond());
    if (was_time && !is_time_)
      LogInformation("mq", std::string(kFunction) + " Info: '" +
                               Shown(config_.Name()) +
                               "' is outside its times: what it sends now is "
                               "not processed");
  }

  QueueConfig& config_;
  ComQueueConfig* const com_config_;
  StatusBoard& board_;
  module::Module& processor_;
  ComLine& line_;
  bool is_time_ = true;
  unsigned long long reads_ = 0;
};

}  // namespace

ComQueueReaderThread::ComQueueReaderThread(ComQueueReader* reader)
    : reader_(reader) {}

int ComQueueReaderThread::run() {
  const ThreadInit com;
  ReaderOpening<ComQueue> opened;
  if (const int fault = opened.Open(kFunction, reader_)) return fault;
  ComLine& line = opened.queue->Line();
  LineReading reading(*opened.config, *opened.processor, line);
  QueueState end = QueueState::Stopped;
  Block block;
  while (IsRunning()) {
    const ComLine::Step step =
        line.Next(reading.WaitMilliseconds(), State().stop, block);
    if (step == ComLine::Step::Stopped) break;
    if (step == ComLine::Step::Block) {
      if (reading.Take(block)) continue;
      LogInformation("mq", std::string(kFunction) + " Info: '" +
                               Shown(opened.config->Name()) +
                               "' sent \"exit\": its reader ends");
      end = QueueState::StoppedByLine;
      break;
    }
    if (step == ComLine::Step::Changed) reading.ShowFault();
    reading.ShowState();
  }
  opened.config->Board().SetState(end);
  return 0;
}

ComQueueReader::ComQueueReader(DomElement& /*queue*/, QueueConfig* config)
    : config_(config) {}

bool ComQueueReader::Start() {
  Stop(kRestartWaitMs);
  thread_ = std::make_shared<ComQueueReaderThread>(this);
  return thread_->start(this, config_);
}

bool ComQueueReader::Stop(int wait_milliseconds) {
  return thread_ == nullptr || thread_->Stop(wait_milliseconds);
}

}  // namespace kiv::mq
