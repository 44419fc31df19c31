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
      {"-9223372036854775808", "-9223372036854775808"},
      {"-9223372036854775809", "-9223372036854775809"},
      {"0.000000000000000001", "0.000000000000000001"},
      {"-0.00000000000000000120", "-0.0000000000000000012"},
      {"1000000000000000000000000000.5", "1000000000000000000000000000.5"},
  };
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
      {"1000000000000000000000", "-", "1000000000000000000001", "-1"},
      {"-999999999999999999999", "*", "999999999999999999999",
       "-999999999999999999998000000000000000000001"},
      // Twenty digits that count, the last one rounded.
      {"1", "/", "3", "0.33333333333333333333"},
      {"1", "/", "999999999999999999",
       "0.000000000000000001000000000000000001"},
      {"1000000000000000000000000000000", "/", "7000000000",
       "142857142857142857142.85714285714285714286"},
      // The first estimate of a digit is too large.
      {"999999999000000000999999999", "idiv", "999999999999999999",
       "999999999"},
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
  const auto expect_refused = [](const char* code, auto calculate) {
    try {
      calculate();
      ADD_FAILURE() << code;
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), code);
    }
  };
  for (const char* op : {"/", "idiv", "mod"})
    expect_refused("FOAR0001", [&] { Apply(Decimal(1), op, Decimal()); });
  expect_refused("FOAR0002", [] {
    for (Decimal power(10);;) power = power * power;
  });
}

TEST(Decimal, KnowsFourWaysOfRounding) {
  using Rounding = Decimal::Rounding;
  constexpr struct {
    const char* number;
    int digits;
    const char* results[4];
  } kRows[] = {
      {"2.5", 0, {"2", "3", "3", "2"}},
      {"-2.5", 0, {"-3", "-2", "-2", "-2"}},
      {"2.5000000000000000000001", 0, {"2", "3", "3", "3"}},
      {"9", -2, {"0", "100", "0", "0"}},
  };
  for (const auto& [number, digits, results] : kRows) {
    const char* const* expected = results;
    for (const Rounding way : {Rounding::Floor, Rounding::Ceiling,
                               Rounding::HalfUp, Rounding::HalfEven})
      EXPECT_EQ(Number(number).Round(digits, way).ToText(), *expected++)
          << number;
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

}  // namespace
}  // namespace kiv::xdb::xq
