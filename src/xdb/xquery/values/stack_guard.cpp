#include "xdb/xquery/values/stack_guard.h"

#include "port/thread_stack.h"

namespace kiv::xdb::xq {
namespace {

// Left for what does not ask: the functions between two questions, the
// libraries below, a handler of signals.
constexpr std::uintptr_t kReservedBytes = std::uintptr_t{192} << 10;

// Greater than any address.
constexpr std::uintptr_t kNotKnown = UINTPTR_MAX;

}  // namespace

thread_local constinit std::uintptr_t lowest_stack_address = kNotKnown;

bool HasStack(std::uintptr_t here) {
  if (lowest_stack_address == kNotKnown) {
    lowest_stack_address =
        reinterpret_cast<std::uintptr_t>(port::LowestStackAddress());
    if (lowest_stack_address != 0) lowest_stack_address += kReservedBytes;
  }
  return here >= lowest_stack_address;
}

void RefuseDeeper(Position position) {
  throw Error("XPDY0130", "the query goes deeper than the stack allows",
              position);
}

}  // namespace kiv::xdb::xq
