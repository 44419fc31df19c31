#include "kiv/mq/config_check.h"

#include <map>
#include <memory>

#include "kiv/dom.h"
#include "kiv/mq/com_queue.h"
#include "kiv/mq/factory.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "mq/check_parts.h"
#include "mq/com_line.h"
#include "mq/isolation.h"
#include "mq/msmq_check.h"
#include "mq/queue_config_access.h"
#include "port/serial_port.h"

namespace kiv::mq {
namespace {

using Severity = ConfigFinding::Severity;

// The queue that has a device, and where it stands in the file.
struct PortUser {
  std::string queue;
  unsigned line = 0;
};

// By port::SerialIdentity.
using PortUsers = std::map<std::string, PortUser>;

class QueueCheck : ElementCheck {
 public:
  // `ports` are the devices of the queues before this one.
  QueueCheck(DomElement& element, unsigned line, unsigned number,
             PortUsers& ports, std::vector<ConfigFinding>& findings)
      : ElementCheck(element, line, number, findings), ports_(ports) {}

  void Run() {
    CheckType();
    CheckNames();
    if (IsGood()) Add(Severity::Good, "will be listened on");
  }

 private:
  void CheckType() {
    const std::string type = element_.Attribute("type");
    if (type == Factory::T_COM) {
      CheckProcessor();
      CheckDurations(false);
      CheckPort();
    } else if (type == Factory::T_MSMQ) {
      CheckReader();
      CheckProcessor();
      CheckMsmqQueue(element_.Attribute("name"),
                     [this](Severity severity, const std::string& text) {
                       Add(severity, text);
                     });
    } else if (type.empty()) {
      Fault("has no \"type\": write type=\"com\" or type=\"msmq\"");
    } else {
      Fault("unknown type " + Quoted(type) +
            ": it must be \"com\" or \"msmq\", in lower case");
    }
  }

  void CheckNames() {
    if (element_.Attribute("name").empty()) {
      Fault(
          "has no \"name\": write the port, such as COM3, or the queue's name");
    }
    for (const std::string& text : MisspeltAttributes(
             element_,
             {"type", "name", "processor", "reader", "interval", "BaudRate",
              "DataLength", "Parity", "StopBits", "EvChar", "WaitMilliseconds",
              "PackageSize", module::Isolation::kAttribute,
              module::Isolation::kTimeLimit}))
      Warn(text);
    const std::string isolation_fault = IsolationFault(element_);
    if (!isolation_fault.empty()) Warn(isolation_fault);
  }

  void CheckReader() {
    const std::string reader = element_.Attribute("reader");
    if (reader.empty()) {
      Fault(
          "has no \"reader\": write reader=\"serial\" or reader=\"realtime\"");
    } else if (reader == Factory::RT_SERIAL) {
      CheckDurations(true);
    } else if (reader != Factory::RT_REALTIME) {
      Fault("unknown reader " + Quoted(reader) +
            ": it must be \"serial\" or \"realtime\"");
    }
  }

  void CheckProcessor() {
    const std::string fault = ProcessorFault(element_.Attribute("processor"));
    if (!fault.empty()) Fault(fault);
  }

  void CheckDurations(bool is_needed) {
    DomElement durations;
    if (!element_.GetFirstChildElement("duration", durations)) {
      if (is_needed) {
        Fault(
            "has no \"duration\": a serial reader reads only inside its times, "
            "so this queue is never read");
      }
      return;
    }
    DomNodeList2 ranges;
    std::string text;
    if (!durations.ChildElementList(ranges) && durations.GetTextContent(text) &&
        !trim(text).empty()) {
      Fault("\"duration\" holds " + Quoted(text) +
            ", and the queue is skipped: write <range from=\"08:00:00\" "
            "to=\"18:30:00\"/> in it");
      return;
    }
    unsigned good = 0;
    for (unsigned i = 0; i < ranges.GetLength(); ++i) {
      DomElement range;
      if (ranges.item(i, range) && CheckRange(range)) ++good;
    }
    if (good > 0) return;
    if (is_needed) {
      Fault("\"duration\" holds no time range: this queue is never read");
    } else {
      Warn("\"duration\" holds no time range: this line is always read");
    }
  }

  // Whether the range counts.
  bool CheckRange(const DomElement& range) {
    const std::string from = range.Attribute("from");
    const std::string to = range.Attribute("to");
    const std::string shown = Quoted(from) + " to " + Quoted(to);
    const std::string read = to.substr(0, from.size());
    DateTime start;
    DateTime stop;
    if (!ReadTime(from, start) || !ReadTime(read, stop)) {
      Warn("time range " + shown +
           " is ignored: both times are written hh:mm:ss and equally long");
      return false;
    }
    if (read != to) {
      Warn("time range " + shown +
           ": \"to\" is cut to the length of \"from\" "
           "and read as " +
           Quoted(read) +
           "; write both equally long, as 08:00:00 and 18:30:00");
    }
    if (stop < start) {
      Warn("time range " + shown +
           " runs backwards and is read the other way round; a range over "
           "midnight is written as two");
    }
    return true;
  }

  static bool ReadTime(const std::string& text, DateTime& time) {
    unsigned consumed = 0;
    return parser::Parser::ParseTime(text.data(), text.data() + text.size(),
                                     time, consumed);
  }

  void CheckPort() {
    const std::string name = element_.Attribute("name");
    if (name.empty()) return;
    if (!ComQueueInfo::IsPortName(name.c_str())) {
      Fault("name " + Quoted(name) +
            " is no port: write COM1 and so on, or a device's path");
      return;
    }
    const std::string device =
        port::SerialDevice(name, ComQueueInfo::PortIndex(name.c_str()));
    const auto [known, is_first] = ports_.try_emplace(
        port::SerialIdentity(device), PortUser{name_, line_});
    if (!is_first) {
      const PortUser& other = known->second;
      Fault("uses the same port as queue " + Quoted(other.queue) + " of line " +
            std::to_string(other.line) + ": " + device +
            "; give one of them another port");
      return;
    }
    std::string reason;
    const auto opened = port::SerialPort::Open(device, reason);
    if (opened == nullptr) {
      Fault("port " + device + ": " + reason);
    } else if (!opened->Configure(Settings(), reason)) {
      Warn("port " + device + " refuses " + reason);
    }
  }

  port::SerialSettings Settings() {
    const auto config = Factory::CreateConfig(element_);
    const auto reader = Factory::LoadReader(element_, config.get());
    const auto com = std::dynamic_pointer_cast<ComQueueConfig>(config);
    if (com == nullptr || !QueueConfigAccess::Read(*config, element_, reader)) {
      return {};
    }
    return ComSettings(*com).port;
  }

  PortUsers& ports_;
};

}  // namespace

std::vector<ConfigFinding> CheckConfig(const FileSystemPath& file) {
  std::vector<ConfigFinding> findings;
  CheckedDocument document;
  if (!document.Open(file, findings)) return findings;
  DomElement queues;
  if (!document.Root().GetFirstChildElement("queues", queues)) {
    findings.push_back(
        {Severity::Fault, 0, "",
         "there is no element \"queues\" in the document element"});
    return findings;
  }
  DomNodeList2 elements;
  if (!queues.ChildElementList(elements)) {
    findings.push_back(
        {Severity::Fault, document.LineOf(queues), "", "\"queues\" is empty"});
  }
  PortUsers ports;
  for (unsigned i = 0; i < elements.GetLength(); ++i) {
    DomElement element;
    if (!elements.item(i, element)) continue;
    QueueCheck(element, document.LineOf(element), i + 1, ports, findings).Run();
  }
  return findings;
}

}  // namespace kiv::mq
