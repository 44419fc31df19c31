#include "kiv/mq/queue_config.h"

#include <algorithm>
#include <exception>

#include "kiv/dom_element.h"
#include "kiv/mq/factory.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "mq/isolation.h"
#include "mq/queue_text.h"
#include "mq/status_board.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

constexpr char kSource[] = "mq";

bool ReadTime(const std::string& text, std::size_t length, DateTime& time) {
  unsigned consumed = 0;
  return parser::Parser::ParseTime(text.data(), text.data() + length, time,
                                   consumed);
}

}  // namespace

QueueConfig::QueueConfig() : board_(std::make_unique<StatusBoard>()) {}

QueueConfig::~QueueConfig() = default;

bool QueueConfig::Init(DomElement& element,
                       std::shared_ptr<QueueReader> reader) {
  if (reader == nullptr || !element.IsValid()) return false;
  reader_ = std::move(reader);
  durations_.clear();
  element.Attribute("type", type_);
  element.Attribute("name", name_);
  element.Attribute("processor", processor_);
  const module::Isolation isolation = module::ReadIsolation(element);
  is_isolated_ = isolation.is_isolated;
  time_limit_seconds_ = isolation.time_limit_seconds;
  if (type_.empty() || name_.empty() || processor_.empty()) {
    LogError(kSource,
             "QueueConfig::Init Error: parser config file queue failed, "
             "invalid properties");
    return false;
  }
  DomElement durations;
  if (!element.GetFirstChildElement("duration", durations)) return true;
  if (ReadDurations(durations)) return true;
  LogError(kSource,
           "QueueConfig::Init Error: parser config file queue failed, invalid "
           "durations");
  return false;
}

bool QueueConfig::ReadDurations(DomElement& durations) {
  DomNodeList2 ranges;
  if (!durations.ChildElementList(ranges)) {
    // Nothing inside means no times; text means that somebody wrote them where
    // they are not read.
    std::string text;
    durations.GetTextContent(text);
    return trim(text).empty();
  }
  for (unsigned i = 0; i < ranges.GetLength(); ++i) {
    DomElement range;
    std::string from;
    std::string to;
    if (!ranges.item(i, range) || !range.Attribute("from", from) ||
        !range.Attribute("to", to))
      continue;
    // "to" is read as far as "from" is long: ranges are written with times of
    // equal length, and files in use rely on the cut.
    const std::size_t to_length = std::min(from.size(), to.size());
    try {
      DateTime start;
      DateTime stop;
      if (ReadTime(from, from.size(), start) && ReadTime(to, to_length, stop))
        durations_.emplace_back(start, stop);
    } catch (const std::exception&) {
      // No time of day: skipped as any other.
    }
  }
  return true;
}

bool QueueConfig::StartListen() {
  try {
    return Listen();
  } catch (const std::exception& fault) {
    return LogAndFail(Shown(fault.what()));
  }
}

bool QueueConfig::Listen() {
  if (reader_ == nullptr) return Fail("the queue has no reader");
  board_->SetState(QueueState::Starting);
  if (module_ == nullptr) module_ = LoadModule();
  if (module_ == nullptr)
    return LogAndFail("invalid processor: '" + Shown(processor_) + "'");
  if (queue_info_ == nullptr)
    queue_info_ = Factory::CreateQueueInfoObject(type_.c_str());
  if (queue_info_ == nullptr) return Fail("there are no queues of this type");
  queue_info_->Create(name_.c_str(), nullptr, false);
  if (queue_info_->Open(name_.c_str(), QueueInfo::ACCESS_PEEK, 0) == nullptr)
    return LogAndFail("Create Queue Failed, can not open the queue '" +
                      Shown(name_) + "'");
  return reader_->Start();
}

std::shared_ptr<module::Module> QueueConfig::LoadModule() const {
  const auto* const com = dynamic_cast<const ComQueueConfig*>(this);
  return module::CreateModule(
      processor_, {is_isolated_, time_limit_seconds_},
      is_isolated_ && com != nullptr ? QueueText(*com) : "");
}

bool QueueConfig::Fail(const std::string& text) {
  board_->SetError(text);
  board_->SetState(QueueState::Failed);
  return false;
}

bool QueueConfig::LogAndFail(const std::string& text) {
  LogError(kSource, "QueueConfig::StartListen Error: " + text);
  return Fail(text);
}

bool QueueConfig::Stop(int wait_milliseconds) {
  return reader_ == nullptr || reader_->Stop(wait_milliseconds);
}

QueueStatus QueueConfig::Status() const { return board_->Snapshot(); }

bool RealMessageQueueConfig::Init(DomElement& element,
                                  std::shared_ptr<QueueReader> reader) {
  return QueueConfig::Init(element, std::move(reader));
}

}  // namespace kiv::mq
