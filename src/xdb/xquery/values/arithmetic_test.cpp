#include "xdb/xquery/values/arithmetic.h"

#include <gtest/gtest.h>

#include <string>

#include "testing/xquery_values.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::Shown;
using kiv::testing::ShownOrCode;
using kiv::testing::ValueOf;

constexpr int kZone = -5 * 60;

struct OperatorCase {
  const char* name;
  const char* left;  // as ValueOf
  Operator op;
  const char* right;
  const char* result;  // as Shown, or a code
};

class OperatorOn : public ::testing::TestWithParam<OperatorCase> {};

TEST_P(OperatorOn, GivesTheValueOrTheCode) {
  const OperatorCase& row = GetParam();
  const Item left = ValueOf(row.left), right = ValueOf(row.right);
  Item value;
  const std::string result = ShownOrCode([&] {
    value = Calculate(row.op, left, right, kZone);
    return value;
  });
  EXPECT_EQ(result, row.result);
  // What static typing says of it.
  const Type type = ResultOf(row.op, left.type(), right.type());
  EXPECT_EQ(type == Type::None, result == "XPTY0004");
  if (!value.IsNone()) {
    EXPECT_EQ(type, value.type());
  }
}

const auto kRowName = [](const auto& row) { return row.param.name; };

constexpr Operator kAdd = Operator::Add;
constexpr Operator kSub = Operator::Subtract;
constexpr Operator kMul = Operator::Multiply;
constexpr Operator kDiv = Operator::Divide;
constexpr Operator kIdiv = Operator::IntegerDivide;
constexpr Operator kMod = Operator::Modulo;

INSTANTIATE_TEST_SUITE_P(
    Numbers, OperatorOn,
    ::testing::Values(
        OperatorCase{"DerivedTypesGoAway", "byte 127", kAdd, "byte 1",
                     "integer 128"},
        OperatorCase{"PastInt64", "integer 9223372036854775807", kAdd,
                     "integer 1", "integer 9223372036854775808"},
        OperatorCase{"PastInt64Down", "integer -9223372036854775808", kSub,
                     "integer 1", "integer -9223372036854775809"},
        OperatorCase{"PastInt64Times", "integer 4294967296", kMul,
                     "integer -4294967296", "integer -18446744073709551616"},
        OperatorCase{"LeastByMinusOne", "integer -9223372036854775808", kIdiv,
                     "integer -1", "integer 9223372036854775808"},
        OperatorCase{"LeastModMinusOne", "integer -9223372036854775808", kMod,
                     "integer -1", "integer 0"},
        OperatorCase{"IntegersDivide", "integer 6", kDiv, "integer 2",
                     "decimal 3"},
        OperatorCase{"DecimalWins", "integer 1", kAdd, "decimal 0.5",
                     "decimal 1.5"},
        OperatorCase{"FloatWins", "decimal 0.5", kMul, "float 0.1",
                     "float 0.05"},
        OperatorCase{"DoubleWins", "float 0.5", kSub, "double 0.25",
                     "double 0.25"},
        OperatorCase{"UntypedIsDouble", "untypedAtomic  1 ", kAdd, "integer 1",
                     "double 2"},
        OperatorCase{"UntypedBoth", "untypedAtomic 1", kDiv, "untypedAtomic 0",
                     "double INF"},
        OperatorCase{"UntypedNoNumber", "untypedAtomic x", kAdd, "integer 1",
                     "FORG0001"},
        OperatorCase{"FloatRounds", "float 16777216", kAdd, "float 1",
                     "float 1.6777216E7"},
        OperatorCase{"DecimalByZero", "decimal 1", kDiv, "integer 0",
                     "FOAR0001"},
        OperatorCase{"DoubleByZero", "double -1", kDiv, "integer 0",
                     "double -INF"},
        OperatorCase{"DoubleIdivZero", "double 1", kIdiv, "double 0",
                     "FOAR0001"},
        OperatorCase{"NaNIdivZero", "double NaN", kIdiv, "double 0",
                     "FOAR0001"},
        OperatorCase{"InfinityIdiv", "double INF", kIdiv, "double 2",
                     "FOAR0002"},
        OperatorCase{"IdivInfinity", "integer 5", kIdiv, "float -INF",
                     "integer 0"},
        OperatorCase{"IdivCuts", "double -7.9", kIdiv, "integer 2",
                     "integer -3"},
        OperatorCase{"IdivPast64", "double 1e20", kIdiv, "double 0.5",
                     "integer 200000000000000000000"},
        OperatorCase{"IntegerModZero", "integer 5", kMod, "integer 0",
                     "FOAR0001"},
        OperatorCase{"DoubleModZero", "integer 5", kMod, "double 0",
                     "double NaN"},
        OperatorCase{"ModInfinity", "double -5", kMod, "double INF",
                     "double -5"},
        OperatorCase{"ModSign", "integer -10", kMod, "integer 3", "integer -1"},
        OperatorCase{"DecimalModIsExact", "decimal 1.0", kMod, "decimal 0.1",
                     "decimal 0"},
        OperatorCase{"StringIsNoNumber", "string 1", kAdd, "integer 1",
                     "XPTY0004"},
        OperatorCase{"BooleanIsNoNumber", "boolean true", kAdd, "integer 1",
                     "XPTY0004"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Durations, OperatorOn,
    ::testing::Values(
        OperatorCase{"MonthsAdd", "yearMonthDuration P1Y", kAdd,
                     "yearMonthDuration -P13M", "yearMonthDuration -P1M"},
        OperatorCase{"TimesSubtract", "dayTimeDuration PT0S", kSub,
                     "dayTimeDuration PT0.1S", "dayTimeDuration -PT0.1S"},
        OperatorCase{"MonthsAndTimes", "yearMonthDuration P1Y", kAdd,
                     "dayTimeDuration P1D", "XPTY0004"},
        OperatorCase{"PlainDuration", "duration P1Y", kAdd,
                     "yearMonthDuration P1Y", "XPTY0004"},
        OperatorCase{"TooManyMonths", "yearMonthDuration P9223372036854775807M",
                     kAdd, "yearMonthDuration P1M", "FODT0002"},
        OperatorCase{"TooManySeconds", "dayTimeDuration PT9223372036854775807S",
                     kAdd, "dayTimeDuration PT1S", "FODT0002"},
        OperatorCase{"MonthsRoundUp", "yearMonthDuration P5M", kMul,
                     "decimal 0.5", "yearMonthDuration P3M"},
        OperatorCase{"NegativeMonthsRoundUp", "yearMonthDuration -P5M", kMul,
                     "decimal 0.5", "yearMonthDuration -P2M"},
        OperatorCase{"NumberFirst", "double 2.3", kMul,
                     "yearMonthDuration P2Y11M", "yearMonthDuration P6Y9M"},
        OperatorCase{"FactorAsPrinted", "dayTimeDuration PT1S", kMul,
                     "double 0.1", "dayTimeDuration PT0.1S"},
        OperatorCase{"FactorNaN", "dayTimeDuration PT1S", kMul, "double NaN",
                     "FOCA0005"},
        OperatorCase{"FactorInfinite", "yearMonthDuration P1M", kMul,
                     "float INF", "FODT0002"},
        OperatorCase{"FactorHuge", "dayTimeDuration PT1S", kMul, "double 1e300",
                     "FODT0002"},
        OperatorCase{"DividedByZero", "dayTimeDuration PT1S", kDiv, "integer 0",
                     "FODT0002"},
        OperatorCase{"DividedByInfinity", "yearMonthDuration P1Y", kDiv,
                     "double -INF", "yearMonthDuration P0M"},
        OperatorCase{"NumberByDuration", "integer 1", kDiv,
                     "dayTimeDuration PT1S", "XPTY0004"},
        OperatorCase{"MonthsByMonths", "yearMonthDuration P3Y4M", kDiv,
                     "yearMonthDuration -P1Y4M", "decimal -2.5"},
        OperatorCase{"TimesByTimes", "dayTimeDuration P1D", kDiv,
                     "dayTimeDuration PT0.5S", "decimal 172800"},
        OperatorCase{"TimesByNoTime", "dayTimeDuration P1D", kDiv,
                     "dayTimeDuration PT0S", "FOAR0001"},
        OperatorCase{"DurationsDoNotIdiv", "dayTimeDuration P1D", kIdiv,
                     "dayTimeDuration PT1S", "XPTY0004"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Dates, OperatorOn,
    ::testing::Values(
        OperatorCase{"LastDayOfMonth", "date 2000-01-31", kAdd,
                     "yearMonthDuration P1M", "date 2000-02-29"},
        OperatorCase{"MonthsBack", "date 2000-03-31Z", kSub,
                     "yearMonthDuration P13M", "date 1999-02-28Z"},
        OperatorCase{"OverTheFirstYear", "date 0001-01-01", kSub,
                     "yearMonthDuration P1M", "date -0001-12-01"},
        OperatorCase{"DateDropsTime", "date 2000-02-28", kAdd,
                     "dayTimeDuration P1DT23H59M", "date 2000-02-29"},
        OperatorCase{"DateBackByASecond", "date 2000-03-01", kSub,
                     "dayTimeDuration PT0.000000000000000001S",
                     "date 2000-02-29"},
        OperatorCase{"DurationFirst", "dayTimeDuration PT1S", kAdd,
                     "dateTime 1999-12-31T23:59:59-05:00",
                     "dateTime 2000-01-01T00:00:00-05:00"},
        OperatorCase{"DurationMinusDate", "dayTimeDuration PT1S", kSub,
                     "date 2000-01-01", "XPTY0004"},
        OperatorCase{"TimeWraps", "time 00:00:00.5+01:00", kSub,
                     "dayTimeDuration P3DT1S", "time 23:59:59.5+01:00"},
        OperatorCase{"TimeHasNoMonths", "time 00:00:00", kAdd,
                     "yearMonthDuration P1M", "XPTY0004"},
        OperatorCase{"ZonesCount", "dateTime 2000-01-01T00:00:00+14:00", kSub,
                     "dateTime 2000-01-01T00:00:00-14:00",
                     "dayTimeDuration -P1DT4H"},
        OperatorCase{"ImplicitZone", "date 2000-01-02", kSub,
                     "date 2000-01-01Z", "dayTimeDuration P1DT5H"},
        OperatorCase{"Times", "time 11:12:00Z", kSub, "time 04:00:00",
                     "dayTimeDuration PT2H12M"},
        OperatorCase{"Fractions", "dateTime 2000-01-01T00:00:00.1Z", kSub,
                     "dateTime 1999-12-31T23:59:59.9Z",
                     "dayTimeDuration PT0.2S"},
        OperatorCase{"DateAndDateTime", "date 2000-01-01", kSub,
                     "dateTime 2000-01-01T00:00:00", "XPTY0004"},
        OperatorCase{"YearTooLarge", "date 2000-01-01", kAdd,
                     "yearMonthDuration P292277024000Y", "FODT0001"},
        OperatorCase{"MonthsTooMany", "date -292277024000-01-01", kSub,
                     "yearMonthDuration P9223372036854775807M", "FODT0001"},
        OperatorCase{"DaysTooMany", "dateTime 2000-01-01T00:00:00", kAdd,
                     "dayTimeDuration PT9223372036854775807S", "FODT0001"},
        OperatorCase{"DifferenceTooLarge", "date 292277024000-01-01", kSub,
                     "date -292277024000-01-01", "FODT0002"}),
    kRowName);

// The short ways agree with the long one where they give up.
TEST(Arithmetic, ShortWaysGiveWhatCalculateGives) {
  for (const char* left :
       {"integer 9223372036854775807", "integer -9223372036854775808",
        "integer -1", "integer 3037000500", "double 1e308", "decimal 0.5"}) {
    for (const char* right :
         {"integer 9223372036854775807", "integer -9223372036854775808",
          "integer 3037000500", "double -0", "untypedAtomic 7"}) {
      const Item a = ValueOf(left), b = ValueOf(right);
      EXPECT_EQ(Shown(Add(a, b, 0)), Shown(Calculate(kAdd, a, b, 0)));
      EXPECT_EQ(Shown(Subtract(a, b, 0)), Shown(Calculate(kSub, a, b, 0)));
      EXPECT_EQ(Shown(Multiply(a, b, 0)), Shown(Calculate(kMul, a, b, 0)));
    }
  }
}

struct FunctionCase {
  const char* name;
  const char* value;
  const char* negated;
  const char* absolute;
  const char* ceiling;
  const char* floor;
  const char* rounded;
  const char* half_even;
};

class FunctionOf : public ::testing::TestWithParam<FunctionCase> {};

TEST_P(FunctionOf, KeepsTheTypeOfTheNumber) {
  const FunctionCase& row = GetParam();
  const Item value = ValueOf(row.value);
  EXPECT_EQ(Shown(Negate(value)), row.negated);
  EXPECT_EQ(Shown(Abs(value)), row.absolute);
  EXPECT_EQ(Shown(Ceiling(value)), row.ceiling);
  EXPECT_EQ(Shown(Floor(value)), row.floor);
  EXPECT_EQ(Shown(Round(value)), row.rounded);
  EXPECT_EQ(Shown(RoundHalfToEven(value)), row.half_even);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, FunctionOf,
    ::testing::Values(
        FunctionCase{
            "Least", "long -9223372036854775808", "integer 9223372036854775808",
            "integer 9223372036854775808", "integer -9223372036854775808",
            "integer -9223372036854775808", "integer -9223372036854775808",
            "integer -9223372036854775808"},
        FunctionCase{"Decimal", "decimal -2.5", "decimal 2.5", "decimal 2.5",
                     "decimal -2", "decimal -3", "decimal -2", "decimal -2"},
        FunctionCase{"Half", "double 0.5", "double -0.5", "double 0.5",
                     "double 1", "double 0", "double 1", "double 0"},
        FunctionCase{"NegativeHalf", "float -0.5", "float 0.5", "float 0.5",
                     "float -0", "float -1", "float -0", "float -0"},
        FunctionCase{"JustBelowHalf", "double 0.49999999999999994",
                     "double -0.49999999999999994",
                     "double 0.49999999999999994", "double 1", "double 0",
                     "double 0", "double 0"},
        FunctionCase{
            "OddAndLarge", "double 4503599627370497",
            "double -4.503599627370497E15", "double 4.503599627370497E15",
            "double 4.503599627370497E15", "double 4.503599627370497E15",
            "double 4.503599627370497E15", "double 4.503599627370497E15"},
        FunctionCase{"MinusZero", "double -0", "double 0", "double 0",
                     "double -0", "double -0", "double -0", "double -0"},
        FunctionCase{"NaN", "double NaN", "double NaN", "double NaN",
                     "double NaN", "double NaN", "double NaN", "double NaN"},
        FunctionCase{"Infinite", "float -INF", "float INF", "float INF",
                     "float -INF", "float -INF", "float -INF", "float -INF"}),
    kRowName);

TEST(Arithmetic, RoundsHalfToEvenAtAPrecision) {
  const auto rounded = [](const char* value, std::int64_t precision) {
    return Shown(RoundHalfToEven(ValueOf(value), precision));
  };
  EXPECT_EQ(rounded("double 3567.812", 2), "double 3567.81");
  EXPECT_EQ(rounded("double 0.0047564", 2), "double 0");
  EXPECT_EQ(rounded("double -0.0047564", 2), "double -0");
  EXPECT_EQ(rounded("decimal 35612.25", -2), "decimal 35600");
  EXPECT_EQ(rounded("double 1.005", 2), "double 1");  // it lies below 1.005
  EXPECT_EQ(rounded("short 250", -2), "integer 200");
  EXPECT_EQ(rounded("double 1.5", INT64_MAX), "double 1.5");
  EXPECT_EQ(rounded("integer 5", INT64_MIN), "integer 0");
}

}  // namespace
}  // namespace kiv::xdb::xq
