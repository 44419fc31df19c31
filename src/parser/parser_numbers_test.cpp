#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

struct IntCase {
  const char* name;
  std::string text;
  int def;
  unsigned max_digits;
  int out;
  unsigned consumed;
};

class ParseInt : public testing::TestWithParam<IntCase> {};

TEST_P(ParseInt, ReadsSignAndDigits) {
  const IntCase& row = GetParam();
  const ExactText text(row.text);
  std::int32_t out = 12345;
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::ParseInt32(text.begin(), text.end(), out, consumed,
                                 row.def, row.max_digits));
  EXPECT_EQ(out, row.out);
  EXPECT_EQ(consumed, row.consumed);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseInt,
    testing::Values(IntCase{"BlanksAroundTheSign", "  -  42", 0, 0, -42, 7},
                    IntCase{"StopsAtANonDigit", "+42abc", 0, 0, 42, 3},
                    IntCase{"LeadingZeros", "007", 0, 0, 7, 3},
                    IntCase{"SignAloneNegatesTheDefault", "-x", 5, 0, -5, 1},
                    IntCase{"NegatedSmallest", "-", INT_MIN, 0, INT_MIN, 1},
                    IntCase{"PlusKeepsTheDefault", "+x", 5, 0, 5, 1},
                    IntCase{"NoNumber", " x", 5, 0, 5, 1},
                    IntCase{"TwoSigns", "--1", 5, 0, -5, 1},
                    IntCase{"AtMostTwoDigits", "-12345", 0, 2, -12, 3},
                    IntCase{"Wraps", "4294967297", 0, 0, 1, 10},
                    IntCase{"Smallest", "-2147483648", 0, 0, INT_MIN, 11},
                    IntCase{"WrapsBeyond64Bits", "18446744073709551617", 0, 0,
                            1, 20}),
    [](const auto& row) { return row.param.name; });

TEST(ParserNumbers, EachWidthWrapsInItself) {
  const ExactText text("70000");
  unsigned consumed;
  std::int8_t tiny;
  EXPECT_TRUE(Parser::ParseInt8(text.begin(), text.end(), tiny, consumed));
  EXPECT_EQ(tiny, 112);
  std::int16_t small;
  EXPECT_TRUE(Parser::ParseInt16(text.begin(), text.end(), small, consumed));
  EXPECT_EQ(small, 4464);
  const ExactText big("-18446744073709551615");
  long long wide;
  EXPECT_TRUE(Parser::ParseInt64(big.begin(), big.end(), wide, consumed));
  EXPECT_EQ(wide, 1);
}

struct RealCase {
  const char* name;
  std::string text;
  double out;
  unsigned consumed;
};

class ParseReal : public testing::TestWithParam<RealCase> {};

TEST_P(ParseReal, ReadsWithoutExponent) {
  const ExactText text(GetParam().text);
  double out = 12345;
  unsigned consumed = 99;
  EXPECT_TRUE(
      Parser::ParseDouble(text.begin(), text.end(), out, consumed, 777));
  EXPECT_EQ(out, GetParam().out);
  EXPECT_EQ(consumed, GetParam().consumed);
  float narrow = 12345;
  EXPECT_TRUE(
      Parser::ParseFloat(text.begin(), text.end(), narrow, consumed, 777));
  EXPECT_EQ(narrow, static_cast<float>(GetParam().out));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseReal,
    testing::Values(
        RealCase{"NoFractionDigits", "3.", 3, 2},
        RealCase{"NoInteger", "-.5", -0.5, 3},
        RealCase{"BlanksAroundThePoint", "1 . 5", 1.5, 5},
        RealCase{"Negative", "- 12.0625x", -12.0625, 9},
        RealCase{"ExponentIsNotRead", "12.5e3", 12.5, 4},
        RealCase{"BlanksBeforeNoPointAreUsed", "42 x", 42, 3},
        RealCase{"NoNumberIsZero", "x", 0, 0},
        RealCase{"IntegerWrapsIntoTheSign", "9223372036854775808",
                 -9223372036854775808.0, 19},
        RealCase{"LongestFraction", "0.0000000000000000001", 1e-19, 21},
        RealCase{"FractionInTheTopBitIsDropped", "5.9999999999999999999", 5,
                 21},
        RealCase{"AnyNumberOfZeros", "7.0000000000000000000000", 7, 24}),
    [](const auto& row) { return row.param.name; });

TEST(ParserNumbers, TooLongAFractionIsLogged) {
  const CapturedLog log;
  const ExactText text("0.00000000000000000001");
  double out = 12345;
  unsigned consumed = 99;
  EXPECT_FALSE(Parser::ParseDouble(text.begin(), text.end(), out, consumed));
  EXPECT_EQ(out, 12345);
  EXPECT_EQ(consumed, 0u);
  EXPECT_TRUE(
      log.Has("Parser::ParseReal Failed: God! Maybe you want to fly the space "
              "shuttle ?! overflow in faction part !!!!"));
}

}  // namespace
}  // namespace kiv::parser
