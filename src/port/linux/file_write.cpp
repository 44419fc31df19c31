// ReplaceFileText and AppendFile: what is written is there whole or not at all.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"
#include "port/system.h"
#include "util/hex_digits.h"

namespace kiv::port {
namespace {

// Not a name that anybody else makes, nor one that a wildcard for the target's
// kind of file finds.
bool NameBesides(std::string& out) {
  std::array<unsigned char, 8> random;
  if (!RandomBytes(random.data(), random.size())) return false;
  out = ".kiv-";
  for (const unsigned char byte : random)
    AppendHexByte(out, static_cast<char>(byte), kLowerHexDigits);
  out += ".new";
  return true;
}

// The file that is to be replaced, as it is now.
struct Target {
  std::string folder;
  std::string name;
  bool exists = false;
  struct stat status {};
};

// A settings file that is a link stays one: the file it leads to is replaced.
bool FindTarget(std::string path, Target& out) {
  struct stat status;
  if (::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    struct Freed {
      void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Freed> real(::realpath(path.c_str(), nullptr));
    if (!real) return false;
    path = real.get();
  }
  out.exists = ::stat(path.c_str(), &out.status) == 0;
  if (!out.exists && errno != ENOENT) return false;
  const std::size_t slash = path.rfind('/');
  out.folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  out.name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (out.name.empty()) {
    errno = path.empty() ? ENOENT : EISDIR;
    return false;
  }
  return true;
}

// A device has no old text to keep, and must not be replaced by a file.
bool WriteToDevice(const std::string& path, std::string_view text) {
  Descriptor device(Retry([&] {
    return ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  }));
  return device.is_open() && WriteAll(device.get(), text) && device.Close();
}

// The new file takes over the old one's owner where that is allowed; set-id
// bits only together with the owner they speak of.
bool TakeOver(int fd, const struct stat& old) {
  const bool same_owner = ::fchown(fd, old.st_uid, old.st_gid) == 0;
  if (!same_owner && ::fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0 &&
      errno != EPERM && errno != EINVAL)
    return false;
  return ::fchmod(fd, old.st_mode & (same_owner ? 07777 : 0777)) == 0;
}

class Replacement {
 public:
  explicit Replacement(const Target& target) : target_(target) {}
  ~Replacement() {
    if (name_.empty()) return;
    const int error = errno;
    ::unlinkat(folder_.get(), name_.c_str(), 0);
    errno = error;
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  bool Write(std::string_view text, int new_file_mode);
  bool Commit();

 private:
  bool Create(int mode);

  const Target& target_;
  Descriptor folder_;
  Descriptor file_;
  std::string name_;  // empty: nothing to remove
};

bool Replacement::Create(int mode) {
  std::string name;
  do {
    if (!NameBesides(name)) return false;
    file_ = Descriptor(Retry([&] {
      return ::openat(folder_.get(), name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      mode);
    }));
  } while (!file_.is_open() && errno == EEXIST);
  if (!file_.is_open()) return false;
  name_ = std::move(name);
  return true;
}

bool Replacement::Write(std::string_view text, int new_file_mode) {
  folder_ = Descriptor(Retry([&] {
    return ::open(target_.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  if (!folder_.is_open()) return false;
  // Closed to others until it has the old file's mode.
  if (!Create(target_.exists ? 0600 : new_file_mode)) return false;
  return WriteAll(file_.get(), text) &&
         (!target_.exists || TakeOver(file_.get(), target_.status)) &&
         ::fsync(file_.get()) == 0 && file_.Close();
}

bool Replacement::Commit() {
  if (::renameat(folder_.get(), name_.c_str(), folder_.get(),
                 target_.name.c_str()) != 0)
    return false;
  name_.clear();
  // Some file systems cannot sync a folder, and need not.
  return ::fsync(folder_.get()) == 0 || errno == EINVAL || errno == EROFS;
}

bool Replace(const std::string& path, std::string_view text,
             int new_file_mode) {
  Target target;
  if (!FindTarget(path, target)) return false;
  if (target.exists) {
    if (S_ISCHR(target.status.st_mode)) return WriteToDevice(path, text);
    if (!S_ISREG(target.status.st_mode)) {
      errno = S_ISDIR(target.status.st_mode) ? EISDIR : EINVAL;
      return false;
    }
    // rename asks only for the folder: a file that may not be written stays.
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
      return false;
  }
  Replacement replacement(target);
  return replacement.Write(text, new_file_mode) && replacement.Commit();
}

class LinuxAppendFile : public AppendFile {
 public:
  LinuxAppendFile(std::string path, Descriptor file, const struct stat& status)
      : path_(std::move(path)),
        file_(std::move(file)),
        device_(status.st_dev),
        index_(status.st_ino),
        is_regular_(S_ISREG(status.st_mode)) {}

  bool Append(std::string_view text) override {
    if (text.empty()) return true;
    const ssize_t written =
        Retry([&] { return ::write(file_.get(), text.data(), text.size()); });
    if (written == static_cast<ssize_t>(text.size())) return true;
    if (written < 0) return Fail();
    CutBack(written);
    // Nothing but a lack of room shortens a write to a file, and it sets no
    // error.
    return Fail(ENOSPC);
  }

  bool IsStillThere() const override {
    struct stat status;
    if (::stat(path_.c_str(), &status) != 0) return Fail();
    return status.st_dev == device_ && status.st_ino == index_;
  }

 private:
  // Only while ours is the tail: other processes append to the same file, and
  // what they wrote behind it must stay.
  void CutBack(off_t written) {
    if (!is_regular_) return;
    const off_t end = ::lseek(file_.get(), 0, SEEK_CUR);
    struct stat status;
    if (end < written || ::fstat(file_.get(), &status) != 0 ||
        status.st_size != end)
      return;
    static_cast<void>(
        Retry([&] { return ::ftruncate(file_.get(), end - written); }));
  }

  std::string path_;
  Descriptor file_;
  dev_t device_;
  ino_t index_;
  bool is_regular_;
};

}  // namespace

bool ReplaceFileText(const std::string& path, std::string_view text,
                     int new_file_mode) {
  return Replace(SystemPath(path), text, new_file_mode) || Fail();
}

std::unique_ptr<AppendFile> AppendFile::Open(const std::string& path) {
  std::string system_path = SystemPath(path);
  // Not blocking: neither a pipe without a reader nor one that is full may hold
  // up who writes.
  Descriptor file(Retry([&] {
    return ::open(
        system_path.c_str(),
        O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
        0644);
  }));
  struct stat status;
  if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
    Fail();
    return nullptr;
  }
  return std::make_unique<LinuxAppendFile>(std::move(system_path),
                                           std::move(file), status);
}

}  // namespace kiv::port
