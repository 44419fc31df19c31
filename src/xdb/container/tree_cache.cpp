#include "xdb/container/tree_cache.h"

namespace kiv::xdb {

std::shared_ptr<const Tree> TreeCache::Find(std::uint64_t version) {
  const std::lock_guard lock(mutex_);
  const auto found = places_.find(version);
  if (found == places_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->tree;
}

void TreeCache::Keep(std::uint64_t version, std::shared_ptr<const Tree> tree) {
  const std::size_t bytes = tree->MemoryBytes();
  if (bytes > most_bytes_) return;
  const std::lock_guard lock(mutex_);
  if (places_.count(version) != 0) return;
  entries_.push_front({version, bytes, std::move(tree)});
  places_[version] = entries_.begin();
  bytes_ += bytes;
  while (bytes_ > most_bytes_) {
    bytes_ -= entries_.back().bytes;
    places_.erase(entries_.back().version);
    entries_.pop_back();
  }
}

}  // namespace kiv::xdb
