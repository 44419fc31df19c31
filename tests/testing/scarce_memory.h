#ifndef TESTING_SCARCE_MEMORY_H_
#define TESTING_SCARCE_MEMORY_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kiv::testing {

// While one of these lives, operator new has nothing for a piece of that size
// or more, in any thread. One at a time; for programs that scarce_memory.cpp is
// linked into.
constexpr std::size_t kScarceBytes = 3'000'000;

struct ScarceMemory {
  explicit ScarceMemory(std::size_t from_bytes = kScarceBytes) {
    scarce_from = from_bytes;
  }
  ~ScarceMemory() { scarce_from = SIZE_MAX; }

  static inline std::atomic<std::size_t> scarce_from = SIZE_MAX;
};

}  // namespace kiv::testing

#endif  // TESTING_SCARCE_MEMORY_H_
