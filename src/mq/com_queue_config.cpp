#include <cstring>

#include "kiv/dom_element.h"
#include "kiv/mq/queue_config.h"

namespace kiv::mq {
namespace {

constexpr char kParities[] = "EMNOS";

char ParityOf(const std::string& text) {
  if (text.empty()) return 'N';
  const char c = text.front();
  const char letter =
      c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return std::strchr(kParities, letter) != nullptr ? letter : 'N';
}

char EventCharacterOf(const std::string& text) {
  if (text.empty() || text == "CR" || text == "cr") return '\r';
  return text.front();
}

}  // namespace

bool ComQueueConfig::Init(DomElement& element,
                          std::shared_ptr<QueueReader> reader) {
  if (!QueueConfig::Init(element, std::move(reader))) return false;
  baud_rate_ = element.AttributeInt("BaudRate", 19200);
  data_length_ = element.AttributeInt("DataLength", 8);
  parity_ = ParityOf(element.Attribute("Parity"));
  stop_bits_ = element.AttributeInt("StopBits", 1);
  ev_char_ = EventCharacterOf(element.Attribute("EvChar"));
  wait_milliseconds_ = element.AttributeInt("WaitMilliseconds", 5000);
  package_size_ = element.AttributeInt("PackageSize", 0);
  return true;
}

}  // namespace kiv::mq
