#include "port/linux/file_candidate.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "port/file.h"
#include "port/linux/file_error.h"
#include "port/linux/tree_walk.h"

namespace kiv::port {
namespace {

using Certainty = ChangeRecord::Certainty;
using Outcome = FileClaims::Outcome;

// A file that was found, where nobody tells who else has it open, counts as
// finished when it has been left alone for so long.
constexpr std::int64_t kQuietMs = 5000;

std::int64_t AgeMs(const struct stat& status) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t changed =
      std::max(Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim));
  return (Nanoseconds(now) - changed) / 1'000'000;
}

// A lease to read is given only while nobody has the file open for writing, and
// holds up those who open it then. What the system sends the holder is a signal
// that nobody minds.
enum class Writers { None, Some, Unknown };
Writers AskForWriters(int file) {
  ::fcntl(file, F_SETSIG, SIGURG);
  if (::fcntl(file, F_SETLEASE, F_RDLCK) == 0) {
    // Given back at once: a writer who came later would wait for our processor.
    ::fcntl(file, F_SETLEASE, F_UNLCK);
    return Writers::None;
  }
  return errno == EAGAIN ? Writers::Some : Writers::Unknown;
}

std::string KindText(const struct stat& status) {
  switch (status.st_mode & S_IFMT) {
    case S_IFLNK:
      return "a symbolic link, which is never followed";
    case S_IFIFO:
      return "a pipe";
    case S_IFSOCK:
      return "a socket";
    case S_IFDIR:
      return "a folder";
    default:
      return "a device";
  }
}

}  // namespace

Place FindPlace(int root, const std::string& name) {
  if (name.find('/') == std::string::npos) return {Descriptor(), root, name};
  Place place{OpenBelow(root, FolderOf(name)), -1, std::string(LeafOf(name))};
  place.folder = place.owned.get();
  return place;
}

FileClaims::Taking Refusal(const std::string& reason) {
  return {FileClaims::Outcome::Refused, {}, reason};
}

FileClaims::Taking NotReached() {
  if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) return {};
  return Refusal("it cannot be opened now: " + ErrorText(errno));
}

std::optional<FileClaims::Taking> OpenWhole(const Place& place,
                                            std::optional<Certainty> certainty,
                                            Candidate& candidate) {
  const auto left_alone = [&] {
    return FileClaims::Taking{
        Outcome::LeftAlone, {}, "it is " + KindText(candidate.status)};
  };
  if (::fstatat(place.folder, place.leaf.c_str(), &candidate.status,
                AT_SYMLINK_NOFOLLOW) != 0)
    return NotReached();
  // Not opened at all: that alone lets the writer of a pipe go on, and winds
  // back a tape.
  if (!S_ISREG(candidate.status.st_mode)) return left_alone();
  Descriptor& file = candidate.file;
  file = Descriptor(Retry([&] {
    return ::openat(place.folder, place.leaf.c_str(),
                    O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  }));
  if (!file.is_open()) {
    // Somebody breaks his hold on the file for us; it is his until then.
    if (errno == EAGAIN)
      return FileClaims::Taking{Outcome::BeingWritten, {}, ""};
    candidate.open_error = errno;
    // Those are the file's; all others, as too many open files, are ours.
    if (errno == EACCES || errno == EPERM) return std::nullopt;
    return NotReached();
  }
  if (!certainty) return std::nullopt;
  // Also of a file that was seen to be closed: another may have it open, or its
  // writer again by the time that its turn comes.
  const Writers writers = AskForWriters(file.get());
  if (writers == Writers::Some)
    return FileClaims::Taking{Outcome::BeingWritten, {}, ""};
  // Its claim is looked at again, and its size is that of then.
  if (certainty == Certainty::Closed) return std::nullopt;
  // Only what is seen from here on counts: the writer may have come to its end
  // since the look by name.
  if (::fstat(file.get(), &candidate.status) != 0) return NotReached();
  if (!S_ISREG(candidate.status.st_mode)) return left_alone();
  // What looked the same twice may be between two writes of one who still has
  // it open; where the system does not say, two looks have to do.
  if (writers == Writers::Unknown &&
      (certainty == Certainty::Found || certainty == Certainty::Created) &&
      AgeMs(candidate.status) < kQuietMs)
    return FileClaims::Taking{Outcome::Unsure, {}, ""};
  return std::nullopt;
}

bool ReadAll(int file, std::size_t size, std::string& bytes) {
  // One byte more shows whether that is all.
  bytes.resize(size + 1);
  std::size_t read = 0;
  while (read < bytes.size()) {
    const ssize_t got = Retry(
        [&] { return ::read(file, bytes.data() + read, bytes.size() - read); });
    if (got < 0) return false;
    read += static_cast<std::size_t>(got);
    // Regular files are read short at their end only.
    if (read >= size || got == 0) break;
  }
  if (read != size) {
    errno = EBUSY;
    return false;
  }
  bytes.resize(size);
  return true;
}

}  // namespace kiv::port
