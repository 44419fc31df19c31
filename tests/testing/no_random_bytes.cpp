// Stands in front of the C library's function of this name.
#include "testing/no_random_bytes.h"

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

extern "C" ssize_t getrandom(void* buffer, size_t size, unsigned flags) {
  if (!kiv::testing::NoRandomBytes::is_so)
    return ::syscall(SYS_getrandom, buffer, size, flags);
  errno = ENOSYS;
  return -1;
}
