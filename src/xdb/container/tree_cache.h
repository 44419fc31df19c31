#ifndef XDB_CONTAINER_TREE_CACHE_H_
#define XDB_CONTAINER_TREE_CACHE_H_

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "xdb/tree/tree.h"

namespace kiv::xdb {

// Decoded trees by the version of their document, which no other content ever
// has: a version that was changed meanwhile, by whatever process, is asked for
// no more, and falls out in its turn.
//
// Threads: any number.
class TreeCache {
 public:
  explicit TreeCache(std::size_t most_bytes) : most_bytes_(most_bytes) {}

  // Null when it is not there.
  std::shared_ptr<const Tree> Find(std::uint64_t version);
  // One that is larger than all that may be kept is not.
  void Keep(std::uint64_t version, std::shared_ptr<const Tree> tree);

 private:
  struct Entry {
    std::uint64_t version;
    std::size_t bytes;
    std::shared_ptr<const Tree> tree;
  };

  const std::size_t most_bytes_;
  std::mutex mutex_;
  std::list<Entry> entries_;  // the last used one first
  std::unordered_map<std::uint64_t, std::list<Entry>::iterator> places_;
  std::size_t bytes_ = 0;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_TREE_CACHE_H_
