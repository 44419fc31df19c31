#include "port/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {

EntryState GetEntryState(const std::string& path) {
  EntryState state;
  struct stat status;
  if (::lstat(SystemPath(path).c_str(), &status) != 0) {
    Fail();
    if (errno != ENOENT && errno != ENOTDIR) state.kind = EntryKind::Other;
    return state;
  }
  state.kind = S_ISREG(status.st_mode)   ? EntryKind::File
               : S_ISDIR(status.st_mode) ? EntryKind::Directory
                                         : EntryKind::Other;
  state.is_open_to_others = (status.st_mode & 077) != 0;
  return state;
}

bool IsAlreadyThere(int error) { return error == EEXIST; }

bool CreatePrivateDirectory(const std::string& path) {
  return ::mkdir(SystemPath(path).c_str(), 0700) == 0 || Fail();
}

bool CreatePrivateFile(const std::string& path) {
  const std::string system_path = SystemPath(path);
  Descriptor file(Retry([&] {
    return ::open(system_path.c_str(),
                  O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  }));
  return (file.is_open() && file.Close()) || Fail();
}

bool MakeDirectoryPrivate(const std::string& path) {
  return ::chmod(SystemPath(path).c_str(), 0700) == 0 || Fail();
}

bool MakeFilePrivate(const std::string& path) {
  const std::string system_path = SystemPath(path);
  struct stat status;
  return (::stat(system_path.c_str(), &status) == 0 &&
          ((status.st_mode & 077) == 0 ||
           ::chmod(system_path.c_str(), 0600) == 0)) ||
         Fail();
}

bool MayChangeDirectory(const std::string& path) {
  return ::faccessat(AT_FDCWD, SystemPath(path).c_str(), W_OK | X_OK,
                     AT_EACCESS) == 0 ||
         Fail();
}

bool SyncDirectory(const std::string& path) {
  const std::string system_path = SystemPath(path);
  const Descriptor folder(Retry([&] {
    return ::open(system_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  // Some file systems cannot sync a folder, and need not.
  return (folder.is_open() &&
          (::fsync(folder.get()) == 0 || errno == EINVAL)) ||
         Fail();
}

}  // namespace kiv::port
