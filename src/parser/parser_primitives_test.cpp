#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <tuple>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

using namespace std::string_literals;

// A two-byte character whose second byte looks like "|".
const std::string kLikeBar = "\x81\x7C";

TEST(ParserPrimitives, TellByConsumedWhatWasThere) {
  const ExactText blanks(" \t\r\n\v\f x \n"), text("  x");
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::IgnoreSpaces(blanks.begin(), blanks.end(), consumed));
  EXPECT_EQ(consumed, 7u);
  EXPECT_TRUE(Parser::IgnoreSpacesTail(blanks.begin(), blanks.end(), consumed));
  EXPECT_EQ(consumed, 2u);
  EXPECT_TRUE(Parser::IgnoreNextChar(text.begin(), text.end(), 'y', consumed));
  EXPECT_EQ(consumed, 2u);
  EXPECT_TRUE(Parser::IgnoreNextChar(text.begin(), text.end(), 'x', consumed));
  EXPECT_EQ(consumed, 3u);
  EXPECT_TRUE(Parser::IgnoreNextChar(text.begin(), text.end(), consumed));
  EXPECT_EQ(consumed, 1u);
  EXPECT_FALSE(Parser::IgnoreNextChar(text.end(), text.end(), consumed));
  EXPECT_EQ(consumed, 0u);
  const ExactText letters(" abc1");
  std::string out;
  Parser::ParseAlpha(letters.begin(), letters.end(), 2, out, consumed);
  EXPECT_EQ(out, "ab");
  Parser::ParseAlpha(letters.begin(), letters.end(), 9, out, consumed);
  EXPECT_EQ(out, "abc");
}

TEST(ParserPrimitives, IsEqualComparesAsManyAsAsked) {
  EXPECT_TRUE(Parser::IsEqual("abcX", "abcY", false, 3));
  EXPECT_FALSE(Parser::IsEqual("abc", "ABC", false, 3));
  EXPECT_TRUE(Parser::IsEqual("abc", "ABC", true, 0));
  EXPECT_FALSE(Parser::IsEqual("abc", "abcd", false, 0));
  // Equal texts, but a NUL before the fourth character.
  EXPECT_FALSE(Parser::IsEqual("abc", "abc", false, 4));
  EXPECT_FALSE(Parser::IsEqual(nullptr, "abc", false, 0));
  EXPECT_FALSE(Parser::IsEqual("abc", nullptr, true, 2));
  // The second bytes are "a" and "A", the characters are two.
  EXPECT_FALSE(Parser::IsEqual("\xB4\x61", "\xB4\x41", true, 2));
}

TEST(ParserPrimitives, NextStringIsSkippedOnlyWhenWhole) {
  const ExactText text(" End");
  const auto skipped = [&](const std::string& string, auto... ignore_case) {
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::IgnoreNextString(text.begin(), text.end(), string,
                                         ignore_case..., consumed));
    return consumed;
  };
  EXPECT_EQ(skipped("END", true), 4u);
  EXPECT_EQ(skipped("END"), 1u);
  EXPECT_EQ(skipped("End "), 1u);
}

TEST(ParserSpans, StopBeforeTheDelimiter) {
  using Text = std::string;
  const std::tuple<const char*, Text, Text, Text, unsigned> cases[] = {
      {"TrailingBlanksOnlyCount", "  key = value", "=", "key", 6},
      {"WordInAnyCase", "a b END c", "end", "a b", 4},
      {"CutDelimiterIsNone", "abcEN", "end", "abcEN", 5},
      {"NoDelimiter", " abc ", "", "abc", 5},
      {"NulIsNeverFound", "a\0b"s, "\0"s, "a\0b"s, 3},
      {"SecondByteIsNone", kLikeBar + "a|b", "|", kLikeBar + "a", 3},
      {"SecondByteIsNoLetter", "\x81\x58x", "X", "\x81\x58", 2},
      {"NoCaseInIt", "\xB4\x61\xB4\x41", "\xB4\x41", "\xB4\x61", 2},
      {"Chinese", "\xD6\xD0\xCE\xC4", "\xCE\xC4", "\xD6\xD0", 2},
  };
  for (const auto& [name, written, delimiter, expected, used] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_TRUE(
        Parser::ParseTo(text.begin(), text.end(), delimiter, out, consumed));
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, used);
  }
  // The case counts if asked for; without a result the span is measured.
  const ExactText text("abcXdefx");
  std::string* const none = nullptr;
  unsigned consumed = 99;
  Parser::ParseTo(text.begin(), text.end(), 'x', none, consumed);
  EXPECT_EQ(consumed, 3u);
  Parser::ParseTo(text.begin(), text.end(), "x"s, false, none, consumed);
  EXPECT_EQ(consumed, 7u);
}

TEST(ParserSpans, EndWithTheSetOfParseToAny) {
  using Case = std::tuple<const char*, std::string, const char*, const char*,
                          std::string, unsigned>;
  const Case cases[] = {
      {"Stop", " ab ,;c", ";,", nullptr, "ab", 4},
      {"StopAtOnce", ";c", ";", "", "def", 0},
      {"StopAtNul", "ab\0;"s, ";", nullptr, "ab", 2},
      {"StopNotInSecondByte", kLikeBar + "|", "|", nullptr, kLikeBar, 2},
      {"ChineseStop", "\xA3\xBB\xA3\xAC", "\xA3\xAC", nullptr, "\xA3\xBB", 2},
      {"Accept", "00712x", nullptr, "0123456789", "00712", 5},
      {"AcceptEndsAtNul", "12\0"s, nullptr, "12", "12", 2},
      {"NoSets", " a;b ", nullptr, nullptr, "a;b", 5},
      {"TwoSetsAreRefused", "abc", ";", "abc", "old", 99},
  };
  for (const auto& [name, written, stop, accept, expected, used] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_EQ(Parser::ParseToAny(text.begin(), text.end(), stop, accept, out,
                                 consumed, "def"),
              expected != "old");
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, used);
  }
}

TEST(ParserSpans, WordEndsAtEveryPunctuationButTheUnderscore) {
  for (int code = 0; code < 128; ++code) {
    const ExactText text("a_" + std::string(1, static_cast<char>(code)));
    std::string out;
    unsigned consumed = 99;
    Parser::ParseWord(text.begin(), text.end(), out, consumed, "def");
    const bool is_delimiter = code == 0 || code == '\t' || code == ' ' ||
                              (code != '_' && std::ispunct(code) != 0);
    EXPECT_EQ(consumed, is_delimiter ? 2u : 3u) << code;
  }
}

TEST(Parser, NullAndEmptyRangesGiveTheDefault) {
  const ExactText some("x");
  const char* const ranges[][2] = {
      {nullptr, some.end()}, {some.begin(), nullptr}, {some.end(), some.end()}};
  for (const auto& [begin, end] : ranges) {
    std::string out = "old";
    unsigned used[5];
    EXPECT_TRUE(Parser::ParseWord(begin, end, out, used[0], "d1"));
    EXPECT_EQ(out, "d1");
    EXPECT_TRUE(Parser::ParseString(begin, end, out, used[1], "d2"));
    EXPECT_EQ(out, "d2");
    bool flag = true;
    EXPECT_TRUE(Parser::ParseSign(begin, end, flag, used[2], false));
    EXPECT_FALSE(flag);
    double real = 0;
    EXPECT_TRUE(Parser::ParseDouble(begin, end, real, used[3], 2.5));
    EXPECT_EQ(real, 2.5);
    EXPECT_TRUE(Parser::ParseLocalPath(begin, end, out, used[4]));
    EXPECT_EQ(out, "");
    for (const unsigned each : used) EXPECT_EQ(each, 0u);
  }
}

}  // namespace
}  // namespace kiv::parser
