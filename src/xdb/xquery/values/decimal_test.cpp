#include "xdb/xquery/values/decimal.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

Decimal Number(std::string_view text) { return *Decimal::FromText(text); }

// -------------------------------------------------------------------- text

struct TextCase {
  const char* name;
  const char* text;
  const char* canonical;  // null: no decimal
};

class DecimalText : public ::testing::TestWithParam<TextCase> {};

TEST_P(DecimalText, IsReadAndWrittenCanonically) {
  const auto value = Decimal::FromText(GetParam().text);
  ASSERT_EQ(value.has_value(), GetParam().canonical != nullptr);
  if (value) {
    EXPECT_EQ(value->ToText(), GetParam().canonical);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Form, DecimalText,
    ::testing::Values(
        TextCase{"Zeros", "-000.000", "0"}, TextCase{"Plus", "+1.50", "1.5"},
        TextCase{"NoWhole", ".5", "0.5"}, TextCase{"NoFraction", "5.", "5"},
        TextCase{"Least64", "-9223372036854775808", "-9223372036854775808"},
        TextCase{"PastLeast64", "-9223372036854775809", "-9223372036854775809"},
        TextCase{"SmallUnit", "0.000000000000000001", "0.000000000000000001"},
        TextCase{"LongFraction", "-0.00000000000000000120",
                 "-0.0000000000000000012"},
        TextCase{"LimbBorder", "1000000000000000000000000000.5",
                 "1000000000000000000000000000.5"},
        TextCase{"LongButSmall", "00000000000000000000000012.50", "12.5"},
        TextCase{"Empty", "", nullptr}, TextCase{"OnlyPoint", ".", nullptr},
        TextCase{"OnlySign", "-", nullptr},
        TextCase{"TwoPoints", "1.2.3", nullptr},
        TextCase{"Exponent", "1e3", nullptr},
        TextCase{"InnerSign", "1-2", nullptr}),
    [](const auto& row) { return row.param.name; });

// --------------------------------------------------------------- operators

struct OperatorCase {
  const char* name;
  const char* left;
  const char* op;
  const char* right;
  const char* result;
};

class DecimalOperator : public ::testing::TestWithParam<OperatorCase> {};

Decimal Apply(const Decimal& left, std::string_view op, const Decimal& right) {
  if (op == "+") return left + right;
  if (op == "-") return left - right;
  if (op == "*") return left * right;
  if (op == "/") return left / right;
  if (op == "idiv") return Decimal::IntegerQuotient(left, right);
  return Decimal::Remainder(left, right);
}

TEST_P(DecimalOperator, GivesTheResult) {
  const OperatorCase& row = GetParam();
  EXPECT_EQ(Apply(Number(row.left), row.op, Number(row.right)).ToText(),
            row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Of, DecimalOperator,
    ::testing::Values(
        OperatorCase{"ScalesMeet", "0.1", "+", "0.02", "0.12"},
        OperatorCase{"FractionGoes", "0.5", "+", "0.5", "1"},
        OperatorCase{"PastInt64", "9223372036854775807", "+", "1",
                     "9223372036854775808"},
        OperatorCase{"BackIntoInt64", "9223372036854775808", "-", "1",
                     "9223372036854775807"},
        OperatorCase{"LongCarry", "999999999999999999999999999", "+", "1",
                     "1000000000000000000000000000"},
        OperatorCase{"LongBorrow", "1000000000000000000000000000", "-", "1",
                     "999999999999999999999999999"},
        OperatorCase{"SignFlips", "1000000000000000000000", "-",
                     "1000000000000000000001", "-1"},
        OperatorCase{"FarScales", "100000000000000000000", "+",
                     "0.00000000000000000001",
                     "100000000000000000000.00000000000000000001"},
        OperatorCase{"LongProduct", "-999999999999999999999", "*",
                     "999999999999999999999",
                     "-999999999999999999998000000000000000000001"},
        OperatorCase{"ProductOfUnits", "0.000000000001", "*", "0.000000000001",
                     "0.000000000000000000000001"},
        OperatorCase{"Exact", "1", "/", "8", "0.125"},
        OperatorCase{"TwentyDigits", "1", "/", "3", "0.33333333333333333333"},
        OperatorCase{"RoundsUp", "2", "/", "3", "0.66666666666666666667"},
        OperatorCase{"RoundsAwayFromZeroByNearest", "-2", "/", "3",
                     "-0.66666666666666666667"},
        OperatorCase{"KeepsTwentyThatCount", "1", "/", "999999999999999999",
                     "0.000000000000000001000000000000000001"},
        OperatorCase{"LongDivision", "1000000000000000000000000000000", "/",
                     "7000000000",
                     "142857142857142857142.85714285714285714286"},
        OperatorCase{"EstimateTooLarge", "999999999000000000999999999", "idiv",
                     "999999999999999999", "999999999"},
        OperatorCase{"CutTowardZero", "-7.5", "idiv", "2", "-3"},
        OperatorCase{"RemainderHasSignOfLeft", "-7.5", "mod", "2", "-1.5"},
        OperatorCase{"RemainderOfFractions", "5.7", "mod", "0.2", "0.1"},
        OperatorCase{"LongRemainder", "1000000000000000000000000000007", "mod",
                     "1000000000000000000", "7"}),
    [](const auto& row) { return row.param.name; });

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
  const Decimal zero, one(1);
  EXPECT_EQ(code([&] { one / zero; }), "FOAR0001");
  EXPECT_EQ(code([&] { Decimal::IntegerQuotient(one, zero); }), "FOAR0001");
  EXPECT_EQ(code([&] { Decimal::Remainder(one, zero); }), "FOAR0001");
  EXPECT_EQ(code([] {
              Decimal power(10);
              while (true) power = power * power;
            }),
            "FOAR0002");
}

// --------------------------------------------------------------- rounding

struct RoundingCase {
  const char* name;
  const char* number;
  int digits;
  const char* floor;
  const char* ceiling;
  const char* half_up;
  const char* half_even;
};

class DecimalRounding : public ::testing::TestWithParam<RoundingCase> {};

TEST_P(DecimalRounding, KnowsItsFourWays) {
  using Rounding = Decimal::Rounding;
  const RoundingCase& row = GetParam();
  const Decimal number = Number(row.number);
  const auto rounded = [&](Rounding way) {
    return number.Round(row.digits, way).ToText();
  };
  EXPECT_EQ(rounded(Rounding::Floor), row.floor);
  EXPECT_EQ(rounded(Rounding::Ceiling), row.ceiling);
  EXPECT_EQ(rounded(Rounding::HalfUp), row.half_up);
  EXPECT_EQ(rounded(Rounding::HalfEven), row.half_even);
}

INSTANTIATE_TEST_SUITE_P(
    Of, DecimalRounding,
    ::testing::Values(
        RoundingCase{"Half", "2.5", 0, "2", "3", "3", "2"},
        RoundingCase{"NegativeHalf", "-2.5", 0, "-3", "-2", "-2", "-2"},
        RoundingCase{"OddHalf", "-3.5", 0, "-4", "-3", "-3", "-4"},
        RoundingCase{"JustAboveHalf", "2.5000000000000000000001", 0, "2", "3",
                     "3", "3"},
        RoundingCase{"BeforeThePoint", "12350", -2, "12300", "12400", "12400",
                     "12400"},
        RoundingCase{"AllDigits", "4.9", -1, "0", "10", "0", "0"},
        RoundingCase{"MoreThanAllDigits", "9", -2, "0", "100", "0", "0"},
        RoundingCase{"CarryThrough", "99.95", 1, "99.9", "100", "100", "100"},
        RoundingCase{"Nothing", "1.25", 5, "1.25", "1.25", "1.25", "1.25"}),
    [](const auto& row) { return row.param.name; });

// ------------------------------------------------------ floating point

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
