#ifndef XDB_XQUERY_VALUES_COUNTED_H_
#define XDB_XQUERY_VALUES_COUNTED_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace kiv::xdb::xq {

// What the values of this thread take outside their items. An execution notes
// `used_bytes` when it starts and sets the limit to that and what it may take;
// the value that would go past it is not made: Error XPDY0130.
struct ValueMemory {
  std::int64_t used_bytes = 0;
  std::int64_t limit_bytes = std::numeric_limits<std::int64_t>::max();

  static ValueMemory& OfThisThread();
};

// The part of a value that lies outside its item and belongs to all the items
// that show it. The count is not atomic: one execution runs on one thread, and
// what executions share is never counted (Item::Borrowed).
class Counted {
 public:
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  void Keep() const noexcept { ++references_; }
  void Drop() const noexcept {
    if (--references_ == 0) Destroy();
  }

  // With one reference, the caller's, and `extra_bytes` of room behind it.
  template <typename T, typename... Arguments>
  static T* Make(std::size_t extra_bytes, Arguments&&... arguments) {
    const std::size_t size = sizeof(T) + extra_bytes;
    void* room = Allocate(size);
    T* made;
    try {
      made = new (room) T(std::forward<Arguments>(arguments)...);
    } catch (...) {
      Free(room, size);
      throw;
    }
    made->size_bytes_ += size;
    return made;
  }

 protected:
  Counted() = default;
  virtual ~Counted() = default;

  // Memory that the value holds besides its own room.
  void Charge(std::size_t size) noexcept;

 private:
  static void* Allocate(std::size_t size);
  static void Free(void* room, std::size_t size) noexcept;
  void Destroy() const noexcept;

  mutable std::uint32_t references_ = 1;
  std::size_t size_bytes_ = 0;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_COUNTED_H_
