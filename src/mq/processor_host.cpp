#include "kiv/module/processor_host.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "kiv/dom.h"
#include "kiv/log.h"
#include "kiv/module/dll_file_module.h"
#include "kiv/mq/factory.h"
#include "kiv/msgq/file_queue.h"
#include "mq/processor_fault.h"
#include "mq/processor_packets.h"
#include "mq/queue_config_access.h"
#include "port/helper_process.h"

namespace kiv::module {
namespace {

// The settings of the serial port whose blocks are processed, as the host has
// them; null for another kind of queue.
std::shared_ptr<mq::ComQueueConfig> ReadQueue(const std::string& text) {
  DomParser parser;
  DomDocument document;
  DomElement element;
  if (text.empty() ||
      !parser.parseMem(text.data(), static_cast<unsigned>(text.size()),
                       document) ||
      !document.GetDocumentElement(element))
    return nullptr;
  const auto config = mq::Factory::CreateConfig(element);
  if (config == nullptr ||
      !mq::QueueConfigAccess::Read(
          *config, element, mq::Factory::LoadReader(element, config.get())))
    return nullptr;
  return std::dynamic_pointer_cast<mq::ComQueueConfig>(config);
}

// One processor and the messages for it.
class Processing {
 public:
  Processing(std::string_view names, const std::string& queue_text)
      : queue_(ReadQueue(queue_text)) {
    const std::string file = TakeText(names);
    const std::string function = TakeText(names);
    module_ = std::make_unique<DllFileModule>(file.c_str(), function.c_str());
  }

  // The answer, as the host reads it.
  std::string Process(const port::Packet& message) {
    std::string_view head = message.Head();
    const char kind = head.empty() ? '\0' : head.front();
    if (!head.empty()) head.remove_prefix(1);
    TakeProcessorFault();
    bool is_handled = false;
    if (kind == static_cast<char>(Context::File)) {
      const std::string directory = TakeText(head);
      const std::string name = TakeText(head);
      const int attempt = std::atoi(TakeText(head).c_str());
      msgq::FileQueueFile file{directory.c_str(), name.c_str(), attempt};
      is_handled = Call(message.Body(), &file);
    } else {
      is_handled = Call(
          message.Body(),
          kind == static_cast<char>(Context::Queue) ? queue_.get() : nullptr);
    }
    if (is_handled) return {kHandled};
    std::string answer{kNotHandled};
    AppendText(TakeProcessorFault().substr(0, kLongestFault), answer);
    return answer;
  }

 private:
  static constexpr std::size_t kLongestFault = 4096;

  bool Call(std::string_view body, void* context) {
    return module_->process_mem(body.data(), static_cast<int>(body.size()),
                                context);
  }

  const std::shared_ptr<mq::ComQueueConfig> queue_;
  std::unique_ptr<DllFileModule> module_;
};

}  // namespace

int ProcessorHostMain() {
  using Received = port::PacketLink::Received;
  const auto link = port::LinkToParent();
  std::unique_ptr<port::Packet> packet;
  if (link == nullptr || link->Receive(packet, -1) != Received::Packet) {
    std::cerr << "kiv-processor is started by a host that has a processor with "
                 "isolation=\"process\"\n";
    return 2;
  }
  Processing processing(packet->Head(), std::string(packet->Body()));
  // What loading logged is there before anything may crash.
  Log::Instance().LockedFlush();
  if (!link->Send("ready", {})) return 0;
  while (link->Receive(packet, -1) == Received::Packet) {
    const std::string answer = processing.Process(*packet);
    Log::Instance().LockedFlush();
    if (!link->Send(answer, {})) break;
  }
  return 0;
}

}  // namespace kiv::module
