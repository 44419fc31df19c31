#include "xdb/xquery/functions/pattern.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/xquery_values.h"
#include "xdb/xquery/functions/function_table.h"

namespace kiv::xdb::xq {
namespace {

// "yes", "no" or the code of the error.
std::string Found(const char* text, const char* pattern, const char* flags) {
  try {
    return Pattern(pattern, flags).IsIn(text) ? "yes" : "no";
  } catch (const Error& error) {
    return error.code();
  }
}

TEST(Match, IsFoundOrNotOrRefused) {
  constexpr const char* kRows[][4] = {
      // Ends of lines.
      {"a\nb", "a$", "m", "yes"},
      {"a\n", "\\n$", "m", "no"},
      {"a\rb", "^b", "m", "no"},
      // Of either case.
      {"q", "^[A-Z]$", "i", "yes"},
      {"\xCF\x82", "\xCE\xA3", "i", "yes"},
      // A group that there is not ends the number.
      {"aa0", "(a)\\10", "", "yes"},
      // Classes.
      {"e", "[a-z-[aeiou-[e]]]", "", "yes"},
      {"-", "[a-c-e]", "", "FORX0002"},
      {"\xF0\x9F\x98\x80", "^[\xF0\x9F\x98\x80-\xF0\x9F\x98\x82]$", "", "yes"},
      {":", "^\\i$", "", "yes"},
      {"\xD9\xA3", "^\\d$", "", "yes"},
      {"\xC2\xA0", "\\s", "", "no"},
      {"\xC3\xA9", "\\p{IsLatin-1Supplement}", "", "yes"},
      {"\xCE\xA3", "\\p{IsGreek}", "", "yes"},
      {"a", "\\p{Isbasiclatin}", "", "FORX0002"},
      {"a", "[z-a]", "", "FORX0002"},
      // What follows from no other row, and what other languages have.
      {"aa", "(a\\1)", "", "FORX0002"},
      {"aaa", "a{3,2}", "", "FORX0002"},
      {"a", "a{99999999999}", "", "no"},
      {"aaa", "a++", "", "FORX0002"},
      {"a", "a\\", "", "FORX0002"},
      {"{", "{", "", "FORX0002"},
      {"a", "a)", "", "FORX0002"},
      {"ab", "^ a \\n? b $", "x", "yes"},
      {" ", "^[ ]$", "x", "yes"},
  };
  for (const auto& [text, pattern, flags, result] : kRows)
    EXPECT_EQ(Found(text, pattern, flags), result) << pattern << " in " << text;
}

std::string Replaced(const char* text, const char* pattern,
                     const char* replacement) {
  const std::vector<Item> arguments = {
      Item::OfText(text), Item::OfText(pattern), Item::OfText(replacement)};
  return testing::ShownOrCode([&] {
    return FindFunction("replace", 3)->scalar(CallContext{}, arguments);
  });
}

TEST(Replace, PutsGroupsWhereTheReplacementNamesThem) {
  EXPECT_EQ(Replaced("abc", "(b)", "$0$15$2"), "string abb5c");
  EXPECT_EQ(Replaced("abcd", "(ab)|(a)", "[1=$1][2=$2]"),
            "string [1=ab][2=]cd");
  EXPECT_EQ(Replaced("a.b", "\\.", "\\$\\\\"), "string a$\\b");
  EXPECT_EQ(Replaced("\xE5\x9B\xBD"
                     "a\xE5\x9B\xBD",
                     "(a)", "<$1>"),
            "string \xE5\x9B\xBD<a>\xE5\x9B\xBD");
  // Refused though nothing matches.
  EXPECT_EQ(Replaced("abc", "no match", "\\n"), "FORX0004");
}

TEST(Search, EndsAtItsLimits) {
  const auto code = [](const MatchLimits& limits) {
    Pattern slow("^((a+)+)+b", "", limits);
    return testing::ShownOrCode(
        [&] { return Item::OfBoolean(slow.IsIn(std::string(64, 'a'))); });
  };
  MatchLimits limits;
  limits.milliseconds = 1;
  EXPECT_EQ(code(limits), "XPDY0130");

  limits.milliseconds = 0;
  int asked = 0;
  limits.argument = &asked;
  limits.may_go_on = [](const void* argument) {
    return ++*static_cast<int*>(const_cast<void*>(argument)) < 3;
  };
  EXPECT_EQ(code(limits), "XPDY0130");
  EXPECT_EQ(asked, 3);
}

TEST(PatternCache, ForgetsTheOldestAndKeepsTheLatest) {
  PatternCache cache;
  Pattern& first = cache.Of("a[0]", "");
  EXPECT_EQ(&cache.Of("a[0]", ""), &first);
  EXPECT_NE(&cache.Of("a[0]", "i"), &first);
  for (int i = 1; i < 100; ++i) {
    EXPECT_EQ(&cache.Of("a[0]", ""), &first);
    cache.Of("a" + std::to_string(i), "");
  }
  EXPECT_TRUE(cache.Of("a99", "").IsIn("a99"));
}

}  // namespace
}  // namespace kiv::xdb::xq
