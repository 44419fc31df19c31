#ifndef XDB_XQUERY_VALUES_COUNTED_H_
#define XDB_XQUERY_VALUES_COUNTED_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace kiv::xdb::xq {

// What values take outside their items, and how much that may be; the value
// that would go past the limit is not made: Error XPDY0130.
struct ValueMemory {
  std::int64_t used_bytes = 0;
  std::int64_t limit_bytes = std::numeric_limits<std::int64_t>::max();

  // Throws Error when so many bytes more are too many.
  void Require(std::int64_t bytes) const {
    if (used_bytes > limit_bytes - bytes) Refuse();
  }

  // That of the execution which this thread is at; outside of all, the thread's
  // own, without a limit.
  static ValueMemory& OfThisThread();

 private:
  [[noreturn]] static void Refuse();
};

// While it lives, the values of this thread count there.
class ValueMemoryScope {
 public:
  explicit ValueMemoryScope(ValueMemory& memory) noexcept;
  ~ValueMemoryScope();
  ValueMemoryScope(const ValueMemoryScope&) = delete;
  ValueMemoryScope& operator=(const ValueMemoryScope&) = delete;

 private:
  ValueMemory* const before_;
};

// Memory that grows while a value is made, or to make it: counted until this
// ends. Where it would go past the limit, Error XPDY0130.
class MemoryCharge {
 public:
  MemoryCharge() : memory_(ValueMemory::OfThisThread()) {}
  ~MemoryCharge() { memory_.used_bytes -= bytes_; }
  MemoryCharge(const MemoryCharge&) = delete;
  MemoryCharge& operator=(const MemoryCharge&) = delete;

  void Add(std::size_t bytes) { Set(bytes_ + static_cast<Bytes>(bytes)); }
  // What it is by now in all; cheap where that is the same as before.
  void GrowTo(std::size_t bytes) { Set(static_cast<Bytes>(bytes)); }

 private:
  using Bytes = std::int64_t;
  void Set(Bytes bytes) {
    if (bytes == bytes_) return;
    memory_.Require(bytes - bytes_);
    memory_.used_bytes += bytes - bytes_;
    bytes_ = bytes;
  }

  ValueMemory& memory_;
  Bytes bytes_ = 0;
};

// A base of classes whose objects, made by new, count as values do: those that
// a query holds many of while its functions call each other.
struct CountedByNew {
  static void* operator new(std::size_t size);
  static void operator delete(void* room, std::size_t size) noexcept;
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

  std::uint32_t references() const noexcept { return references_; }

  // With one reference, the caller's, and `extra_bytes` of room behind it.
  template <typename T, typename... Arguments>
  static T* Make(std::size_t extra_bytes, Arguments&&... arguments) {
    const std::size_t size = sizeof(T) + extra_bytes;
    void* room = CountedByNew::operator new(size);
    T* made;
    try {
      made = new (room) T(std::forward<Arguments>(arguments)...);
    } catch (...) {
      CountedByNew::operator delete(room, size);
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
  void Destroy() const noexcept;

  mutable std::uint32_t references_ = 1;
  std::size_t size_bytes_ = 0;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_COUNTED_H_
