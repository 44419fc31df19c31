#include "dm/guid.h"

#include <cstddef>
#include <cstring>
#include <string_view>

#include "port/system.h"
#include "util/hex_digits.h"

namespace {

constexpr std::size_t kTextSize = 36;

struct Group {
  std::size_t first_byte;
  std::size_t bytes;
  std::size_t text_pos;
};

// The sixteen bytes in the order of the text: each field's highest first.
constexpr Group kGroups[] = {
    {0, 4, 0}, {4, 2, 9}, {6, 2, 14}, {8, 2, 19}, {10, 6, 24}};

void ToBytes(const GUID& guid, unsigned char (&bytes)[16]) {
  for (int i = 0; i < 4; ++i)
    bytes[i] = static_cast<unsigned char>(guid.Data1 >> (24 - 8 * i));
  bytes[4] = static_cast<unsigned char>(guid.Data2 >> 8);
  bytes[5] = static_cast<unsigned char>(guid.Data2);
  bytes[6] = static_cast<unsigned char>(guid.Data3 >> 8);
  bytes[7] = static_cast<unsigned char>(guid.Data3);
  std::memcpy(bytes + 8, guid.Data4, sizeof guid.Data4);
}

void FromBytes(const unsigned char (&bytes)[16], GUID& guid) {
  guid.Data1 = 0;
  for (int i = 0; i < 4; ++i) guid.Data1 = guid.Data1 << 8 | bytes[i];
  guid.Data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(guid.Data4, bytes + 8, sizeof guid.Data4);
}

}  // namespace

bool dm_generate_guid(GUID* guid) {
  unsigned char bytes[16];
  if (guid == nullptr || !kiv::port::RandomBytes(bytes, sizeof bytes))
    return false;
  // Version 4, the variant of RFC 4122.
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
  FromBytes(bytes, *guid);
  return true;
}

bool dm_guid_to_string(const GUID* guid, char* text, unsigned size) {
  if (guid == nullptr || text == nullptr || size < kTextSize + 1) return false;
  unsigned char bytes[16];
  ToBytes(*guid, bytes);
  for (const Group& group : kGroups) {
    char* out = text + group.text_pos;
    if (group.text_pos > 0) out[-1] = '-';
    for (std::size_t i = 0; i < group.bytes; ++i) {
      const unsigned byte = bytes[group.first_byte + i];
      *out++ = kiv::kLowerHexDigits[byte >> 4];
      *out++ = kiv::kLowerHexDigits[byte & 0x0F];
    }
  }
  text[kTextSize] = '\0';
  return true;
}

bool dm_string_to_guid(const char* text, GUID* guid) {
  if (text == nullptr || guid == nullptr) return false;
  if (std::string_view(text).size() != kTextSize) return false;
  unsigned char bytes[16];
  for (const Group& group : kGroups) {
    const char* in = text + group.text_pos;
    if (group.text_pos > 0 && in[-1] != '-') return false;
    for (std::size_t i = 0; i < group.bytes; ++i) {
      const int high = kiv::HexValue(*in++);
      const int low = kiv::HexValue(*in++);
      if (high < 0 || low < 0) return false;
      bytes[group.first_byte + i] = static_cast<unsigned char>(high << 4 | low);
    }
  }
  FromBytes(bytes, *guid);
  return true;
}
