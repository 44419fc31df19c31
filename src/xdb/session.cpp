#include "xdb/session.h"

#include <algorithm>

#include "xdb/container/store_error.h"

namespace kiv::xdb {

void Session::AddContainer(const std::shared_ptr<Container>& container) {
  const std::lock_guard lock(mutex_);
  std::erase_if(opened_, [](const auto& one) { return one.expired(); });
  opened_.push_back(container);
}

// The one that was opened last.
std::shared_ptr<Container> Session::FindOpened(const std::string& file) {
  const std::lock_guard lock(mutex_);
  for (auto one = opened_.rbegin(); one != opened_.rend(); ++one) {
    std::shared_ptr<Container> container = one->lock();
    if (container != nullptr && container->FileName() == file) return container;
  }
  const auto found = own_.find(file);
  return found == own_.end() ? nullptr : found->second;
}

std::shared_ptr<Container> Session::FindContainer(const std::string& file) {
  std::shared_ptr<Container> container = FindOpened(file);
  if (container != nullptr || !opens_containers_) return container;
  ContainerSwitches switches;
  if (environment_ != nullptr) {
    switches.encrypted = environment_->IsEncrypted();
    switches.thread = environment_->IsThreaded();
    switches.transactional = environment_->IsTransactional();
  }
  try {
    container = OpenContainer(environment_, file, switches);
  } catch (const StoreError& error) {
    if (error.failure() == Failure::NotFound) return nullptr;
    throw;
  }
  const std::lock_guard lock(mutex_);
  return own_.try_emplace(file, container).first->second;
}

void Session::ReleaseContainer(const std::string& file) {
  std::shared_ptr<Container> last;
  const std::lock_guard lock(mutex_);
  const auto found = own_.find(file);
  if (found == own_.end()) return;
  last = std::move(found->second);
  own_.erase(found);
}

}  // namespace kiv::xdb
