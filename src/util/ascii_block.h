#ifndef UTIL_ASCII_BLOCK_H_
#define UTIL_ASCII_BLOCK_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The fast path of the conversions: a block of units is copied whole, whatever
// it holds, and the answer is how many ASCII characters it begins with. What
// lies behind those in the target is then written over. Callers step over a
// whole block by its constant size: by the answer, each block would wait for
// the one before.
namespace kiv::ascii_block {

inline constexpr std::size_t kBytes = 16;
inline constexpr std::size_t kUnits = 16;

#if defined(__SSE2__)

inline std::size_t Count(int mask) {
  return static_cast<std::size_t>(
      std::countr_zero(static_cast<unsigned>(mask) | 0x10000U));
}

// kBytes bytes, which are not copied.
inline std::size_t CountBytes(const char* from) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  return Count(_mm_movemask_epi8(block));
}

// kBytes bytes.
inline std::size_t Widen(const char* from, char16_t* to) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  const __m128i zero = _mm_setzero_si128();
  auto* out = reinterpret_cast<__m128i*>(to);
  _mm_storeu_si128(out, _mm_unpacklo_epi8(block, zero));
  _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(block, zero));
  return Count(_mm_movemask_epi8(block));
}

// kBytes bytes.
inline std::size_t Copy(const char* from, char* to) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
  return Count(_mm_movemask_epi8(block));
}

// kUnits units.
inline std::size_t Narrow(const char16_t* from, char* to) {
  const auto* in = reinterpret_cast<const __m128i*>(from);
  const __m128i low = _mm_loadu_si128(in);
  const __m128i high = _mm_loadu_si128(in + 1);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(low, high));
  const __m128i above = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  const __m128i is_ascii =
      _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(low, above), zero),
                      _mm_cmpeq_epi16(_mm_and_si128(high, above), zero));
  return Count(~_mm_movemask_epi8(is_ascii) & 0xFFFF);
}

// kUnits units.
inline bool HasSurrogate(const char16_t* from) {
  const auto* in = reinterpret_cast<const __m128i*>(from);
  const __m128i kind = _mm_set1_epi16(static_cast<short>(0xF800));
  const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
  const __m128i low = _mm_and_si128(_mm_loadu_si128(in), kind);
  const __m128i high = _mm_and_si128(_mm_loadu_si128(in + 1), kind);
  return _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(low, surrogate),
                                        _mm_cmpeq_epi16(high, surrogate))) != 0;
}

#else

// How many lanes come before the first that has a bit in `marked`.
template <int kLaneBits>
inline std::size_t CountLanes(std::uint64_t marked) {
  if (marked == 0) return 64 / kLaneBits;
  const int bit = std::endian::native == std::endian::little
                      ? std::countr_zero(marked)
                      : std::countl_zero(marked);
  return static_cast<std::size_t>(bit) / kLaneBits;
}

inline std::size_t CountBytes(const char* from) {
  std::uint64_t words[2];
  std::memcpy(words, from, sizeof words);
  constexpr std::uint64_t kTops = 0x8080808080808080;
  const std::size_t first = CountLanes<8>(words[0] & kTops);
  return first < 8 ? first : 8 + CountLanes<8>(words[1] & kTops);
}

inline std::size_t Widen(const char* from, char16_t* to) {
  for (std::size_t i = 0; i < kBytes; ++i)
    to[i] = static_cast<unsigned char>(from[i]);
  return CountBytes(from);
}

inline std::size_t Copy(const char* from, char* to) {
  std::memmove(to, from, kBytes);
  return CountBytes(from);
}

inline std::size_t Narrow(const char16_t* from, char* to) {
  for (std::size_t i = 0; i < kUnits; ++i) to[i] = static_cast<char>(from[i]);
  constexpr std::uint64_t kTops = 0xFF80FF80FF80FF80;
  for (std::size_t i = 0; i < kUnits; i += 4) {
    std::uint64_t word;
    std::memcpy(&word, from + i, sizeof word);
    const std::size_t ascii = CountLanes<16>(word & kTops);
    if (ascii < 4) return i + ascii;
  }
  return kUnits;
}

inline bool HasSurrogate(const char16_t* from) {
  for (std::size_t i = 0; i < kUnits; ++i)
    if ((from[i] & 0xF800) == 0xD800) return true;
  return false;
}

#endif

// Converts a whole text: ASCII by `copy_block`, which is one of Widen, Copy and
// Narrow; the rest by `convert_one(in, end, out)`, which reads the character at
// `in`, writes it to `out` and moves both on. Wherever a block is left to read,
// `out` has room for one. Returns how many units were written.
template <class In, class Out, class CopyBlock, class ConvertOne>
inline std::size_t ConvertText(std::basic_string_view<In> text, Out* out,
                               CopyBlock copy_block, ConvertOne convert_one) {
  constexpr std::size_t kBlock = sizeof(In) == 1 ? kBytes : kUnits;
  const In* in = text.data();
  const In* const end = in + text.size();
  Out* const start = out;
  const auto is_ascii = [](In unit) {
    return static_cast<std::make_unsigned_t<In>>(unit) < 0x80;
  };
  while (end - in >= static_cast<std::ptrdiff_t>(kBlock)) {
    const std::size_t ascii = copy_block(in, out);
    if (ascii == kBlock) {
      in += kBlock;
      out += kBlock;
      continue;
    }
    in += ascii;
    out += ascii;
    do convert_one(in, end, out);
    while (in != end && !is_ascii(*in));
  }
  // Short texts are all rest, and their ASCII needs no look-up.
  while (in != end) {
    if (is_ascii(*in))
      *out++ = static_cast<Out>(*in++);
    else
      convert_one(in, end, out);
  }
  return static_cast<std::size_t>(out - start);
}

}  // namespace kiv::ascii_block

#endif  // UTIL_ASCII_BLOCK_H_
