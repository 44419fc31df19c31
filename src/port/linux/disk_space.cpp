#include "port/disk_space.h"

#include <fcntl.h>
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

bool ReserveBlocks(const std::string& path, std::uint64_t size_bytes) {
  const Descriptor file(Retry(
      [&] { return ::open(SystemPath(path).c_str(), O_RDWR | O_CLOEXEC); }));
  if (!file.is_open()) return Fail();
  // Not posix_fallocate, which where this is not offered writes into every
  // block, and would race with those who have it mapped.
  if (Retry([&] {
        return ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0,
                           static_cast<off_t>(size_bytes));
      }) == 0)
    return true;
  return errno == EOPNOTSUPP || errno == ENOSYS || Fail();
}

}  // namespace kiv::port
