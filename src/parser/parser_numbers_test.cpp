#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

TEST(ParserNumbers, ReadSignAndDigits) {
  using Case =
      std::tuple<const char*, std::string, int, unsigned, int, unsigned>;
  const Case cases[] = {
      {"BlanksAroundTheSign", "  -  42", 0, 0, -42, 7},
      {"StopsAtANonDigit", "+42abc", 0, 0, 42, 3},
      {"SignAloneNegatesTheDefault", "-x", 5, 0, -5, 1},
      {"NegatedSmallest", "-", INT_MIN, 0, INT_MIN, 1},
      {"NoNumber", " x", 5, 0, 5, 1},
      {"TwoSigns", "--1", 5, 0, -5, 1},
      {"AtMostTwoDigits", "-12345", 0, 2, -12, 3},
      {"Wraps", "4294967297", 0, 0, 1, 10},
      {"WrapsBeyond64Bits", "18446744073709551617", 0, 0, 1, 20},
  };
  for (const auto& [name, written, def, max_digits, expected, used] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    std::int32_t out = 12345;
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseInt32(text.begin(), text.end(), out, consumed, def,
                                   max_digits));
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, used);
  }
}

TEST(ParserNumbers, ReadFractionsWithoutExponent) {
  const std::tuple<const char*, std::string, double, unsigned> cases[] = {
      {"NoInteger", "-.5", -0.5, 3},
      {"BlanksAroundThePoint", "1 . 5", 1.5, 5},
      {"ExponentIsNotRead", "-12.0625e3", -12.0625, 8},
      {"BlanksBeforeNoPointAreUsed", "42 x", 42, 3},
      {"NoNumberIsZero", "x", 0, 0},
      {"WrapsIntoTheSign", "9223372036854775808", -9223372036854775808.0, 19},
      {"LongestFraction", "0.0000000000000000001", 1e-19, 21},
      {"FractionInTheTopBitIsDropped", "5.9999999999999999999", 5, 21},
      {"AnyNumberOfZeros", "7.0000000000000000000000", 7, 24},
  };
  for (const auto& [name, written, expected, used] : cases) {
    SCOPED_TRACE(name);
    const ExactText text(written);
    double out = 12345;
    unsigned consumed = 99;
    EXPECT_TRUE(
        Parser::ParseDouble(text.begin(), text.end(), out, consumed, 777));
    EXPECT_EQ(out, expected);
    EXPECT_EQ(consumed, used);
  }
}

TEST(ParserNumbers, RefuseAndLogTooLongAFraction) {
  const CapturedLog log;
  const ExactText text("0.00000000000000000001");
  float out = 12345;
  unsigned consumed = 99;
  EXPECT_FALSE(Parser::ParseFloat(text.begin(), text.end(), out, consumed));
  EXPECT_EQ(out, 12345);
  EXPECT_EQ(consumed, 0u);
  EXPECT_TRUE(
      log.Has("Parser::ParseReal Failed: God! Maybe you want to fly the space "
              "shuttle ?! overflow in faction part !!!!"));
}

}  // namespace
}  // namespace kiv::parser
