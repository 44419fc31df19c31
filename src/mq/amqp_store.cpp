#include "mq/amqp_store.h"

#include <algorithm>
#include <cstddef>
#include <deque>

#include "mq/amqp_connection.h"
#include "util/cp936.h"

namespace kiv::mq {
namespace {

using Found = AmqpConnection::Found;

// The ids of the last messages that this store handed out.
//
// A broker that dies between an acknowledgement and its disk gives the message
// out again. Who asks is most likely who had it, and its id tells.
class HandedOut {
 public:
  void Add(const std::string& id) {
    ids_.push_back(id);
    if (ids_.size() > kKept) ids_.pop_front();
  }
  bool Has(const std::string& id) const {
    return std::find(ids_.begin(), ids_.end(), id) != ids_.end();
  }

 private:
  static constexpr std::size_t kKept = 256;
  std::deque<std::string> ids_;
};

class AmqpStore final : public MessageStore {
 public:
  AmqpStore(const AmqpAddress& address, const QueueName& name)
      : address_(address), queue_(name.Utf8()) {}

  bool Open(std::string& reason) {
    connection_ = AmqpConnection::Open(address_, reason);
    if (connection_ == nullptr) return false;
    unsigned long long messages = 0;
    switch (connection_->FindQueue(queue_, messages, reason)) {
      case Found::Yes:
        return true;
      case Found::No:
        reason = "there is no such queue";
        break;
      case Found::Failed:
        break;
    }
    connection_.reset();
    return false;
  }

  bool Send(const StoredMessage& message, std::string& reason) override {
    if (!IsReady(reason)) return false;
    if (connection_->Publish(queue_, message, reason)) return true;
    connection_.reset();
    return false;
  }

  Step Receive(StoredMessage& message, std::string& reason) override {
    for (;;) {
      if (!IsReady(reason)) return Step::Failed;
      AmqpConnection::Delivery delivery;
      const Step step = connection_->Get(queue_, delivery, reason);
      if (step == Step::Failed) connection_.reset();
      if (step != Step::Message) return step;
      const bool is_again =
          delivery.is_ours && handed_out_.Has(delivery.message.id);
      // When the answer to it is lost, so may the acknowledgement be: the
      // message is handed out all the same, for the broker may have forgotten
      // it.
      if (!connection_->Acknowledge(delivery.tag, reason)) connection_.reset();
      if (is_again) continue;
      if (delivery.is_ours) handed_out_.Add(delivery.message.id);
      message = std::move(delivery.message);
      return Step::Message;
    }
  }

  Step Peek(StoredMessage& message, std::string& reason) override {
    if (!IsReady(reason)) return Step::Failed;
    AmqpConnection::Delivery delivery;
    const Step step = connection_->Get(queue_, delivery, reason);
    if (step == Step::Failed) connection_.reset();
    if (step != Step::Message) return step;
    // The end of the connection puts it back, too.
    if (!connection_->PutBack(delivery.tag, reason)) connection_.reset();
    message = std::move(delivery.message);
    return Step::Message;
  }

  bool Summarize(StoreSummary& summary, std::string& reason) override {
    if (!IsReady(reason)) return false;
    StoreSummary found;
    if (connection_->FindQueue(queue_, found.messages, reason) != Found::Yes) {
      connection_.reset();
      return false;
    }
    StoredMessage first;
    if (found.messages > 0) {
      const Step step = Peek(first, reason);
      if (step == Step::Failed) return false;
      if (step == Step::Message) found.oldest_ms = first.sent_ms;
    }
    summary = found;
    return true;
  }

  bool Purge(unsigned long long& removed, std::string& reason) override {
    if (!IsReady(reason)) return false;
    if (connection_->Purge(queue_, removed, reason)) return true;
    connection_.reset();
    return false;
  }

 private:
  bool IsReady(std::string& reason) {
    return (connection_ != nullptr && connection_->IsAlive()) || Open(reason);
  }

  const AmqpAddress address_;
  const std::string queue_;
  std::unique_ptr<AmqpConnection> connection_;
  HandedOut handed_out_;
};

}  // namespace

bool AmqpStores::Create(const QueueName& name, const std::string& label,
                        std::string& reason) {
  auto connection = AmqpConnection::Open(address_, reason);
  if (connection == nullptr) return false;
  // A queue that somebody declared in his own way is as good as ours.
  unsigned long long messages = 0;
  switch (connection->FindQueue(name.Utf8(), messages, reason)) {
    case Found::Yes:
      return true;
    case Found::Failed:
      return false;
    case Found::No:
      break;
  }
  // The question has closed the channel.
  connection = AmqpConnection::Open(address_, reason);
  return connection != nullptr &&
         connection->CreateQueue(name.Utf8(), Cp936ToUtf8(label), reason);
}

bool AmqpStores::Delete(const QueueName& name, std::string& reason) {
  const auto connection = AmqpConnection::Open(address_, reason);
  if (connection == nullptr) return false;
  unsigned long long messages = 0;
  const Found found = connection->FindQueue(name.Utf8(), messages, reason);
  if (found == Found::No) reason = "there is no such queue";
  return found == Found::Yes && connection->DeleteQueue(name.Utf8(), reason);
}

std::unique_ptr<MessageStore> AmqpStores::Open(const QueueName& name,
                                               std::string& reason) {
  auto store = std::make_unique<AmqpStore>(address_, name);
  if (!store->Open(reason)) return nullptr;
  return store;
}

bool AmqpStores::List(std::vector<QueueName>& names, std::string& /*reason*/) {
  names.clear();
  return true;
}

std::string AmqpStores::Place() const { return Utf8ToCp936(address_.Masked()); }

bool AmqpStores::Check(const QueueName& name, std::string& /*remark*/,
                       std::string& reason) {
  const auto connection = AmqpConnection::Open(address_, reason);
  unsigned long long messages = 0;
  return connection != nullptr &&
         connection->FindQueue(name.Utf8(), messages, reason) != Found::Failed;
}

}  // namespace kiv::mq
