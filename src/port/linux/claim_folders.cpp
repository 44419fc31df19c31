#include "port/linux/claim_folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>

#include "port/file.h"
#include "port/linux/tree_walk.h"
#include "port/system.h"
#include "util/hex_digits.h"

namespace kiv::port {
namespace {

constexpr char kRunPrefix[] = "run-";
constexpr char kLock[] = "lock";
constexpr int kAttemptsToMakeOne = 20;
// No file is given that many attempts.
constexpr int kMostCounted = 1000;

std::string NewRunName() {
  std::array<unsigned char, 6> random{};
  RandomBytes(random.data(), random.size());
  std::string name = kRunPrefix + std::to_string(::getpid()) + "-";
  for (const unsigned char byte : random)
    AppendHexByte(name, static_cast<char>(byte), kLowerHexDigits);
  return name;
}

// What a walk finds, for who collects files and who removes folders.
class Collected final : public TreeVisitor {
 public:
  bool Enter(int, const std::string& name) override {
    folders.push_back(name);
    return true;
  }
  bool File(int, const std::string&, const std::string& name) override {
    files.push_back(name);
    return true;
  }
  void Unreadable(const std::string&, int) override {}

  std::vector<std::string> folders;
  std::vector<std::string> files;
};

// Whether the open folder still has that name.
bool IsAt(int parent, const std::string& name, int folder) {
  struct stat named;
  struct stat open;
  return ::fstatat(parent, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         ::fstat(folder, &open) == 0 && named.st_dev == open.st_dev &&
         named.st_ino == open.st_ino;
}

bool RenameInto(int from, const std::string& from_leaf, int to,
                const std::string& to_name) {
  if (::renameat2(from, from_leaf.c_str(), to, to_name.c_str(),
                  RENAME_NOREPLACE) == 0)
    return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  struct stat status;
  if (::fstatat(to, to_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return false;
  }
  return errno == ENOENT &&
         ::renameat(from, from_leaf.c_str(), to, to_name.c_str()) == 0;
}

}  // namespace

bool MakeFolder(int parent, const char* name, mode_t mode) {
  if (::mkdirat(parent, name, 0700) != 0) {
    if (errno != EEXIST) return false;
    struct stat status;
    if (::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
      return false;
    errno = ENOTDIR;
    return S_ISDIR(status.st_mode);
  }
  // The umask has no say: who may use the folder may use this one.
  const Descriptor made = OpenFolderAt(parent, name);
  return made.is_open() && ::fchmod(made.get(), mode & 07777) == 0;
}

bool MakeFoldersAbove(int root, const std::string& name, mode_t mode) {
  Descriptor folder = OpenFolderAt(root, ".");
  std::string_view rest = FolderOf(name);
  while (folder.is_open() && !rest.empty()) {
    const std::size_t slash = rest.find('/');
    const std::string first(rest.substr(0, slash));
    rest = slash == rest.npos ? "" : rest.substr(slash + 1);
    if (!MakeFolder(folder.get(), first.c_str(), mode)) return false;
    folder = OpenFolderAt(folder.get(), first);
  }
  return folder.is_open();
}

bool MoveInto(int from, const std::string& from_leaf, int to,
              const std::string& to_name, mode_t folder_mode) {
  if (to_name.find('/') == std::string::npos)
    return RenameInto(from, from_leaf, to, to_name);
  // Through an open folder, so that no link in the way is followed.
  Descriptor folder = OpenBelow(to, FolderOf(to_name));
  if (!folder.is_open()) {
    if (errno != ENOENT || !MakeFoldersAbove(to, to_name, folder_mode))
      return false;
    folder = OpenBelow(to, FolderOf(to_name));
  }
  return folder.is_open() && RenameInto(from, from_leaf, folder.get(),
                                        std::string(LeafOf(to_name)));
}

void RemoveEmptyFolders(int parent, const std::string& name) {
  Collected found;
  WalkTree(parent, name, {}, found);
  // A folder is found before those in it, so from the back.
  for (auto folder = found.folders.rbegin(); folder != found.folders.rend();
       ++folder)
    ::unlinkat(parent, folder->c_str(), AT_REMOVEDIR);
}

RunFolder RunFolder::Make(int processing, mode_t mode, std::string& reason) {
  RunFolder run;
  for (int i = 0; i < kAttemptsToMakeOne; ++i) {
    run.name_ = NewRunName();
    if (!MakeFolder(processing, run.name_.c_str(), mode)) {
      reason = ErrorText(errno);
      return {};
    }
    run.folder_ = OpenFolderAt(processing, run.name_);
    run.lock_ = Descriptor(Retry([&] {
      return ::openat(run.folder_.get(), kLock,
                      O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, mode & 0666);
    }));
    reason = ErrorText(errno);
    // One who cleans up may be quicker with the new folder.
    struct stat status;
    if (run.lock_.is_open() &&
        ::flock(run.lock_.get(), LOCK_EX | LOCK_NB) != 0 &&
        errno == EWOULDBLOCK)
      continue;
    if (run.lock_.is_open() && ::fstat(run.lock_.get(), &status) == 0 &&
        status.st_nlink > 0)
      return run;
  }
  return {};
}

RunFolder RunFolder::TakeOver(int processing, const std::string& name) {
  RunFolder run;
  run.name_ = name;
  run.folder_ = OpenFolderAt(processing, name);
  if (!run.folder_.is_open()) return {};
  run.lock_ = Descriptor(Retry([&] {
    return ::openat(run.folder_.get(), kLock,
                    O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  }));
  if (!run.lock_.is_open()) return {};
  // Where a file system knows no locks, no other host can be seen: there is
  // none, as the documentation asks.
  if (::flock(run.lock_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    return {};
  return run;
}

bool RunFolder::IsRunName(const std::string& name) {
  return name.starts_with(kRunPrefix);
}

int RunFolder::Attempt(int number, mode_t mode) {
  const auto index = static_cast<std::size_t>(number);
  if (attempts_.size() <= index) attempts_.resize(index + 1);
  if (!attempts_[index].is_open()) {
    const std::string name = std::to_string(number);
    if (MakeFolder(folder_.get(), name.c_str(), mode))
      attempts_[index] = OpenFolderAt(folder_.get(), name);
  }
  return attempts_[index].get();
}

bool RunFolder::IsInPlace(int processing, int number) const {
  const auto index = static_cast<std::size_t>(number);
  const bool is_made = index < attempts_.size() && attempts_[index].is_open();
  const std::string attempt = name_ + '/' + std::to_string(number);
  return IsAt(processing, name_, folder_.get()) &&
         (!is_made || IsAt(processing, attempt, attempts_[index].get()));
}

std::vector<Leftover> RunFolder::Files() const {
  Collected found;
  WalkTree(folder_.get(), "", {}, found);
  std::vector<Leftover> files;
  for (const std::string& place : found.files) {
    if (place == kLock) continue;
    Leftover file{name_ + '/' + place, place, 1};
    const std::size_t slash = place.find('/');
    int attempts = 0;
    const char* const end = place.data() + std::min(slash, place.size());
    const auto number = std::from_chars(place.data(), end, attempts);
    if (slash != place.npos && number.ptr == end && attempts > 0) {
      file.name = place.substr(slash + 1);
      // The folders are everybody's who may write into the watched one, and
      // one is kept for every number up to the highest.
      file.attempts = std::min(attempts, kMostCounted);
    }
    files.push_back(std::move(file));
  }
  return files;
}

void RunFolder::RemoveEmpty(int processing) {
  if (!folder_.is_open()) return;
  attempts_.clear();
  RemoveEmptyFolders(folder_.get(), "");
  Collected left;
  WalkTree(folder_.get(), "", {}, left);
  if (left.files.size() > 1) return;
  ::unlinkat(folder_.get(), kLock, 0);
  ::unlinkat(processing, name_.c_str(), AT_REMOVEDIR);
}

void RunFolder::Tidy() {
  for (std::size_t i = 0; i < attempts_.size(); ++i) {
    if (!attempts_[i].is_open()) continue;
    Collected found;
    WalkTree(attempts_[i].get(), "", {}, found);
    for (auto folder = found.folders.rbegin(); folder != found.folders.rend();
         ++folder)
      if (!folder->empty())
        ::unlinkat(attempts_[i].get(), folder->c_str(), AT_REMOVEDIR);
  }
}

}  // namespace kiv::port
