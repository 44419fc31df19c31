#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

using namespace std::string_literals;

TEST(ParserStrings, LeaveTheClosingQuote) {
  using Case = std::tuple<const char*, std::string, std::string, unsigned>;
  const Case cases[] = {
      {"EveryEscape", R"('\"\'\?\\\a\b\f\n\r\t\v\q\0')",
       "\"'?\\\a\b\f\n\r\t\vq0", 27},
      {"Verbatim", R"(@'c:\dir')", R"(c:\dir)", 8},
      {"BlanksAroundTheMark", " @ \"x\\\"", "x\\", 6},
      {"OtherQuoteInside", "'say \"x\"' rest", "say \"x\"", 8},
      {"EmptyIsNotTheDefault", "\"\"", "", 1},
      {"NothingBehindTheQuote", "\"", "def", 1},
      {"OnlyBlanks", "  ", "def", 2},
      {"Unterminated", "\"abc", "abc", 4},
      {"NulInside", "'a\0b'"s, "a\0b"s, 4},
      {"SecondByteIsNoBackslash", "'\x81\x5C' x", "\x81\x5C", 3},
      {"EscapedTwoByteCharacter", "'\\\x81\x5Cn'", "\x81\x5Cn", 5},
      {"LoneLeadByte", "'\x81'", "\x81", 2},
      {"Long", "'" + std::string(5000, 'v'), std::string(5000, 'v'), 5001},
  };
  for (const auto& [name, written, expected, used] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_TRUE(
        Parser::ParseString(text.begin(), text.end(), out, consumed, "def"));
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, used);
  }
}

TEST(ParserStrings, LogAMissingQuoteAndABadEscape) {
  const std::string failed = "Parser::ParseString Failed: ";
  const std::string no_quote = "can not find left \" char";
  // "解释转义字符'" and "'时失败。"
  const std::string escape =
      "\xBD\xE2\xCA\xCD\xD7\xAA\xD2\xE5\xD7\xD6\xB7\xFB'";
  const std::string after = "'\xCA\xB1\xCA\xA7\xB0\xDC\xA1\xA3";
  const std::pair<std::string, std::string> rows[] = {
      {"abc", no_quote},
      {" @", no_quote},
      {"'a\\\0b'"s, escape + "\\x00" + after},
      {"'a\\", escape + after}};
  for (const auto& [written, logged] : rows) {
    const CapturedLog log;
    const ExactText text(written);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_FALSE(Parser::ParseString(text.begin(), text.end(), out, consumed));
    EXPECT_EQ(consumed, 0u);
    EXPECT_TRUE(log.Has(failed + logged)) << log.Text();
    bool truth = false;
    EXPECT_FALSE(
        Parser::ParseStrBool(text.begin(), text.end(), truth, consumed));
    EXPECT_TRUE(
        log.Has("Parser::ParseStrBool Failed: ParseString return false"));
  }
}

TEST(ParserBool, KnowsItsWordsAndElseTheDefault) {
  using Case = std::tuple<const char*, std::string, bool, bool, bool, unsigned>;
  const Case cases[] = {
      {"UpperTrue", " TRUE;", false, false, true, 5},
      {"One", "1", false, false, true, 1},
      {"False", "False x", false, true, false, 5},
      {"Zero", "0", false, true, false, 1},
      {"OtherWord", "truer", false, false, false, 5},
      {"OtherDefault", "yes", false, true, true, 3},
      {"QuotedTrue", "' True '", true, false, true, 7},
      {"QuotedFalse", "\"false\"", true, true, false, 6},
      {"QuotedOne", "'1'", true, false, false, 2},
  };
  for (const auto& [name, written, is_string, def, expected, used] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    const auto parse = is_string ? Parser::ParseStrBool : Parser::ParseBool;
    bool out = !expected;
    unsigned consumed = 99;
    EXPECT_TRUE(parse(text.begin(), text.end(), out, consumed, def));
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, used);
  }
}

}  // namespace
}  // namespace kiv::parser
