#include "mq/isolated_module.h"

#include <algorithm>
#include <thread>

#include "kiv/dom_element.h"
#include "kiv/file_system_path.h"
#include "kiv/msgq/file_queue.h"
#include "mq/processor_fault.h"
#include "mq/processor_packets.h"
#include "port/environment.h"
#include "port/native_path.h"
#include "port/system.h"
#include "util/log_entry.h"

namespace kiv::module {
namespace {

constexpr char kSource[] = "module";
constexpr char kProgramVariable[] = "KIV_PROCESSOR_HOST";
constexpr char kProgram[] = "kivcorelib10/kiv-processor";

// A reader that is stopped waits five seconds for its processor.
constexpr std::chrono::milliseconds kFirstPause{100};
constexpr std::chrono::milliseconds kLongestPause{3000};
// To start, with the library that it loads and what that does then.
constexpr int kStartMs = 30'000;

// The helper program lies beside the library, wherever that is.
std::string HelperProgram() {
  std::string program;
  if (port::GetEnvironmentUtf8(kProgramVariable, program) && !program.empty())
    return port::LocalPath(program);
  static const char here = 0;
  return (FileSystemPath(port::ModuleFileName(&here), FileSystemPath::native)
              .branch_path() /
          FileSystemPath(kProgram))
      .native_file_string();
}

std::string HeadOf(void* context, bool has_queue) {
  std::string head;
  if (context == nullptr) {
    head += static_cast<char>(Context::None);
  } else if (has_queue) {
    head += static_cast<char>(Context::Queue);
  } else {
    const auto& file = *static_cast<const msgq::FileQueueFile*>(context);
    head += static_cast<char>(Context::File);
    AppendText(file.directory, head);
    AppendText(file.name, head);
    AppendText(std::to_string(file.attempt), head);
  }
  return head;
}

}  // namespace

Isolation ReadIsolation(const DomElement& element) {
  Isolation isolation;
  std::string value = element.Attribute(Isolation::kAttribute);
  if (value.empty()) port::GetEnvironmentUtf8(Isolation::kVariable, value);
  isolation.is_isolated = value == Isolation::kProcess;
  isolation.time_limit_seconds =
      element.AttributeInt(Isolation::kTimeLimit, Isolation::kDefaultTimeLimit);
  return isolation;
}

IsolatedModule::IsolatedModule(const std::string& file,
                               const std::string& function,
                               const Isolation& isolation,
                               const std::string& queue_text)
    : file_(file),
      function_(function),
      isolation_(isolation),
      queue_text_(queue_text) {
  // So that what is wrong with the library is logged when it is asked for, not
  // with the first message.
  Start();
}

bool IsolatedModule::process_mem(const char* data, int length, void* context) {
  const std::lock_guard lock(mutex_);
  const std::string head = HeadOf(context, !queue_text_.empty());
  const std::string_view body(data, static_cast<std::size_t>(length));
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (helper_ == nullptr && !Start()) return false;
    if (helper_->Link().Send(head, body)) break;
    // It ended between two messages: this one it never had.
    Drop("between two messages it ended by " + helper_->End());
  }
  bool answer = false;
  return helper_ != nullptr && TakeAnswer(answer) && answer;
}

bool IsolatedModule::Start() {
  std::this_thread::sleep_until(next_start_);
  std::string reason;
  helper_ = port::HelperProcess::Start(HelperProgram(), reason);
  if (helper_ == nullptr) {
    Drop("its process cannot be started: " + reason);
    return false;
  }
  std::string packet;
  AppendText(file_, packet);
  AppendText(function_, packet);
  std::unique_ptr<port::Packet> answer;
  const auto received = helper_->Link().Send(packet, queue_text_)
                            ? helper_->Link().Receive(answer, kStartMs)
                            : port::PacketLink::Received::Closed;
  if (received == port::PacketLink::Received::Packet) return true;
  Drop(received == port::PacketLink::Received::Closed
           ? "while it was loaded its process ended by " + helper_->End()
           : "it was not loaded within " + std::to_string(kStartMs / 1000) +
                 " seconds");
  return false;
}

bool IsolatedModule::TakeAnswer(bool& answer) {
  std::unique_ptr<port::Packet> packet;
  const int limit = isolation_.time_limit_seconds;
  switch (helper_->Link().Receive(packet, limit > 0 ? limit * 1000 : -1)) {
    case port::PacketLink::Received::Closed:
      Drop("its process ended by " + helper_->End());
      return false;
    case port::PacketLink::Received::TimedOut:
      Drop("it took more than the " + std::to_string(limit) +
           " seconds of its timeLimit, and its process was ended");
      return false;
    case port::PacketLink::Received::Packet:
      break;
  }
  pause_ = {};
  std::string_view text = packet->Head();
  answer = text.starts_with(kHandled);
  if (!text.empty()) text.remove_prefix(1);
  if (!answer) SetProcessorFault(TakeText(text));
  return true;
}

void IsolatedModule::Drop(const std::string& fault) {
  helper_.reset();
  SetProcessorFault(fault);
  pause_ = pause_ == Clock::duration{}
               ? Clock::duration(kFirstPause)
               : std::min<Clock::duration>(2 * pause_, kLongestPause);
  next_start_ = Clock::now() + pause_;
  LogError(kSource, "IsolatedModule: processor '" + Shown(file_) + ":" +
                        Shown(function_) + "': " + Shown(fault) +
                        "; the next message gets a new process");
}

}  // namespace kiv::module
