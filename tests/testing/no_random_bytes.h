#ifndef TESTING_NO_RANDOM_BYTES_H_
#define TESTING_NO_RANDOM_BYTES_H_

#include <atomic>

namespace kiv::testing {

// While one of these lives, the system has no random bytes, in any thread. One
// at a time; for programs that no_random_bytes.cpp is linked into.
struct NoRandomBytes {
  NoRandomBytes() { is_so = true; }
  ~NoRandomBytes() { is_so = false; }

  static inline std::atomic<bool> is_so = false;
};

}  // namespace kiv::testing

#endif  // TESTING_NO_RANDOM_BYTES_H_
