// Any bytes as local text, as UTF-8 and as UTF-16: nothing may be read or
// written outside, and what a conversion gave converts back to itself.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kiv/encoding.h"
#include "kiv/strings.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

void CheckLocal(const std::string& text) {
  const std::u16string wide = kiv::Cp936ToUtf16(text);
  Check(kiv::Cp936ToUtf8(text) == kiv::Utf16ToUtf8(wide));
  Check(kiv::IsCp936(text) == (wide.find(u'\uFFFD') == std::u16string::npos));
  if (kiv::IsCp936(text)) Check(kiv::Utf16ToCp936(wide) == text);

  std::string lower = text;
  kiv::LowerAscii(lower);
  Check(kiv::CompareIgnoreCase(lower, text) == 0);
  std::string replaced = text;
  std::string expected = text;
  kiv::ReplaceAscii(expected, '\\', '/');
  kiv::string_replace(replaced, "\\", "/");
  Check(replaced == expected);

  // In blocks, as the XML platform reads.
  std::u16string pieces;
  std::string_view rest = text;
  while (!rest.empty()) {
    char16_t units[33];
    unsigned char sizes[33];
    const kiv::BlockProgress done =
        kiv::DecodeCp936Block(rest.substr(0, 40), units, 33, sizes);
    if (done.read == 0) break;
    pieces.append(units, done.written);
    rest.remove_prefix(done.read);
  }
  if (rest.size() == 1) pieces += u'\uFFFD';
  Check(pieces == wide);
}

void CheckWide(const std::u16string& wide) {
  const std::string text = kiv::Utf16ToCp936(wide);
  Check(kiv::IsCp936(text));
  Check(kiv::Utf16ToCp936(kiv::Cp936ToUtf16(text)) == text);
  const std::string utf8 = kiv::Utf16ToUtf8(wide);
  Check(kiv::IsUtf8(utf8));
  Check(kiv::Utf16ToUtf8(kiv::Utf8ToUtf16(utf8)) == utf8);
  Check(kiv::Utf8ToCp936(utf8).size() <= text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  const std::vector<char> exact(bytes, bytes + size);
  const std::string text(exact.begin(), exact.end());
  CheckLocal(text);
  CheckWide(kiv::Utf8ToUtf16(text));
  Check(kiv::Utf8ToCp936(text) == kiv::Utf16ToCp936(kiv::Utf8ToUtf16(text)));
  std::u16string wide(size / 2, u'\0');
  std::memcpy(wide.data(), bytes, size / 2 * 2);
  CheckWide(wide);
  if (size > 0) {
    const auto length = static_cast<unsigned>(size);
    const auto narrow = kiv::stringToUtf8(exact.data(), length);
    Check(std::strlen(narrow.get()) <= 3 * size);
    const auto units = kiv::stringToWstring(exact.data(), length);
    Check(kiv::strlen(units.get()) <= size);
  }
  return 0;
}
