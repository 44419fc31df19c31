#include "port/disk_space.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {

bool GetFreeBytes(const std::string& folder, std::uint64_t& bytes) {
  struct statvfs status;
  if (Retry([&] { return ::statvfs(SystemPath(folder).c_str(), &status); }) !=
      0)
    return Fail();
  bytes = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
  return true;
}

bool FillHoles(const std::string& path) {
  const Descriptor file(Retry(
      [&] { return ::open(SystemPath(path).c_str(), O_RDWR | O_CLOEXEC); }));
  struct stat status;
  if (!file.is_open() || ::fstat(file.get(), &status) != 0) return Fail();
  // Not posix_fallocate, which where this is not offered writes into every
  // block, and would race with those who have it mapped.
  if (Retry([&] { return ::fallocate(file.get(), 0, 0, status.st_size); }) == 0)
    return true;
  return errno == EOPNOTSUPP || errno == ENOSYS || Fail();
}

}  // namespace kiv::port
