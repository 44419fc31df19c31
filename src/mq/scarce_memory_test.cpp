// What testing/scarce_memory.h promises, for this program.
//
// Only a check before the operator that would serve without it: memory comes
// from the same place as that of the other operators, whose sanitizers go on
// matching what is taken with what is given back.
#include "testing/scarce_memory.h"

#include <dlfcn.h>

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
  using Operator = void* (*)(std::size_t);
  static const auto next =
      reinterpret_cast<Operator>(::dlsym(RTLD_NEXT, "_Znwm"));
  if (next == nullptr) std::abort();
  if (kiv::testing::is_scarce && size >= kiv::testing::kScarceBytes)
    throw std::bad_alloc();
  return next(size);
}
