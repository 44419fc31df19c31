#include "util/log_entry.h"

#include "gtest/gtest.h"

namespace kiv {
namespace {

using namespace std::string_view_literals;

// Also in front of and behind enough clean text that whole words are looked at.
TEST(Shown, EscapesControlBytesAndBrokenCharactersOnly) {
  constexpr struct {
    std::string_view value;
    std::string_view shown;
  } kCases[] = {{" az\\~", " az\\~"},
                {"a\r\nb\t", "a\\r\\nb\\t"},
                {"\x1B[2J", "\\x1B[2J"},
                {"\x7F", "\\x7F"},
                {"a\0b"sv, "a\\x00b"},
                {"\x1F\x20", "\\x1F\x20"},
                // 错, €, and a second byte that looks like a backslash
                {"\xB4\xED", "\xB4\xED"},
                {"\x80", "\x80"},
                {"\x81\\", "\x81\\"},
                // a lead byte before a line break, a delete, a blank
                {"\xB4\n", "\\xB4\\n"},
                {"\xB4\x7F", "\\xB4\\x7F"},
                {"\xB4 x", "\\xB4 x"},
                {"\xFF", "\\xFF"}};
  for (const auto& [value, shown] : kCases) {
    EXPECT_EQ(Shown(value), shown);
    EXPECT_EQ(IsShownAsIs(value), value == shown) << shown;
    for (std::size_t size_bytes = 0; size_bytes < 20; ++size_bytes) {
      const std::string clean(size_bytes, '~');
      const std::string text = clean + std::string(value) + " " + clean;
      EXPECT_EQ(Shown(text), clean + std::string(shown) + " " + clean);
      EXPECT_EQ(IsShownAsIs(text), value == shown) << shown << size_bytes;
    }
  }
}

}  // namespace
}  // namespace kiv
