#include "port/linux/folder_watches.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "port/file.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

// IN_CREATE for new folders, and for links, which nobody closes. Names that go
// away are not asked for: we take away every name that we take.
constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE |
                                  IN_MOVE_SELF | IN_DELETE_SELF |
                                  IN_EXCL_UNLINK;
constexpr std::uint32_t kEventsAbove = IN_DELETE | IN_MOVED_FROM;
// A folder goes with whatever it lies in. None of those can be deleted before
// it.
constexpr std::uint32_t kEventsFurtherUp = IN_MOVE_SELF;

// The path may lead elsewhere by now: the open folder is the one meant. Added
// to what one watch is asked for already, since one may serve two ends.
int AddWatch(int inotify, int folder, const std::string& path,
             std::uint32_t events) {
  const std::string open_one = "/proc/self/fd/" + std::to_string(folder);
  const int watch = ::inotify_add_watch(inotify, open_one.c_str(),
                                        events | IN_ONLYDIR | IN_MASK_ADD);
  if (watch >= 0 || errno != ENOENT) return watch;
  return ::inotify_add_watch(
      inotify, path.c_str(),
      events | IN_ONLYDIR | IN_MASK_ADD | IN_DONT_FOLLOW);
}

}  // namespace

class FolderWatches::Visitor final : public TreeVisitor {
 public:
  Visitor(FolderWatches& watches, WatchedDirectory& directory,
          const std::string& first, bool tells_files)
      : watches_(watches),
        directory_(directory),
        first_(first),
        tells_files_(tells_files) {}

  bool Enter(int folder, const std::string& name) override {
    if (is_full_) return false;
    const int watch = AddWatch(watches_.inotify_, folder,
                               JoinNames(directory_.path, name), kEvents);
    if (watch >= 0) {
      watches_.Place(directory_, name, watch, folder);
      return true;
    }
    is_full_ = errno == ENOSPC;
    if (!is_full_) Unreadable(name, errno);
    return false;
  }

  bool File(int, const std::string&, const std::string& name) override {
    if (is_full_) return false;
    if (tells_files_)
      watches_.changes_.AddFile(directory_.key, name,
                                ChangeRecord::Certainty::Found);
    return true;
  }

  void Unreadable(const std::string& name, int error) override {
    if (name == first_) first_error_ = error;
    watches_.changes_.Tell(directory_.key, DirectoryChange::Kind::Unseen,
                           "folder '" + LocalPath(name) +
                               "' cannot be watched: " + ErrorText(error));
  }

  Outcome Result() const {
    if (is_full_) return Outcome::Full;
    errno = first_error_;
    return first_error_ == 0 ? Outcome::Watched : Outcome::Failed;
  }

 private:
  FolderWatches& watches_;
  WatchedDirectory& directory_;
  const std::string& first_;
  const bool tells_files_;
  bool is_full_ = false;
  int first_error_ = 0;
};

FolderWatches::Outcome FolderWatches::Add(WatchedDirectory& directory,
                                          const std::string& name,
                                          bool tells_files) {
  if (name.empty() && WatchAbove(directory) == Outcome::Full)
    return Outcome::Full;
  Visitor visitor(*this, directory, name, tells_files);
  WalkTree(directory.root.get(), name, directory.Walk(), visitor);
  return visitor.Result();
}

// That one cannot be watched is no reason not to watch the directory.
FolderWatches::Outcome FolderWatches::WatchAbove(WatchedDirectory& directory) {
  std::uint32_t events = kEventsAbove | kEventsFurtherUp;
  struct stat below;
  if (::fstat(directory.root.get(), &below) != 0) return Outcome::Failed;
  std::string path = directory.path;
  int folder = directory.root.get();
  for (Descriptor above;; folder = above.get(), events = kEventsFurtherUp) {
    // Nothing but its name is needed, so one that may not be read will do.
    above =
        Descriptor(::openat(folder, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat status;
    if (!above.is_open() || ::fstat(above.get(), &status) != 0)
      return Outcome::Failed;
    // Above the root is the root.
    if (status.st_dev == below.st_dev && status.st_ino == below.st_ino)
      return Outcome::Watched;
    below = status;
    path += "/..";
    const int watch = AddWatch(inotify_, above.get(), path, events);
    if (watch < 0 && errno == ENOSPC) return Outcome::Full;
    if (watch < 0) continue;
    std::vector<WatchedDirectory*>& directories = above_[watch];
    if (std::find(directories.begin(), directories.end(), &directory) ==
        directories.end())
      directories.push_back(&directory);
  }
}

std::vector<WatchedDirectory*> FolderWatches::DirectoriesIn(int watch) const {
  const auto found = above_.find(watch);
  return found != above_.end() ? found->second
                               : std::vector<WatchedDirectory*>();
}

// A watch that is known under another name of the same directory: the folder
// was renamed. Its old place goes, its watches stay, and the walk that brought
// us here finds those below it again.
void FolderWatches::Place(WatchedDirectory& directory, const std::string& name,
                          int watch, int folder) {
  for (WatchedFolder* const known : FoldersOf(watch)) {
    if (known->directory != &directory) continue;
    if (known->Name() == name) return;
    // The directory itself is never below itself, whatever is mounted there.
    if (known->parent == nullptr) return;
    Detach(*known, true);
  }
  auto placed = std::make_unique<WatchedFolder>();
  placed->directory = &directory;
  placed->leaf = LeafOf(name);
  placed->watch = watch;
  struct stat status;
  if (::fstat(folder, &status) == 0) {
    placed->device = status.st_dev;
    placed->index = status.st_ino;
  }
  WatchedFolder* const pointer = placed.get();
  if (name.empty()) {
    directory.top = std::move(placed);
  } else {
    WatchedFolder* parent = directory.top.get();
    for (std::string_view rest = FolderOf(name);
         parent != nullptr && !rest.empty();) {
      const std::size_t slash = rest.find('/');
      const auto next = parent->below.find(rest.substr(0, slash));
      parent = next != parent->below.end() ? next->second.get() : nullptr;
      rest = slash == rest.npos ? "" : rest.substr(slash + 1);
    }
    // Renamed away while we walked: it shows up again under its new name.
    if (parent == nullptr) return Drop(watch);
    const auto other = parent->below.find(LeafOf(name));
    if (other != parent->below.end()) Detach(*other->second, false);
    placed->parent = parent;
    parent->below[placed->leaf] = std::move(placed);
  }
  folders_[watch].push_back(pointer);
}

std::vector<WatchedFolder*> FolderWatches::FoldersOf(int watch) const {
  const auto found = folders_.find(watch);
  return found != folders_.end() ? found->second
                                 : std::vector<WatchedFolder*>();
}

void FolderWatches::Drop(int watch) const {
  if (!folders_.contains(watch) && !above_.contains(watch))
    ::inotify_rm_watch(inotify_, watch);
}

void FolderWatches::Forget(WatchedFolder& folder, bool keeps_watches) {
  for (const auto& [leaf, lower] : folder.below) Forget(*lower, keeps_watches);
  const auto found = folders_.find(folder.watch);
  if (found == folders_.end()) return;
  std::erase(found->second, &folder);
  if (!found->second.empty()) return;
  folders_.erase(found);
  if (!keeps_watches) Drop(folder.watch);
}

void FolderWatches::Detach(WatchedFolder& folder, bool keeps_watches) {
  Forget(folder, keeps_watches);
  WatchedFolder* const parent = folder.parent;
  if (parent == nullptr) {
    folder.directory->top.reset();
  } else {
    parent->below.erase(parent->below.find(folder.leaf));
  }
}

void FolderWatches::RemoveAll(WatchedDirectory& directory) {
  if (directory.top != nullptr) Detach(*directory.top, false);
  for (auto at = above_.begin(); at != above_.end();) {
    const auto [watch, directories] = std::pair(at->first, &at->second);
    std::erase(*directories, &directory);
    if (!directories->empty()) {
      ++at;
      continue;
    }
    at = above_.erase(at);
    Drop(watch);
  }
}

void FolderWatches::Remove(WatchedFolder& folder) { Detach(folder, false); }

bool FolderWatches::IsInPlace(const WatchedFolder& folder) {
  const Descriptor found =
      OpenBelow(folder.directory->root.get(), folder.Name());
  struct stat status;
  return found.is_open() && ::fstat(found.get(), &status) == 0 &&
         status.st_dev == folder.device && status.st_ino == folder.index;
}

}  // namespace kiv::port
