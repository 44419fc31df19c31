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

// A unit for every pair of bytes whose first has its top bit; the index is that
// pair without the bit. 0: no character.
constexpr auto kDecoded = [] {
  std::array<char16_t, std::size_t{128} * 256> table{};
  for (std::size_t lead = 0; lead < kLeads; ++lead)
    for (std::size_t trail = 0; trail < kTrails; ++trail)
      table[(lead + kFirstLead - 128) * 256 + trail + kFirstTrail] =
          kCodes[lead * kTrails + trail];
  return table;
}();

// For every unit its bytes, the first in the low half; one byte when the high
// half is 0. "?" for what has no code.
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
  if (!IsAscii(*in) && end - in >= 2) {
    const char16_t unit =
        kDecoded[(static_cast<unsigned char>(in[0]) & 0x7F) << 8 |
                 static_cast<unsigned char>(in[1])];
    if (unit != 0) {
      put(unit);
      return in + 2;
    }
  }
  put(DecodeSingle(*in));
  return in + 1;
}

// Writes the bytes of what is no surrogate and returns how many. Room for two
// is needed, of which the second may be written in vain: where one-byte and
// two-byte characters alternate, a branch is guessed wrong too often.
inline int EncodeUnit(char16_t unit, char* out) {
  const std::uint16_t bytes = kEncoded[unit];
  out[0] = static_cast<char>(bytes);
  out[1] = static_cast<char>(bytes >> 8);
  return 1 + static_cast<int>(bytes > 0xFF);
}

// Reads the character at `in`, before `end`. Room as for EncodeUnit.
inline const char16_t* EncodeOne(const char16_t* in, const char16_t* end,
                                 char*& out) {
  const char16_t unit = *in++;
  out += EncodeUnit(unit, out);
  if (IsHighSurrogate(unit) && in != end && IsLowSurrogate(*in)) ++in;
  return in;
}

}  // namespace

std::size_t Cp936ToUtf16(std::string_view text, char16_t* out) {
  return ascii_block::ConvertText(
      text, out, ascii_block::Widen,
      [](const char*& in, const char* end, char16_t*& to) {
        in = DecodeOne(in, end, [&](char16_t unit) { *to++ = unit; });
      });
}

std::size_t Cp936ToUtf8(std::string_view text, char* out) {
  return ascii_block::ConvertText(
      text, out, ascii_block::Copy,
      [](const char*& in, const char* end, char*& to) {
        in = DecodeOne(in, end,
                       [&](char16_t unit) { to += utf8::EncodeOne(unit, to); });
      });
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
    if (ascii_block::HasSurrogate(in)) [[unlikely]] {
      while (in < block_end) in = EncodeOne(in, end, out);
      continue;
    }
    [&]<std::size_t... i>(std::index_sequence<i...>) {
      ((out += EncodeUnit(in[i], out)), ...);
    }
    (std::make_index_sequence<ascii_block::kUnits>{});
    in = block_end;
  }
  while (in != end) in = EncodeOne(in, end, out);
  return static_cast<std::size_t>(out - start);
}

std::size_t Utf8ToCp936(std::string_view text, char* out) {
  return ascii_block::ConvertText(
      text, out, ascii_block::Copy,
      [](const char*& in, const char* end, char*& to) {
        char32_t character;
        in = utf8::DecodeOne(in, end, character);
        const std::uint16_t bytes =
            character > 0xFFFF ? std::uint16_t{'?'} : kEncoded[character];
        *to++ = static_cast<char>(bytes);
        if (bytes > 0xFF) *to++ = static_cast<char>(bytes >> 8);
      });
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
  if (character > 0xFFFF) return false;
  return character == '?' || kEncoded[character] != '?';
}

BlockProgress DecodeCp936Block(std::string_view block, char16_t* out,
                               std::size_t room, unsigned char* sizes) {
  const char* in = block.data();
  const char* const end = in + block.size();
  std::size_t written = 0;
  while (in != end && written < room) {
    if (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kBytes) &&
        room - written >= ascii_block::kBytes) {
      const std::size_t ascii = ascii_block::Widen(in, out + written);
      std::memset(sizes + written, 1, ascii_block::kBytes);
      if (ascii == ascii_block::kBytes) {
        in += ascii_block::kBytes;
        written += ascii_block::kBytes;
        continue;
      }
      in += ascii;
      written += ascii;
    }
    do {
      if (end - in == 1 && IsLeadByte(*in)) return {block.size() - 1, written};
      const char* const next =
          DecodeOne(in, end, [&](char16_t unit) { out[written] = unit; });
      sizes[written++] = static_cast<unsigned char>(next - in);
      in = next;
    } while (in != end && written < room && !IsAscii(*in));
  }
  return {static_cast<std::size_t>(in - block.data()), written};
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
