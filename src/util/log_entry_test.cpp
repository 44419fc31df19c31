#include "util/log_entry.h"

#include "gtest/gtest.h"

namespace kiv {
namespace {

struct ShownCase {
  const char* name;
  std::string_view value;
  std::string_view shown;
};

class ShownText : public testing::TestWithParam<ShownCase> {};

// Also in front of and behind enough clean text that whole words are looked at.
TEST_P(ShownText, EscapesControlBytesAndBrokenCharactersOnly) {
  const ShownCase& row = GetParam();
  EXPECT_EQ(Shown(row.value), row.shown);
  EXPECT_EQ(IsShownAsIs(row.value), row.value == row.shown);
  for (std::size_t size_bytes = 0; size_bytes < 20; ++size_bytes) {
    const std::string clean(size_bytes, '~');
    const std::string value = clean + std::string(row.value) + " " + clean;
    EXPECT_EQ(Shown(value), clean + std::string(row.shown) + " " + clean);
    EXPECT_EQ(IsShownAsIs(value), row.value == row.shown) << size_bytes;
  }
}

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(
    Value, ShownText,
    testing::Values(ShownCase{"Ascii", " az\\~", " az\\~"},
                    ShownCase{"LineBreak", "a\r\nb\t", "a\\r\\nb\\t"},
                    ShownCase{"Escape", "\x1B[2J", "\\x1B[2J"},
                    ShownCase{"Delete", "\x7F", "\\x7F"},
                    ShownCase{"Nul", "a\0b"sv, "a\\x00b"},
                    ShownCase{"LastControl", "\x1F\x20", "\\x1F\x20"},
                    // 错, €, and a second byte that looks like a backslash
                    ShownCase{"Chinese", "\xB4\xED", "\xB4\xED"},
                    ShownCase{"Euro", "\x80", "\x80"},
                    ShownCase{"SecondByteIsBackslash", "\x81\\", "\x81\\"},
                    ShownCase{"LeadByteBeforeLineBreak", "\xB4\n", "\\xB4\\n"},
                    ShownCase{"LeadByteBeforeDelete", "\xB4\x7F", "\\xB4\\x7F"},
                    ShownCase{"LeadByteBeforeBlank", "\xB4 x", "\\xB4 x"},
                    ShownCase{"NoCharacter", "\xFF", "\\xFF"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace kiv
