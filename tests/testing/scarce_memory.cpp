// Only a check before the operator that would serve without it: memory comes
// from the same place as that of the other operators, whose sanitizers go on
// matching what is taken with what is given back.
//
// Apart from the tests: a compiler that sees both sides of an allocation takes
// the operators below for a mistake.
#include "testing/scarce_memory.h"

#include <dlfcn.h>

#include <cstdlib>
#include <new>

namespace {

using kiv::testing::ScarceMemory;

// The operator of that mangled name that this program would have without ours.
template <class Operator>
Operator Next(const char* name) {
  const auto next = reinterpret_cast<Operator>(::dlsym(RTLD_NEXT, name));
  if (next == nullptr) std::abort();
  return next;
}

}  // namespace

void* operator new(std::size_t size) {
  static const auto next = Next<void* (*)(std::size_t)>("_Znwm");
  if (size >= ScarceMemory::scarce_from) throw std::bad_alloc();
  return next(size);
}

void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  static const auto next = Next<void* (*)(std::size_t, const std::nothrow_t&)>(
      "_ZnwmRKSt9nothrow_t");
  return size < ScarceMemory::scarce_from ? next(size, tag) : nullptr;
}
