#include "port/linux/tree_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace kiv::port {
namespace {

bool IsFolder(int parent, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status;
  return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(status.st_mode);
}

// One walk; the folders that are still to be shown wait by their names.
class Walk {
 public:
  Walk(int root, const WalkOptions& options, TreeVisitor& visitor)
      : root_(root), options_(options), visitor_(visitor) {}

  void Run(const std::string& name) {
    waiting_.push_back(name);
    while (!waiting_.empty()) {
      const std::string next = std::move(waiting_.back());
      waiting_.pop_back();
      if (!Show(next)) return;
    }
  }

 private:
  bool Show(const std::string& name) {
    Descriptor folder = OpenBelow(root_, name);
    if (!folder.is_open()) {
      if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
        visitor_.Unreadable(name, errno);
      return true;
    }
    if (!visitor_.Enter(folder.get(), name)) return true;
    const int number = folder.get();
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(number),
                                                      &::closedir);
    if (!entries) {
      visitor_.Unreadable(name, errno);
      return true;
    }
    folder.Release();  // closed together with the entries
    return ShowEntries(entries.get(), name);
  }

  bool ShowEntries(DIR* entries, const std::string& name) {
    const int folder = ::dirfd(entries);
    while (const dirent* entry = ::readdir(entries)) {
      const std::string leaf = entry->d_name;
      if (leaf == "." || leaf == "..") continue;
      if (options_.skips_hidden && leaf[0] == '.') continue;
      if (!IsFolder(folder, *entry)) {
        if (!visitor_.File(folder, leaf, JoinNames(name, leaf))) return false;
      } else if (options_.subtree) {
        waiting_.push_back(JoinNames(name, leaf));
      }
    }
    return true;
  }

  const int root_;
  const WalkOptions options_;
  TreeVisitor& visitor_;
  std::vector<std::string> waiting_;
};

}  // namespace

Descriptor OpenFolderAt(int parent, const std::string& name) {
  return Descriptor(Retry([&] {
    return ::openat(parent, name.c_str(),
                    O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }));
}

Descriptor OpenBelow(int root, std::string_view name) {
  Descriptor folder = OpenFolderAt(root, ".");
  while (folder.is_open() && !name.empty()) {
    const std::size_t slash = name.find('/');
    const std::string first(name.substr(0, slash));
    name = slash == name.npos ? "" : name.substr(slash + 1);
    folder = OpenFolderAt(folder.get(), first);
  }
  return folder;
}

std::string_view FolderOf(std::string_view name) {
  const std::size_t slash = name.rfind('/');
  return slash == name.npos ? "" : name.substr(0, slash);
}

std::string_view LeafOf(std::string_view name) {
  return name.substr(name.rfind('/') + 1);
}

std::string JoinNames(std::string_view folder, std::string_view leaf) {
  std::string name(folder);
  if (!folder.empty() && !leaf.empty()) name += '/';
  return name.append(leaf);
}

void WalkTree(int root, const std::string& name, const WalkOptions& options,
              TreeVisitor& visitor) {
  Walk(root, options, visitor).Run(name);
}

}  // namespace kiv::port
