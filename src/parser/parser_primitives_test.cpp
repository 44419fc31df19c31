#include <gmock/gmock.h>

#include <array>
#include <string>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

using namespace std::string_literals;

// A two-byte character whose second byte looks like "|".
const std::string kLikeBar = "\x81\x7C";

TEST(ParserPrimitives, CountBlanksAtBothEnds) {
  const ExactText text(" \t\r\n\v\f x \n");
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::IgnoreSpaces(text.begin(), text.end(), consumed));
  EXPECT_EQ(consumed, 7u);
  EXPECT_TRUE(Parser::IgnoreSpacesTail(text.begin(), text.end(), consumed));
  EXPECT_EQ(consumed, 2u);
  const ExactText blanks("  ");
  EXPECT_TRUE(Parser::IgnoreSpacesTail(blanks.begin(), blanks.end(), consumed));
  EXPECT_EQ(consumed, 2u);
}

TEST(ParserPrimitives, NextCharTellsByConsumedWhetherItWasThere) {
  const ExactText text("  x");
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::IgnoreNextChar(text.begin(), text.end(), 'y', consumed));
  EXPECT_EQ(consumed, 2u);
  EXPECT_TRUE(Parser::IgnoreNextChar(text.begin(), text.end(), 'x', consumed));
  EXPECT_EQ(consumed, 3u);
  EXPECT_TRUE(Parser::IgnoreNextChar(text.begin(), text.end(), consumed));
  EXPECT_EQ(consumed, 1u);
  EXPECT_FALSE(Parser::IgnoreNextChar(text.end(), text.end(), consumed));
  EXPECT_EQ(consumed, 0u);
}

TEST(ParserPrimitives, IsEqualComparesAsManyAsAsked) {
  EXPECT_TRUE(Parser::IsEqual("abcX", "abcY", false, 3));
  EXPECT_FALSE(Parser::IsEqual("abc", "ABC", false, 3));
  EXPECT_TRUE(Parser::IsEqual("abc", "ABC", true, 3));
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
  unsigned consumed = 99;
  const ExactText text(" End");
  const char* const begin = text.begin();
  const char* const end = text.end();
  EXPECT_TRUE(Parser::IgnoreNextString(begin, end, "END"s, true, consumed));
  EXPECT_EQ(consumed, 4u);
  EXPECT_TRUE(Parser::IgnoreNextString(begin, end, "END"s, consumed));
  EXPECT_EQ(consumed, 1u);
  EXPECT_TRUE(Parser::IgnoreNextString(begin, end, "End "s, true, consumed));
  EXPECT_EQ(consumed, 1u);
  EXPECT_TRUE(Parser::IgnoreNextString(begin, end, ""s, consumed));
  EXPECT_EQ(consumed, 1u);
  const std::string word = "Ending";
  EXPECT_TRUE(Parser::IgnoreNextString(begin, end, word.data(), word.data() + 3,
                                       consumed));
  EXPECT_EQ(consumed, 4u);
}

TEST(ParserPrimitives, AlphaTakesNoMoreThanAsked) {
  const ExactText text(" abc1");
  std::string out = "old";
  unsigned consumed = 99;
  Parser::ParseAlpha(text.begin(), text.end(), 2, out, consumed);
  EXPECT_EQ(out, "ab");
  EXPECT_EQ(consumed, 3u);
  Parser::ParseAlpha(text.begin(), text.end(), 9, out, consumed);
  EXPECT_EQ(out, "abc");
  Parser::ParseAlpha(text.begin(), text.end(), 0, out, consumed);
  EXPECT_EQ(out, "");
  EXPECT_EQ(consumed, 1u);
}

TEST(ParserSpans, StopsBeforeTheDelimiter) {
  const struct {
    const char* name;
    std::string text;
    std::string delimiter;
    bool ignore_case;
    std::string out;
    unsigned consumed;
  } cases[] = {{"DropsTrailingBlanksButCountsThem", "  key = value", "=", false,
                "key", 6},
               {"WordInAnyCase", "a b END c", "end", true, "a b", 4},
               {"WordInThisCase", "a End end", "end", false, "a End", 6},
               {"ToTheEnd", "abc ", ";", false, "abc", 4},
               {"CutDelimiterIsNone", "abcEN", "end", true, "abcEN", 5},
               {"NoDelimiter", " abc ", "", false, "abc", 5},
               {"DelimiterAtOnce", "=x", "=", false, "", 0},
               {"DelimiterIsBlank", "  a b", " ", false, "a", 3},
               {"OnlyBlanks", "   ", "=", false, "", 3},
               {"NulIsNeverFound", "a\0b"s, "\0"s, false, "a\0b"s, 3},
               {"SecondByteIsNoDelimiter", kLikeBar + "a|b", "|", false,
                kLikeBar + "a", 3},
               {"SecondByteIsNoLetter", "\x81\x58x", "X", true, "\x81\x58", 2},
               {"SecondByteHasNoCase", "\xB4\x61\xB4\x41", "\xB4\x41", true,
                "\xB4\x61", 2},
               {"ChineseDelimiter", "\xD6\xD0\xCE\xC4", "\xCE\xC4", false,
                "\xD6\xD0", 2}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseTo(text.begin(), text.end(), row.delimiter,
                                row.ignore_case, out, consumed));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
    std::string* const measure_only = nullptr;
    EXPECT_TRUE(Parser::ParseTo(text.begin(), text.end(), row.delimiter,
                                row.ignore_case, measure_only, consumed));
    EXPECT_EQ(consumed, row.consumed);
  }
}

TEST(ParserSpans, FormsWithoutTheFlagIgnoreCase) {
  const ExactText text("abcXdef");
  std::string out;
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::ParseTo(text.begin(), text.end(), 'x', out, consumed));
  EXPECT_EQ(out, "abc");
  EXPECT_TRUE(Parser::ParseTo(text.begin(), text.end(), "xD"s, out, consumed));
  EXPECT_EQ(out, "abc");
  EXPECT_EQ(consumed, 3u);
}

TEST(ParseToAny, EndsWithItsSet) {
  const struct {
    const char* name;
    std::string text;
    const char* stop;
    const char* accept;
    std::string out;
    unsigned consumed;
  } cases[] = {
      {"Stop", " ab ,;c", ";,", nullptr, "ab", 4},
      {"StopAtOnce", ";c", ";", "", "def", 0},
      {"StopAtNul", "ab\0;"s, ";", nullptr, "ab", 2},
      {"StopNotInSecondByte", kLikeBar + "|", "|", nullptr, kLikeBar, 2},
      {"StopAtChineseCharacter", "\xD6\xD0\xA3\xAC\xCE\xC4", "\xA3\xAC",
       nullptr, "\xD6\xD0", 2},
      {"ChineseStopIsNoneByHalves", "\xA3\xBB\xA3\xAC", "\xA3\xAC", nullptr,
       "\xA3\xBB", 2},
      {"Accept", "00712x", nullptr, "0123456789", "00712", 5},
      {"AcceptNothing", "x", nullptr, "0123456789", "def", 0},
      {"AcceptEndsAtNul", "12\0"s, nullptr, "12", "12", 2},
      {"NoSets", " a;b ", nullptr, nullptr, "a;b", 5},
      {"OnlyBlanks", "  ", ";", nullptr, "def", 2}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseToAny(text.begin(), text.end(), row.stop,
                                   row.accept, out, consumed, "def"));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
  }
}

TEST(ParserSpans, TwoSetsAreRefusedAndNothingIsWritten) {
  const ExactText text("abc");
  std::string out = "old";
  unsigned consumed = 99;
  EXPECT_FALSE(Parser::ParseToAny(text.begin(), text.end(), ";", "abc", out,
                                  consumed, "def"));
  EXPECT_EQ(out, "old");
  EXPECT_EQ(consumed, 99u);
}

TEST(ParserSpans, WordEndsAtEveryPunctuationButTheUnderscore) {
  std::string out;
  unsigned consumed = 99;
  for (int code = 0; code < 128; ++code) {
    const std::string input = "a_" + std::string(1, static_cast<char>(code));
    const ExactText text(input);
    Parser::ParseWord(text.begin(), text.end(), out, consumed, "def");
    const bool is_delimiter =
        code == 0 || code == '\t' || code == ' ' ||
        (code > ' ' && code < '0') || (code > '9' && code < 'A') ||
        (code > 'Z' && code < 'a' && code != '_') || (code > 'z' && code < 127);
    EXPECT_EQ(consumed, is_delimiter ? 2u : 3u) << code;
  }
  const ExactText punctuation(" -x");
  EXPECT_TRUE(Parser::ParseWord(punctuation.begin(), punctuation.end(), out,
                                consumed, "def"));
  EXPECT_EQ(out, "def");
  EXPECT_EQ(consumed, 1u);
}

TEST(Parser, NullAndEmptyRangesGiveTheDefault) {
  const ExactText some("x");
  const char* const ranges[][2] = {{nullptr, some.end()},
                                   {some.begin(), nullptr},
                                   {nullptr, nullptr},
                                   {some.end(), some.end()}};
  for (const auto& range : ranges) {
    const char* const begin = range[0];
    const char* const end = range[1];
    // One for each reader.
    std::array<unsigned, 14> consumed;
    consumed.fill(99);
    unsigned* next = consumed.data();
    std::string out = "old";
    EXPECT_TRUE(Parser::ParseTo(begin, end, ';', out, *next++));
    EXPECT_EQ(out, "");
    EXPECT_TRUE(Parser::ParseToAny(begin, end, ";", "", out, *next++, "d1"));
    EXPECT_EQ(out, "d1");
    EXPECT_TRUE(Parser::ParseWord(begin, end, out, *next++, "d2"));
    EXPECT_EQ(out, "d2");
    EXPECT_TRUE(Parser::ParseString(begin, end, out, *next++, "d3"));
    EXPECT_EQ(out, "d3");
    EXPECT_TRUE(Parser::ParseAlpha(begin, end, 3, out, *next++));
    EXPECT_EQ(out, "");
    bool flag = true;
    EXPECT_TRUE(Parser::ParseSign(begin, end, flag, *next++, false));
    EXPECT_FALSE(flag);
    EXPECT_TRUE(Parser::ParseBool(begin, end, flag, *next++, true));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(Parser::ParseStrBool(begin, end, flag, *next++, false));
    EXPECT_FALSE(flag);
    std::int32_t number = 0;
    EXPECT_TRUE(Parser::ParseInt32(begin, end, number, *next++, 7));
    EXPECT_EQ(number, 7);
    double real = 0;
    EXPECT_TRUE(Parser::ParseDouble(begin, end, real, *next++, 2.5));
    EXPECT_EQ(real, 2.5);
    out = "old";
    EXPECT_TRUE(Parser::ParseLocalPath(begin, end, out, *next++));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(Parser::ParseProtocol(begin, end, out, *next++));
    DateTime time;
    EXPECT_FALSE(Parser::ParseDateTime(begin, end, time, *next++));
    EXPECT_FALSE(Parser::ParseTime(begin, end, time, *next++));
    EXPECT_THAT(consumed, ::testing::Each(0u));
  }
}

}  // namespace
}  // namespace kiv::parser
