#ifndef PORT_LINUX_POLLED_TREE_H_
#define PORT_LINUX_POLLED_TREE_H_

#include <sys/stat.h>

#include <string>
#include <unordered_map>

#include "port/linux/change_queue.h"
#include "port/linux/tree_walk.h"

namespace kiv::port {

// What a file is like, so that a second look sees whether it changed.
struct FileState {
  dev_t device = 0;
  ino_t index = 0;
  off_t size = 0;
  timespec written{};
  timespec changed{};

  FileState() = default;
  explicit FileState(const struct stat& status)
      : device(status.st_dev),
        index(status.st_ino),
        size(status.st_size),
        written(status.st_mtim),
        changed(status.st_ctim) {}
  bool operator==(const FileState& other) const;
};

// A tree that is looked through from time to time. A file is told of when it is
// new or changed, and then the same in two looks: who still writes it changes
// it in between, as far as one can know from outside.
class PolledTree {
 public:
  // What is there at the first look counts as new only when told so.
  explicit PolledTree(bool reports_present)
      : takes_all_as_known_(!reports_present) {}

  void Look(int root, const WalkOptions& options, std::size_t key,
            ChangeQueue& changes);

 private:
  struct Seen {
    FileState state;
    bool is_told = false;
    unsigned look = 0;
  };
  class Visitor;

  std::unordered_map<std::string, Seen> files_;
  bool takes_all_as_known_;
  unsigned look_ = 0;
};

}  // namespace kiv::port

#endif  // PORT_LINUX_POLLED_TREE_H_
