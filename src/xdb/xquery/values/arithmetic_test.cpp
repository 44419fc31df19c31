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

constexpr Operator kAdd = Operator::Add;
constexpr Operator kSub = Operator::Subtract;
constexpr Operator kMul = Operator::Multiply;
constexpr Operator kDiv = Operator::Divide;
constexpr Operator kIdiv = Operator::IntegerDivide;
constexpr Operator kMod = Operator::Modulo;

struct OperatorCase {
  const char* left;  // as ValueOf
  Operator op;
  const char* right;
  const char* result;  // as Shown, or a code
};

constexpr OperatorCase kCalculations[] = {
    {"integer 9223372036854775807", kAdd, "integer 1",
     "integer 9223372036854775808"},
    {"integer -9223372036854775808", kSub, "integer 1",
     "integer -9223372036854775809"},
    {"integer 4294967296", kMul, "integer -4294967296",
     "integer -18446744073709551616"},
    {"integer -9223372036854775808", kIdiv, "integer -1",
     "integer 9223372036854775808"},
    {"double NaN", kIdiv, "double 0", "FOAR0001"},
    {"decimal 1.0", kMod, "decimal 0.1", "decimal 0"},
    {"duration P1Y", kAdd, "yearMonthDuration P1Y", "XPTY0004"},
    // Half a month goes up.
    {"yearMonthDuration P5M", kMul, "decimal 0.5", "yearMonthDuration P3M"},
    // The factor as it prints.
    {"dayTimeDuration PT1S", kMul, "double 0.1", "dayTimeDuration PT0.1S"},
    {"dayTimeDuration PT1S", kMul, "double 1e300", "FODT0002"},
    {"yearMonthDuration P1Y", kDiv, "double -INF", "yearMonthDuration P0M"},
    {"date 0001-01-01", kSub, "yearMonthDuration P1M", "date -0001-12-01"},
    {"date 2000-03-01", kSub, "dayTimeDuration PT0.000000000000000001S",
     "date 2000-02-29"},
    {"time 00:00:00.5+01:00", kSub, "dayTimeDuration P3DT1S",
     "time 23:59:59.5+01:00"},
    // The implicit zone.
    {"date 2000-01-02", kSub, "date 2000-01-01Z", "dayTimeDuration P1DT5H"},
    {"dateTime 2000-01-01T00:00:00", kAdd,
     "dayTimeDuration PT9223372036854775807S", "FODT0001"},
    {"date 292277024000-01-01", kSub, "date -292277024000-01-01", "FODT0002"},
};

TEST(Arithmetic, GivesTheValueOrTheCode) {
  for (const OperatorCase& row : kCalculations) {
    SCOPED_TRACE(std::string(row.left) + " and " + row.right);
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
    EXPECT_TRUE(value.IsNone() || type == value.type());
  }
}

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

TEST(Arithmetic, FunctionsKeepTheTypeOfTheNumber) {
  // Negated, absolute, ceiling, floor, rounded and rounded half to even, behind
  // their type.
  constexpr const char* kRows[][2] = {
      {"long -9223372036854775808",
       "integer 9223372036854775808 9223372036854775808 -9223372036854775808 "
       "-9223372036854775808 -9223372036854775808 -9223372036854775808"},
      {"decimal -2.5", "decimal 2.5 2.5 -2 -3 -2 -2"},
      {"double 0.5", "double -0.5 0.5 1 0 1 0"},
      {"double 0.49999999999999994",
       "double -0.49999999999999994 0.49999999999999994 1 0 0 0"},
      {"double -0", "double 0 0 -0 -0 -0 -0"},
  };
  for (const auto& [text, expected] : kRows) {
    const Item value = ValueOf(text);
    const Item results[] = {Negate(value),  Abs(value),
                            Ceiling(value), Floor(value),
                            Round(value),   RoundHalfToEven(value)};
    std::string shown(LocalNameOf(results[0].type()));
    for (const Item& result : results) {
      EXPECT_EQ(result.type(), results[0].type()) << text;
      shown += " " + TextOf(result);
    }
    EXPECT_EQ(shown, expected);
  }
}

TEST(Arithmetic, RoundsHalfToEvenAtAPrecision) {
  const auto rounded = [](const char* value, std::int64_t precision) {
    return Shown(RoundHalfToEven(ValueOf(value), precision));
  };
  EXPECT_EQ(rounded("double 1.005", 2), "double 1");  // it lies below 1.005
  EXPECT_EQ(rounded("double 1.5", INT64_MAX), "double 1.5");
  EXPECT_EQ(rounded("integer 5", INT64_MIN), "integer 0");
}

}  // namespace
}  // namespace kiv::xdb::xq
