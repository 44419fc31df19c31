#include "mq/queue_name.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "port/native_path.h"
#include "util/cp936.h"
#include "util/gb_text.h"
#include "util/hex_digits.h"

namespace kiv::mq {
namespace {

constexpr std::string_view kFormat = "DIRECT=OS:";
constexpr std::string_view kPrivate = ".\\private$\\";
constexpr std::string_view kSuffix = ".queue";
// Room for what is put behind it, within the 255 bytes of a file name.
constexpr std::size_t kLongestFileBytes = 240;

bool DropPrefix(std::string_view& text, std::string_view prefix) {
  if (!StartsWithIgnoreCase(text, prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool IsLead(char c) { return static_cast<unsigned char>(c) >= 0x80; }

bool StandsForItself(char c) {
  return IsAsciiDigit(c) || IsAsciiAlpha(c) || c == '-' || c == '_' ||
         c == '.' || c == '$';
}

void AppendEscaped(std::string& out, char c) {
  out += '%';
  AppendHexByte(out, c);
}

}  // namespace

bool QueueName::Read(const std::string& written, QueueName& out,
                     std::string& reason) {
  // Dropped as often as it comes: a name that was read is read the same again.
  std::string_view text = written;
  std::string_view direct = text;
  if (DropPrefix(direct, kFormat) && DropPrefix(direct, kPrivate))
    text = direct;
  while (DropPrefix(text, kPrivate)) {
  }
  if (text.empty()) {
    reason = "the name is empty";
    return false;
  }
  // There and back: two byte sequences that mean one character would meet in
  // one file.
  if (Utf8ToCp936(Cp936ToUtf8(text)) != text) {
    reason = "the name is no text in the local encoding";
    return false;
  }
  // A broker drops some of them, and two names would be one.
  if (std::any_of(text.begin(), text.end(), IsControl)) {
    reason = "the name holds a control character";
    return false;
  }
  QueueName name;
  name.text_ = text;
  if (port::SystemPath(name.File()).size() > kLongestFileBytes) {
    reason = "the name is too long: at most " +
             std::to_string(kLongestFileBytes - kSuffix.size()) +
             " letters or digits, or a third of that in Chinese characters";
    return false;
  }
  out = name;
  return true;
}

bool QueueName::FromFile(const std::string& file, QueueName& out) {
  std::string_view text = file;
  if (!text.ends_with(kSuffix)) return false;
  text.remove_suffix(kSuffix.size());
  std::string name;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == '%') {
      const int high = at + 2 < text.size() ? HexValue(text[at + 1]) : -1;
      const int low = high >= 0 ? HexValue(text[at + 2]) : -1;
      if (low < 0) return false;
      name += static_cast<char>(high * 16 + low);
      at += 3;
      continue;
    }
    const std::size_t size = CharacterSize(text, at);
    name += text.substr(at, size);
    at += size;
  }
  QueueName read;
  std::string reason;
  // Another program's file may look like ours and yet be no name's; File does
  // not write lower case.
  if (!Read(name, read, reason) || read.File() != file) return false;
  out = read;
  return true;
}

std::string QueueName::Utf8() const { return Cp936ToUtf8(text_); }

std::string QueueName::Path() const { return std::string(kPrivate) + text_; }

std::string QueueName::File() const {
  std::string file;
  for (std::size_t at = 0; at < text_.size();) {
    const std::size_t size = CharacterSize(text_, at);
    const char c = text_[at];
    if (IsLead(c) || (StandsForItself(c) && !(c == '.' && at == 0)))
      file.append(text_, at, size);
    else
      AppendEscaped(file, c);
    at += size;
  }
  return file.append(kSuffix);
}

}  // namespace kiv::mq
