#include "util/cp936.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "util/ascii_block.h"
#include "util/gb_text.h"

namespace kiv {
namespace {

constexpr char16_t kEuro = 0x20AC;
constexpr char kEuroByte = '\x80';
constexpr std::size_t kFirstLead = 0x81;
constexpr std::size_t kLeads = 126;
constexpr std::size_t kFirstTrail = 0x40;
constexpr std::size_t kTrails = 192;

constexpr char16_t kCodes[kLeads * kTrails] = {
#include "util/cp936_table.inc"
};

// A unit for every pair of bytes whose first can lead; the index is that pair
// without its top bit. The row of 0x80, which cannot lead, holds ASCII, so that
// one look-up serves both.
constexpr auto kDecoded = [] {
  std::array<char16_t, 128 * 256> table{};
  for (std::size_t ascii = 0; ascii < 128; ++ascii)
    table[ascii] = static_cast<char16_t>(ascii);
  for (std::size_t lead = 0; lead < kLeads; ++lead)
    for (std::size_t trail = 0; trail < kTrails; ++trail)
      table[(lead + kFirstLead - 128) * 256 + trail + kFirstTrail] =
          kCodes[lead * kTrails + trail];
  return table;
}();

// For every unit its bytes, the first in the low half; one byte when the high
// half is 0. "?" for what has no code; 0 for surrogates, which need a look at
// their neighbour.
constexpr auto kEncoded = [] {
  std::array<std::uint16_t, 65536> table{};
  for (std::uint16_t& entry : table) entry = '?';
  for (std::size_t ascii = 0; ascii < 128; ++ascii)
    table[ascii] = static_cast<std::uint16_t>(ascii);
  for (std::size_t i = 0; i < kLeads * kTrails; ++i)
    if (kCodes[i] != 0)
      table[kCodes[i]] = static_cast<std::uint16_t>(
          (i / kTrails + kFirstLead) | (i % kTrails + kFirstTrail) << 8);
  table[kEuro] = 0x80;
  for (std::size_t unit = 0xD800; unit < 0xE000; ++unit) table[unit] = 0;
  return table;
}();

inline char16_t DecodeSingle(char byte) {
  if (IsAscii(byte)) return static_cast<char16_t>(byte);
  return byte == kEuroByte ? kEuro : kReplacementUnit;
}

// Reads the character at `in`, before `end`, and hands it to `put`. Returns
// what is behind it.
template <typename Put>
inline const char* DecodeOne(const char* in, const char* end, Put&& put) {
  if (end - in >= 2 && IsLeadByte(in[0]) && IsTrailByte(in[1])) {
    put(kDecoded[(static_cast<unsigned char>(in[0]) & 0x7FU) << 8 |
                 static_cast<unsigned char>(in[1])]);
    return in + 2;
  }
  put(DecodeSingle(*in));
  return in + 1;
}

// Reads the character at `in`, before `end`. Room for two bytes is needed, of
// which the second may be written in vain: where one-byte and two-byte
// characters alternate, a branch is guessed wrong too often.
inline const char16_t* EncodeOne(const char16_t* in, const char16_t* end,
                                 char*& out) {
  const char16_t unit = *in++;
  const std::uint16_t bytes = kEncoded[unit];
  out[0] = static_cast<char>(bytes);
  out[1] = static_cast<char>(bytes >> 8);
  // 0x81-0xFE leads a second byte; a comparison would become that branch.
  out += 1 + (((bytes & 0xFF) + 0x7F) >> 8);
  if (bytes == 0 && unit != 0) [[unlikely]] {
    out[-1] = '?';
    if (IsHighSurrogate(unit) && in != end && IsLowSurrogate(*in)) ++in;
  }
  return in;
}

#if defined(__SSE2__)

// Decodes a block of ascii_block::kBytes bytes and returns how many it read: 0
// when the block holds bytes that are no character, one less than the block
// when its last byte leads. `written` grows by what was written, while the
// whole block's room may be touched. `sizes`, where wanted, gets the number of
// bytes behind each unit.
//
// Which bytes lead is found for all at once, without a branch: in a run of
// bytes that can lead, every other one does, from the first; the last of an odd
// run takes the byte behind the run.
template <bool kWithSizes>
inline std::size_t DecodeBlock(const char* in, char16_t* out,
                               unsigned char* sizes, std::size_t& written) {
  const auto mask = [](__m128i bytes) {
    return static_cast<unsigned>(_mm_movemask_epi8(bytes));
  };
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
  const __m128i ones = _mm_set1_epi8(-1);
  const unsigned is_ff = mask(_mm_cmpeq_epi8(block, ones));
  const unsigned is_80 =
      mask(_mm_cmpeq_epi8(block, _mm_set1_epi8(static_cast<char>(0x80))));
  const unsigned is_7f = mask(_mm_cmpeq_epi8(block, _mm_set1_epi8(0x7F)));
  const unsigned is_trail =
      mask(_mm_cmpeq_epi8(_mm_max_epu8(block, _mm_set1_epi8(0x40)), block)) &
      ~is_7f & ~is_ff;
  const unsigned has_top = mask(block);
  const unsigned can_lead = has_top & ~is_ff & ~is_80;

  constexpr unsigned kEven = 0x5555;
  const unsigned run_starts = can_lead & ~(can_lead << 1);
  // The carry sweeps away the runs that start at an even place.
  const unsigned even_runs = can_lead & ~(can_lead + (run_starts & kEven));
  const unsigned leads = (even_runs & kEven) | (can_lead & ~even_runs & ~kEven);
  const unsigned trails = leads << 1;
  const unsigned stray = has_top & ~(leads | trails);
  if ((stray | (trails & 0xFFFF & ~is_trail)) != 0) [[unlikely]]
    return 0;

  // The index of each place: the pair without its top bit for a byte that has
  // one, else the byte itself. Places of trail bytes are read in vain.
  const __m128i next = _mm_srli_si128(block, 1);
  const __m128i tops = _mm_cmplt_epi8(block, _mm_setzero_si128());
  const __m128i rows =
      _mm_and_si128(_mm_and_si128(block, tops), _mm_set1_epi8(0x7F));
  const __m128i cells =
      _mm_or_si128(_mm_and_si128(next, tops), _mm_andnot_si128(tops, block));
  alignas(16) std::uint16_t index[ascii_block::kBytes];
  _mm_store_si128(reinterpret_cast<__m128i*>(index),
                  _mm_unpacklo_epi8(cells, rows));
  _mm_store_si128(reinterpret_cast<__m128i*>(index + 8),
                  _mm_unpackhi_epi8(cells, rows));

  if (leads == kEven) {
    [&]<std::size_t... i>(std::index_sequence<i...>) {
      ((out[i] = kDecoded[index[2 * i]]), ...);
    }
    (std::make_index_sequence<ascii_block::kBytes / 2>{});
    if constexpr (kWithSizes) std::memset(sizes, 2, ascii_block::kBytes / 2);
    written += ascii_block::kBytes / 2;
    return ascii_block::kBytes;
  }
  // Every place writes; only those that begin a character move on.
  std::size_t count = 0;
  const auto place = [&](std::size_t i) {
    out[count] = kDecoded[index[i]];
    if constexpr (kWithSizes)
      sizes[count] = static_cast<unsigned char>(1 + ((leads >> i) & 1));
    count += 1 - ((trails >> i) & 1);
  };
  [&]<std::size_t... i>(std::index_sequence<i...>) { (place(i), ...); }
  (std::make_index_sequence<ascii_block::kBytes>{});
  const std::size_t last_leads = (leads >> 15) & 1;
  written += count - last_leads;
  return ascii_block::kBytes - last_leads;
}

#else

template <bool kWithSizes>
inline std::size_t DecodeBlock(const char*, char16_t*, unsigned char*,
                               std::size_t&) {
  return 0;
}

#endif

}  // namespace

std::size_t Cp936ToUtf16(std::string_view text, char16_t* out) {
  const char* in = text.data();
  const char* const end = in + text.size();
  std::size_t written = 0;
  const auto put = [&](char16_t unit) { out[written++] = unit; };
  // The room is never smaller than what is left to read, so a whole block fits.
  while (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kBytes)) {
    const std::size_t ascii = ascii_block::Widen(in, out + written);
    if (ascii == ascii_block::kBytes) {
      in += ascii;
      written += ascii;
      continue;
    }
    const std::size_t read =
        DecodeBlock<false>(in, out + written, nullptr, written);
    in += read;
    if (read != 0) continue;
    do in = DecodeOne(in, end, put);
    while (in != end && !IsAscii(*in));
  }
  while (in != end) in = DecodeOne(in, end, put);
  return written;
}

std::size_t Cp936ToUtf8(std::string_view text, char* out) {
  const char* in = text.data();
  const char* const end = in + text.size();
  char* const start = out;
  const auto put = [&out](char16_t unit) { out += utf8::EncodeOne(unit, out); };
  while (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kBytes)) {
    const std::size_t ascii = ascii_block::Copy(in, out);
    in += ascii;
    out += ascii;
    if (ascii == ascii_block::kBytes) continue;
    do in = DecodeOne(in, end, put);
    while (in != end && !IsAscii(*in));
  }
  while (in != end) in = DecodeOne(in, end, put);
  return static_cast<std::size_t>(out - start);
}

std::size_t Utf16ToCp936(std::u16string_view text, char* out) {
  const char16_t* in = text.data();
  const char16_t* const end = in + text.size();
  char* const start = out;
  while (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kUnits)) {
    const char16_t* const block_end = in + ascii_block::kUnits;
    if (ascii_block::Narrow(in, out) == ascii_block::kUnits) {
      in = block_end;
      out += ascii_block::kUnits;
      continue;
    }
    while (in < block_end) in = EncodeOne(in, end, out);
  }
  while (in != end) in = EncodeOne(in, end, out);
  return static_cast<std::size_t>(out - start);
}

std::size_t Utf8ToCp936(std::string_view text, char* out) {
  const char* in = text.data();
  const char* const end = in + text.size();
  char* const start = out;
  const auto one = [&] {
    char32_t character;
    in = utf8::DecodeOne(in, end, character);
    const std::uint16_t bytes =
        character > 0xFFFF ? std::uint16_t{'?'} : kEncoded[character];
    *out++ = static_cast<char>(bytes);
    if (bytes > 0xFF) *out++ = static_cast<char>(bytes >> 8);
  };
  while (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kBytes)) {
    const std::size_t ascii = ascii_block::Copy(in, out);
    in += ascii;
    out += ascii;
    if (ascii == ascii_block::kBytes) continue;
    do one();
    while (in != end && !IsAscii(*in));
  }
  while (in != end) one();
  return static_cast<std::size_t>(out - start);
}

std::u16string Cp936ToUtf16(std::string_view text) {
  std::u16string result(text.size(), u'\0');
  result.resize(Cp936ToUtf16(text, result.data()));
  return result;
}

std::string Utf16ToCp936(std::u16string_view text) {
  std::string result(2 * text.size(), '\0');
  result.resize(Utf16ToCp936(text, result.data()));
  return result;
}

std::string Cp936ToUtf8(std::string_view text) {
  std::string result(3 * text.size(), '\0');
  result.resize(Cp936ToUtf8(text, result.data()));
  return result;
}

std::string Utf8ToCp936(std::string_view text) {
  std::string result(text.size(), '\0');
  result.resize(Utf8ToCp936(text, result.data()));
  return result;
}

bool IsCp936(std::string_view text) {
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t size = CharacterSize(text, pos);
    if (size == 1 && DecodeSingle(text[pos]) == kReplacementUnit) return false;
    pos += size;
  }
  return true;
}

bool IsInCp936(char32_t character) {
  if (character > 0xFFFF || (character & 0xF800) == 0xD800) return false;
  return character == '?' || kEncoded[character] != '?';
}

BlockProgress DecodeCp936Block(std::string_view block, char16_t* out,
                               std::size_t room, unsigned char* sizes) {
  BlockProgress done;
  const char* in = block.data();
  const char* const end = in + block.size();
  while (in != end && done.written < room) {
    char16_t* const to = out + done.written;
    unsigned char* const size = sizes + done.written;
    if (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kBytes) &&
        room - done.written >= ascii_block::kBytes) {
      if (ascii_block::Widen(in, to) == ascii_block::kBytes) {
        std::memset(size, 1, ascii_block::kBytes);
        in += ascii_block::kBytes;
        done.written += ascii_block::kBytes;
        continue;
      }
      const std::size_t read = DecodeBlock<true>(in, to, size, done.written);
      in += read;
      if (read != 0) continue;
    }
    if (end - in == 1 && IsLeadByte(*in)) break;
    const char* const next =
        DecodeOne(in, end, [to](char16_t unit) { *to = unit; });
    *size = static_cast<unsigned char>(next - in);
    ++done.written;
    in = next;
  }
  done.read = static_cast<std::size_t>(in - block.data());
  return done;
}

BlockProgress EncodeCp936Block(std::u16string_view block, char* out,
                               std::size_t room) {
  const char16_t* in = block.data();
  const char16_t* const end = in + block.size();
  char* const start = out;
  char* const out_end = out + room;
  while (in != end) {
    if (IsHighSurrogate(*in) && end - in == 1 && in != block.data()) break;
    if (out_end - out >= 2) {
      in = EncodeOne(in, end, out);
      continue;
    }
    char bytes[2];
    char* behind = bytes;
    const char16_t* const next = EncodeOne(in, end, behind);
    if (behind - bytes > out_end - out) break;
    *out++ = bytes[0];
    in = next;
  }
  return {static_cast<std::size_t>(in - block.data()),
          static_cast<std::size_t>(out - start)};
}

}  // namespace kiv
