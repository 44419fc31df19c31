#ifndef PORT_LINUX_WATCHED_DIRECTORY_H_
#define PORT_LINUX_WATCHED_DIRECTORY_H_

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>

#include "port/directory_watch.h"
#include "port/linux/descriptor.h"
#include "port/linux/polled_tree.h"

namespace kiv::port {

struct WatchedDirectory;

// A folder with a watch of its own, and the ones below it.
struct WatchedFolder {
  WatchedDirectory* directory = nullptr;
  WatchedFolder* parent = nullptr;  // null for the directory itself
  std::string leaf;
  int watch = -1;
  dev_t device = 0;
  ino_t index = 0;
  std::map<std::string, std::unique_ptr<WatchedFolder>, std::less<>> below;

  // Relative to the directory.
  std::string Name() const {
    return parent == nullptr ? "" : JoinNames(parent->Name(), leaf);
  }
};

// One directory of a DirectoryWatch.
struct WatchedDirectory {
  using Clock = std::chrono::steady_clock;

  std::size_t key = 0;
  std::string path;
  WatchOptions options;
  enum class State { Opened, Watched, Polled, Gone } state = State::Opened;
  // Open except while Gone.
  Descriptor root;
  dev_t device = 0;
  ino_t index = 0;
  // While Watched.
  std::unique_ptr<WatchedFolder> top;
  // Names that were made and not closed yet.
  std::unordered_set<std::string> created;
  // While Polled.
  std::unique_ptr<PolledTree> polled;
  // While Polled or Gone.
  Clock::time_point next_look;

  // Opens the path. False with errno.
  bool Open();
  // Whether the path still leads to what is open.
  bool IsStillThere() const;
  WalkOptions Walk() const { return {options.subtree, options.skips_hidden}; }
  bool Skips(std::string_view leaf) const {
    return options.skips_hidden && leaf.starts_with('.');
  }
};

}  // namespace kiv::port

#endif  // PORT_LINUX_WATCHED_DIRECTORY_H_
