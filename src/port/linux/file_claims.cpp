#include "port/file_claims.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <new>
#include <optional>
#include <utility>

#include "port/file.h"
#include "port/linux/claim_folders.h"
#include "port/linux/descriptor.h"
#include "port/linux/file_candidate.h"
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
// A buffer that grew beyond it is not kept for the next file.
constexpr std::size_t kKeptBuffer = 1 << 20;
constexpr std::size_t kLongestLeaf = 255;

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
    return folder >= 0 ? FindPlace(folder, claim.name) : Place();
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

FileLook LinuxFileClaims::LookAt(const std::string& name) {
  FileLook look;
  const Place place = FindPlace(root_.get(), name);
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
  return TakeFrom(FindPlace(root_.get(), name), name, 1, certainty, most_bytes,
                  bytes);
}

FileClaims::Taking LinuxFileClaims::TakeLeftover(const Leftover& leftover,
                                                 std::size_t most_bytes,
                                                 std::string& bytes) {
  // It was whole when it was taken.
  return TakeFrom(FindPlace(processing_.get(), leftover.place), leftover.name,
                  leftover.attempts + 1, std::nullopt, most_bytes, bytes);
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
  if (!IsNotFound(error) || ::faccessat(place.folder, place.leaf.c_str(), F_OK,
                                        AT_SYMLINK_NOFOLLOW) != 0)
    return Fail(error);
  return Fail(error == ENOTDIR ? EEXIST : EAGAIN);
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
  const Place place = FindPlace(failed.get(), name);
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
