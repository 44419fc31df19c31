// Stands in front of the C library's function of this name.
#include "testing/no_random_bytes.h"

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace kiv::testing {
namespace {

std::atomic<bool> has_random_bytes = true;

}  // namespace

NoRandomBytes::NoRandomBytes() { has_random_bytes = false; }
NoRandomBytes::~NoRandomBytes() { has_random_bytes = true; }

}  // namespace kiv::testing

extern "C" ssize_t getrandom(void* buffer, size_t size, unsigned flags) {
  if (kiv::testing::has_random_bytes) {
    return ::syscall(SYS_getrandom, buffer, size, flags);
  }
  errno = ENOSYS;
  return -1;
}
