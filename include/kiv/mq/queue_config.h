#ifndef KIV_MQ_QUEUE_CONFIG_H_
#define KIV_MQ_QUEUE_CONFIG_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/date_time.h"
#include "kiv/export.h"
#include "kiv/module/module.h"
#include "kiv/mq/queue.h"
#include "kiv/mq/queue_reader.h"
#include "kiv/mq/queue_status.h"

namespace kiv {
class DomElement;
}

namespace kiv::mq {

class StatusBoard;

// One queue as the configuration file declares it. Made by the factory and held
// by the pointer of its concrete type: the base has no virtual destructor.
//
// Init and the first StartListen change it; from then on the reader's thread
// reads it without a lock.
class KIV_API QueueConfig : public std::enable_shared_from_this<QueueConfig> {
 public:
  // Loads the processor and prepares the queue, both once, then starts the
  // reader. False when one of them fails, which is logged.
  virtual bool StartListen();

 protected:
  // Reads the queue's element. A time range that does not parse is skipped; the
  // end of a range is read only as far as its beginning is long.
  virtual bool Init(DomElement& element, std::shared_ptr<QueueReader> reader);

 public:
  const std::string& Type() const { return type_; }
  const std::string& Name() const { return name_; }
  const std::string& Processor() const { return processor_; }
  // The times of day in which a serial reader reads.
  const std::vector<DateTimeDuration>& GetDuration() const {
    return durations_;
  }
  std::shared_ptr<QueueInfo> GetQueueInfo() const { return queue_info_; }
  std::shared_ptr<QueueReader> GetQueueReader() const { return reader_; }
  // Empty before StartListen.
  std::shared_ptr<module::Module> GetModule() const { return module_; }

  // As QueueReader::Stop; StartListen starts again.
  bool Stop(int wait_milliseconds = 5000);
  // From any thread.
  QueueStatus Status() const;
  // Where the queue's reader keeps the figures of Status.
  StatusBoard& Board() const { return *board_; }

  QueueConfig(const QueueConfig&) = delete;
  QueueConfig& operator=(const QueueConfig&) = delete;

 protected:
  QueueConfig();
  ~QueueConfig();

  std::string type_;
  std::string name_;
  std::string processor_;
  std::vector<DateTimeDuration> durations_;
  std::shared_ptr<QueueReader> reader_;
  std::shared_ptr<QueueInfo> queue_info_;
  std::shared_ptr<module::Module> module_;

 private:
  bool ReadDurations(DomElement& durations);
  bool Listen();
  std::shared_ptr<module::Module> LoadModule() const;
  // False, for the queue's status and for the log.
  bool Fail(const std::string& text);
  bool LogAndFail(const std::string& text);

  std::unique_ptr<StatusBoard> board_;
  // Where the processor runs: with us, or in a process of its own that may take
  // so many seconds for a message.
  bool is_isolated_ = false;
  int time_limit_seconds_ = 0;
};

// A message queue.
class KIV_API RealMessageQueueConfig final : public QueueConfig {
 protected:
  bool Init(DomElement& element, std::shared_ptr<QueueReader> reader) override;

 private:
  friend class Factory;
  RealMessageQueueConfig() = default;
};

// A serial port and its settings. The processor of such a queue is given it as
// context.
class KIV_API ComQueueConfig final : public QueueConfig {
 public:
  int BaudRate() const { return baud_rate_; }
  // Data bits.
  int DataLength() const { return data_length_; }
  // E, M, N, O or S: even, mark, none, odd, space.
  char Parity() const { return parity_; }
  int StopBits() const { return stop_bits_; }
  // Ends a block when PackageSize is 0.
  char EvChar() const { return ev_char_; }
  // The wait of one pass of the reader.
  int WaitMilliseconds() const { return wait_milliseconds_; }
  // Bytes of a block; 0: a block ends at the event character.
  int PackageSize() const { return package_size_; }

 protected:
  bool Init(DomElement& element, std::shared_ptr<QueueReader> reader) override;

 private:
  friend class Factory;
  ComQueueConfig() = default;

  int baud_rate_ = 19200;
  int data_length_ = 8;
  char parity_ = 'N';
  int stop_bits_ = 1;
  char ev_char_ = '\r';
  int wait_milliseconds_ = 5000;
  int package_size_ = 0;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_QUEUE_CONFIG_H_
