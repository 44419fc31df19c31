#ifndef DM_WORDS_H_
#define DM_WORDS_H_

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace dm {

// Objects lie at any address: all that is inside them is read and written here.
template <typename T>
T Load(const void* address) {
  static_assert(std::is_trivially_copyable_v<T>);
  T value;
  // T may be a pointer. NOLINTNEXTLINE(bugprone-sizeof-expression)
  std::memcpy(&value, address, sizeof value);
  return value;
}

template <typename T>
void Store(void* address, std::type_identity_t<T> value) {
  static_assert(std::is_trivially_copyable_v<T>);
  // NOLINTNEXTLINE(bugprone-sizeof-expression)
  std::memcpy(address, &value, sizeof value);
}

inline void* At(void* address, std::size_t offset) {
  return static_cast<char*>(address) + offset;
}

inline const void* At(const void* address, std::size_t offset) {
  return static_cast<const char*>(address) + offset;
}

// False when the product does not fit.
inline bool Multiply(std::size_t a, std::size_t b, std::size_t& product) {
  // Halves of a word cannot exceed one; only larger ones pay for the division.
  constexpr std::size_t kHalf = std::size_t{1} << sizeof(std::size_t) * 4;
  if ((a | b) >= kHalf && b != 0 && a > static_cast<std::size_t>(-1) / b) {
    return false;
  }
  product = a * b;
  return true;
}

}  // namespace dm

#endif  // DM_WORDS_H_
