#ifndef TIME_WRAPPING_H_
#define TIME_WRAPPING_H_

// Tick arithmetic wraps at 64 bits. Signed overflow has no meaning in the
// language, so it is done in unsigned numbers.
namespace kiv {

constexpr long long WrappedAdd(long long a, long long b) {
  return static_cast<long long>(static_cast<unsigned long long>(a) +
                                static_cast<unsigned long long>(b));
}

constexpr long long WrappedSubtract(long long a, long long b) {
  return static_cast<long long>(static_cast<unsigned long long>(a) -
                                static_cast<unsigned long long>(b));
}

constexpr long long WrappedMultiply(long long a, long long b) {
  return static_cast<long long>(static_cast<unsigned long long>(a) *
                                static_cast<unsigned long long>(b));
}

}  // namespace kiv

#endif  // TIME_WRAPPING_H_
