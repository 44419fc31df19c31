#include "mq/queue_text.h"

#include <cstdio>
#include <utility>

#include "kiv/mq/queue_config.h"

namespace kiv::mq {
namespace {

// In an attribute. A second byte of a character is never one of these.
std::string Escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '&' || c == '<' || c == '"' ||
        (static_cast<unsigned char>(c) < 0x20))
      out += "&#" + std::to_string(static_cast<unsigned char>(c)) + ';';
    else
      out += c;
  }
  return out;
}

std::string Attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + Escaped(value) + '"';
}

std::string TimeText(const DateTime& time) {
  char text[16];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", time.Hour(), time.Minute(),
                time.Second());
  return text;
}

}  // namespace

std::string QueueText(const ComQueueConfig& config) {
  std::string text = "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n<queue";
  text += Attribute("type", config.Type()) + Attribute("name", config.Name()) +
          Attribute("processor", config.Processor());
  for (const auto& [name, value] :
       {std::pair("BaudRate", config.BaudRate()),
        std::pair("DataLength", config.DataLength()),
        std::pair("StopBits", config.StopBits()),
        std::pair("WaitMilliseconds", config.WaitMilliseconds()),
        std::pair("PackageSize", config.PackageSize())})
    text += Attribute(name, std::to_string(value));
  text += Attribute("Parity", std::string(1, config.Parity()));
  const char event = static_cast<char>(config.EvChar());
  text += Attribute("EvChar", event == '\r' ? "CR" : std::string(1, event));
  text += "><duration>";
  for (const DateTimeDuration& range : config.GetDuration())
    text += "<range" + Attribute("from", TimeText(range.GetStart())) +
            Attribute("to", TimeText(range.GetStop())) + "/>";
  return text + "</duration></queue>\n";
}

}  // namespace kiv::mq
