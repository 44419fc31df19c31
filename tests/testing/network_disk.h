#ifndef TESTING_NETWORK_DISK_H_
#define TESTING_NETWORK_DISK_H_

#include <atomic>

namespace kiv::testing {

// While one of these lives, every folder lies on a file system of this kind,
// as the system numbers them. One at a time; for programs that
// network_disk.cpp is linked into.
struct NetworkDisk {
  explicit NetworkDisk(long magic) { pretended_magic = magic; }
  ~NetworkDisk() { pretended_magic = 0; }

  static inline std::atomic<long> pretended_magic = 0;
};

}  // namespace kiv::testing

#endif  // TESTING_NETWORK_DISK_H_
