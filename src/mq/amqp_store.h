#ifndef MQ_AMQP_STORE_H_
#define MQ_AMQP_STORE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mq/amqp_address.h"
#include "mq/message_store.h"

namespace kiv::mq {

// Durable queues of a broker, under their names in UTF-8.
class AmqpStores final : public MessageStores {
 public:
  explicit AmqpStores(AmqpAddress address) : address_(std::move(address)) {}

  bool Create(const QueueName& name, const std::string& label,
              std::string& reason) override;
  bool Delete(const QueueName& name, std::string& reason) override;
  std::unique_ptr<MessageStore> Open(const QueueName& name,
                                     std::string& reason) override;
  // None: a broker does not tell.
  bool List(std::vector<QueueName>& names, std::string& reason) override;
  std::string Place() const override;
  bool Check(const QueueName& name, std::string& remark,
             std::string& reason) override;

 private:
  const AmqpAddress address_;
};

}  // namespace kiv::mq

#endif  // MQ_AMQP_STORE_H_
