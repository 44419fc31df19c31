#include "xdb/xquery/values/decimal.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

Decimal Number(std::string_view text) { return *Decimal::FromText(text); }

TEST(Decimal, IsReadAndWrittenCanonically) {
  constexpr const char* kTexts[][2] = {
      {"-000.000", "0"},
      {"+1.50", "1.5"},
      {".5", "0.5"},
      {"5.", "5"},
      {"-9223372036854775808", "-9223372036854775808"},
      {"-9223372036854775809", "-9223372036854775809"},
      {"0.000000000000000001", "0.000000000000000001"},
      {"-0.00000000000000000120", "-0.0000000000000000012"},
      {"1000000000000000000000000000.5", "1000000000000000000000000000.5"},
      {"00000000000000000000000012.50", "12.5"}};
  for (const auto& [text, canonical] : kTexts)
    EXPECT_EQ(Number(text).ToText(), canonical) << text;
  for (const char* text : {"", ".", "-", "1.2.3", "1e3", "1-2"})
    EXPECT_FALSE(Decimal::FromText(text)) << text;
}

Decimal Apply(const Decimal& left, std::string_view op, const Decimal& right) {
  if (op == "+") return left + right;
  if (op == "-") return left - right;
  if (op == "*") return left * right;
  if (op == "/") return left / right;
  if (op == "idiv") return Decimal::IntegerQuotient(left, right);
  return Decimal::Remainder(left, right);
}

TEST(Decimal, OperatorsGiveTheResult) {
  constexpr const char* kRows[][4] = {
      {"0.1", "+", "0.02", "0.12"},
      {"0.5", "+", "0.5", "1"},
      {"9223372036854775807", "+", "1", "9223372036854775808"},
      {"9223372036854775808", "-", "1", "9223372036854775807"},
      {"999999999999999999999999999", "+", "1", "1000000000000000000000000000"},
      {"1000000000000000000000000000", "-", "1", "999999999999999999999999999"},
      {"1000000000000000000000", "-", "1000000000000000000001", "-1"},
      {"100000000000000000000", "+", "0.00000000000000000001",
       "100000000000000000000.00000000000000000001"},
      {"-999999999999999999999", "*", "999999999999999999999",
       "-999999999999999999998000000000000000000001"},
      {"0.000000000001", "*", "0.000000000001", "0.000000000000000000000001"},
      // Twenty digits that count, the last one rounded.
      {"1", "/", "8", "0.125"},
      {"1", "/", "3", "0.33333333333333333333"},
      {"-2", "/", "3", "-0.66666666666666666667"},
      {"1", "/", "999999999999999999",
       "0.000000000000000001000000000000000001"},
      {"1000000000000000000000000000000", "/", "7000000000",
       "142857142857142857142.85714285714285714286"},
      // The first estimate of a digit is too large.
      {"999999999000000000999999999", "idiv", "999999999999999999",
       "999999999"},
      {"-7.5", "idiv", "2", "-3"},
      {"-7.5", "mod", "2", "-1.5"},
      {"5.7", "mod", "0.2", "0.1"},
      {"1000000000000000000000000000007", "mod", "1000000000000000000", "7"}};
  for (const auto& [left, op, right, result] : kRows) {
    EXPECT_EQ(Apply(Number(left), op, Number(right)).ToText(), result)
        << left << " " << op << " " << right;
  }
}

// Sums and products undo, quotient and remainder rebuild the dividend, whatever
// the sizes; the numbers lie around the borders of the short forms.
TEST(Decimal, OperatorsAgreeWithEachOther) {
  std::mt19937 random(7);
  const auto number = [&random] {
    const int sizes[] = {1, 8, 9, 10, 17, 18, 19, 20, 36, 40, 90};
    const int size = sizes[random() % std::size(sizes)];
    std::string digits;
    for (int i = 0; i < size; ++i) digits += "0099123456789"[random() % 13];
    digits.insert(random() % digits.size(), random() % 2 ? "." : "");
    return Number((random() % 2 ? "-" : "") + digits);
  };
  for (int i = 0; i < 3000; ++i) {
    const Decimal a = number(), b = number();
    SCOPED_TRACE(a.ToText() + " and " + b.ToText());
    ASSERT_EQ(a + b - b, a);
    ASSERT_EQ(a * b, b * a);
    ASSERT_EQ((a + b) * b, a * b + b * b);
    ASSERT_EQ(a < b, (a - b).Sign() < 0);
    if (b.IsZero()) continue;
    const Decimal quotient = Decimal::IntegerQuotient(a, b);
    const Decimal rest = Decimal::Remainder(a, b);
    ASSERT_TRUE(quotient.IsInteger());
    ASSERT_EQ(quotient * b + rest, a);
  }
}

TEST(Decimal, RefusesWhatHasNoResult) {
  const auto code = [](auto calculate) {
    try {
      calculate();
    } catch (const Error& error) {
      return error.code();
    }
    return std::string("none");
  };
  for (const char* op : {"/", "idiv", "mod"})
    EXPECT_EQ(code([&] { Apply(Decimal(1), op, Decimal()); }), "FOAR0001");
  EXPECT_EQ(code([] {
              for (Decimal power(10);;) power = power * power;
            }),
            "FOAR0002");
}

struct RoundingCase {
  const char* number;
  int digits;
  const char* floor;
  const char* ceiling;
  const char* half_up;
  const char* half_even;
};

TEST(Decimal, KnowsFourWaysOfRounding) {
  using Rounding = Decimal::Rounding;
  constexpr RoundingCase kRows[] = {
      {"2.5", 0, "2", "3", "3", "2"},
      {"-2.5", 0, "-3", "-2", "-2", "-2"},
      {"-3.5", 0, "-4", "-3", "-3", "-4"},
      {"2.5000000000000000000001", 0, "2", "3", "3", "3"},
      {"12350", -2, "12300", "12400", "12400", "12400"},
      {"4.9", -1, "0", "10", "0", "0"},
      {"9", -2, "0", "100", "0", "0"},
      {"99.95", 1, "99.9", "100", "100", "100"},
      {"1.25", 5, "1.25", "1.25", "1.25", "1.25"},
  };
  for (const RoundingCase& row : kRows) {
    SCOPED_TRACE(row.number);
    const auto rounded = [&](Rounding way) {
      return Number(row.number).Round(row.digits, way).ToText();
    };
    EXPECT_EQ(rounded(Rounding::Floor), row.floor);
    EXPECT_EQ(rounded(Rounding::Ceiling), row.ceiling);
    EXPECT_EQ(rounded(Rounding::HalfUp), row.half_up);
    EXPECT_EQ(rounded(Rounding::HalfEven), row.half_even);
  }
}

TEST(Decimal, BecomesTheNearestFloatingPointNumber) {
  EXPECT_EQ(Number("0.1").ToDouble(), 0.1);
  EXPECT_EQ(Number("9007199254740993").ToDouble(), 9007199254740992.0);
  // Half between two, but for the last digit.
  EXPECT_EQ(Number("9007199254740993.0000000000000000000001").ToDouble(),
            9007199254740994.0);
  EXPECT_EQ(Number("16777217.0000000000001").ToFloat(), 16777218.0F);
  EXPECT_EQ(Number("1" + std::string(400, '0')).ToDouble(),
            std::numeric_limits<double>::infinity());
  EXPECT_EQ(Number("-0." + std::string(390, '0') + "1").ToDouble(), 0.0);
}

TEST(Decimal, TakesAFloatingPointNumberExactlyOrAsItPrints) {
  EXPECT_EQ(Decimal::FromDouble(0.1).ToText(),
            "0.1000000000000000055511151231257827021181583404541015625");
  EXPECT_EQ(Decimal::FromDoubleShortest(0.1).ToText(), "0.1");
  EXPECT_EQ(Decimal::FromFloatShortest(0.1F).ToText(), "0.1");
  EXPECT_EQ(Decimal::FromDouble(-1e22).ToText(), "-10000000000000000000000");
}

}  // namespace
}  // namespace kiv::xdb::xq
