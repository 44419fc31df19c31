#ifndef DM_REFERENCE_COUNT_H_
#define DM_REFERENCE_COUNT_H_

#include <atomic>
#include <cstdint>

// The count of an object at any address, changed by any thread.
//
// At an address that suits a 32-bit number this is the processor's own atomic
// arithmetic. A field packed behind a byte has its count at an odd address,
// where no atomic operation is defined, and where those that work regardless
// stop the whole machine when the count crosses a cache line. Such a count is
// only ever touched under one of a fixed set of locks, chosen by its address.
namespace dm {

std::int32_t AddAtOddAddress(void* count, std::int32_t change);
std::int32_t ReadAtOddAddress(const void* count);
void WriteAtOddAddress(void* count, std::int32_t value);

using AtomicCount = std::atomic_ref<std::int32_t>;

inline bool IsAtomicAddress(const void* count) {
  return reinterpret_cast<std::uintptr_t>(count) %
             AtomicCount::required_alignment ==
         0;
}

inline AtomicCount AtomicCountAt(const void* count) {
  return AtomicCount(*static_cast<std::int32_t*>(const_cast<void*>(count)));
}

inline void IncrementCount(void* count) {
  if (IsAtomicAddress(count)) [[likely]] {
    AtomicCountAt(count).fetch_add(1, std::memory_order_relaxed);
  } else {
    AddAtOddAddress(count, 1);
  }
}

// The new count.
inline std::int32_t DecrementCount(void* count) {
  if (!IsAtomicAddress(count)) [[unlikely]] {
    return AddAtOddAddress(count, -1);
  }
  const AtomicCount atomic = AtomicCountAt(count);
  // The caller holds the only reference: nobody else can be counting.
  if (atomic.load(std::memory_order_acquire) == 1) [[likely]] {
    atomic.store(0, std::memory_order_relaxed);
    return 0;
  }
  return atomic.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

inline std::int32_t ReadCount(const void* count) {
  return IsAtomicAddress(count)
             ? AtomicCountAt(count).load(std::memory_order_relaxed)
             : ReadAtOddAddress(count);
}

inline void WriteCount(void* count, std::int32_t value) {
  if (IsAtomicAddress(count)) {
    AtomicCountAt(count).store(value, std::memory_order_relaxed);
  } else {
    WriteAtOddAddress(count, value);
  }
}

}  // namespace dm

#endif  // DM_REFERENCE_COUNT_H_
