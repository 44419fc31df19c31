#include "kiv/strings.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>
#include <tuple>

namespace kiv {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

TEST(Trim, TakesAsciiWhiteSpaceAtEitherEnd) {
  std::string text = " \t\r\n\v\f a b \xA1\xA1 ";
  EXPECT_EQ(&trim(text), &text);
  EXPECT_EQ(text, "a b \xA1\xA1");
  std::string left = "  a ";
  EXPECT_EQ(trim_left(left), "a ");
  std::string right = " a  ";
  EXPECT_EQ(trim_right(right), " a");
  std::string blank = " \t ";
  EXPECT_EQ(trim(blank), "");
}

TEST(StringReplace, ReplacesLeftToRightOnce) {
  const std::tuple<std::string, const char*, const char*, std::string, long>
      cases[] = {{"aaa", "a", "aa", "aaaaaa", 3},
                 {"aaaaa", "aa", "b", "bba", 2},
                 {"a-b-", "-", nullptr, "ab", 2},
                 {"abc", nullptr, "x", "abc", 0},
                 {"abc", "", "x", "abc", 0},
                 {"a\0a\0\0a"s, "a", "b", "b\0b\0\0b"s, 3},
                 // A second byte, and the halves of two characters.
                 {"\x95\\\\", "\\", "/", "\x95\\/", 1},
                 {"\xB0\xB1\xB2\xB3", "\xB1\xB2", "", "\xB0\xB1\xB2\xB3", 0}};
  for (const auto& [before, from, to, after, count] : cases) {
    std::string text = before;
    EXPECT_EQ(string_replace(text, from, to), count);
    EXPECT_EQ(text, after);
  }
  std::string text = "ab";
  EXPECT_EQ(string_replace(text, text.c_str() + 1, text.c_str()), 1);
  EXPECT_EQ(text, "aab");
}

TEST(StringToVector, SplitsAtEverySeparatorButNoneBehindTheLast) {
  const std::tuple<std::string, std::string, Strings> cases[] = {
      {"", ",", {}},
      {"a,,b", ",", {"a", "", "b"}},
      {"a,b,", ",", {"a", "b"}},
      {",", ",", {""}},
      {"a::b:c::", "::", {"a", "b:c"}},
      {"\x81\x7C|x", "|", {"\x81\x7C", "x"}},
      {"\xB0\xA3\xAC\xB0\xA3\xAC\xB1",
       "\xA3\xAC",
       {"\xB0\xA3\xAC\xB0", "\xB1"}}};
  Strings out;
  for (const auto& [text, separator, pieces] : cases) {
    EXPECT_TRUE(string_to_vector(text, separator, out, false));
    EXPECT_EQ(out, pieces);
    if (separator.size() == 1) string_to_vector(text, separator[0], out, false);
    EXPECT_EQ(out, pieces);
  }
  EXPECT_TRUE(string_to_vector(" a ; ;b", ";", out, true));
  EXPECT_THAT(out, ElementsAre("a", "", "b"));
  EXPECT_FALSE(string_to_vector("abc", "", out, true));
  EXPECT_THAT(out, ElementsAre("a", "", "b"));
  out = {"a,b"};
  string_to_vector(out[0], ',', out, false);
  EXPECT_THAT(out, ElementsAre("a", "b"));
}

TEST(AppendUnique, ComparesExactlyOrIgnoringCase) {
  Strings items{"One"};
  append_unique("one", items, true);
  EXPECT_THAT(items, ElementsAre("One"));
  append_unique(Strings{"one", "two", "two"}, items, false);
  EXPECT_THAT(items, ElementsAre("One", "one", "two"));
  append_unique(items, items, false);
  EXPECT_EQ(items.size(), 3u);
}

TEST(FirstChar, OneCharacterAloneIsLoweredByBoth) {
  const auto upper = [](std::string text) { return upperFirstChar(text); };
  const auto lower = [](std::string text) { return lowerFirstChar(text); };
  EXPECT_EQ(upper("X"), "x");
  EXPECT_EQ(upper("ab"), "Ab");
  EXPECT_EQ(upper(""), "");
  EXPECT_EQ(upper("\xE9\x61"), "\xE9\x61");
  EXPECT_EQ(lower("AB"), "aB");
}

TEST(Digits, AreLookedForInAsciiAlone) {
  const char* const null = nullptr;
  // Of a number, two characters only.
  for (const char* yes : {"1", "-1abc", "+0", "7x"})
    EXPECT_TRUE(isValidNumber(yes)) << yes;
  for (const char* no : {"", "-", "a", "-a", "--1", "\xB1\xB1"})
    EXPECT_FALSE(isValidNumber(no)) << no;
  EXPECT_TRUE(is_all_digit("0123456789"));
  for (const char* no : {"", "1a", "-1", " 1", "\xA3\xB1", null})
    EXPECT_FALSE(is_all_digit(no)) << (no ? no : "null");
  EXPECT_TRUE(isNotEnglish("a\0\xB0", 3));
  EXPECT_FALSE(isNotEnglish("ab\xB0", 2));
  EXPECT_FALSE(isNotEnglish(null, 3));
}

TEST(HashString, ReadsBytesAsSigned) {
  EXPECT_EQ(hash_string(nullptr), 0u);
  EXPECT_EQ(hash_string("\xB0\xA1"), static_cast<unsigned>(-80 * 5 - 95));
  EXPECT_EQ(hash_string("zzzzzzzzzzzzzzz"), 0xB72D432Eu);
}

TEST(Comparisons, TakeNullAndAnswerASign) {
  const char* const none = nullptr;
  EXPECT_EQ(strcmp(none, ""), 0);
  EXPECT_EQ(strcmp(none, "a"), -1);
  EXPECT_EQ(strcmp("z", "\x80"), -1);
  EXPECT_EQ(stricmp("AbC", "aBc"), 0);
  EXPECT_EQ(stricmp("\x81\x41", "\x81\x61"), -1);
  EXPECT_EQ(strcmp(static_cast<const char16_t*>(nullptr), u""), 0);
  EXPECT_EQ(strcmp(u"a\uFFFF", u"a\u0001"), 1);
  EXPECT_EQ(stricmp(u"\u5BB9Q", u"\u5BB9q"), 0);
  EXPECT_EQ(stricmp(u"\u00C0", u"\u00E0"), -1);
  EXPECT_EQ(stricmp(L"\u5BB9Q", L"\u5BB9q"), 0);
  EXPECT_EQ(strlen(none), 0u);
  EXPECT_EQ(strlen(u"\u5BB9x"), 2u);
}

TEST(Atoi, StopsAtTheFirstOtherCharacterAndStaysInRange) {
  EXPECT_EQ(atoi(" \t-12x"), -12);
  EXPECT_EQ(atoi("+7"), 7);
  EXPECT_EQ(atoi("- 7"), 0);
  EXPECT_EQ(atoi("2147483648"), INT_MAX);
  EXPECT_EQ(atoi("-99999999999999999999"), INT_MIN);
  EXPECT_EQ(atoi(nullptr), 0);
}

TEST(PathForms, TurnSeparatorsButNoSecondByte) {
  const auto turned = [](auto turn, std::string path, bool keep) {
    return turn(path, keep);
  };
  EXPECT_EQ(turned(toOsPath, "a/b\\c", true), "a\\b\\c");
  EXPECT_EQ(turned(toGenericPath, "a\\\x95\\\\b", true), "a/\x95\\/b");
  EXPECT_EQ(turned(toGenericPath, "a\\\x81\x61", false), "A/\x81\x61");
  for (const bool keep : {false, true}) {
    EXPECT_EQ(turned(toModulePath, "bin\\worker", keep), "BIN/WORKER.DLL");
    EXPECT_EQ(turned(toModulePath, "x.DLL", keep), "X.DLL");
    EXPECT_EQ(turned(toModulePath, "dll", keep), "DLL.DLL");
  }
  // The prefix of long paths goes once.
  char path[] = "\\\\?\\\\\\?\\c";
  Fix_GetModuleFileName_Bug(path);
  EXPECT_STREQ(path, "\\\\?\\c");
  char other[] = "\\\\?";
  Fix_GetModuleFileName_Bug(other);
  EXPECT_STREQ(other, "\\\\?");
  Fix_GetModuleFileName_Bug(nullptr);
}

}  // namespace
}  // namespace kiv
