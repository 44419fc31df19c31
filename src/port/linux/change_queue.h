#ifndef PORT_LINUX_CHANGE_QUEUE_H_
#define PORT_LINUX_CHANGE_QUEUE_H_

#include <deque>
#include <string>
#include <utility>

#include "port/directory_watch.h"

namespace kiv::port {

// Changes in the order in which they came, files of one directory together.
class ChangeQueue {
 public:
  void AddFile(std::size_t key, std::string name,
               ChangeRecord::Certainty certainty) {
    if (changes_.empty() || changes_.back().key != key ||
        changes_.back().kind != DirectoryChange::Kind::Files)
      Tell(key, DirectoryChange::Kind::Files);
    changes_.back().records.push_back({std::move(name), certainty});
  }

  void Tell(std::size_t key, DirectoryChange::Kind kind,
            std::string text = "") {
    changes_.push_back({key, kind, {}, std::move(text)});
  }

  bool IsEmpty() const { return changes_.empty(); }
  bool Take(DirectoryChange& change) {
    if (changes_.empty()) return false;
    change = std::move(changes_.front());
    changes_.pop_front();
    return true;
  }

 private:
  std::deque<DirectoryChange> changes_;
};

}  // namespace kiv::port

#endif  // PORT_LINUX_CHANGE_QUEUE_H_
