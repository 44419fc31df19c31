#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

TEST(ParserNumbers, ReadsSignAndDigits) {
  const struct {
    const char* name;
    std::string text;
    int def;
    unsigned max_digits;
    int out;
    unsigned consumed;
  } cases[] = {{"BlanksAroundTheSign", "  -  42", 0, 0, -42, 7},
               {"StopsAtANonDigit", "+42abc", 0, 0, 42, 3},
               {"LeadingZeros", "007", 0, 0, 7, 3},
               {"SignAloneNegatesTheDefault", "-x", 5, 0, -5, 1},
               {"NegatedSmallest", "-", INT_MIN, 0, INT_MIN, 1},
               {"PlusKeepsTheDefault", "+x", 5, 0, 5, 1},
               {"NoNumber", " x", 5, 0, 5, 1},
               {"TwoSigns", "--1", 5, 0, -5, 1},
               {"AtMostTwoDigits", "-12345", 0, 2, -12, 3},
               {"Wraps", "4294967297", 0, 0, 1, 10},
               {"Smallest", "-2147483648", 0, 0, INT_MIN, 11},
               {"WrapsBeyond64Bits", "18446744073709551617", 0, 0, 1, 20}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    std::int32_t out = 12345;
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseInt32(text.begin(), text.end(), out, consumed,
                                   row.def, row.max_digits));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
  }
}

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

TEST(ParserNumbers, ReadsWithoutExponent) {
  const struct {
    const char* name;
    std::string text;
    double out;
    unsigned consumed;
  } cases[] = {{"NoFractionDigits", "3.", 3, 2},
               {"NoInteger", "-.5", -0.5, 3},
               {"BlanksAroundThePoint", "1 . 5", 1.5, 5},
               {"Negative", "- 12.0625x", -12.0625, 9},
               {"ExponentIsNotRead", "12.5e3", 12.5, 4},
               {"BlanksBeforeNoPointAreUsed", "42 x", 42, 3},
               {"NoNumberIsZero", "x", 0, 0},
               {"IntegerWrapsIntoTheSign", "9223372036854775808",
                -9223372036854775808.0, 19},
               {"LongestFraction", "0.0000000000000000001", 1e-19, 21},
               {"FractionInTheTopBitIsDropped", "5.9999999999999999999", 5, 21},
               {"AnyNumberOfZeros", "7.0000000000000000000000", 7, 24}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    double out = 12345;
    unsigned consumed = 99;
    EXPECT_TRUE(
        Parser::ParseDouble(text.begin(), text.end(), out, consumed, 777));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
    float narrow = 12345;
    EXPECT_TRUE(
        Parser::ParseFloat(text.begin(), text.end(), narrow, consumed, 777));
    EXPECT_EQ(narrow, static_cast<float>(row.out));
  }
}

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
