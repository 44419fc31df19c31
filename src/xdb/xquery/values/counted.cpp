#include "xdb/xquery/values/counted.h"

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {

namespace {

thread_local constinit ValueMemory own_memory;
thread_local constinit ValueMemory* memory_at_hand = nullptr;

}  // namespace

ValueMemory& ValueMemory::OfThisThread() {
  return memory_at_hand != nullptr ? *memory_at_hand : own_memory;
}

void ValueMemory::Refuse() {
  throw Error("XPDY0130", "the query takes more memory than is allowed");
}

ValueMemoryScope::ValueMemoryScope(ValueMemory& memory) noexcept
    : before_(std::exchange(memory_at_hand, &memory)) {}

ValueMemoryScope::~ValueMemoryScope() { memory_at_hand = before_; }

void* CountedByNew::operator new(std::size_t size) {
  ValueMemory& memory = ValueMemory::OfThisThread();
  const auto taken = static_cast<std::int64_t>(size);
  memory.Require(taken);
  void* room = ::operator new(size);
  memory.used_bytes += taken;
  return room;
}

void CountedByNew::operator delete(void* room, std::size_t size) noexcept {
  ValueMemory::OfThisThread().used_bytes -= static_cast<std::int64_t>(size);
  ::operator delete(room);
}

void Counted::Charge(std::size_t size) noexcept {
  ValueMemory::OfThisThread().used_bytes += static_cast<std::int64_t>(size);
  size_bytes_ += size;
}

void Counted::Destroy() const noexcept {
  const std::size_t size = size_bytes_;
  // The start of the whole object: Counted is the first base of all.
  void* room = const_cast<void*>(dynamic_cast<const void*>(this));
  this->~Counted();
  CountedByNew::operator delete(room, size);
}

}  // namespace kiv::xdb::xq
