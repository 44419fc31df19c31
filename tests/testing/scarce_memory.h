#ifndef TESTING_SCARCE_MEMORY_H_
#define TESTING_SCARCE_MEMORY_H_

#include <cstddef>

namespace kiv::testing {

// While one of these lives, operator new has nothing for a piece of this size
// or more. scarce_memory_test.cpp defines it for its program.
constexpr std::size_t kScarceBytes = 3'000'000;

struct ScarceMemory {
  ScarceMemory();
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};

}  // namespace kiv::testing

#endif  // TESTING_SCARCE_MEMORY_H_
