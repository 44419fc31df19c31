#include <gtest/gtest.h>

#include <string>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

TEST(ParserExpressions, ProtocolStandsRightBeforeItsMark) {
  std::string protocol = "old";
  unsigned consumed = 99;
  const ExactText good("a_1\xD6\x7C://x");  // the last character holds a "|"
  EXPECT_TRUE(
      Parser::ParseProtocol(good.begin(), good.end(), protocol, consumed));
  EXPECT_EQ(protocol, "a_1\xD6\x7C");
  EXPECT_EQ(consumed, 8u);
  for (const char* const bad : {"://x", "abc:/x", "abc", "abc:/", " abc://x",
                                "abc ://x", "a-b://x", "a|b://x"}) {
    const ExactText text(bad);
    protocol = "old";
    EXPECT_FALSE(
        Parser::ParseProtocol(text.begin(), text.end(), protocol, consumed))
        << bad;
    EXPECT_EQ(protocol, "") << bad;
    EXPECT_EQ(consumed, 0u) << bad;
  }
}

TEST(ParserExpressions, ConnectionKeepsEverythingBehindTheProtocol) {
  const ExactText text("abc://Provider=X;Data Source=c:\\y ");
  std::string protocol, rest;
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::ParseConnectionExpression(text.begin(), text.end(),
                                                protocol, rest, consumed));
  EXPECT_EQ(protocol, "abc");
  EXPECT_EQ(rest, "Provider=X;Data Source=c:\\y ");
  EXPECT_EQ(consumed, 34u);
  const ExactText bare("abc://");
  EXPECT_TRUE(Parser::ParseConnectionExpression(bare.begin(), bare.end(),
                                                protocol, rest, consumed));
  EXPECT_EQ(rest, "");
}

TEST(ParseLocation, SplitsAtTheColons) {
  const struct {
    const char* name;
    std::string text;
    bool generic;
    bool is_good;
    std::string location, part2, part3;
  } cases[] = {
      {"DriveIsCutOff", "dll://c:/data/x.db", false, true, "c", "/data/x.db",
       ""},
      {"LocationAlone", "dll://bin\\x", false, true, "bin\\x", "", ""},
      {"Generic", "dll://bin\\x:f", true, true, "BIN/X", "f", ""},
      {"ThirdColonIsText", "dll://x:f:a:b", false, true, "x", "f", "a:b"},
      {"EmptyParts", "dll://x::a", false, true, "x", "", "a"},
      {"ColonAtTheEnd", "dll://x:", false, true, "x", "", ""},
      {"NoLocation", "dll://:f", false, false, "", "", ""},
      {"Nothing", "dll://", false, false, "", "", ""},
      {"NoProtocol", "x:f", false, false, "", "", ""}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    std::string protocol, location = "old", part2 = "old", part3 = "old";
    unsigned consumed = 99;
    EXPECT_EQ(Parser::ParseLocationExpression(text.begin(), text.end(),
                                              protocol, location, part2, part3,
                                              consumed, row.generic),
              row.is_good);
    EXPECT_EQ(location, row.location);
    EXPECT_EQ(part2, row.part2);
    EXPECT_EQ(part3, row.part3);
    EXPECT_EQ(consumed, row.is_good ? row.text.size() : 0);
    if (row.is_good) {
      EXPECT_EQ(protocol, "dll");
    }
  }
}

TEST(ParsePath, PutsNamesTogether) {
  const struct {
    const char* name;
    std::string text;
    std::string current;
    bool generic;
    std::string out;
  } cases[] = {
      {"Parent", "../logs", "c:/app/bin", false, "c:/app/logs"},
      {"Current", " ./logs", "c:/app/bin", false, "c:/app/bin/logs"},
      {"Grandparent", "...", "c:/app/bin", false, "c:/"},
      {"NativeCurrent", "..\\x", "c:\\app\\bin", false, "c:/app/x"},
      {"UpToTheRoot", ".../x", "/app/bin", false, "/x"},
      {"Server", "//srv/share", "", false, "//srv/share"},
      {"NativeServer", "\\\\srv\\share", "", false, "//srv/share"},
      {"LongPathPrefix", "\\\\?\\c:\\x", "", false, "c:/x"},
      {"EmptyItemsVanish", "/a//b\\\\c/", "", false, "a/b/c"},
      {"Generic", "a\\b", "", true, "A/B"},
      {"SecondByteIsNoSeparator", "\x81\x5C/x", "", false, "\x81\x5C/x"},
      {"DotsInsideANameAreNothingSpecial", "a.b/c.", "", false, "a.b/c."}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseLocalPath(text.begin(), text.end(), out, consumed,
                                       row.generic, row.current));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.text.size());
  }
}

TEST(RefusedPath, LogsWhy) {
  const struct {
    const char* name;
    std::string text;
    std::string current;
    std::string logged;
  } cases[] = {
      {"DotsNotFirst", "a/../b", "c:/app", "'../b' \xCE\xDE\xD0\xA7"},  // 无效
      {"NoCurrentPath", "./x", "",
       "curr_path \xB2\xCE\xCA\xFD\xB2\xBB\xD4\xCA\xD0\xED\xCE\xAA"
       "\xBF\xD5"},  // 参数不允许为空
      {"OtherCharacterAmongDots", "..x/y", "c:/app",
       // 第 ... 个字符不是.字符，失败。
       "'..x/y' \xB5\xDA 2\xB8\xF6\xD7\xD6\xB7\xFB\xB2\xBB\xCA\xC7"
       ".\xD7\xD6\xB7\xFB\xA3\xAC\xCA\xA7\xB0\xDC\xA1\xA3"},
      {"AboveTheRoot", "....", "/app/bin",
       // 超出了 ... 的根目录。
       "'....' \xB3\xAC\xB3\xF6\xC1\xCB '/app/bin' \xB5\xC4\xB8"
       "\xF9\xC4\xBF\xC2\xBC\xA1\xA3"}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const CapturedLog log;
    const ExactText text(row.text);
    std::string out = "old";
    unsigned consumed = 99;
    EXPECT_FALSE(Parser::ParseLocalPath(text.begin(), text.end(), out, consumed,
                                        false, row.current));
    EXPECT_EQ(out, "");
    EXPECT_EQ(consumed, 0u);
    EXPECT_TRUE(log.Has("Parser::ParseLocalPathItem Failed: " + row.logged))
        << log.Text();
  }
}

TEST(ToFullPath, ResolvesDotsAndLeavesTheRest) {
  const struct {
    const char* path;
    bool force;
    const char* base;
    bool is_good;
    const char* out;
  } rows[] = {{"../conf", false, "/srv/bin", true, "/srv/conf"},
              {"conf\\x", false, "/srv/bin", true, "conf\\x"},
              {"", false, "/srv/bin", true, ""},
              {"conf\\x", true, "/srv/bin", true, "conf/x"},
              {".hidden", false, "/srv/bin", false, ".hidden"},
              {"a/../b", true, "/srv/bin", false, "a/../b"}};
  const CapturedLog log;
  for (const auto& row : rows) {
    std::string path = row.path;
    EXPECT_EQ(toFullPath(path, row.force, row.base), row.is_good) << row.path;
    EXPECT_EQ(path, row.out) << row.path;
  }
}

TEST(ToFullPath, TakesTheCurrentDirectoryForAnEmptyBase) {
  std::string path = "./x";
  EXPECT_TRUE(toFullPath(path));
  EXPECT_EQ(path, std::filesystem::current_path().string() + "/x");
}

}  // namespace
}  // namespace kiv::parser
