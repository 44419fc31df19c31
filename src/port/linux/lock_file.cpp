#include "port/lock_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <set>

#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

class LinuxLockFile;

// A forked child shares its parent's open files and with them the locks, which
// would outlive the parent; so the child closes them.
struct OpenLockFiles {
  std::mutex mutex;
  std::set<LinuxLockFile*> all;
};

OpenLockFiles& OpenFiles() {
  // Never destroyed: a fork may come late.
  static OpenLockFiles* const files = new OpenLockFiles;
  return *files;
}

class LinuxLockFile final : public LockFile {
 public:
  explicit LinuxLockFile(int file) : file_(file) {
    const std::lock_guard lock(OpenFiles().mutex);
    OpenFiles().all.insert(this);
  }
  ~LinuxLockFile() override {
    const std::lock_guard lock(OpenFiles().mutex);
    OpenFiles().all.erase(this);
  }

  bool TryLock(std::uint64_t byte) override {
    return Set(F_WRLCK, byte) || Fail();
  }
  void Unlock(std::uint64_t byte) override { Set(F_UNLCK, byte); }

  bool IsLockedElsewhere(std::uint64_t first, std::uint64_t count) override {
    struct flock range = Range(F_WRLCK, first, count);
    return Retry([&] { return ::fcntl(file_.get(), F_OFD_GETLK, &range); }) ==
               0 &&
           range.l_type != F_UNLCK;
  }

  bool Read(std::uint64_t offset, void* out, std::size_t size) override {
    auto* bytes = static_cast<char*>(out);
    std::memset(bytes, 0, size);
    while (size > 0) {
      const ssize_t got = Retry([&] {
        return ::pread(file_.get(), bytes, size, static_cast<off_t>(offset));
      });
      if (got < 0) return Fail();
      if (got == 0) break;
      bytes += got;
      offset += static_cast<std::uint64_t>(got);
      size -= static_cast<std::size_t>(got);
    }
    return true;
  }

  bool Write(std::uint64_t offset, const void* bytes,
             std::size_t size) override {
    const auto* from = static_cast<const char*>(bytes);
    while (size > 0) {
      const ssize_t written = Retry([&] {
        return ::pwrite(file_.get(), from, size, static_cast<off_t>(offset));
      });
      if (written < 0) return Fail();
      from += written;
      offset += static_cast<std::uint64_t>(written);
      size -= static_cast<std::size_t>(written);
    }
    return true;
  }

  bool Sync() override { return ::fdatasync(file_.get()) == 0 || Fail(); }
  bool IsOfParent() const override { return is_of_parent_; }

  // In the child, where only this thread is left.
  void LeaveToParent() {
    is_of_parent_ = true;
    file_ = Descriptor();
  }

 private:
  static struct flock Range(short type, std::uint64_t first,
                            std::uint64_t count) {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(first);
    range.l_len = static_cast<off_t>(count);
    return range;
  }
  bool Set(short type, std::uint64_t byte) const {
    struct flock range = Range(type, byte, 1);
    return Retry([&] { return ::fcntl(file_.get(), F_OFD_SETLK, &range); }) ==
           0;
  }

  Descriptor file_;
  std::atomic<bool> is_of_parent_ = false;
};

void LeaveAllToParent() {
  for (LinuxLockFile* const file : OpenFiles().all) file->LeaveToParent();
  OpenFiles().mutex.unlock();
}

void WatchForks() {
  static std::once_flag once;
  std::call_once(once, [] {
    ::pthread_atfork([] { OpenFiles().mutex.lock(); },
                     [] { OpenFiles().mutex.unlock(); }, LeaveAllToParent);
  });
}

}  // namespace

std::unique_ptr<LockFile> LockFile::Open(const std::string& path,
                                         bool is_private) {
  WatchForks();
  const int file = Retry([&] {
    return ::open(SystemPath(path).c_str(),
                  O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                  is_private ? 0600 : 0660);
  });
  if (file < 0) {
    Fail();
    return nullptr;
  }
  return std::make_unique<LinuxLockFile>(file);
}

}  // namespace kiv::port
