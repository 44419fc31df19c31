#include "kiv/mq/com_queue.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <mutex>
#include <utility>

#include "kiv/mq/queue_config.h"
#include "mq/com_line.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

class ComMessage final : public Message {
 public:
  explicit ComMessage(const Block& block) : body_(block.bytes, block.size) {}
  bool GetBody(std::string& body) override {
    body = body_;
    return true;
  }

 private:
  std::string body_;
};

std::unique_ptr<ComWin32::Impl> OpenPort(const std::string& name,
                                         int port_index, int input_size,
                                         int output_size) {
  auto impl = std::make_unique<ComWin32::Impl>();
  impl->device = port::SerialDevice(name, port_index);
  impl->port_index = port_index;
  impl->input_size = input_size;
  impl->output_size = output_size;
  if (impl->device.empty())
    impl->open_error = "the name is no port: write COM1 or a device's path";
  else
    impl->port = port::SerialPort::Open(impl->device, impl->open_error);
  return impl;
}

}  // namespace

ComWin32::ComWin32(int port_index, int input_size, int output_size,
                   int /*overlapped*/, int /*events*/)
    : impl_(OpenPort("", port_index, input_size, output_size)) {}

ComWin32::ComWin32(const std::string& name, int input_size, int output_size)
    : impl_(OpenPort(name, ComQueueInfo::PortIndex(name.c_str()), input_size,
                     output_size)) {}

ComWin32::~ComWin32() = default;

bool ComWin32::IsOpen() const { return impl_->port != nullptr; }
const std::string& ComWin32::OpenError() const { return impl_->open_error; }
const std::string& ComWin32::Device() const { return impl_->device; }
int ComWin32::PortIndex() const { return impl_->port_index; }
int ComWin32::InputSize() const { return impl_->input_size; }
int ComWin32::OutputSize() const { return impl_->output_size; }

bool ComWin32::Configure(const ComQueueConfig& config, std::string& refused) {
  return IsOpen() && impl_->port->Configure(ComSettings(config).port, refused);
}

ComQueue::ComQueue(const std::string& name)
    : line_(std::make_unique<ComLine>(name)) {}

ComQueue::~ComQueue() = default;

void ComQueue::Configure(const ComQueueConfig& config) {
  line_->Configure(ComSettings(config));
}

std::shared_ptr<Message> ComQueue::Receive() {
  try {
    return WaitForBlock();
  } catch (const std::exception& fault) {
    LogError("mq", "ComQueue::Receive Failed: " + Shown(fault.what()));
    return nullptr;
  }
}

std::shared_ptr<Message> ComQueue::WaitForBlock() {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(
                                      line_->Settings().wait_milliseconds);
  const port::WakeEvent never;
  Block block;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    const int left_ms = std::max(static_cast<int>(left.count()), 0);
    if (line_->Next(left_ms, never, block) == ComLine::Step::Block)
      return std::make_shared<ComMessage>(block);
    if (left_ms == 0) return nullptr;
  }
}

int ComQueueInfo::PortIndex(const char* name) {
  if (name == nullptr) return -1;
  const char* digit = name;
  while (*digit != '\0' && !IsDigit(*digit)) ++digit;
  long long number = 0;
  for (; IsDigit(*digit); ++digit) {
    number = number * 10 + (*digit - '0');
    if (number > INT_MAX) return -1;
  }
  return static_cast<int>(number) - 1;
}

bool ComQueueInfo::IsPortName(const char* name) {
  return name != nullptr && (*name == '/' || PortIndex(name) >= 0);
}

bool ComQueueInfo::Create(const char* name, const char* /*label*/,
                          bool /*transactional*/) {
  if (!IsPortName(name)) return false;
  const std::lock_guard trial(port_trial);
  return ComWin32(name, ComLine::kInputSize, ComLine::kOutputSize).IsOpen();
}

bool ComQueueInfo::Delete(const char* /*name*/) { return false; }

std::shared_ptr<Queue> ComQueueInfo::Open(const char* name, int /*access*/,
                                          int /*share_mode*/) {
  if (!IsPortName(name)) return nullptr;
  return std::make_shared<ComQueue>(name);
}

}  // namespace kiv::mq
