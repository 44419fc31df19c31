#ifndef XDB_XQUERY_RUN_VALUE_H_
#define XDB_XQUERY_RUN_VALUE_H_

#include <memory>
#include <span>
#include <utility>

#include "xdb/xquery/values/counted.h"
#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

// What a value holds outside of itself, shared by its copies; counts against
// the memory of the thread.
class Kept {
 public:
  Kept() = default;
  virtual ~Kept() { ValueMemory::OfThisThread().used_bytes -= bytes_; }
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

 protected:
  void Charge(std::size_t bytes) {
    bytes_ += static_cast<std::int64_t>(bytes);
    ValueMemory::OfThisThread().used_bytes += static_cast<std::int64_t>(bytes);
  }
  // What it is by now in all, while it is made; cheap where that is the same as
  // before. Throws Error where it is too much.
  void ChargeUpTo(std::size_t bytes) {
    const std::int64_t more = static_cast<std::int64_t>(bytes) - bytes_;
    if (more <= 0) return;
    ValueMemory::OfThisThread().Require(more);
    Charge(static_cast<std::size_t>(more));
  }

 private:
  std::int64_t bytes_ = 0;
};

// A materialised sequence whose copies share it: what variables hold. One item
// lies in the value itself.
class Value {
 public:
  Value() = default;
  explicit Value(Item item) : one_(std::move(item)) {}
  // Something else than a sequence, made for a plan that knows what it is.
  explicit Value(std::shared_ptr<const Kept> kept) : kept_(std::move(kept)) {}
  explicit Value(Sequence items) {
    if (items.size() == 1) {
      one_ = std::move(items.front());
    } else if (!items.empty()) {
      kept_ = std::make_shared<const Charged>(std::move(items));
    }
  }

  std::span<const Item> items() const {
    if (kept_) return static_cast<const Charged&>(*kept_).items;
    return {&one_, one_.IsNone() ? std::size_t{0} : std::size_t{1}};
  }
  std::size_t size() const { return items().size(); }
  const Item& operator[](std::size_t index) const { return items()[index]; }

  const std::shared_ptr<const Kept>& kept() const { return kept_; }

 private:
  struct Charged final : Kept {
    explicit Charged(Sequence its_items) : items(std::move(its_items)) {
      Charge(items.capacity() * sizeof(Item));
    }
    const Sequence items;
  };

  Item one_;
  std::shared_ptr<const Kept> kept_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_VALUE_H_
