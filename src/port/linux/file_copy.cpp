// CopyFileA and MoveFileA: neither ever takes the place of an existing target.
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <utility>

#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

constexpr std::size_t kBlockSize = std::size_t{1} << 17;

enum class Durable { No, Yes };

// Until the end of `from`, whatever size it claims: files under /proc claim 0.
bool CopyBytes(int from, int to) {
  for (;;) {
    const ssize_t copied = Retry([&] {
      return ::copy_file_range(from, nullptr, to, nullptr, std::size_t{1} << 30,
                               0);
    });
    // File systems that cannot, and files that only pretend to be empty, are
    // left to the loop below, which goes on from where this one stands.
    if (copied <= 0) break;
  }
  const auto block = std::make_unique<char[]>(kBlockSize);
  for (;;) {
    const ssize_t got =
        Retry([&] { return ::read(from, block.get(), kBlockSize); });
    if (got < 0) return false;
    if (got == 0) return true;
    if (!WriteAll(to, {block.get(), static_cast<std::size_t>(got)}))
      return false;
  }
}

// The mode at the end, so that nobody reads a copy that is not yet complete,
// and without set-id bits, since the copy may have another owner.
bool FinishCopy(Descriptor& target, const struct stat& status,
                Durable durable) {
  const timespec times[] = {status.st_atim, status.st_mtim};
  return ::futimens(target.get(), times) == 0 &&
         ::fchmod(target.get(), status.st_mode & 0777) == 0 &&
         (durable == Durable::No || ::fsync(target.get()) == 0) &&
         target.Close();
}

bool CopyRegularFile(const std::string& from, const std::string& to,
                     Durable durable) {
  // Not blocking: the name may turn out to be a pipe that nobody writes to.
  const Descriptor source(Retry([&] {
    return ::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  }));
  if (!source.is_open()) return false;
  struct stat status;
  if (::fstat(source.get(), &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  Descriptor target(Retry([&] {
    return ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  }));
  if (!target.is_open()) return false;
  if (CopyBytes(source.get(), target.get()) &&
      FinishCopy(target, status, durable))
    return true;
  const int error = errno;
  ::unlink(to.c_str());
  errno = error;
  return false;
}

bool CopyLink(const std::string& from, const std::string& to) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(from.c_str(), target, sizeof target - 1);
  if (length < 0) return false;
  target[length] = '\0';
  return ::symlink(target, to.c_str()) == 0;
}

// The second half of a move by copy. What cannot be taken away from the one
// place must not stay in the other.
bool RemoveOriginal(const std::string& from, const std::string& to) {
  if (::unlink(from.c_str()) == 0) return true;
  const int error = errno;
  ::unlink(to.c_str());
  errno = error;
  return false;
}

// A folder is not moved to another file system, and neither is a pipe or a
// device.
bool MoveAcross(const std::string& from, const std::string& to) {
  struct stat status;
  if (::lstat(from.c_str(), &status) != 0) return false;
  if (S_ISLNK(status.st_mode))
    return CopyLink(from, to) && RemoveOriginal(from, to);
  if (S_ISREG(status.st_mode))
    return CopyRegularFile(from, to, Durable::Yes) && RemoveOriginal(from, to);
  errno = EXDEV;
  return false;
}

// For a file system whose rename cannot refuse an existing target. A hard link
// can; for folders, and where there are no hard links, a look must do.
bool RenameWithoutFlag(const std::string& from, const std::string& to) {
  struct stat status;
  if (::lstat(from.c_str(), &status) != 0) return false;
  if (!S_ISDIR(status.st_mode)) {
    if (::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), 0) == 0)
      return RemoveOriginal(from, to);
    if (errno != EPERM && errno != EOPNOTSUPP && errno != EMLINK) return false;
  }
  if (::lstat(to.c_str(), &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return errno == ENOENT && ::rename(from.c_str(), to.c_str()) == 0;
}

bool Move(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(),
                  RENAME_NOREPLACE) == 0)
    return true;
  if ((errno == EINVAL || errno == ENOSYS) && RenameWithoutFlag(from, to))
    return true;
  return errno == EXDEV && MoveAcross(from, to);
}

}  // namespace

bool CopyFileA(const std::string& from, const std::string& to) {
  return CopyRegularFile(SystemPath(from), SystemPath(to), Durable::No) ||
         Fail();
}

bool MoveFileA(const std::string& from, const std::string& to) {
  return Move(SystemPath(from), SystemPath(to)) || Fail();
}

}  // namespace kiv::port
