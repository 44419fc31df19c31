#include "remote/wire_text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "util/ascii_block.h"
#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/utf8.h"

namespace kiv::remote {
namespace {

// Most texts on the wire are ASCII.
bool IsAsciiText(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  constexpr std::ptrdiff_t kBlock = ascii_block::kBytes;
  for (; end - at >= kBlock; at += kBlock)
    if (ascii_block::CountBytes(at) != ascii_block::kBytes) return false;
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
  bool is_copied = IsAsciiText(wire);
  if (!is_copied) {
    size = Utf8ToCp936(wire, text);
    // What is no UTF-8 has left a "?".
    is_copied = std::memchr(text, '?', size) != nullptr && !IsUtf8(wire);
  }
  if (is_copied) {
    if (!wire.empty()) std::memcpy(text, wire.data(), wire.size());
    size = wire.size();
  }
  text[size] = '\0';
  return text;
}

}  // namespace kiv::remote
