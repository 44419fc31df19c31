#ifndef TESTING_NO_RANDOM_BYTES_H_
#define TESTING_NO_RANDOM_BYTES_H_

namespace kiv::testing {

// While one of these lives, the system has no random bytes, in any thread. One
// at a time; for programs that no_random_bytes.cpp is linked into.
struct NoRandomBytes {
  NoRandomBytes();
  ~NoRandomBytes();
  NoRandomBytes(const NoRandomBytes&) = delete;
  NoRandomBytes& operator=(const NoRandomBytes&) = delete;
};

}  // namespace kiv::testing

#endif  // TESTING_NO_RANDOM_BYTES_H_
