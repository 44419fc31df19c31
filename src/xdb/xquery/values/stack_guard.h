#ifndef XDB_XQUERY_VALUES_STACK_GUARD_H_
#define XDB_XQUERY_VALUES_STACK_GUARD_H_

#include <cstdint>

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {

// Below this address of the thread's stack nothing that calls itself may go on.
// Not known before the thread asks for the first time.
extern thread_local constinit std::uintptr_t lowest_stack_address;

[[noreturn]] void RefuseDeeper(Position position);
// Finds the address out; true when there is room above it.
bool HasStack(std::uintptr_t here);

inline bool IsStackLow() {
  const auto here =
      reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  return here < lowest_stack_address && !HasStack(here);
}

// Where expressions, functions or nodes lie in each other and are walked by
// calls in each other: XPDY0130 where the stack of the thread is nearly at its
// end, whatever its size.
inline void RequireStack(Position position = {}) {
  if (IsStackLow()) RefuseDeeper(position);
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_STACK_GUARD_H_
