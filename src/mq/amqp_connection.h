#ifndef MQ_AMQP_CONNECTION_H_
#define MQ_AMQP_CONNECTION_H_

#include <amqp.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "mq/amqp_address.h"
#include "mq/message_store.h"

namespace kiv::mq {

// One connection to a broker, with one channel that confirms what it is sent.
// Used by one thread at a time. Every wait has an end. After any failure it is
// of no more use; reasons are in the local encoding, without a password.
class AmqpConnection {
 public:
  static std::unique_ptr<AmqpConnection> Open(const AmqpAddress& address,
                                              std::string& reason);
  ~AmqpConnection();
  AmqpConnection(const AmqpConnection&) = delete;
  AmqpConnection& operator=(const AmqpConnection&) = delete;

  // Reads what came meanwhile: the broker may have ended the connection. Costs
  // no message to it.
  bool IsAlive();

  // Queue names are UTF-8.
  enum class Found { Yes, No, Failed };
  Found FindQueue(const std::string& queue, unsigned long long& messages,
                  std::string& reason);
  // Durable.
  bool CreateQueue(const std::string& queue, const std::string& label_utf8,
                   std::string& reason);
  bool DeleteQueue(const std::string& queue, std::string& reason);
  bool Purge(const std::string& queue, unsigned long long& removed,
             std::string& reason);

  // True when the broker has confirmed it.
  bool Publish(const std::string& queue, const StoredMessage& message,
               std::string& reason);

  // A message that is got is nobody else's until it is acknowledged, put back
  // or the connection ends.
  struct Delivery {
    StoredMessage message;
    std::uint64_t tag = 0;
    bool is_ours = false;  // sent by this library: its id is one of a kind
  };
  MessageStore::Step Get(const std::string& queue, Delivery& delivery,
                         std::string& reason);
  // Both wait until the broker has done it.
  bool Acknowledge(std::uint64_t tag, std::string& reason);
  bool PutBack(std::uint64_t tag, std::string& reason);

 private:
  using Clock = std::chrono::steady_clock;

  explicit AmqpConnection(const AmqpAddress& address) : address_(address) {}

  bool Connect(std::string& reason);
  bool LogIn(std::string& reason);
  bool IsGood(const amqp_rpc_reply_t& reply, std::string& reason) const;
  bool IsSent(int status, std::string& reason) const;
  bool Synchronize(std::string& reason);
  bool WaitForConfirm(std::string& reason);
  bool ReadContent(Delivery& delivery, std::string& reason);
  bool NextFrame(amqp_frame_t& frame, Clock::time_point end,
                 std::string& reason);

  const AmqpAddress address_;
  amqp_connection_state_t state_ = nullptr;
};

}  // namespace kiv::mq

#endif  // MQ_AMQP_CONNECTION_H_
