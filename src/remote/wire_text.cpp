#include "remote/wire_text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/utf8.h"

namespace kiv::remote {
namespace {

// Eight bytes at a time: most texts on the wire are ASCII.
bool IsAsciiText(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (; end - at >= 8; at += 8) {
    unsigned long long block;
    std::memcpy(&block, at, sizeof block);
    if ((block & 0x8080808080808080ULL) != 0) return false;
  }
  return std::all_of(at, end, IsAscii);
}

}  // namespace

std::string ToWire(const char* local) {
  const std::string_view text = local == nullptr ? "" : local;
  return IsAsciiText(text) ? std::string(text) : Cp936ToUtf8(text);
}

std::string FromWire(std::string_view wire) {
  if (IsAsciiText(wire) || !IsUtf8(wire)) return std::string(wire);
  return Utf8ToCp936(wire);
}

char* NewFromWire(std::string_view wire, std::size_t& size) {
  // No character takes more room in the local encoding.
  auto* const text = static_cast<char*>(std::malloc(wire.size() + 1));
  if (text == nullptr) return nullptr;
  if (IsAsciiText(wire) || !IsUtf8(wire)) {
    if (!wire.empty()) std::memcpy(text, wire.data(), wire.size());
    size = wire.size();
  } else {
    size = Utf8ToCp936(wire, text);
  }
  text[size] = '\0';
  return text;
}

}  // namespace kiv::remote
