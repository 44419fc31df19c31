// RemoveTree.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

// One folder on the way down. Only the lowest is open, so a tree may be deeper
// than the process may have files open, and no path grows too long. On the way
// up ".." must lead back to the folder that we came from: somebody may have
// moved the branch meanwhile, and what lies around its new place is not ours.
struct Level {
  dev_t device = 0;
  ino_t index = 0;
  std::string name;  // in the level above
  std::vector<std::string> folders;
};

class TreeRemoval {
 public:
  // `name` is the path of the tree itself.
  unsigned long Run(const std::string& name);

 private:
  bool Enter(int parent, const std::string& name);
  void EmptyOfFiles();
  bool Leave();
  void RemoveUnread(int parent, const std::string& name);
  // As the system's own code: the first failure is the one worth telling.
  void Note(bool succeeded) {
    if (!succeeded && error_ == 0) error_ = errno;
  }

  Descriptor current_;
  std::vector<Level> levels_;
  unsigned long visited_ = 0;
  int error_ = 0;
};

unsigned long TreeRemoval::Run(const std::string& name) {
  struct stat status;
  if (::lstat(name.c_str(), &status) != 0) {
    SetLastError(errno);
    return 0;
  }
  ++visited_;
  if (!S_ISDIR(status.st_mode)) {
    Note(::unlink(name.c_str()) == 0);
  } else if (!Enter(AT_FDCWD, name)) {
    RemoveUnread(AT_FDCWD, name);
  } else {
    while (!levels_.empty()) {
      std::vector<std::string>& folders = levels_.back().folders;
      if (folders.empty()) {
        if (!Leave()) break;
        continue;
      }
      const std::string folder = std::move(folders.back());
      folders.pop_back();
      if (!Enter(current_.get(), folder)) RemoveUnread(current_.get(), folder);
    }
  }
  if (error_ != 0) SetLastError(error_);
  return visited_;
}

// O_NOFOLLOW: what was a folder when it was listed may be a link by now.
bool TreeRemoval::Enter(int parent, const std::string& name) {
  Descriptor folder(Retry([&] {
    return ::openat(parent, name.c_str(),
                    O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }));
  struct stat status;
  if (!folder.is_open() || ::fstat(folder.get(), &status) != 0) return false;
  levels_.push_back({status.st_dev, status.st_ino, name, {}});
  current_ = std::move(folder);
  EmptyOfFiles();
  return true;
}

// Removes what is no folder and lists what is.
void TreeRemoval::EmptyOfFiles() {
  // fdopendir takes its descriptor over; ours has to stay open.
  Descriptor listed(
      Retry([&] { return ::fcntl(current_.get(), F_DUPFD_CLOEXEC, 0); }));
  if (!listed.is_open()) return Note(false);
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(listed.get()),
                                                    &::closedir);
  if (!entries) return Note(false);
  listed.Release();
  std::vector<std::string> others;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(entries.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    ++visited_;
    // Some file systems do not say what an entry is: unlink finds out.
    if (entry->d_type == DT_DIR)
      levels_.back().folders.emplace_back(name);
    else
      others.emplace_back(name);
  }
  Note(errno == 0);
  for (const std::string& name : others) {
    if (::unlinkat(current_.get(), name.c_str(), 0) == 0) continue;
    if (errno == EISDIR)
      levels_.back().folders.push_back(name);
    else
      Note(false);
  }
}

// A folder that may not be read may still be empty. If not, why it could not be
// read says more than that it is not empty.
void TreeRemoval::RemoveUnread(int parent, const std::string& name) {
  const int error = errno;
  if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0) return;
  errno = error;
  Note(false);
}

// Goes up and removes the folder left behind. False when the way up is lost.
bool TreeRemoval::Leave() {
  const std::string name = std::move(levels_.back().name);
  levels_.pop_back();
  if (levels_.empty()) {
    Note(::rmdir(name.c_str()) == 0);
    return true;
  }
  Descriptor parent(Retry([&] {
    return ::openat(current_.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  struct stat status;
  if (!parent.is_open() || ::fstat(parent.get(), &status) != 0) {
    Note(false);
    return false;
  }
  if (status.st_dev != levels_.back().device ||
      status.st_ino != levels_.back().index) {
    errno = ESTALE;
    Note(false);
    return false;
  }
  current_ = std::move(parent);
  Note(::unlinkat(current_.get(), name.c_str(), AT_REMOVEDIR) == 0);
  return true;
}

}  // namespace

unsigned long RemoveTree(const std::string& path) {
  std::string name = SystemPath(path);
  // "link/" would be the folder that the link leads to.
  while (name.size() > 1 && name.back() == '/') name.pop_back();
  return TreeRemoval().Run(name);
}

}  // namespace kiv::port
