#include "kiv/encoding.h"

#include <cstddef>
#include <string_view>

#include "util/cp936.h"
#include "util/utf8.h"

namespace kiv {
namespace {

template <typename Unit>
std::basic_string_view<Unit> Input(const Unit* text, unsigned length) {
  if (text == nullptr) return {};
  if (length == 0) return text;
  return {text, length};
}

// An array with room for `room` units and a NUL, filled by `convert`. It is
// made without being cleared: every unit that counts is written.
template <typename Unit, typename View>
std::shared_ptr<Unit[]> Converted(View text, std::size_t units_per_unit,
                                  std::size_t (*convert)(View, Unit*)) {
  auto result =
      std::make_shared_for_overwrite<Unit[]>(units_per_unit * text.size() + 1);
  result[static_cast<std::ptrdiff_t>(convert(text, result.get()))] = Unit{};
  return result;
}

}  // namespace

std::shared_ptr<char[]> wstringToString(const WideChar* text, unsigned length) {
  return Converted<char>(Input(text, length), 2, Utf16ToCp936);
}

std::shared_ptr<WideChar[]> stringToWstring(const char* text, unsigned length) {
  return Converted<WideChar>(Input(text, length), 1, Cp936ToUtf16);
}

std::shared_ptr<WideChar[]> utf8ToWstring(const char* text, unsigned length) {
  return Converted<WideChar>(Input(text, length), 1, Utf8ToUtf16);
}

std::shared_ptr<char[]> wstringToUtf8(const WideChar* text, unsigned length) {
  return Converted<char>(Input(text, length), 3, Utf16ToUtf8);
}

std::shared_ptr<char[]> utf8ToString(const char* text, unsigned length) {
  return Converted<char>(Input(text, length), 1, Utf8ToCp936);
}

std::shared_ptr<char[]> stringToUtf8(const char* text, unsigned length) {
  return Converted<char>(Input(text, length), 3, Cp936ToUtf8);
}

}  // namespace kiv
