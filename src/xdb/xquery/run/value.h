#ifndef XDB_XQUERY_RUN_VALUE_H_
#define XDB_XQUERY_RUN_VALUE_H_

#include <memory>
#include <span>
#include <utility>

#include "xdb/xquery/values/counted.h"
#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

// A materialised sequence whose copies share it: what variables hold. One item
// lies in the value itself.
class Value {
 public:
  Value() = default;
  explicit Value(Item item) : one_(std::move(item)) {}
  explicit Value(Sequence items) {
    if (items.size() == 1) {
      one_ = std::move(items.front());
    } else if (!items.empty()) {
      many_ = std::make_shared<const Charged>(std::move(items));
    }
  }

  std::span<const Item> items() const {
    if (many_) return many_->items;
    return {&one_, one_.IsNone() ? std::size_t{0} : std::size_t{1}};
  }
  std::size_t size() const { return items().size(); }
  const Item& operator[](std::size_t index) const { return items()[index]; }

 private:
  // Counts against the memory of the thread.
  struct Charged {
    explicit Charged(Sequence its_items) : items(std::move(its_items)) {
      ValueMemory::OfThisThread().used_bytes += Bytes();
    }
    ~Charged() { ValueMemory::OfThisThread().used_bytes -= Bytes(); }
    Charged(const Charged&) = delete;
    Charged& operator=(const Charged&) = delete;
    std::int64_t Bytes() const {
      return static_cast<std::int64_t>(items.capacity() * sizeof(Item));
    }
    const Sequence items;
  };

  Item one_;
  std::shared_ptr<const Charged> many_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_VALUE_H_
