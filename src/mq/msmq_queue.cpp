#include "kiv/mq/msmq_queue.h"

#include <exception>
#include <utility>

#include "kiv/environment.h"
#include "mq/message_store.h"
#include "mq/msmq_queue_impl.h"
#include "mq/msmq_times.h"
#include "port/clock.h"
#include "util/cp936.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

// Runs one call on the store; `call` fills its second argument when it fails.
// What goes wrong is logged when it is news, and so is its end.
template <class Impl, class Call>
bool Run(Impl& impl, const char* operation, Call call) {
  const std::lock_guard lock(impl.mutex);
  impl.last_error.clear();
  std::string reason;
  bool is_good = false;
  try {
    is_good = call(*impl.store, reason);
  } catch (const std::exception& fault) {
    reason = fault.what();
  }
  const std::string start = std::string("MsmqQueue::") + operation;
  if (is_good) {
    if (!impl.logged_error.empty())
      LogInformation("mq",
                     start + " Info: '" + Shown(impl.name) + "' works again");
    impl.logged_error.clear();
    return true;
  }
  impl.last_error = reason;
  if (reason != impl.logged_error)
    LogError("mq",
             start + " Failed: '" + Shown(impl.name) + "': " + Shown(reason));
  impl.logged_error = reason;
  return false;
}

bool IsSendable(const StoredMessage& message, std::string& reason) {
  if (message.body.size() > kLongestBodyBytes)
    reason = "the body is longer than 128 MiB";
  else if (!IsCp936(message.label))
    reason = "the label is no text in the local encoding";
  else if (Cp936ToUtf16(message.label).size() > kLongestLabelUnits)
    reason = "the label is longer than 249 characters";
  else if (message.id.empty())
    reason = "the system gives no random number for the message's id";
  else
    return true;
  return false;
}

}  // namespace

MsmqQueue::MsmqQueue(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

MsmqQueue::~MsmqQueue() = default;

std::shared_ptr<Message> MsmqQueue::Receive() { return ReceiveMessage(); }

std::shared_ptr<MsmqMessage> MsmqQueue::ReceiveMessage() {
  if (impl_->access == QueueInfo::ACCESS_PEEK) return Peek();
  // Made before the message is off the queue: from then on nothing may fail.
  auto stored = std::make_unique<StoredMessage>();
  StoredMessage& room = *stored;
  auto message = std::make_shared<MsmqMessage>(std::move(stored));
  auto step = MessageStore::Step::Failed;
  Run(*impl_, "Receive", [&](MessageStore& store, std::string& reason) {
    if (impl_->access != QueueInfo::ACCESS_RECEIVE) {
      reason = "the queue is not opened to receive";
      return false;
    }
    step = store.Receive(room, reason);
    return step != MessageStore::Step::Failed;
  });
  return step == MessageStore::Step::Message ? message : nullptr;
}

std::shared_ptr<MsmqMessage> MsmqQueue::Peek() {
  auto stored = std::make_unique<StoredMessage>();
  auto step = MessageStore::Step::Failed;
  Run(*impl_, "Peek", [&](MessageStore& store, std::string& reason) {
    if (impl_->access == QueueInfo::ACCESS_SEND) {
      reason = "the queue is not opened to peek";
      return false;
    }
    step = store.Peek(*stored, reason);
    return step != MessageStore::Step::Failed;
  });
  if (step != MessageStore::Step::Message) return nullptr;
  return std::make_shared<MsmqMessage>(std::move(stored));
}

bool MsmqQueue::Send(const std::string& body, const std::string& label) {
  return Run(*impl_, "Send", [&](MessageStore& store, std::string& reason) {
    if (impl_->access != QueueInfo::ACCESS_SEND) {
      reason = "the queue is not opened to send";
      return false;
    }
    StoredMessage message;
    generateUUID(message.id);
    message.label = label;
    message.body = body;
    message.sent_ms = port::CurrentClock().UnixTicks() / 10'000;
    return IsSendable(message, reason) && store.Send(message, reason);
  });
}

bool MsmqQueue::Count(unsigned long long& messages, DateTime& oldest) {
  StoreSummary summary;
  if (!Run(*impl_, "Count", [&](MessageStore& store, std::string& reason) {
        return store.Summarize(summary, reason);
      }))
    return false;
  messages = summary.messages;
  oldest = LocalTimeOf(summary.oldest_ms);
  return true;
}

bool MsmqQueue::Purge(unsigned long long& removed) {
  return Run(*impl_, "Purge", [&](MessageStore& store, std::string& reason) {
    if (impl_->access != QueueInfo::ACCESS_RECEIVE) {
      reason = "the queue is not opened to receive";
      return false;
    }
    return store.Purge(removed, reason);
  });
}

std::string MsmqQueue::LastError() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->last_error;
}

}  // namespace kiv::mq
