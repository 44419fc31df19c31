#ifndef TESTING_NETWORK_DISK_H_
#define TESTING_NETWORK_DISK_H_

namespace kiv::testing {

// While one of these lives, every folder lies on a file system of this kind,
// as the system numbers them. One at a time; for programs that
// network_disk.cpp is linked into.
struct NetworkDisk {
  explicit NetworkDisk(long magic);
  ~NetworkDisk();
  NetworkDisk(const NetworkDisk&) = delete;
  NetworkDisk& operator=(const NetworkDisk&) = delete;
};

}  // namespace kiv::testing

#endif  // TESTING_NETWORK_DISK_H_
