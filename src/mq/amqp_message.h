#ifndef MQ_AMQP_MESSAGE_H_
#define MQ_AMQP_MESSAGE_H_

#include <amqp.h>

#include <array>
#include <string>

#include "mq/message_store.h"

// A message as a broker carries it; docs/durable-queues.md has the table.
namespace kiv::mq {

// The properties of one message. Borrows from the message.
class AmqpProperties {
 public:
  explicit AmqpProperties(const StoredMessage& message);
  AmqpProperties(const AmqpProperties&) = delete;
  AmqpProperties& operator=(const AmqpProperties&) = delete;

  const amqp_basic_properties_t& Get() const { return properties_; }

 private:
  const std::string label_utf8_;
  std::array<amqp_table_entry_t, 2> headers_{};
  amqp_basic_properties_t properties_{};
};

// Everything but the body.
void ReadProperties(const amqp_basic_properties_t& properties,
                    StoredMessage& message);
// It was sent by this library.
bool IsOurs(const amqp_basic_properties_t& properties);

inline amqp_bytes_t Borrowed(const std::string& text) {
  return {text.size(), const_cast<char*>(text.data())};
}
inline std::string Copied(const amqp_bytes_t& bytes) {
  return bytes.len == 0
             ? std::string()
             : std::string(static_cast<const char*>(bytes.bytes), bytes.len);
}

}  // namespace kiv::mq

#endif  // MQ_AMQP_MESSAGE_H_
