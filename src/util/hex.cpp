#include "kiv/hex.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "util/hex_digits.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kiv {
namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

// Letters beyond f count on; the mask in Byte() takes what is too much.
constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> table{};
  for (std::uint8_t& value : table) value = kNoDigit;
  for (std::uint8_t i = 0; i < 10; ++i) table['0' + i] = i;
  for (std::uint8_t i = 0; i < 26; ++i)
    table['a' + i] = table['A' + i] = static_cast<std::uint8_t>(10 + i);
  return table;
}();

#if defined(__SSE2__)

constexpr std::size_t kBlock = 16;

__m128i Load(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

void Store(void* to, __m128i block) {
  _mm_storeu_si128(static_cast<__m128i*>(to), block);
}

// 0-15 to "0"-"9" and "A"-"F".
__m128i DigitsOf(__m128i nibbles) {
  const __m128i is_letter = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
  return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')),
                      _mm_and_si128(is_letter, _mm_set1_epi8('A' - '0' - 10)));
}

// kBlock bytes to twice as many digits.
void EncodeBlock(const unsigned char* from, char* to) {
  const __m128i low_nibble = _mm_set1_epi8(0x0F);
  const __m128i bytes = Load(from);
  const __m128i high =
      DigitsOf(_mm_and_si128(_mm_srli_epi16(bytes, 4), low_nibble));
  const __m128i low = DigitsOf(_mm_and_si128(bytes, low_nibble));
  Store(to, _mm_unpacklo_epi8(high, low));
  Store(to + kBlock, _mm_unpackhi_epi8(high, low));
}

// Whether `bytes` lie in first..last, both ASCII.
__m128i IsBetween(__m128i bytes, char first, char last) {
  return _mm_and_si128(
      _mm_cmpgt_epi8(bytes, _mm_set1_epi8(static_cast<char>(first - 1))),
      _mm_cmplt_epi8(bytes, _mm_set1_epi8(static_cast<char>(last + 1))));
}

// kBlock digits to half as many bytes, in the low half of every 16 bits.
bool DecodeBlock(const char* from, __m128i& bytes) {
  const __m128i text = Load(from);
  const __m128i lower = _mm_or_si128(text, _mm_set1_epi8(0x20));
  const __m128i is_digit = IsBetween(text, '0', '9');
  const __m128i is_letter = IsBetween(lower, 'a', 'z');
  if (_mm_movemask_epi8(_mm_or_si128(is_digit, is_letter)) != 0xFFFF)
    return false;
  const __m128i values = _mm_or_si128(
      _mm_and_si128(is_digit, _mm_sub_epi8(text, _mm_set1_epi8('0'))),
      _mm_and_si128(is_letter, _mm_sub_epi8(lower, _mm_set1_epi8('a' - 10))));
  // The first digit is the low byte of each 16 bits.
  const __m128i high =
      _mm_and_si128(_mm_slli_epi16(values, 4), _mm_set1_epi16(0xF0));
  const __m128i low =
      _mm_and_si128(_mm_srli_epi16(values, 8), _mm_set1_epi16(0x0F));
  bytes = _mm_or_si128(high, low);
  return true;
}

#endif

void Encode(const unsigned char* bytes, std::size_t size, char* out) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; size - i >= kBlock; i += kBlock) EncodeBlock(bytes + i, out + 2 * i);
#endif
  for (; i < size; ++i) {
    out[2 * i] = kUpperHexDigits[bytes[i] >> 4];
    out[2 * i + 1] = kUpperHexDigits[bytes[i] & 0x0F];
  }
}

// Stops at the first pair that is none; what was before it has been written.
bool Decode(const char* text, std::size_t pairs, unsigned char* out) {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; pairs - i >= kBlock; i += kBlock) {
    __m128i first;
    __m128i second;
    if (!DecodeBlock(text + 2 * i, first) ||
        !DecodeBlock(text + 2 * i + kBlock, second))
      break;
    Store(out + i, _mm_packus_epi16(first, second));
  }
#endif
  for (; i < pairs; ++i) {
    const unsigned high = kValues[static_cast<unsigned char>(text[2 * i])];
    const unsigned low = kValues[static_cast<unsigned char>(text[2 * i + 1])];
    if (high == kNoDigit || low == kNoDigit) return false;
    out[i] = static_cast<unsigned char>(high * 16 | (low & 15));
  }
  return true;
}

bool IsHex(const char* text, std::size_t size) {
  std::size_t i = 0;
#if defined(__SSE2__)
  __m128i bytes;
  while (size - i >= kBlock && DecodeBlock(text + i, bytes)) i += kBlock;
#endif
  for (; i < size; ++i)
    if (kValues[static_cast<unsigned char>(text[i])] == kNoDigit) return false;
  return true;
}

// Whether the input lies in the string that is to be overwritten.
bool LiesIn(const std::string& out, const void* input) {
  const auto begin = reinterpret_cast<std::uintptr_t>(out.data());
  const auto at = reinterpret_cast<std::uintptr_t>(input);
  return at >= begin && at < begin + out.capacity();
}

// Fills `out` with `size` bytes, piece by piece through a small buffer: a
// string that is sized first is cleared in vain. `fill` gets the place and the
// length of a piece.
template <typename Fill>
void Assign(std::string& out, std::size_t size, Fill&& fill) {
  char piece[4096];
  out.clear();
  out.reserve(size);
  while (out.size() < size) {
    const std::size_t part = std::min(sizeof piece, size - out.size());
    fill(out.size(), part, piece);
    out.append(piece, part);
  }
}

bool IsHexLength(const char* text, unsigned length) {
  return text != nullptr && length != 0 && length % 2 == 0;
}

}  // namespace

bool bytesToHex(const unsigned char* bytes, unsigned size, char* out,
                unsigned out_size, bool terminate) {
  if (bytes == nullptr || size == 0 || out == nullptr) return false;
  if (out_size < 2ULL * size + 1) return false;
  Encode(bytes, size, out);
  if (terminate) out[2 * std::size_t{size}] = '\0';
  return true;
}

bool bytesToHex(const unsigned char* bytes, unsigned size, std::string& out) {
  if (bytes == nullptr) size = 0;
  if (LiesIn(out, bytes)) {
    const std::vector<unsigned char> copy(bytes, bytes + size);
    return bytesToHex(copy.data(), size, out);
  }
  Assign(out, 2 * std::size_t{size},
         [=](std::size_t place, std::size_t length, char* piece) {
           Encode(bytes + place / 2, length / 2, piece);
         });
  return true;
}

bool hexToBytes(const char* text, unsigned length, unsigned char* out,
                unsigned out_size) {
  if (!IsHexLength(text, length) || out == nullptr || out_size < length / 2)
    return false;
  return Decode(text, length / 2, out);
}

bool hexToString(const char* text, unsigned length, char* out,
                 unsigned out_size, bool terminate) {
  if (terminate && out_size < length / 2 + 1) return false;
  if (!hexToBytes(text, length, reinterpret_cast<unsigned char*>(out),
                  out_size))
    return false;
  if (terminate) out[length / 2] = '\0';
  return true;
}

bool hexToString(const char* text, unsigned length, std::string& out) {
  if (!IsHexLength(text, length) || !IsHex(text, length)) return false;
  if (LiesIn(out, text)) {
    const std::string copy(text, length);
    return hexToString(copy.data(), length, out);
  }
  Assign(
      out, length / 2, [=](std::size_t place, std::size_t size, char* piece) {
        Decode(text + 2 * place, size, reinterpret_cast<unsigned char*>(piece));
      });
  return true;
}

}  // namespace kiv
