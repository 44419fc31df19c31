#ifndef KIV_MQ_MSMQ_QUEUE_H_
#define KIV_MQ_MSMQ_QUEUE_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/date_time.h"
#include "kiv/export.h"
#include "kiv/mq/queue.h"

namespace kiv::mq {

struct StoredMessage;

// One message of a durable queue: what was taken off it, or looked at.
class KIV_API MsmqMessage final : public Message {
 public:
  explicit MsmqMessage(std::unique_ptr<StoredMessage> stored);
  ~MsmqMessage() override;

  // The bytes as they were sent. False, and logged, when what lies in the queue
  // cannot be read as a message.
  bool GetBody(std::string& body) override;
  // Text in the local encoding; a character that it lacks is a "?". False, and
  // logged, when the label is no text.
  bool GetLabel(std::string& label);
  // A UUID for messages of ours; whatever another program gave, or nothing.
  const std::string& Id() const;
  // Local time. The missing-value marker when the sender gave none.
  DateTime SentTime() const;

 private:
  std::unique_ptr<StoredMessage> stored_;
};

// An opened durable queue: first in, first out. Any thread, one at a time
// inside. Not across a fork.
class KIV_API MsmqQueue final : public Queue {
 public:
  struct Impl;
  explicit MsmqQueue(std::unique_ptr<Impl> impl);
  ~MsmqQueue() override;

  // The first message: off the queue for good when it was opened to receive,
  // still its first when it was opened to peek. Does not wait: empty when there
  // is none, and, logged, on failure.
  std::shared_ptr<Message> Receive() override;
  std::shared_ptr<MsmqMessage> ReceiveMessage();
  // The first message, which stays where it is.
  std::shared_ptr<MsmqMessage> Peek();

  // True when the message will survive any crash: the caller may forget it. The
  // body may hold any bytes, at most 128 MiB; the label is text in the local
  // encoding, at most 249 characters. False is logged.
  bool Send(const std::string& body, const std::string& label = "");

  // How many messages there are, and when the first was sent: the missing-value
  // marker when there is none.
  bool Count(unsigned long long& messages, DateTime& oldest);
  // Removes every message that is there now.
  bool Purge(unsigned long long& removed);

  std::string LastError() const override;

 private:
  std::unique_ptr<Impl> impl_;
};

// The queue kind "msmq": durable queues of this service, in files of the folder
// "queues" beside the current one, or on the broker that the environment
// variable KIV_MSMQ_URL names. Any thread.
//
// The path ".\private$\" in front of a name may be there or not.
class KIV_API MsmqQueueInfo final : public QueueInfo {
 public:
  MsmqQueueInfo();
  ~MsmqQueueInfo();
  MsmqQueueInfo(const MsmqQueueInfo&) = delete;
  MsmqQueueInfo& operator=(const MsmqQueueInfo&) = delete;

  // True also when the queue is there. Every queue is durable and every call
  // atomic, transactional or not.
  bool Create(const char* name, const char* label, bool transactional) override;
  // Who has the queue open then fails on its next call. False when there is no
  // such queue.
  bool Delete(const char* name) override;
  // Of an MsmqQueue, for one of the accesses. There is no share mode but 0.
  std::shared_ptr<Queue> Open(const char* name, int access,
                              int share_mode) override;
  std::shared_ptr<MsmqQueue> OpenQueue(const char* name, int access);

  // The name alone, without the path that may stand in front of it. False for
  // one that no queue can have.
  static bool ReadName(const char* written, std::string& name);
  // The names of the queues that are there. A broker does not tell: none.
  bool List(std::vector<std::string>& names);
  // Where the queues lie, for people: never with a password. Empty when that
  // cannot be told.
  static std::string Place();

  // Why the last call failed, in the local encoding; empty when it did not.
  std::string LastError() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_MSMQ_QUEUE_H_
