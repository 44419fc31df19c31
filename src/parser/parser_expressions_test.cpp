#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

using Text = std::string;

TEST(ParserExpressions, ProtocolStandsRightBeforeItsMark) {
  std::string protocol, rest;
  unsigned consumed = 99;
  // The last character of the name holds a "|".
  const ExactText good("a_1\xD6\x7C://x;y=c:\\z ");
  EXPECT_TRUE(
      Parser::ParseProtocol(good.begin(), good.end(), protocol, consumed));
  EXPECT_EQ(consumed, 8u);
  EXPECT_TRUE(Parser::ParseConnectionExpression(good.begin(), good.end(),
                                                protocol, rest, consumed));
  EXPECT_EQ(protocol, "a_1\xD6\x7C");
  EXPECT_EQ(rest, "x;y=c:\\z ");
  EXPECT_EQ(consumed, 17u);
  for (const char* const bad :
       {"://x", "abc:/x", "abc", " abc://x", "abc ://x", "a|b://x"}) {
    SCOPED_TRACE(bad);
    const ExactText text(bad);
    EXPECT_FALSE(Parser::ParseConnectionExpression(text.begin(), text.end(),
                                                   protocol, rest, consumed));
    EXPECT_EQ(protocol, "");
    EXPECT_EQ(rest, "");
    EXPECT_EQ(consumed, 0u);
    EXPECT_FALSE(
        Parser::ParseProtocol(text.begin(), text.end(), protocol, consumed));
  }
}

TEST(ParserExpressions, LocationIsSplitAtTheColons) {
  const std::tuple<const char*, Text, bool, Text, Text, Text> cases[] = {
      {"DriveIsCutOff", "dll://c:/data/x.db", false, "c", "/data/x.db", ""},
      {"LocationAlone", "dll://bin\\x", false, "bin\\x", "", ""},
      {"Generic", "dll://bin\\x:f", true, "BIN/X", "f", ""},
      {"ThirdColonIsText", "dll://x:f:a:b", false, "x", "f", "a:b"},
      {"EmptyParts", "dll://x::a", false, "x", "", "a"},
      {"NoLocation", "dll://:f", false, "", "", ""},
      {"NoProtocol", "x:f", false, "", "", ""},
  };
  for (const auto& [name, written, generic, first, second, third] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    const bool is_good = !first.empty();
    std::string protocol, location = "old", part2 = "old", part3 = "old";
    unsigned consumed = 99;
    EXPECT_EQ(Parser::ParseLocationExpression(text.begin(), text.end(),
                                              protocol, location, part2, part3,
                                              consumed, generic),
              is_good);
    EXPECT_EQ(location, first);
    EXPECT_EQ(part2, second);
    EXPECT_EQ(part3, third);
    EXPECT_EQ(consumed, is_good ? written.size() : 0);
  }
}

TEST(ParserPaths, PutNamesTogetherOrLogWhyNot) {
  // "无效", "参数不允许为空", "个字符不是.字符，失败。" and "的根目录。"
  const char* const bad = "'../b' \xCE\xDE\xD0\xA7";
  const char* const empty =
      "curr_path \xB2\xCE\xCA\xFD\xB2\xBB\xD4\xCA\xD0\xED\xCE\xAA\xBF\xD5";
  const char* const no_dot =
      "'..x/y' \xB5\xDA 2\xB8\xF6\xD7\xD6\xB7\xFB\xB2\xBB\xCA\xC7"
      ".\xD7\xD6\xB7\xFB\xA3\xAC\xCA\xA7\xB0\xDC\xA1\xA3";
  const char* const above =
      "'....' \xB3\xAC\xB3\xF6\xC1\xCB '/app/bin' "
      "\xB5\xC4\xB8\xF9\xC4\xBF\xC2\xBC\xA1\xA3";
  const std::tuple<const char*, Text, Text, Text, Text> cases[] = {
      {"Parent", "..\\x", "c:\\app\\bin", "c:/app/x", ""},
      {"Current", " ./logs", "c:/app/bin", "c:/app/bin/logs", ""},
      {"UpToTheRoot", ".../x", "/app/bin", "/x", ""},
      {"Server", "\\\\srv\\share", "", "//srv/share", ""},
      {"LongPathPrefix", "\\\\?\\c:\\x", "", "c:/x", ""},
      {"EmptyItemsVanish", "/a//b\\\\c/", "", "a/b/c", ""},
      {"SecondByteIsNoSeparator", "\x81\x5C/x", "", "\x81\x5C/x", ""},
      {"DotsInsideANameAreNothingSpecial", "a.b/c.", "", "a.b/c.", ""},
      {"DotsNotFirst", "a/../b", "c:/app", "", bad},
      {"NoCurrentPath", "./x", "", "", empty},
      {"OtherCharacterAmongDots", "..x/y", "c:/app", "", no_dot},
      {"AboveTheRoot", "....", "/app/bin", "", above},
  };
  for (const auto& [name, written, current, expected, logged] : cases) {
    SCOPED_TRACE(name);
    const CapturedLog log;
    const ExactText text(written);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_EQ(Parser::ParseLocalPath(text.begin(), text.end(), out, consumed,
                                     false, current),
              logged.empty());
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, logged.empty() ? written.size() : 0);
    EXPECT_EQ(log.Has("Parser::ParseLocalPathItem Failed: " + logged),
              !logged.empty())
        << log.Text();
  }
}

TEST(ParserPaths, AreUpperCaseWhenGeneric) {
  const ExactText text("a\\b");
  std::string out;
  unsigned consumed;
  Parser::ParseLocalPath(text.begin(), text.end(), out, consumed, true);
  EXPECT_EQ(out, "A/B");
}

TEST(ToFullPath, ResolvesDotsAndLeavesTheRest) {
  const std::tuple<const char*, bool, bool, const char*> rows[] = {
      {"../conf", false, true, "/srv/conf"},
      {"conf\\x", false, true, "conf\\x"},
      {"conf\\x", true, true, "conf/x"},
      {".hidden", false, false, ".hidden"}};
  const CapturedLog log;
  std::string path;
  for (const auto& [written, force, is_good, expected] : rows) {
    path = written;
    EXPECT_EQ(toFullPath(path, force, "/srv/bin"), is_good) << written;
    EXPECT_EQ(path, expected) << written;
  }
  path = "./x";
  EXPECT_TRUE(toFullPath(path));
  EXPECT_EQ(path, std::filesystem::current_path().string() + "/x");
}

}  // namespace
}  // namespace kiv::parser
