#ifndef PORT_LINUX_FOLDER_WATCHES_H_
#define PORT_LINUX_FOLDER_WATCHES_H_

#include <string>
#include <unordered_map>
#include <vector>

#include "port/linux/change_queue.h"
#include "port/linux/watched_directory.h"

namespace kiv::port {

// The inotify watches of all directories: one a folder, and which folders of
// ours it speaks of. That are several when one directory lies in another.
//
// The folder above a directory has a watch, too: a directory that is deleted
// while we have something in it open says nothing of it itself. And so have
// those further up, each of which may be renamed and take it along.
//
// A name is made of a folder's own and those above it, so a renamed folder
// keeps its watch and gets another place. inotify never gives a number twice.
class FolderWatches {
 public:
  FolderWatches(int inotify, ChangeQueue& changes)
      : inotify_(inotify), changes_(changes) {}

  // Watches the folder `name` and those below it that are to be watched, and
  // tells of the files in them when asked to. Full: the system gives no more
  // watches; what there are of this directory are to be removed. Failed, with
  // errno: the folder itself cannot be watched.
  enum class Outcome { Watched, Full, Failed };
  Outcome Add(WatchedDirectory& directory, const std::string& name,
              bool tells_files);
  // Of the directory, or of a folder below it, which is gone then.
  void RemoveAll(WatchedDirectory& directory);
  void Remove(WatchedFolder& folder);

  // Of an event: the directories that may have gone by it.
  std::vector<WatchedDirectory*> DirectoriesIn(int watch) const;
  // Copied, since handling an event may change them.
  std::vector<WatchedFolder*> FoldersOf(int watch) const;
  // A watch that speaks of no folder any more.
  void Drop(int watch) const;
  // The system has dropped it.
  void Ended(int watch) { above_.erase(watch); }
  // Whether the folder is where we think it is.
  static bool IsInPlace(const WatchedFolder& folder);

 private:
  class Visitor;
  Outcome WatchAbove(WatchedDirectory& directory);
  void Place(WatchedDirectory& directory, const std::string& name, int watch,
             int folder);
  void Forget(WatchedFolder& folder, bool keeps_watches);
  void Detach(WatchedFolder& folder, bool keeps_watches);

  const int inotify_;
  ChangeQueue& changes_;
  std::unordered_map<int, std::vector<WatchedFolder*>> folders_;
  std::unordered_map<int, std::vector<WatchedDirectory*>> above_;
};

}  // namespace kiv::port

#endif  // PORT_LINUX_FOLDER_WATCHES_H_
