#include "util/gb_text.h"

#include <gtest/gtest.h>

#include <random>

namespace kiv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// Stepping from the front, which everything else must agree with.
bool BeginsByStepping(std::string_view text, std::size_t wanted) {
  std::size_t pos = 0;
  while (pos < wanted) pos += CharacterSize(text, pos);
  return pos == wanted;
}

// Few different bytes, so that every kind of neighbour meets every other.
TEST(GbText, LookingBackAgreesWithSteppingForward) {
  constexpr char kBytes[] = {'\x81', '\xFE', '\x80', '\xFF', '\x7F',
                             'A',    '\\',   '1',    '\xB0'};
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string text(1 + random() % 12, '\0');
    for (char& byte : text) byte = kBytes[random() % sizeof kBytes];
    std::size_t first = kNone;
    std::size_t last = kNone;
    for (std::size_t pos = 0; pos < text.size(); ++pos) {
      const bool begins = BeginsByStepping(text, pos);
      ASSERT_EQ(BeginsCharacter(text, pos), begins) << round << ' ' << pos;
      if (!begins || text[pos] != '\\') continue;
      if (first == kNone) first = pos;
      last = pos;
    }
    ASSERT_EQ(FindAscii(text, '\\'), first);
    ASSERT_EQ(FindLastAscii(text, '\\'), last);
    ASSERT_EQ(FindText(text, "\\"), first);
  }
}

TEST(GbText, FindsWholeCharactersOnly) {
  // Second and first bytes of neighbours look like another character.
  EXPECT_EQ(FindText("\xB0\xB1\xB2\xB3", "\xB1\xB2"), kNone);
  EXPECT_EQ(FindText("\xB0\xB1\xB1\xB2\xB1\xB2", "\xB1\xB2"), 2u);
  EXPECT_EQ(FindText("\x95\x5C\x5Cn", "\x5Cn"), 2u);
  EXPECT_EQ(FindText("\xB0\xB1", "\xB0"), kNone);
  EXPECT_EQ(FindText("\xB0\xB1\xB0\x31", "\xB0"), 2u);
  EXPECT_EQ(FindText("abc", "", 3), 3u);
  EXPECT_EQ(FindText("abc", "", 4), kNone);
}

// Misaligned matches at every place would make a search that looks back to the
// front quadratic; this takes minutes then.
TEST(GbText, SearchesALongRunInOnePass) {
  const std::string text = "a" + std::string(4'000'000, '\xB0') + "1";
  EXPECT_EQ(FindText(text, "\xB0\x31"), kNone);
  EXPECT_EQ(FindText(text, "\xB0\xB0\xB0\x31"), kNone);
}

TEST(GbText, FoldsAsciiAndLeavesSecondBytesAlone) {
  std::string text = "a\x81\x61z\xE9\x41Q";
  UpperAscii(text);
  EXPECT_EQ(text, "A\x81\x61Z\xE9\x41Q");
  LowerAscii(text);
  EXPECT_EQ(text, "a\x81\x61z\xE9\x41q");
  text = "a\\\x95\\\\";
  ReplaceAscii(text, '\\', '/');
  EXPECT_EQ(text, "a/\x95\\/");
  EXPECT_EQ(CompareIgnoreCase("ABC\x81\x61", "abc\x81\x61"), 0);
  EXPECT_EQ(CompareIgnoreCase("\x81\x41", "\x81\x61"), -1);
  EXPECT_EQ(CompareIgnoreCase("\x81\x31\x41", "\x81\x31\x61"), 0);
  EXPECT_EQ(CompareIgnoreCase("_", "A"), -1);
  EXPECT_EQ(CompareIgnoreCase("z", "\x80"), -1);
  EXPECT_EQ(CompareIgnoreCase("ab", "A"), 1);
  EXPECT_FALSE(StartsWithIgnoreCase("ex", "exit"));
}

}  // namespace
}  // namespace kiv
