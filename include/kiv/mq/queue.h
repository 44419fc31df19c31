#ifndef KIV_MQ_QUEUE_H_
#define KIV_MQ_QUEUE_H_

#include <memory>
#include <string>

#include "kiv/export.h"

namespace kiv::mq {

// One received message.
class KIV_API Message {
 public:
  virtual ~Message() = default;
  virtual bool GetBody(std::string& body) = 0;
};

// An opened queue.
class KIV_API Queue {
 public:
  virtual ~Queue() = default;
  // Takes one message off the queue; empty when nothing was received.
  virtual std::shared_ptr<Message> Receive() = 0;
  // Why the last call failed, in the local encoding; empty when it did not.
  // Tells a queue that fails from one that is empty.
  virtual std::string LastError() const { return ""; }
};

// The entry point of a queue kind. Held by the pointer of its concrete type:
// the base has no virtual destructor.
class KIV_API QueueInfo {
 public:
  // The access values of Open.
  static constexpr int ACCESS_RECEIVE = 1;
  static constexpr int ACCESS_SEND = 2;
  static constexpr int ACCESS_PEEK = 0x20;

  // Makes sure that the queue exists. A serial port: it can be opened, the
  // other two arguments are not consulted. A null label means the queue's path.
  virtual bool Create(const char* name, const char* label,
                      bool transactional) = 0;
  // Removes the queue and its messages. False for a serial port.
  virtual bool Delete(const char* name) = 0;
  // Empty when the queue cannot be opened.
  virtual std::shared_ptr<Queue> Open(const char* name, int access,
                                      int share_mode) = 0;

 protected:
  QueueInfo() = default;
  ~QueueInfo() = default;
  QueueInfo(const QueueInfo&) = default;
  QueueInfo& operator=(const QueueInfo&) = default;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_QUEUE_H_
