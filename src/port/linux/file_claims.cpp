#include "port/file_claims.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <new>
#include <optional>
#include <utility>

#include "port/file.h"
#include "port/linux/claim_folders.h"
#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/linux/tree_walk.h"
#include "port/native_path.h"
#include "util/cp936.h"

namespace kiv::port {
namespace {

using Certainty = ChangeRecord::Certainty;

constexpr char kProcessing[] = ".processing";
constexpr char kDone[] = ".done";
constexpr char kFailed[] = ".failed";
// A file that was found, where nobody tells who else has it open, counts as
// finished when it has been left alone for so long.
constexpr std::int64_t kQuietMs = 5000;
// A buffer that grew beyond it is not kept for the next file.
constexpr std::size_t kKeptBuffer = 1 << 20;
constexpr std::size_t kLongestLeaf = 255;

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::int64_t AgeMs(const struct stat& status) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t changed =
      std::max(Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim));
  return (Nanoseconds(now) - changed) / 1'000'000;
}

// Tells names apart that would be the same: the time, to the microsecond.
std::string Stamp() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  std::tm local{};
  ::localtime_r(&now.tv_sec, &local);
  char text[32];
  const std::size_t size =
      std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", &local);
  std::string micro = std::to_string(1'000'000 + now.tv_nsec / 1000);
  return std::string(text, size) + '-' + micro.substr(1);
}

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A lease to read is given only while nobody has the file open for writing, and
// keeps others from opening it until it is closed. What the system sends the
// holder then is a signal that nobody minds.
enum class Writers { None, Some, Unknown };
Writers AskForWriters(int file) {
  ::fcntl(file, F_SETSIG, SIGURG);
  if (::fcntl(file, F_SETLEASE, F_RDLCK) == 0) return Writers::None;
  return errno == EAGAIN ? Writers::Some : Writers::Unknown;
}

// False with errno, and `bytes` undefined.
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

class LinuxFileClaims final : public FileClaims {
 public:
  ~LinuxFileClaims() override;
  bool Begin(const std::string& path, std::string& reason);

  FileLook LookAt(const std::string& name) override;
  Taking Take(const std::string& name, Certainty certainty,
              std::size_t most_bytes, std::string& bytes) override;
  std::vector<Leftover> Leftovers() override;
  Taking TakeLeftover(const Leftover& leftover, std::size_t most_bytes,
                      std::string& bytes) override;
  bool HasChanged(const FileClaim& claim) override;
  bool Delete(const FileClaim& claim) override;
  bool MoveToDone(const FileClaim& claim) override;
  bool MoveToFailed(const FileClaim& claim, const std::string& reason) override;
  void Tidy() override;

 private:
  // An open folder and a name in it. The folder is `owned` where it is not one
  // that stays open anyway.
  struct Place {
    Descriptor owned;
    int folder = -1;
    std::string leaf;
  };
  // A file that is to be taken, as far as it could be opened.
  struct Candidate {
    Descriptor file;
    int open_error = 0;
    struct stat status {};
  };
  // With errno where the folder cannot be opened.
  static Place Find(int root, const std::string& name);
  static Taking Refusal(const std::string& reason) {
    return {Outcome::Refused, {}, reason};
  }
  // From errno.
  static Taking NotReached() {
    if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) return {};
    return Refusal("it cannot be opened now: " + ErrorText(errno));
  }

  // Why it is not to be taken; nothing when it is.
  static std::optional<Taking> OpenWhole(const Place& place,
                                         std::optional<Certainty> certainty,
                                         Candidate& candidate);

  // Without a certainty nobody is asked who writes it.
  Taking TakeFrom(const Place& place, const std::string& name, int attempt,
                  std::optional<Certainty> certainty, std::size_t most_bytes,
                  std::string& bytes);
  Taking Claim(const Place& place, const std::string& name, int attempt);
  bool FolderFor(const char* name, Descriptor& folder);
  // `folder` is `where` then, and `name` the claim's new one in it.
  bool Finish(const FileClaim& claim, const char* where, Descriptor& folder,
              std::string& name);
  Place ClaimPlace(const FileClaim& claim) {
    const int folder = run_.Attempt(claim.attempt, mode_);
    return folder >= 0 ? Find(folder, claim.name) : Place();
  }

  Descriptor root_;
  mode_t mode_ = 0700;
  Descriptor processing_;
  RunFolder run_;
  std::vector<RunFolder> ended_;
  bool has_folders_ = false;
  // Of the claim that was taken last, until its end.
  Descriptor file_in_hand_;
};

LinuxFileClaims::~LinuxFileClaims() {
  for (RunFolder& run : ended_) run.RemoveEmpty(processing_.get());
  run_.RemoveEmpty(processing_.get());
}

bool LinuxFileClaims::Begin(const std::string& path, std::string& reason) {
  root_ = Descriptor(Retry([&] {
    return ::open(SystemPath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  struct stat status;
  if (!root_.is_open() || ::fstat(root_.get(), &status) != 0) {
    reason = ErrorText(errno);
    return false;
  }
  mode_ = status.st_mode & 07777;
  Descriptor unused;
  if (!FolderFor(kProcessing, processing_) || !FolderFor(kFailed, unused) ||
      !FolderFor(kDone, unused)) {
    reason = "its folders .processing, .failed and .done cannot be made: " +
             ErrorText(errno);
    return false;
  }
  run_ = RunFolder::Make(processing_.get(), mode_, reason);
  return run_.IsOpen();
}

bool LinuxFileClaims::FolderFor(const char* name, Descriptor& folder) {
  if (!MakeFolder(root_.get(), name, mode_)) return false;
  folder = OpenBelow(root_.get(), name);
  return folder.is_open();
}

LinuxFileClaims::Place LinuxFileClaims::Find(int root,
                                             const std::string& name) {
  if (name.find('/') == std::string::npos) return {Descriptor(), root, name};
  Place place{OpenBelow(root, FolderOf(name)), -1, std::string(LeafOf(name))};
  place.folder = place.owned.get();
  return place;
}

FileLook LinuxFileClaims::LookAt(const std::string& name) {
  FileLook look;
  const Place place = Find(root_.get(), name);
  struct stat status;
  if (place.folder < 0 || ::fstatat(place.folder, place.leaf.c_str(), &status,
                                    AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
      look.kind = FileLook::Kind::Unseen;
    return look;
  }
  look.kind = S_ISREG(status.st_mode)   ? FileLook::Kind::File
              : S_ISLNK(status.st_mode) ? FileLook::Kind::Link
                                        : FileLook::Kind::Other;
  look.index = status.st_ino;
  look.size_bytes = static_cast<std::uint64_t>(status.st_size);
  look.written_ns = Nanoseconds(status.st_mtim);
  look.changed_ns = Nanoseconds(status.st_ctim);
  return look;
}

FileClaims::Taking LinuxFileClaims::Take(const std::string& name,
                                         Certainty certainty,
                                         std::size_t most_bytes,
                                         std::string& bytes) {
  return TakeFrom(Find(root_.get(), name), name, 1, certainty, most_bytes,
                  bytes);
}

FileClaims::Taking LinuxFileClaims::TakeLeftover(const Leftover& leftover,
                                                 std::size_t most_bytes,
                                                 std::string& bytes) {
  // It was whole when it was taken.
  return TakeFrom(Find(processing_.get(), leftover.place), leftover.name,
                  leftover.attempts + 1, std::nullopt, most_bytes, bytes);
}

std::optional<FileClaims::Taking> LinuxFileClaims::OpenWhole(
    const Place& place, std::optional<Certainty> certainty,
    Candidate& candidate) {
  const auto left_alone = [&] {
    return Taking{
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
    if (errno == EAGAIN) return Taking{Outcome::BeingWritten, {}, ""};
    candidate.open_error = errno;
    // Those are the file's; all others, as too many open files, are ours.
    if (errno == EACCES || errno == EPERM) return std::nullopt;
    return NotReached();
  }
  if (!certainty) return std::nullopt;
  // Also of a file that was seen to be closed: another may have it open, or its
  // writer again by the time that its turn comes.
  const Writers writers = AskForWriters(file.get());
  if (writers == Writers::Some) return Taking{Outcome::BeingWritten, {}, ""};
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
    return Taking{Outcome::Unsure, {}, ""};
  return std::nullopt;
}

FileClaims::Taking LinuxFileClaims::TakeFrom(const Place& place,
                                             const std::string& name,
                                             int attempt,
                                             std::optional<Certainty> certainty,
                                             std::size_t most_bytes,
                                             std::string& bytes) {
  if (place.folder < 0) return NotReached();
  Candidate candidate;
  if (auto early = OpenWhole(place, certainty, candidate)) return *early;
  Taking taking = Claim(place, name, attempt);
  if (taking.outcome != Outcome::Taken) return taking;
  const auto unfit = [&taking](const std::string& reason) {
    taking.outcome = Outcome::Unfit;
    taking.reason = reason;
    return taking;
  };
  // Looked at again where nobody else takes it: another file may have had the
  // name by the time that it was renamed.
  const Place claimed = ClaimPlace(taking.claim);
  struct stat status;
  if (claimed.folder < 0 || ::fstatat(claimed.folder, claimed.leaf.c_str(),
                                      &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return {};
    return unfit("it cannot be looked at: " + ErrorText(errno));
  }
  if (!IsSameFile(status, candidate.status)) {
    if (MoveInto(claimed.folder, claimed.leaf, place.folder, place.leaf, mode_))
      return {};
    return unfit("another file took its name while it was claimed");
  }
  taking.claim.size_bytes = static_cast<std::uint64_t>(status.st_size);
  taking.claim.written_ns = Nanoseconds(status.st_mtim);
  taking.claim.index = status.st_ino;
  if (candidate.open_error != 0)
    return unfit("it cannot be opened: " + ErrorText(candidate.open_error));
  if (taking.claim.size_bytes > most_bytes)
    return unfit("it has " + std::to_string(taking.claim.size_bytes) +
                 " bytes, and a processor takes " + std::to_string(most_bytes) +
                 " at most");
  if (bytes.capacity() > kKeptBuffer) bytes = std::string();
  try {
    if (!ReadAll(candidate.file.get(), taking.claim.size_bytes, bytes))
      return unfit(errno == EBUSY ? "it changed while it was read"
                                  : "it cannot be read: " + ErrorText(errno));
  } catch (const std::bad_alloc&) {
    return unfit("there is no memory for its " +
                 std::to_string(taking.claim.size_bytes) + " bytes");
  }
  file_in_hand_ = std::move(candidate.file);
  return taking;
}

FileClaims::Taking LinuxFileClaims::Claim(const Place& place,
                                          const std::string& name,
                                          int attempt) {
  const int folder = run_.Attempt(attempt, mode_);
  if (folder >= 0 && MoveInto(place.folder, place.leaf, folder, name, mode_))
    return {Outcome::Taken, {.name = name, .attempt = attempt}, ""};
  switch (errno) {
    case ENOENT:
      return {run_.IsInPlace(processing_.get(), attempt) ? Outcome::Gone
                                                         : Outcome::Lost,
              {},
              ""};
    case EEXIST:
      return Refusal(
          "an earlier file of this name is still in .processing, since it "
          "could not be moved on");
    case EXDEV:
      return {Outcome::LeftAlone,
              {},
              "it lies on another file system than the watched folder; watch "
              "its folder as a directory of its own"};
    default:
      return Refusal("it cannot be moved into .processing: " +
                     ErrorText(errno));
  }
}

std::vector<Leftover> LinuxFileClaims::Leftovers() {
  std::vector<Leftover> found;
  class Visitor final : public TreeVisitor {
   public:
    Visitor(int processing, std::vector<Leftover>& files,
            std::vector<RunFolder>& ended, const std::string& own)
        : processing_(processing), files_(files), ended_(ended), own_(own) {}
    bool Enter(int, const std::string& name) override {
      if (!RunFolder::IsRunName(name)) return true;
      if (name == own_) return false;
      RunFolder run = RunFolder::TakeOver(processing_, name);
      if (!run.IsOpen()) return false;
      for (Leftover& file : run.Files()) files_.push_back(std::move(file));
      ended_.push_back(std::move(run));
      return false;
    }
    // Put there by hand.
    bool File(int, const std::string&, const std::string& name) override {
      files_.push_back({name, name, 1});
      return true;
    }
    void Unreadable(const std::string&, int) override {}

   private:
    const int processing_;
    std::vector<Leftover>& files_;
    std::vector<RunFolder>& ended_;
    const std::string& own_;
  };
  Visitor visitor(processing_.get(), found, ended_, run_.Name());
  WalkTree(processing_.get(), "", {}, visitor);
  return found;
}

bool LinuxFileClaims::HasChanged(const FileClaim& claim) {
  struct stat status;
  return ::fstat(file_in_hand_.get(), &status) == 0 &&
         (status.st_ino != claim.index ||
          static_cast<std::uint64_t>(status.st_size) != claim.size_bytes ||
          Nanoseconds(status.st_mtim) != claim.written_ns);
}

bool LinuxFileClaims::Delete(const FileClaim& claim) {
  const Descriptor file = std::move(file_in_hand_);
  const Place place = ClaimPlace(claim);
  has_folders_ |= claim.name.find('/') != std::string::npos;
  return (place.folder >= 0 &&
          ::unlinkat(place.folder, place.leaf.c_str(), 0) == 0) ||
         Fail();
}

// Renamed to a name that is free.
bool LinuxFileClaims::Finish(const FileClaim& claim, const char* where,
                             Descriptor& folder, std::string& name) {
  const Descriptor file = std::move(file_in_hand_);
  has_folders_ |= claim.name.find('/') != std::string::npos;
  const Place place = ClaimPlace(claim);
  if (place.folder < 0) return Fail();
  const std::string leaf(LeafOf(claim.name));
  name = claim.name;
  for (;;) {
    if (FolderFor(where, folder) &&
        MoveInto(place.folder, place.leaf, folder.get(), name, mode_))
      return true;
    if (errno != EEXIST) break;
    const std::string suffix = "." + Stamp();
    name = JoinNames(FolderOf(claim.name),
                     leaf.substr(0, kLongestLeaf - suffix.size()) + suffix);
  }
  // Not found shall be the claim, never what it was to go to.
  const int error = errno;
  const bool is_target =
      error == ENOENT && ::faccessat(place.folder, place.leaf.c_str(), F_OK,
                                     AT_SYMLINK_NOFOLLOW) == 0;
  return Fail(is_target ? EAGAIN : error);
}

bool LinuxFileClaims::MoveToDone(const FileClaim& claim) {
  Descriptor folder;
  std::string name;
  return Finish(claim, kDone, folder, name);
}

bool LinuxFileClaims::MoveToFailed(const FileClaim& claim,
                                   const std::string& reason) {
  Descriptor failed;
  std::string name;
  if (!Finish(claim, kFailed, failed, name)) return false;
  const Place place = Find(failed.get(), name);
  std::string file_name;
  Descriptor file;
  // Never over a file that is there: it may be one that failed itself.
  for (const std::string& suffix :
       {std::string(".reason"), "." + Stamp() + ".reason"}) {
    file_name = place.leaf.substr(0, kLongestLeaf - suffix.size()) + suffix;
    file = Descriptor(Retry([&] {
      return ::openat(place.folder, file_name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      mode_ & 0666);
    }));
    if (file.is_open() || errno != EEXIST) break;
  }
  // Half a reason would mislead.
  if (file.is_open() &&
      (!WriteAll(file.get(), Cp936ToUtf8(reason) + "\n") || !file.Close()))
    ::unlinkat(place.folder, file_name.c_str(), 0);
  return true;
}

void LinuxFileClaims::Tidy() {
  for (RunFolder& run : ended_) run.RemoveEmpty(processing_.get());
  ended_.clear();
  if (!std::exchange(has_folders_, false)) return;
  run_.Tidy();
}

}  // namespace

std::unique_ptr<FileClaims> FileClaims::Open(const std::string& path,
                                             std::string& reason) {
  auto claims = std::make_unique<LinuxFileClaims>();
  if (!claims->Begin(path, reason)) return nullptr;
  return claims;
}

}  // namespace kiv::port
