#include "util/utf8.h"

#include "util/ascii_block.h"
#include "util/gb_text.h"

namespace kiv {

std::size_t Utf8ToUtf16(std::string_view text, char16_t* out) {
  // No character takes more units than bytes, so where a block is left to read,
  // one fits.
  return ascii_block::ConvertText(
      text, out, ascii_block::Widen,
      [](const char*& in, const char* end, char16_t*& to) {
        char32_t character;
        in = utf8::DecodeOne(in, end, character);
        if (character <= 0xFFFF) {
          *to++ = static_cast<char16_t>(character);
        } else {
          *to++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
          *to++ = static_cast<char16_t>(0xDC00 | (character & 0x3FF));
        }
      });
}

std::size_t Utf16ToUtf8(std::u16string_view text, char* out) {
  return ascii_block::ConvertText(
      text, out, ascii_block::Narrow,
      [](const char16_t*& in, const char16_t* end, char*& to) {
        char32_t character = *in++;
        if (IsHighSurrogate(static_cast<char16_t>(character)) && in != end &&
            IsLowSurrogate(*in)) {
          character = 0x10000 + ((character & 0x3FF) << 10 | (*in++ & 0x3FFU));
        } else if ((character & 0xF800) == 0xD800) {
          character = kReplacementUnit;
        }
        to += utf8::EncodeOne(character, to);
      });
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string result(text.size(), u'\0');
  result.resize(Utf8ToUtf16(text, result.data()));
  return result;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string result(3 * text.size(), '\0');
  result.resize(Utf16ToUtf8(text, result.data()));
  return result;
}

bool IsUtf8(std::string_view text) {
  const char* in = text.data();
  const char* const end = in + text.size();
  while (in != end) {
    if (end - in >= static_cast<std::ptrdiff_t>(ascii_block::kBytes)) {
      const std::size_t ascii = ascii_block::CountBytes(in);
      if (ascii == ascii_block::kBytes) {
        in += ascii_block::kBytes;
        continue;
      }
      in += ascii;
    }
    char32_t character;
    const char* const next = utf8::DecodeOne(in, end, character);
    // U+FFFD itself is a character of three bytes; nothing ill-formed has the
    // same three.
    if (character == kReplacementUnit &&
        std::string_view(in, static_cast<std::size_t>(next - in)) !=
            "\xEF\xBF\xBD")
      return false;
    in = next;
  }
  return true;
}

}  // namespace kiv
