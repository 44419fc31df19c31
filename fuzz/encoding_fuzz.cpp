// Any bytes as local text, as UTF-8 and as UTF-16: nothing may be read or
// written outside, and what a conversion gave converts back to itself.
#include <cstring>
#include <string>

#include "input_of_fuzz.h"
#include "kiv/encoding.h"
#include "kiv/strings.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::fuzz {

void CheckLocal(const std::string& text) {
  const std::u16string wide = Cp936ToUtf16(text);
  Expect(Cp936ToUtf8(text) == Utf16ToUtf8(wide));
  Expect(IsCp936(text) == (wide.find(u'\uFFFD') == std::u16string::npos));
  if (IsCp936(text)) Expect(Utf16ToCp936(wide) == text);

  std::string lower = text;
  LowerAscii(lower);
  Expect(CompareIgnoreCase(lower, text) == 0);
  std::string replaced = text;
  std::string expected = text;
  ReplaceAscii(expected, '\\', '/');
  string_replace(replaced, "\\", "/");
  Expect(replaced == expected);

  // In blocks, as the XML platform reads.
  std::u16string pieces;
  std::string_view rest = text;
  while (!rest.empty()) {
    char16_t units[33];
    unsigned char sizes[33];
    const BlockProgress done =
        DecodeCp936Block(rest.substr(0, 40), units, 33, sizes);
    if (done.read == 0) break;
    pieces.append(units, done.written);
    rest.remove_prefix(done.read);
  }
  if (rest.size() == 1) pieces += u'\uFFFD';
  Expect(pieces == wide);
}

void CheckWide(const std::u16string& wide) {
  const std::string text = Utf16ToCp936(wide);
  Expect(IsCp936(text));
  Expect(Utf16ToCp936(Cp936ToUtf16(text)) == text);
  const std::string utf8 = Utf16ToUtf8(wide);
  Expect(IsUtf8(utf8));
  Expect(Utf16ToUtf8(Utf8ToUtf16(utf8)) == utf8);
  Expect(Utf8ToCp936(utf8).size() <= text.size());
}

void Run(std::string_view input) {
  const std::string text(input);
  CheckLocal(text);
  CheckWide(Utf8ToUtf16(text));
  Expect(Utf8ToCp936(text) == Utf16ToCp936(Utf8ToUtf16(text)));
  std::u16string wide(input.size() / 2, u'\0');
  std::memcpy(wide.data(), input.data(), 2 * wide.size());
  CheckWide(wide);
  if (input.empty()) return;
  const auto size = static_cast<unsigned>(input.size());
  Expect(std::strlen(stringToUtf8(input.data(), size).get()) <= 3 * size);
  Expect(kiv::strlen(stringToWstring(input.data(), size).get()) <= size);
}

}  // namespace kiv::fuzz
