#include "mq/com_line.h"

#include <algorithm>
#include <mutex>

#include "kiv/mq/queue_config.h"
#include "port/file.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

using namespace std::chrono_literals;

constexpr char kSource[] = "mq";
// A line is noticed within ten seconds of its return.
constexpr auto kFirstPause = 250ms;
constexpr auto kLongestPause = 5s;
// A line that stayed that long is worth a quick attempt again; one that comes
// and goes is not.
constexpr auto kSteady = 5s;

}  // namespace

ComSettings::ComSettings(const ComQueueConfig& config)
    : event_char(config.EvChar()),
      package_size(static_cast<std::size_t>(std::max(config.PackageSize(), 0))),
      wait_milliseconds(config.WaitMilliseconds()) {
  port.baud_rate = config.BaudRate();
  port.data_bits = config.DataLength();
  port.parity = config.Parity();
  port.stop_bits = config.StopBits();
}

ComLine::ComLine(const std::string& name)
    : name_(name),
      framer_(settings_.event_char, settings_.package_size, kInputSize),
      pause_(kFirstPause) {}

void ComLine::Configure(const ComSettings& settings) {
  settings_ = settings;
  framer_ = BlockFramer(settings.event_char, settings.package_size, kInputSize);
}

ComLine::Step ComLine::Next(int timeout_ms, const port::WakeEvent& stop,
                            Block& block) {
  if (TakeBlock(block)) return Step::Block;
  if (com_ == nullptr) return Open(timeout_ms, stop);
  std::size_t room = 0;
  char* const bytes = framer_.Room(room);
  std::size_t size = 0;
  using Outcome = port::SerialPort::Outcome;
  switch (com_->State().port->Read(bytes, room, timeout_ms, stop, size)) {
    case Outcome::Bytes:
      framer_.Fill(size);
      ++reads_;
      return TakeBlock(block) ? Step::Block : Step::Nothing;
    case Outcome::Stopped:
      return Step::Stopped;
    case Outcome::Unplugged:
      Unplugged();
      return Step::Changed;
    case Outcome::TimedOut:
      break;
  }
  return Step::Nothing;
}

bool ComLine::TakeBlock(Block& block) {
  if (!framer_.Next(block)) return false;
  if (block.begins && !block.ends)
    Fault("'" + kiv::Shown(name_) + "' sent more than " +
          std::to_string(kInputSize) +
          " bytes without its event character; they are handed over in "
          "pieces. Check BaudRate and EvChar");
  return true;
}

ComLine::Step ComLine::Open(int timeout_ms, const port::WakeEvent& stop) {
  const auto now = Clock::now();
  if (now < next_attempt_) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(next_attempt_ - now);
    const int wait_ms = std::min(timeout_ms, static_cast<int>(left.count()));
    return stop.WaitFor(wait_ms) ? Step::Stopped : Step::Nothing;
  }
  std::unique_lock trial(port_trial);
  auto com = std::make_unique<ComWin32>(name_, kInputSize, kOutputSize);
  trial.unlock();
  if (!com->IsOpen()) return OpenFailed(*com);
  com_ = std::move(com);
  opened_at_ = now;
  return Opened();
}

ComLine::Step ComLine::Opened() {
  const std::string shown = Shown(com_->Device());
  if (was_missing_)
    LogInformation(
        kSource, "com_queue_reader_func Info: the port " + shown + " is back");
  was_missing_ = false;
  was_unplugged_ = false;
  logged_reasons_.clear();
  std::string refused;
  if (!com_->State().port->Configure(settings_.port, refused) &&
      refused != logged_refusal_) {
    logged_refusal_ = refused;
    Fault("the port " + shown + " refuses " + refused +
          "; its other settings are in force");
  }
  return Step::Changed;
}

ComLine::Step ComLine::OpenFailed(const ComWin32& com) {
  was_missing_ = true;
  PlanNextAttempt();
  // That an unplugged port is not there was said when it went.
  port::FileAttributes device;
  if (was_unplugged_ && !port::GetFileAttributesA(com.Device(), device))
    return Step::Nothing;
  if (!logged_reasons_.insert(com.OpenError()).second) return Step::Nothing;
  Fault("the port " + Shown(com.Device()) + " cannot be opened: " +
        com.OpenError() + "; it is tried again until it answers");
  return Step::Changed;
}

void ComLine::Unplugged() {
  const std::string shown = Shown(com_->Device());
  com_.reset();
  was_missing_ = true;
  was_unplugged_ = true;
  const std::size_t dropped = framer_.Reset();
  if (Clock::now() - opened_at_ >= kSteady) pause_ = kFirstPause;
  PlanNextAttempt();
  std::string text = "the port " + shown + " was unplugged; ";
  if (dropped > 0)
    text +=
        std::to_string(dropped) + " bytes of an unfinished block are dropped; ";
  Fault(text + "it is opened again when it returns");
}

void ComLine::PlanNextAttempt() {
  next_attempt_ = Clock::now() + pause_;
  pause_ = std::min<Clock::duration>(2 * pause_, kLongestPause);
}

void ComLine::Fault(const std::string& text) {
  last_fault_ = text;
  LogError(kSource, "com_queue_reader_func Failed: " + text);
}

std::string ComLine::Shown(const std::string& device) const {
  const std::string name = "'" + kiv::Shown(name_) + "'";
  return device == name_ ? name : name + " (" + kiv::Shown(device) + ")";
}

}  // namespace kiv::mq
