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

struct MatchCase {
  const char* name;
  const char* text;
  const char* pattern;
  const char* flags;
  const char* result;
};

class MatchOf : public ::testing::TestWithParam<MatchCase> {};

TEST_P(MatchOf, IsFoundOrNotOrRefused) {
  const MatchCase& row = GetParam();
  EXPECT_EQ(Found(row.text, row.pattern, row.flags), row.result);
}

const auto kRowName = [](const auto& row) { return row.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Anchor, MatchOf,
    ::testing::Values(
        MatchCase{"EndIsNotBeforeLastLine", "a\n", "a$", "", "no"},
        MatchCase{"EndOfLine", "a\nb", "a$", "m", "yes"},
        MatchCase{"NoLineBehindTheLastNewline", "a\n", "\\n$", "m", "no"},
        MatchCase{"StartOfLine", "a\nb", "^b", "m", "yes"},
        MatchCase{"StartOfTextOnly", "a\nb", "^b", "", "no"},
        MatchCase{"ReturnEndsNoLine", "a\rb", "^b", "m", "no"},
        MatchCase{"DotStopsAtNewline", "a\nb", "a.b", "", "no"},
        MatchCase{"DotTakesReturn", "a\rb", "a.b", "", "yes"},
        MatchCase{"DotTakesAll", "a\nb", "a.b", "s", "yes"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Case, MatchOf,
    ::testing::Values(
        MatchCase{"Literal", "aBc", "AbC", "i", "yes"},
        MatchCase{"Range", "q", "^[A-Z]$", "i", "yes"},
        MatchCase{"Complement", "q", "[^A-Z]", "i", "no"},
        MatchCase{"SubtractionOfBothCases", "o", "[A-Z-[OI]]", "i", "no"},
        MatchCase{"CategoryKeepsItsCase", "q", "\\p{Lu}", "i", "no"},
        MatchCase{"BackReference", "Aa", "(a)\\1", "i", "yes"},
        MatchCase{"NoLongerText", "ss", "^\xC3\x9F$", "i", "no"},
        MatchCase{"Greek", "\xCF\x82", "\xCE\xA3", "i", "yes"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Class, MatchOf,
    ::testing::Values(
        MatchCase{"Subtraction", "e", "[a-z-[aeiou]]", "", "no"},
        MatchCase{"SubtractionNested", "e", "[a-z-[aeiou-[e]]]", "", "yes"},
        MatchCase{"ComplementWithSubtraction", "5", "[^a-z-[5]]", "", "no"},
        MatchCase{"HyphenFirst", "-", "[-a]", "", "yes"},
        MatchCase{"HyphenLast", "-", "[a-]", "", "yes"},
        MatchCase{"HyphenInTheMiddle", "-", "[a-c-e]", "", "FORX0002"},
        MatchCase{"CaretLater", "^", "[a^]", "", "yes"},
        MatchCase{"ColonIsOrdinary", "p", "[:alpha:]", "", "yes"},
        MatchCase{"AmpersandsAreOrdinary", "&", "[a&&b]", "", "yes"},
        MatchCase{"Astral", "\xF0\x9F\x98\x80",
                  "^[\xF0\x9F\x98\x80-\xF0\x9F\x98\x82]$", "", "yes"},
        MatchCase{"NameStartHasColon", ":", "^\\i$", "", "yes"},
        MatchCase{"DigitStartsNoName", "1", "\\i", "", "no"},
        MatchCase{"DigitIsInNames", "1", "^[\\c]$", "", "yes"},
        MatchCase{"ComplementInside", "1", "[\\I]", "", "yes"},
        MatchCase{"DigitsOfAllScripts", "\xD9\xA3", "^\\d$", "", "yes"},
        MatchCase{"UnderscoreIsNoWord", "_", "\\w", "", "no"},
        MatchCase{"SymbolIsWord", "+", "\\w", "", "yes"},
        MatchCase{"SpaceIsOfXml", "\xC2\xA0", "\\s", "", "no"},
        MatchCase{"Block", "\xC3\xA9", "\\p{IsLatin-1Supplement}", "", "yes"},
        MatchCase{"BlockComplement", "a", "\\P{IsBasicLatin}", "", "no"},
        MatchCase{"BlockOfOldName", "\xCE\xA3", "\\p{IsGreek}", "", "yes"},
        MatchCase{"BlockInWrongCase", "a", "\\p{Isbasiclatin}", "", "FORX0002"},
        MatchCase{"CategoryUnknown", "a", "\\p{Lz}", "", "FORX0002"},
        MatchCase{"CategoryOfIcuAlone", "a", "\\p{Alphabetic}", "", "FORX0002"},
        MatchCase{"Empty", "a", "[]", "", "FORX0002"},
        MatchCase{"Reversed", "a", "[z-a]", "", "FORX0002"},
        MatchCase{"RangeToClass", "a", "[a-\\d]", "", "FORX0002"},
        MatchCase{"Unclosed", "a", "[a", "", "FORX0002"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Syntax, MatchOf,
    ::testing::Values(
        MatchCase{"Empty", "a", "", "", "yes"},
        MatchCase{"Literal", "a+b", "a\\+b", "", "yes"},
        MatchCase{"BackReferenceTakesWhatExists", "aa0", "(a)\\10", "", "yes"},
        MatchCase{"BackReferenceInItsGroup", "aa", "(a\\1)", "", "FORX0002"},
        MatchCase{"BackReferenceAhead", "aa", "\\1(a)", "", "FORX0002"},
        MatchCase{"BackReferenceInClass", "aa", "(a)[\\1]", "", "FORX0002"},
        MatchCase{"Quantity", "aaa", "^a{2,3}$", "", "yes"},
        MatchCase{"QuantityReversed", "aaa", "a{3,2}", "", "FORX0002"},
        MatchCase{"QuantityWithoutLeast", "aaa", "a{,2}", "", "FORX0002"},
        MatchCase{"QuantityPastAllTexts", "aaa", "a{99999999999}", "", "no"},
        MatchCase{"Possessive", "aaa", "a++", "", "FORX0002"},
        MatchCase{"NonCapturing", "a", "(?:a)", "", "FORX0002"},
        MatchCase{"LookAhead", "a", "(?=a)", "", "FORX0002"},
        MatchCase{"IcuEscape", "a", "\\ba", "", "FORX0002"},
        MatchCase{"BackslashAtTheEnd", "a", "a\\", "", "FORX0002"},
        MatchCase{"NothingToRepeat", "a", "*a", "", "FORX0002"},
        MatchCase{"BraceAlone", "{", "{", "", "FORX0002"},
        MatchCase{"Unopened", "a", "a)", "", "FORX0002"},
        MatchCase{"Unclosed", "a", "(a", "", "FORX0002"},
        MatchCase{"QuantifiedAnchor", "a", "^*a", "", "yes"},
        MatchCase{"HashIsOrdinary", "#", "^#$", "x", "yes"},
        MatchCase{"SpaceIsIgnored", "ab", "^ a \\n? b $", "x", "yes"},
        MatchCase{"SpaceInClassIsNot", " ", "^[ ]$", "x", "yes"},
        MatchCase{"SpaceInsideTokens", "A", "\\p{ Lu }", "x", "yes"},
        MatchCase{"FlagUnknown", "a", "a", "g", "FORX0001"}),
    kRowName);

std::string Replaced(const char* text, const char* pattern,
                     const char* replacement) {
  const std::vector<Item> arguments = {
      Item::OfText(text), Item::OfText(pattern), Item::OfText(replacement)};
  return testing::ShownOrCode([&] {
    return FindFunction("replace", 3)->scalar(CallContext{}, arguments);
  });
}

TEST(Replace, PutsGroupsWhereTheReplacementNamesThem) {
  EXPECT_EQ(Replaced("abracadabra", "bra", "*"), "string a*cada*");
  EXPECT_EQ(Replaced("abracadabra", "a(.)", "a$1$1"), "string abbraccaddabbra");
  EXPECT_EQ(Replaced("abracadabra", "a.*?a", "*"), "string *c*bra");
  EXPECT_EQ(Replaced("abc", "(b)", "$0$15$2"), "string abb5c");
  EXPECT_EQ(Replaced("abcd", "(ab)|(a)", "[1=$1][2=$2]"),
            "string [1=ab][2=]cd");
  EXPECT_EQ(Replaced("a.b", "\\.", "\\$\\\\"), "string a$\\b");
  EXPECT_EQ(Replaced("\xE5\x9B\xBD"
                     "a\xE5\x9B\xBD",
                     "(a)", "<$1>"),
            "string \xE5\x9B\xBD<a>\xE5\x9B\xBD");
}

TEST(Replace, RefusesWhatCannotBeMeant) {
  EXPECT_EQ(Replaced("abc", "x*", "-"), "FORX0003");
  EXPECT_EQ(Replaced("abc", "", "-"), "FORX0003");
  EXPECT_EQ(Replaced("abc", "b", "$"), "FORX0004");
  EXPECT_EQ(Replaced("abc", "b", "$x"), "FORX0004");
  EXPECT_EQ(Replaced("abc", "no match", "\\n"), "FORX0004");
}

std::string Tokens(const char* text, const char* pattern) {
  const std::vector<Item> arguments = {Item::OfText(text),
                                       Item::OfText(pattern)};
  std::string shown;
  for (const Item& token :
       FindFunction("tokenize", 2)->list(CallContext{}, arguments)) {
    shown += "[" + std::string(token.AsText()) + "]";
  }
  return shown;
}

TEST(Tokenize, KeepsEmptyTokens) {
  EXPECT_EQ(Tokens("", ","), "");
  EXPECT_EQ(Tokens("a,,b,", ","), "[a][][b][]");
  EXPECT_EQ(Tokens(" a  b", "\\s"), "[][a][][b]");
  EXPECT_EQ(Tokens("a1\xE5\x9B\xBD"
                   "22c",
                   "\\d+"),
            "[a][\xE5\x9B\xBD][c]");
  EXPECT_EQ(Tokens("abc", "x"), "[abc]");
}

TEST(Search, EndsAtItsLimits) {
  const std::string text(64, 'a');
  MatchLimits limits;
  limits.milliseconds = 1;
  Pattern slow("^((a+)+)+b", "", limits);
  const auto code = [&](Pattern& pattern) {
    return testing::ShownOrCode(
        [&] { return Item::OfBoolean(pattern.IsIn(text)); });
  };
  EXPECT_EQ(code(slow), "XPDY0130");

  limits.milliseconds = 0;
  int asked = 0;
  limits.argument = &asked;
  limits.may_go_on = [](const void* argument) {
    return ++*static_cast<int*>(const_cast<void*>(argument)) < 3;
  };
  Pattern stopped("^((a+)+)+b", "", limits);
  EXPECT_EQ(code(stopped), "XPDY0130");
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
