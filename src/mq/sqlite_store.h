#ifndef MQ_SQLITE_STORE_H_
#define MQ_SQLITE_STORE_H_

#include <memory>
#include <string>
#include <vector>

#include "mq/message_store.h"

namespace kiv::mq {

// Queues as files of one folder, one database a queue. Nobody but their owner
// may read them.
class SqliteStores final : public MessageStores {
 public:
  // Native text. The folder is made when the first queue is.
  explicit SqliteStores(std::string folder) : folder_(std::move(folder)) {}

  bool Create(const QueueName& name, const std::string& label,
              std::string& reason) override;
  bool Delete(const QueueName& name, std::string& reason) override;
  std::unique_ptr<MessageStore> Open(const QueueName& name,
                                     std::string& reason) override;
  bool List(std::vector<QueueName>& names, std::string& reason) override;
  std::string Place() const override { return folder_; }
  bool Check(const QueueName& name, std::string& remark,
             std::string& reason) override;

 private:
  std::string FileOf(const QueueName& name) const {
    return folder_ + "/" + name.File();
  }

  const std::string folder_;
};

}  // namespace kiv::mq

#endif  // MQ_SQLITE_STORE_H_
