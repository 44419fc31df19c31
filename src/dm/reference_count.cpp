#include "dm/reference_count.h"

#include <mutex>

#include "dm/words.h"

namespace dm {
namespace {

struct alignas(64) Stripe {
  std::mutex mutex;
};

constexpr std::size_t kStripes = 64;

std::mutex& LockOf(const void* count) {
  // Never destroyed: objects may be released while the process ends.
  static constinit Stripe stripes[kStripes];
  const auto address = reinterpret_cast<std::uintptr_t>(count);
  return stripes[(address ^ address >> 6 ^ address >> 12) % kStripes].mutex;
}

}  // namespace

std::int32_t AddAtOddAddress(void* count, std::int32_t change) {
  const std::lock_guard lock(LockOf(count));
  const std::uint32_t sum =
      Load<std::uint32_t>(count) + static_cast<std::uint32_t>(change);
  Store<std::uint32_t>(count, sum);
  return static_cast<std::int32_t>(sum);
}

std::int32_t ReadAtOddAddress(const void* count) {
  const std::lock_guard lock(LockOf(count));
  return Load<std::int32_t>(count);
}

void WriteAtOddAddress(void* count, std::int32_t value) {
  const std::lock_guard lock(LockOf(count));
  Store<std::int32_t>(count, value);
}

}  // namespace dm
