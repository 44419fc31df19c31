// The compression function of RFC 1321, unrolled.
//
// Speed is the length of the chain from one step's result to the next: a step
// adds last what depends on the newest word, everything else beforehand.
#include "util/md5_blocks.h"

#include <bit>
#include <cstring>

namespace kiv {
namespace {

using Word = std::uint32_t;

constexpr std::size_t kBlockBytes = 64;

inline Word LoadLittleEndian(const unsigned char* bytes) {
  if constexpr (std::endian::native == std::endian::little) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  } else {
    return Word{bytes[0]} | Word{bytes[1]} << 8 | Word{bytes[2]} << 16 |
           Word{bytes[3]} << 24;
  }
}

// In each, `b` is the newest word and `addend` the input word plus the step's
// constant.

template <int kShift>
inline void StepF(Word& a, Word b, Word c, Word d, Word addend) {
  // (b & c) | (~b & d)
  a += addend;
  a += d ^ (b & (c ^ d));
  a = std::rotl(a, kShift) + b;
}

template <int kShift>
inline void StepG(Word& a, Word b, Word c, Word d, Word addend) {
  // (b & d) | (c & ~d): the halves share no bit, so they may be added one by
  // one, and the second does not wait for b.
  a += addend;
  a += c & ~d;
  a += b & d;
  a = std::rotl(a, kShift) + b;
}

template <int kShift>
inline void StepH(Word& a, Word b, Word c, Word d, Word addend) {
  a += addend;
  a += b ^ (c ^ d);
  a = std::rotl(a, kShift) + b;
}

template <int kShift>
inline void StepI(Word& a, Word b, Word c, Word d, Word addend) {
  a += addend;
  a += c ^ (b | ~d);
  a = std::rotl(a, kShift) + b;
}

}  // namespace

void Md5Blocks(std::uint32_t state[4], const unsigned char* blocks,
               std::size_t count) {
  Word a = state[0];
  Word b = state[1];
  Word c = state[2];
  Word d = state[3];
  for (; count != 0; --count, blocks += kBlockBytes) {
    const auto word = [blocks](std::size_t i) {
      return LoadLittleEndian(blocks + 4 * i);
    };
    const Word a0 = a;
    const Word b0 = b;
    const Word c0 = c;
    const Word d0 = d;

    StepF<7>(a, b, c, d, word(0) + 0xD76AA478);
    StepF<12>(d, a, b, c, word(1) + 0xE8C7B756);
    StepF<17>(c, d, a, b, word(2) + 0x242070DB);
    StepF<22>(b, c, d, a, word(3) + 0xC1BDCEEE);
    StepF<7>(a, b, c, d, word(4) + 0xF57C0FAF);
    StepF<12>(d, a, b, c, word(5) + 0x4787C62A);
    StepF<17>(c, d, a, b, word(6) + 0xA8304613);
    StepF<22>(b, c, d, a, word(7) + 0xFD469501);
    StepF<7>(a, b, c, d, word(8) + 0x698098D8);
    StepF<12>(d, a, b, c, word(9) + 0x8B44F7AF);
    StepF<17>(c, d, a, b, word(10) + 0xFFFF5BB1);
    StepF<22>(b, c, d, a, word(11) + 0x895CD7BE);
    StepF<7>(a, b, c, d, word(12) + 0x6B901122);
    StepF<12>(d, a, b, c, word(13) + 0xFD987193);
    StepF<17>(c, d, a, b, word(14) + 0xA679438E);
    StepF<22>(b, c, d, a, word(15) + 0x49B40821);

    StepG<5>(a, b, c, d, word(1) + 0xF61E2562);
    StepG<9>(d, a, b, c, word(6) + 0xC040B340);
    StepG<14>(c, d, a, b, word(11) + 0x265E5A51);
    StepG<20>(b, c, d, a, word(0) + 0xE9B6C7AA);
    StepG<5>(a, b, c, d, word(5) + 0xD62F105D);
    StepG<9>(d, a, b, c, word(10) + 0x02441453);
    StepG<14>(c, d, a, b, word(15) + 0xD8A1E681);
    StepG<20>(b, c, d, a, word(4) + 0xE7D3FBC8);
    StepG<5>(a, b, c, d, word(9) + 0x21E1CDE6);
    StepG<9>(d, a, b, c, word(14) + 0xC33707D6);
    StepG<14>(c, d, a, b, word(3) + 0xF4D50D87);
    StepG<20>(b, c, d, a, word(8) + 0x455A14ED);
    StepG<5>(a, b, c, d, word(13) + 0xA9E3E905);
    StepG<9>(d, a, b, c, word(2) + 0xFCEFA3F8);
    StepG<14>(c, d, a, b, word(7) + 0x676F02D9);
    StepG<20>(b, c, d, a, word(12) + 0x8D2A4C8A);

    StepH<4>(a, b, c, d, word(5) + 0xFFFA3942);
    StepH<11>(d, a, b, c, word(8) + 0x8771F681);
    StepH<16>(c, d, a, b, word(11) + 0x6D9D6122);
    StepH<23>(b, c, d, a, word(14) + 0xFDE5380C);
    StepH<4>(a, b, c, d, word(1) + 0xA4BEEA44);
    StepH<11>(d, a, b, c, word(4) + 0x4BDECFA9);
    StepH<16>(c, d, a, b, word(7) + 0xF6BB4B60);
    StepH<23>(b, c, d, a, word(10) + 0xBEBFBC70);
    StepH<4>(a, b, c, d, word(13) + 0x289B7EC6);
    StepH<11>(d, a, b, c, word(0) + 0xEAA127FA);
    StepH<16>(c, d, a, b, word(3) + 0xD4EF3085);
    StepH<23>(b, c, d, a, word(6) + 0x04881D05);
    StepH<4>(a, b, c, d, word(9) + 0xD9D4D039);
    StepH<11>(d, a, b, c, word(12) + 0xE6DB99E5);
    StepH<16>(c, d, a, b, word(15) + 0x1FA27CF8);
    StepH<23>(b, c, d, a, word(2) + 0xC4AC5665);

    StepI<6>(a, b, c, d, word(0) + 0xF4292244);
    StepI<10>(d, a, b, c, word(7) + 0x432AFF97);
    StepI<15>(c, d, a, b, word(14) + 0xAB9423A7);
    StepI<21>(b, c, d, a, word(5) + 0xFC93A039);
    StepI<6>(a, b, c, d, word(12) + 0x655B59C3);
    StepI<10>(d, a, b, c, word(3) + 0x8F0CCC92);
    StepI<15>(c, d, a, b, word(10) + 0xFFEFF47D);
    StepI<21>(b, c, d, a, word(1) + 0x85845DD1);
    StepI<6>(a, b, c, d, word(8) + 0x6FA87E4F);
    StepI<10>(d, a, b, c, word(15) + 0xFE2CE6E0);
    StepI<15>(c, d, a, b, word(6) + 0xA3014314);
    StepI<21>(b, c, d, a, word(13) + 0x4E0811A1);
    StepI<6>(a, b, c, d, word(4) + 0xF7537E82);
    StepI<10>(d, a, b, c, word(11) + 0xBD3AF235);
    StepI<15>(c, d, a, b, word(2) + 0x2AD7D2BB);
    StepI<21>(b, c, d, a, word(9) + 0xEB86D391);

    a += a0;
    b += b0;
    c += c0;
    d += d0;
  }
  state[0] = a;
  state[1] = b;
  state[2] = c;
  state[3] = d;
}

}  // namespace kiv
