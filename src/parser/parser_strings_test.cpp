#include <gtest/gtest.h>

#include <string>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

using namespace std::string_literals;

TEST(ParserStrings, LeavesTheClosingQuote) {
  const struct {
    const char* name;
    std::string text;
    std::string out;
    unsigned consumed;
  } cases[] = {{"Escape", "\"a\\tb\" rest", "a\tb", 5},
               {"EveryEscape", R"('\"\'\?\\\a\b\f\n\r\t\v\q\0')",
                "\"'?\\\a\b\f\n\r\t\vq0", 27},
               {"Verbatim", R"(@'c:\dir')", R"(c:\dir)", 8},
               {"BlanksAroundTheMark", " @ \"x\\\"", "x\\", 6},
               {"OtherQuoteInside", "'say \"x\"'", "say \"x\"", 8},
               {"EmptyIsNotTheDefault", "\"\"", "", 1},
               {"VerbatimEmpty", "@\"\"", "", 2},
               {"NothingBehindTheQuote", "\"", "def", 1},
               {"OnlyBlanks", "  ", "def", 2},
               {"Unterminated", "\"abc", "abc", 4},
               {"NulInside", "'a\0b'"s, "a\0b"s, 4},
               {"SecondByteIsNoBackslash", "'\x81\x5C' x", "\x81\x5C", 3},
               {"EscapedTwoByteCharacter", "'\\\x81\x5Cn'", "\x81\x5Cn", 5},
               {"LoneLeadByte", "'\x81'", "\x81", 2}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_TRUE(
        Parser::ParseString(text.begin(), text.end(), out, consumed, "def"));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
  }
}

TEST(ParserStrings, LongValuesAreKeptWhole) {
  const std::string value(5000, 'v');
  const ExactText text("'" + value + "'");
  std::string out;
  unsigned consumed;
  EXPECT_TRUE(Parser::ParseString(text.begin(), text.end(), out, consumed));
  EXPECT_EQ(out, value);
  EXPECT_EQ(consumed, 5001u);
}

TEST(ParserStrings, MissingQuoteIsLogged) {
  for (const char* const bad : {"abc", " @abc", "@", "\\\"a\""}) {
    const CapturedLog log;
    const ExactText text(bad);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_FALSE(Parser::ParseString(text.begin(), text.end(), out, consumed));
    EXPECT_EQ(out, "old");
    EXPECT_EQ(consumed, 0u);
    EXPECT_TRUE(
        log.Has("Parser::ParseString Failed: can not find left \" char"))
        << log.Text();
  }
}

TEST(ParserStrings, BadEscapeIsLogged) {
  const std::string before =
      "Parser::ParseString Failed: \xBD\xE2\xCA\xCD\xD7\xAA\xD2\xE5\xD7\xD6"
      "\xB7\xFB'";  // 解释转义字符'
  const std::string after = "'\xCA\xB1\xCA\xA7\xB0\xDC\xA1\xA3";  // '时失败。
  const CapturedLog log;
  std::string out;
  unsigned consumed = 99;
  const ExactText nul("'a\\\0b'"s);
  EXPECT_FALSE(Parser::ParseString(nul.begin(), nul.end(), out, consumed));
  EXPECT_TRUE(log.Has(before + "\\x00" + after)) << log.Text();
  const ExactText cut("'a\\");
  EXPECT_FALSE(Parser::ParseString(cut.begin(), cut.end(), out, consumed));
  EXPECT_TRUE(log.Has(before + after)) << log.Text();
  EXPECT_EQ(consumed, 0u);
}

TEST(ParserStrings, EscapeOfNulFails) {
  char c = 'x';
  unsigned consumed = 99;
  EXPECT_FALSE(Parser::ParseTransMeanChar("", c, consumed));
  EXPECT_EQ(c, 'x');
  EXPECT_TRUE(Parser::ParseTransMeanChar("n", c, consumed));
  EXPECT_EQ(c, '\n');
  EXPECT_EQ(consumed, 1u);
}

TEST(ParserBool, KnowsItsWordsAndElseTheDefault) {
  const struct {
    const char* name;
    std::string text;
    bool is_string;
    bool def;
    bool out;
    unsigned consumed;
  } cases[] = {{"UpperTrue", " TRUE;", false, false, true, 5},
               {"One", "1", false, false, true, 1},
               {"False", "False x", false, true, false, 5},
               {"Zero", "0", false, true, false, 1},
               {"Yes", "yes", false, false, false, 3},
               {"YesOtherDefault", "yes", false, true, true, 3},
               {"Longer", "truer", false, false, false, 5},
               {"QuotedTrue", "' True '", true, false, true, 7},
               {"QuotedFalse", "\"false\"", true, true, false, 6},
               {"QuotedOne", "'1'", true, false, false, 2}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    const auto parse = row.is_string ? Parser::ParseStrBool : Parser::ParseBool;
    bool out = !row.out;
    unsigned consumed = 99;
    EXPECT_TRUE(parse(text.begin(), text.end(), out, consumed, row.def));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
  }
}

TEST(ParserStrings, StrBoolLogsThatItsStringFailed) {
  const CapturedLog log;
  const ExactText text("true");
  bool out = false;
  unsigned consumed = 99;
  EXPECT_FALSE(Parser::ParseStrBool(text.begin(), text.end(), out, consumed));
  EXPECT_TRUE(log.Has("Parser::ParseStrBool Failed: ParseString return false"));
}

}  // namespace
}  // namespace kiv::parser
