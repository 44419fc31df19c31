#include "util/log_entry.h"

#include <cstdint>
#include <cstring>

#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/hex_digits.h"
#include "util/log_access.h"
#include "util/log_messages.h"

namespace kiv {
namespace {

// The same byte eight times.
constexpr std::uint64_t Bytes(std::uint64_t byte) {
  return byte * 0x0101010101010101;
}
constexpr std::uint64_t kTops = Bytes(0x80);

constexpr bool IsControl(char byte) {
  return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
}

// Whether one of the eight bytes is a control byte. No sum below carries into
// the next byte.
constexpr bool HasControl(std::uint64_t word) {
  const std::uint64_t low = word & ~kTops;
  const std::uint64_t from_blank = (low + Bytes(0x80 - 0x20)) | word;
  const std::uint64_t differs = low ^ Bytes(0x7F);
  const std::uint64_t not_del = (differs + Bytes(0x7F)) | word;
  return (from_blank & not_del & kTops) != kTops;
}

void AppendEscaped(char byte, std::string& out) {
  switch (byte) {
    case '\r':
      out += "\\r";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      out += "\\x";
      AppendHexByte(out, byte);
  }
}

}  // namespace

void LogError(const char* source, const std::string& text) {
  LogAccess::Write(text.c_str(), source, message::kError);
}

void LogFatal(const char* source, const std::string& text) {
  LogAccess::Write(text.c_str(), source, message::kFatal);
}

void LogWarning(const char* source, const std::string& text) {
  LogAccess::Write(text.c_str(), source, message::kWarning);
}

void LogSevereWarning(const char* source, const std::string& text) {
  LogAccess::Write(text.c_str(), source, message::kSevereWarning);
}

void LogInformation(const char* source, const std::string& text) {
  LogAccess::Write(text.c_str(), source, message::kInformation);
}

void LogPlain(const char* source, const std::string& text) {
  LogAccess::Write(text.c_str(), source, "");
}

bool IsShownAsIs(std::string_view value) {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  bool has_control = false;
  bool is_ascii = true;
  const auto look_at = [&](const char* at) {
    std::uint64_t word;
    std::memcpy(&word, at, kWord);
    has_control |= HasControl(word);
    is_ascii &= (word & kTops) == 0;
  };
  if (value.size() < kWord) {
    for (const char byte : value) {
      has_control |= IsControl(byte);
      is_ascii &= IsAscii(byte);
    }
  } else {
    std::size_t pos = 0;
    for (; pos + kWord <= value.size(); pos += kWord)
      look_at(value.data() + pos);
    // What is left, together with some bytes once more.
    look_at(value.data() + value.size() - kWord);
  }
  // No trail byte is a control byte, so bytes and characters agree on those.
  return !has_control && (is_ascii || IsCp936(value));
}

std::string Shown(std::string_view value) {
  if (IsShownAsIs(value)) return std::string(value);
  std::string out;
  out.reserve(value.size() + 16);
  while (!value.empty()) {
    const std::size_t size_bytes = CharacterSize(value, 0);
    const std::string_view character = value.substr(0, size_bytes);
    if (size_bytes == 1 ? !IsControl(value[0]) && IsCp936(character)
                        : IsCp936(character)) {
      out += character;
      value.remove_prefix(size_bytes);
    } else {
      AppendEscaped(value[0], out);
      value.remove_prefix(1);
    }
  }
  return out;
}

}  // namespace kiv
