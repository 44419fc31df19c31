#ifndef TESTING_SCARCE_MEMORY_H_
#define TESTING_SCARCE_MEMORY_H_

#include <cstddef>

namespace kiv::testing {

// While one of these lives, operator new has nothing for a piece of that size
// or more, in any thread. One at a time; for programs that scarce_memory.cpp is
// linked into.
constexpr std::size_t kScarceBytes = 3'000'000;

struct ScarceMemory {
  explicit ScarceMemory(std::size_t from_bytes = kScarceBytes);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};

}  // namespace kiv::testing

#endif  // TESTING_SCARCE_MEMORY_H_
