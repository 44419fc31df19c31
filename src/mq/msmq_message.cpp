#include <ctime>
#include <exception>
#include <utility>

#include "kiv/mq/msmq_queue.h"
#include "mq/message_store.h"
#include "mq/msmq_times.h"
#include "port/clock.h"
#include "util/log_entry.h"

namespace kiv::mq {

DateTime LocalTimeOf(const std::optional<long long>& unix_ms) {
  if (!unix_ms) return {};
  const long long second =
      *unix_ms >= 0 ? *unix_ms / 1000 : (*unix_ms - 999) / 1000;
  std::tm local{};
  if (!port::CurrentClock().LocalTime(static_cast<std::time_t>(second), local))
    return {};
  try {
    // A leap second has no place on the scale.
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec < 60 ? local.tm_sec : 59,
            static_cast<int>(*unix_ms - second * 1000)};
  } catch (const std::exception&) {
    return {};  // a year that no date has
  }
}

MsmqMessage::MsmqMessage(std::unique_ptr<StoredMessage> stored)
    : stored_(std::move(stored)) {}

MsmqMessage::~MsmqMessage() = default;

bool MsmqMessage::GetBody(std::string& body) {
  try {
    if (stored_->body_fault.empty()) {
      body = stored_->body;
      return true;
    }
    LogError("mq", "MsmqMessage::Body Failed: " + Shown(stored_->body_fault));
  } catch (const std::exception& fault) {
    LogError("mq", "MsmqMessage::Body Failed: " + Shown(fault.what()));
  }
  return false;
}

bool MsmqMessage::GetLabel(std::string& label) {
  if (stored_->label_fault.empty()) {
    label = stored_->label;
    return true;
  }
  LogError("mq", "MsmqMessage::Label Failed: " + Shown(stored_->label_fault));
  return false;
}

const std::string& MsmqMessage::Id() const { return stored_->id; }

DateTime MsmqMessage::SentTime() const { return LocalTimeOf(stored_->sent_ms); }

}  // namespace kiv::mq
