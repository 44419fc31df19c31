// Apart from the tests: a compiler that sees both sides of an allocation takes
// the pairs below for a mistake.
#include "testing/scarce_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace kiv::testing {
namespace {

std::atomic<std::size_t> scarce_from = SIZE_MAX;

}  // namespace

ScarceMemory::ScarceMemory(std::size_t from_bytes) { scarce_from = from_bytes; }
ScarceMemory::~ScarceMemory() { scarce_from = SIZE_MAX; }

}  // namespace kiv::testing

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (size >= kiv::testing::scarce_from) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
