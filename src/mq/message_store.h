#ifndef MQ_MESSAGE_STORE_H_
#define MQ_MESSAGE_STORE_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mq/queue_name.h"

// Where message queues lie. The queue kind above this knows no database and no
// broker, and each of them knows nothing of the queue kind.
//
// Reasons of failures are English, in the local encoding, ready to follow "the
// queue 'x': "; values from outside in them are not escaped yet.
namespace kiv::mq {

// As long as the broker takes, so that a queue can move there.
constexpr std::size_t kLongestBodyBytes = 128 << 20;
constexpr std::size_t kLongestLabelUnits = 249;

struct StoredMessage {
  std::string id;
  std::string label;  // in the local encoding
  std::string body;
  // Milliseconds since 1970 UTC; nothing when the sender did not say.
  std::optional<long long> sent_ms;
  // Why the one or the other could not be read; empty as a rule.
  std::string label_fault;
  std::string body_fault;
};

struct StoreSummary {
  unsigned long long messages = 0;
  // When the first of them was sent.
  std::optional<long long> oldest_ms;
};

// One opened queue, first in, first out. Used by one thread at a time; any
// number of stores may be open on one queue, in any number of processes. After
// a failure the next call tries again from the beginning.
class MessageStore {
 public:
  virtual ~MessageStore() = default;

  // True means that the message outlives any crash. After false it may be there
  // all the same when the reason says so.
  virtual bool Send(const StoredMessage& message, std::string& reason) = 0;

  enum class Step { Message, Empty, Failed };
  // A message that comes out of Receive is off the queue, and nobody else gets
  // it. Peek leaves it the first. Neither waits for a message.
  virtual Step Receive(StoredMessage& message, std::string& reason) = 0;
  virtual Step Peek(StoredMessage& message, std::string& reason) = 0;

  virtual bool Summarize(StoreSummary& summary, std::string& reason) = 0;
  virtual bool Purge(unsigned long long& removed, std::string& reason) = 0;
};

// The queues of one place.
class MessageStores {
 public:
  // What KIV_MSMQ_URL names, else the folder "queues" beside the current one.
  // Null, with the reason, for a variable that names nothing we know.
  static std::unique_ptr<MessageStores> Choose(std::string& reason);

  virtual ~MessageStores() = default;
  // True also when the queue is there already.
  virtual bool Create(const QueueName& name, const std::string& label,
                      std::string& reason) = 0;
  virtual bool Delete(const QueueName& name, std::string& reason) = 0;
  // Null, with the reason, when the queue is not there or not usable.
  virtual std::unique_ptr<MessageStore> Open(const QueueName& name,
                                             std::string& reason) = 0;
  // Of those that the place can tell, in the order of their names.
  virtual bool List(std::vector<QueueName>& names, std::string& reason) = 0;
  // For people: the folder, or the broker's address without who logs in.
  virtual std::string Place() const = 0;

  // Whether a queue of the name works or could be created, without creating
  // it. `remark` is filled when it works but others may look into it.
  virtual bool Check(const QueueName& name, std::string& remark,
                     std::string& reason) = 0;
};

}  // namespace kiv::mq

#endif  // MQ_MESSAGE_STORE_H_
