#include "util/cp936.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <numeric>
#include <string>
#include <utility>

namespace kiv {
namespace {

// What the system's own converter says; 0 when it has no such code.
char16_t SystemDecode(std::string code) {
  static const iconv_t handle = iconv_open("UTF-16LE", "CP936");
  char16_t unit = 0;
  char* in = code.data();
  std::size_t in_left = code.size();
  char* out = reinterpret_cast<char*>(&unit);
  std::size_t out_left = sizeof unit;
  iconv(handle, nullptr, nullptr, nullptr, nullptr);
  const std::size_t result = iconv(handle, &in, &in_left, &out, &out_left);
  return result == static_cast<std::size_t>(-1) ? u'\0' : unit;
}

// The three areas for characters of one's own, row by row; 0 outside them.
char16_t UserDefined(unsigned lead, unsigned trail) {
  if (trail >= 0xA1 && lead >= 0xAA && lead <= 0xAF)
    return static_cast<char16_t>(0xE000 + (lead - 0xAA) * 94 + trail - 0xA1);
  if (trail >= 0xA1 && lead >= 0xF8)
    return static_cast<char16_t>(0xE234 + (lead - 0xF8) * 94 + trail - 0xA1);
  if (trail <= 0xA0 && lead >= 0xA1 && lead <= 0xA7)
    return static_cast<char16_t>(0xE4C6 + (lead - 0xA1) * 96 + trail - 0x40 -
                                 (trail > 0x7F ? 1 : 0));
  return 0;
}

// The system's converter leaves out the user-defined areas and 255 places that
// were never given a character; these follow each other in private use.
TEST(Cp936, EveryTwoByteCodeMeansWhatTheSystemSaysAndComesBack) {
  char16_t next_unassigned = 0xE766;
  int codes = 0;
  for (unsigned lead = 0x81; lead <= 0xFE; ++lead) {
    for (unsigned trail = 0x40; trail <= 0xFE; ++trail) {
      if (trail == 0x7F) continue;
      const std::string code{static_cast<char>(lead), static_cast<char>(trail)};
      char16_t expected = UserDefined(lead, trail);
      if (expected == 0) expected = SystemDecode(code);
      if (expected == 0) expected = next_unassigned++;
      const std::u16string wide = Cp936ToUtf16(code);
      ASSERT_EQ(wide, std::u16string(1, expected)) << std::hex << lead << trail;
      ASSERT_EQ(Utf16ToCp936(wide), code) << std::hex << lead << trail;
      const std::string utf8 = Cp936ToUtf8(code);
      ASSERT_EQ(utf8, Utf16ToUtf8(wide));
      ASSERT_EQ(Utf8ToCp936(utf8), code);
      ++codes;
    }
  }
  EXPECT_EQ(codes, 23940);
  EXPECT_EQ(next_unassigned, 0xE865);
}

TEST(Cp936, HasExactlyTheCharactersItDecodes) {
  int in = 0;
  for (char32_t character = 0; character < 0x10000; ++character) {
    const char16_t unit = static_cast<char16_t>(character);
    const std::string code = Utf16ToCp936(std::u16string(1, unit));
    const bool comes_back = Cp936ToUtf16(code) == std::u16string(1, unit);
    ASSERT_EQ(IsInCp936(character), comes_back)
        << static_cast<unsigned>(character);
    ASSERT_TRUE(comes_back || code == "?") << static_cast<unsigned>(character);
    in += comes_back;
  }
  EXPECT_EQ(in, 23940 + 128 + 1);
  EXPECT_FALSE(IsInCp936(0x1F600));
  EXPECT_FALSE(IsInCp936(0x10041));
}

using namespace std::string_literals;

// Alone, behind a block of ASCII and before one: the fast path and the slow one
// meet at every place.
TEST(Cp936, BadBytesDoNotShiftWhatFollows) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"\x80", u"\u20AC"},
      {"\x80\xC8\xDD", u"\u20AC\u5BB9"},
      {"\xFF\x41", u"\uFFFD\x41"},
      // a lead byte before a digit, NUL, delete and 0xFF
      {"\xB4\x31", u"\uFFFD\x31"},
      {"\xB4\0x"s, u"\uFFFD\0x"s},
      {"\xB4\xFF", u"\uFFFD\uFFFD"},
      {"\x95\x5C", u"\u661E"},
      {"\x81\x40\xFE\xFE", u"\u4E02\uE4C5"},
  };
  for (const auto& [gb, wide] : cases) {
    for (std::size_t before = 0; before < 20; ++before) {
      for (const std::size_t after : {0, 1, 15, 16, 40}) {
        const std::string text =
            std::string(before, 'a') + gb + std::string(after, '!');
        const std::u16string expected =
            std::u16string(before, u'a') + wide + std::u16string(after, u'!');
        ASSERT_EQ(Cp936ToUtf16(text), expected) << before << ' ' << after;
        ASSERT_EQ(Cp936ToUtf8(text), Utf16ToUtf8(expected));
      }
    }
  }
  EXPECT_EQ(Cp936ToUtf16(std::string(15, 'a') + "\xB4"),
            std::u16string(15, u'a') + u"\uFFFD");
  EXPECT_EQ(Cp936ToUtf8("\xB4"), "\xEF\xBF\xBD");
  EXPECT_FALSE(IsCp936("ab\xB4"));
  EXPECT_FALSE(IsCp936("\xFF"));
  EXPECT_TRUE(IsCp936("\x80\x95\x5C"));
}

TEST(Cp936, WhatItLacksBecomesOneQuestionMark) {
  const std::u16string pair = u"\xD83D\xDE00";
  for (std::size_t before = 0; before < 20; ++before) {
    const std::u16string lead(before, u'\u4E2D');
    std::string expected;
    for (std::size_t i = 0; i < before; ++i) expected += "\xD6\xD0";
    EXPECT_EQ(Utf16ToCp936(lead + pair + u"!"), expected + "?!");
    EXPECT_EQ(Utf16ToCp936(lead + u"\xD83D!"), expected + "?!");
    EXPECT_EQ(Utf16ToCp936(lead + u"\xDE00\xD83D"), expected + "??");
    EXPECT_EQ(Utf16ToCp936(lead + u"\x00EB\xFFFDz"), expected + "??z");
  }
  EXPECT_EQ(Utf8ToCp936("a\xF0\x9F\x98\x80z"), "a?z");
}

TEST(Utf8Text, DecodesEachLongestPrefixOnce) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"a\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80", u"a\u0080\u0800\U00010000"},
      {"\xF4\x8F\xBF\xBF\xEF\xBF\xBF", u"\U0010FFFF\uFFFF"},
      {"\xEF\xBF\xBD", u"\uFFFD"},
      {"a\0b"s, u"a\0b"s},
      // Overlong, a surrogate, and past the last.
      {"\xC0\xAF\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      // Cut off, and a stray continuation.
      {"\xE4\xB8z\xF0\x9F\x98", u"\uFFFDz\uFFFD"},
      {"\x80\xFFz", u"\uFFFD\uFFFDz"},
  };
  for (const auto& [text, wide] : cases) {
    EXPECT_EQ(Utf8ToUtf16(text), wide);
    EXPECT_EQ(Utf8ToUtf16(std::string(17, 'x') + text + "end"),
              std::u16string(17, u'x') + wide + u"end");
    const bool is_good =
        wide.find(u'\uFFFD') == std::u16string::npos || text == "\xEF\xBF\xBD";
    EXPECT_EQ(IsUtf8(text), is_good) << text;
    EXPECT_TRUE(!is_good || Utf16ToUtf8(wide) == text) << text;
  }
  EXPECT_EQ(Utf16ToUtf8(u"a\xD83Dz\xDE00"), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
  EXPECT_EQ(Utf16ToUtf8(std::u16string(16, u'a') + u"\xD83D\xDE00"),
            std::string(16, 'a') + "\xF0\x9F\x98\x80");
}

// Reads a text in blocks and with little room, as the XML platform does.
TEST(Cp936Block, DecodesTheSameHoweverTheTextIsCut) {
  std::string text;
  for (std::size_t i = 0; i < 30; ++i)
    text += std::string(i, 'a') + "\xC8\xDD\x80\xB4" + "1\x95\x5C";
  char16_t units[64];
  unsigned char sizes[64];
  for (std::size_t step = 2; step < 40; ++step) {
    for (const std::size_t room : {1, 7, 16, 64}) {
      std::u16string result;
      for (std::size_t pos = 0; pos < text.size();) {
        const std::string_view block = std::string_view(text).substr(pos, step);
        const BlockProgress done = DecodeCp936Block(block, units, room, sizes);
        ASSERT_GT(done.read, 0u);
        ASSERT_LE(done.written, room);
        ASSERT_EQ(std::accumulate(sizes, sizes + done.written, 0u), done.read);
        result.append(units, done.written);
        pos += done.read;
      }
      ASSERT_EQ(result, Cp936ToUtf16(text)) << step << ' ' << room;
    }
  }
  EXPECT_EQ(DecodeCp936Block("\xB4", units, 1, sizes).read, 0u);
}

TEST(Cp936Block, EncodesTheSameHoweverLittleRoomThereIs) {
  std::u16string text;
  for (std::size_t i = 0; i < 30; ++i)
    text += std::u16string(i, u'a') + u"\u955D\xD83D\xDE00\u20AC\xDE00";
  // Little text at a time, and little room.
  for (const auto& [block, room] :
       {std::pair(2u, 40u), {3u, 40u}, {1000u, 2u}, {1000u, 3u}}) {
    std::string result;
    std::string bytes(room, '\0');
    for (std::u16string_view rest = text; !rest.empty();) {
      const BlockProgress done =
          EncodeCp936Block(rest.substr(0, block), bytes.data(), room);
      ASSERT_GT(done.read, 0u);
      result.append(bytes, 0, done.written);
      rest.remove_prefix(done.read);
    }
    ASSERT_EQ(result, Utf16ToCp936(text)) << block << ' ' << room;
  }
  // A text that ends with half a pair must not make the caller wait for ever.
  char byte = 0;
  const BlockProgress done = EncodeCp936Block(u"\xD83D", &byte, 1);
  EXPECT_EQ(done.read, 1u);
  EXPECT_EQ(done.written, 1u);
  EXPECT_EQ(byte, '?');
}

}  // namespace
}  // namespace kiv
