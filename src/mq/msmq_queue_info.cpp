#include <exception>
#include <mutex>
#include <utility>

#include "kiv/mq/msmq_queue.h"
#include "mq/message_store.h"
#include "mq/msmq_queue_impl.h"
#include "mq/queue_name.h"
#include "util/log_entry.h"

namespace kiv::mq {

struct MsmqQueueInfo::Impl {
  mutable std::mutex mutex;
  std::string last_error;

  // Runs one call on the stores that are chosen now, and logs its failure.
  template <class Call>
  bool Run(const char* operation, const char* name, Call call) {
    std::string reason;
    bool is_good = false;
    try {
      const auto stores = MessageStores::Choose(reason);
      is_good = stores != nullptr && call(*stores, reason);
    } catch (const std::exception& fault) {
      reason = fault.what();
    }
    if (is_good) reason.clear();
    if (!is_good)
      LogError("mq", std::string("MsmqQueueInfo::") + operation + " Failed: '" +
                         Shown(name != nullptr ? name : "") +
                         "': " + Shown(reason));
    const std::lock_guard lock(mutex);
    last_error = reason;
    return is_good;
  }

  template <class Call>
  bool RunOn(const char* operation, const char* name, Call call) {
    return Run(
        operation, name, [&](MessageStores& stores, std::string& reason) {
          QueueName queue;
          return QueueName::Read(name != nullptr ? name : "", queue, reason) &&
                 call(stores, queue, reason);
        });
  }
};

MsmqQueueInfo::MsmqQueueInfo() : impl_(std::make_unique<Impl>()) {}

MsmqQueueInfo::~MsmqQueueInfo() = default;

bool MsmqQueueInfo::Create(const char* name, const char* label,
                           bool /*transactional*/) {
  return impl_->RunOn("Create", name,
                      [label](MessageStores& stores, const QueueName& queue,
                              std::string& reason) {
                        return stores.Create(
                            queue, label != nullptr ? label : queue.Path(),
                            reason);
                      });
}

bool MsmqQueueInfo::Delete(const char* name) {
  return impl_->RunOn(
      "Delete", name,
      [](MessageStores& stores, const QueueName& queue, std::string& reason) {
        return stores.Delete(queue, reason);
      });
}

std::shared_ptr<Queue> MsmqQueueInfo::Open(const char* name, int access,
                                           int share_mode) {
  if (share_mode == 0) return OpenQueue(name, access);
  impl_->Run("Open", name, [](MessageStores&, std::string& reason) {
    reason = "the only share mode is 0: everybody";
    return false;
  });
  return nullptr;
}

std::shared_ptr<MsmqQueue> MsmqQueueInfo::OpenQueue(const char* name,
                                                    int access) {
  auto opened = std::make_unique<MsmqQueue::Impl>();
  const bool is_open = impl_->RunOn(
      "Open", name,
      [&](MessageStores& stores, const QueueName& queue, std::string& reason) {
        if (access != ACCESS_RECEIVE && access != ACCESS_SEND &&
            access != ACCESS_PEEK) {
          reason = "the access must be 1 (receive), 2 (send) or 32 (peek)";
          return false;
        }
        opened->name = queue.Text();
        opened->access = access;
        opened->store = stores.Open(queue, reason);
        return opened->store != nullptr;
      });
  if (!is_open) return nullptr;
  return std::make_shared<MsmqQueue>(std::move(opened));
}

bool MsmqQueueInfo::ReadName(const char* written, std::string& name) {
  QueueName queue;
  std::string reason;
  if (!QueueName::Read(written != nullptr ? written : "", queue, reason))
    return false;
  name = queue.Text();
  return true;
}

bool MsmqQueueInfo::List(std::vector<std::string>& names) {
  std::vector<QueueName> found;
  if (!impl_->Run("List", "", [&](MessageStores& stores, std::string& reason) {
        return stores.List(found, reason);
      }))
    return false;
  names.clear();
  for (const QueueName& name : found) names.push_back(name.Text());
  return true;
}

std::string MsmqQueueInfo::Place() {
  std::string reason;
  try {
    const auto stores = MessageStores::Choose(reason);
    return stores != nullptr ? stores->Place() : "";
  } catch (const std::exception&) {
    return "";  // no current folder
  }
}

std::string MsmqQueueInfo::LastError() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->last_error;
}

}  // namespace kiv::mq
