#ifndef MQ_COM_LINE_H_
#define MQ_COM_LINE_H_

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "kiv/mq/com_queue.h"
#include "mq/block_framer.h"
#include "port/serial_port.h"

namespace kiv::mq {

struct ComWin32::Impl {
  std::unique_ptr<port::SerialPort> port;
  std::string device;
  std::string open_error;
  int port_index = -1;
  int input_size = 0;
  int output_size = 0;
};

// Held while a port is opened to be read, and as long as one is open only to
// see that it can be: else a reader that starts would take its own program for
// another one that has the port.
inline std::mutex port_trial;

// What a queue's configuration says of its line.
struct ComSettings {
  port::SerialSettings port;
  char event_char = '\r';
  std::size_t package_size = 0;
  int wait_milliseconds = 5000;

  ComSettings() = default;
  explicit ComSettings(const ComQueueConfig& config);
};

// A serial line that outlives its plug: opened when it is there, reopened with
// growing pauses when it went away, under whatever device its name then means.
// What happens to it is logged once.
class ComLine {
 public:
  static constexpr int kInputSize = 4096;
  static constexpr int kOutputSize = 2048;

  explicit ComLine(const std::string& name);
  void Configure(const ComSettings& settings);

  // Changed: the port was opened or lost, or refuses a setting.
  enum class Step { Block, Nothing, Changed, Stopped };
  // Waits at most once. The block lives until the next call.
  Step Next(int timeout_ms, const port::WakeEvent& stop, Block& block);

  bool IsPlugged() const { return com_ != nullptr; }
  // The last fault's text; empty while there was none.
  const std::string& LastFault() const { return last_fault_; }
  // Changes with every read, so that the time is asked for once a read and not
  // once a block.
  unsigned long long Reads() const { return reads_; }
  const ComSettings& Settings() const { return settings_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool TakeBlock(Block& block);
  Step Open(int timeout_ms, const port::WakeEvent& stop);
  Step Opened();
  Step OpenFailed(const ComWin32& com);
  void Unplugged();
  void PlanNextAttempt();
  void Fault(const std::string& text);
  std::string Shown(const std::string& device) const;

  const std::string name_;
  ComSettings settings_;
  BlockFramer framer_;
  std::unique_ptr<ComWin32> com_;
  Clock::time_point opened_at_;
  Clock::time_point next_attempt_;
  Clock::duration pause_;
  // Since the line was last there; no reason is logged twice.
  std::set<std::string> logged_reasons_;
  bool was_missing_ = false;
  bool was_unplugged_ = false;
  std::string logged_refusal_;
  std::string last_fault_;
  unsigned long long reads_ = 0;
};

}  // namespace kiv::mq

#endif  // MQ_COM_LINE_H_
