// Apart from the tests: a compiler that sees both sides of an allocation takes
// the pair below for a mistake.
#include "testing/scarce_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace kiv::testing {
namespace {

std::atomic<bool> is_scarce = false;

}  // namespace

ScarceMemory::ScarceMemory() { is_scarce = true; }
ScarceMemory::~ScarceMemory() { is_scarce = false; }

}  // namespace kiv::testing

void* operator new(std::size_t size) {
  if (kiv::testing::is_scarce && size >= kiv::testing::kScarceBytes)
    throw std::bad_alloc();
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
