#ifndef XDB_TREE_STABLE_VECTOR_H_
#define XDB_TREE_STABLE_VECTOR_H_

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace kiv::xdb {

// A vector whose elements never move: blocks, each twice as large as the one
// before. Any number of threads may read what lies before size() while one
// appends.
template <class T>
class StableVector {
 public:
  StableVector() = default;
  ~StableVector() {
    for (auto& block : blocks_) delete[] block.load(std::memory_order_relaxed);
  }
  StableVector(const StableVector&) = delete;
  StableVector& operator=(const StableVector&) = delete;

  std::uint32_t size() const { return size_.load(std::memory_order_acquire); }

  // `index` is less than a size() that the thread has seen.
  T& operator[](std::uint32_t index) { return *Place(index); }
  const T& operator[](std::uint32_t index) const { return *Place(index); }

  // To be filled before Publish(), one thread at a time.
  T& Next() {
    const std::uint32_t index = size_.load(std::memory_order_relaxed);
    auto& block = blocks_[Block(index)];
    if (block.load(std::memory_order_relaxed) == nullptr)
      block.store(new T[BlockSize(Block(index))], std::memory_order_release);
    return *Place(index);
  }
  void Publish() { size_.fetch_add(1, std::memory_order_release); }

 private:
  // Nearly all vectors end in the first block.
  static constexpr unsigned kFirstBits = 8;

  static unsigned Block(std::uint32_t index) {
    return static_cast<unsigned>(std::bit_width((index >> kFirstBits) + 1U) -
                                 1);
  }
  static std::size_t BlockSize(unsigned block) {
    return std::size_t{1} << (kFirstBits + block);
  }
  T* Place(std::uint32_t index) const {
    if (index >> kFirstBits == 0)
      return blocks_[0].load(std::memory_order_acquire) + index;
    const unsigned block = Block(index);
    // No index is so large that the width above is 0.
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
    const std::size_t first = ((std::size_t{1} << block) - 1) << kFirstBits;
    return blocks_[block].load(std::memory_order_acquire) + (index - first);
  }

  std::array<std::atomic<T*>, 32 - kFirstBits> blocks_{};
  std::atomic<std::uint32_t> size_ = 0;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_STABLE_VECTOR_H_
