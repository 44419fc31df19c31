#include "local_text.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "kiv/encoding.h"

namespace kiv_tool {
namespace {

// The library's conversions end at a NUL: a body goes through them in the
// pieces between.
template <class Convert>
std::string InPieces(const std::string& text, Convert convert) {
  std::string out;
  std::size_t at = 0;
  for (;;) {
    const std::size_t end = std::min(text.find('\0', at), text.size());
    if (end > at)
      out += convert(text.data() + at, static_cast<unsigned>(end - at)).get();
    if (end == text.size()) return out;
    out += '\0';
    at = end + 1;
  }
}

bool IsUtf8(const std::string& text) {
  return text == InPieces(text, [](const char* piece, unsigned length) {
           return kiv::wstringToUtf8(kiv::utf8ToWstring(piece, length).get(),
                                     0);
         });
}

std::string ToUtf8(const std::string& gb) {
  return InPieces(gb, kiv::stringToUtf8);
}

}  // namespace

std::string ToLocal(const std::string& utf8) {
  return InPieces(utf8, kiv::utf8ToString);
}

bool ToGb2312(const std::string& utf8, std::string& gb) {
  std::string converted = ToLocal(utf8);
  if (ToUtf8(converted) != utf8) return false;
  gb = std::move(converted);
  return true;
}

bool FromGb2312(const std::string& gb, std::string& utf8) {
  std::string converted = ToUtf8(gb);
  if (ToLocal(converted) != gb) return false;
  utf8 = std::move(converted);
  return true;
}

std::string ForTerminal(const std::string& body) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = body;
  const bool is_text = IsUtf8(body) || FromGb2312(body, text);
  const int end = is_text ? 0x100 : 0x80;
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte >= 0x20 && byte != 0x7F && byte < end) || c == '\n' ||
        c == '\t') {
      out += c;
      continue;
    }
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  return out;
}

}  // namespace kiv_tool
