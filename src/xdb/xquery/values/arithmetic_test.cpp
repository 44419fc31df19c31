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

constexpr OperatorCase kNumbers[] = {
    {"byte 127", kAdd, "byte 1", "integer 128"},
    {"integer 9223372036854775807", kAdd, "integer 1",
     "integer 9223372036854775808"},
    {"integer -9223372036854775808", kSub, "integer 1",
     "integer -9223372036854775809"},
    {"integer 4294967296", kMul, "integer -4294967296",
     "integer -18446744073709551616"},
    {"integer -9223372036854775808", kIdiv, "integer -1",
     "integer 9223372036854775808"},
    {"integer -9223372036854775808", kMod, "integer -1", "integer 0"},
    {"integer 6", kDiv, "integer 2", "decimal 3"},
    {"float 16777216", kAdd, "float 1", "float 1.6777216E7"},
    {"double NaN", kIdiv, "double 0", "FOAR0001"},
    {"double INF", kIdiv, "double 2", "FOAR0002"},
    {"integer 5", kIdiv, "float -INF", "integer 0"},
    {"double 1e20", kIdiv, "double 0.5", "integer 200000000000000000000"},
    {"decimal 1.0", kMod, "decimal 0.1", "decimal 0"},
    {"string 1", kAdd, "integer 1", "XPTY0004"},
};

constexpr OperatorCase kDurations[] = {
    {"duration P1Y", kAdd, "yearMonthDuration P1Y", "XPTY0004"},
    {"yearMonthDuration P9223372036854775807M", kAdd, "yearMonthDuration P1M",
     "FODT0002"},
    {"dayTimeDuration PT9223372036854775807S", kAdd, "dayTimeDuration PT1S",
     "FODT0002"},
    // Half a month goes up.
    {"yearMonthDuration P5M", kMul, "decimal 0.5", "yearMonthDuration P3M"},
    {"yearMonthDuration -P5M", kMul, "decimal 0.5", "yearMonthDuration -P2M"},
    // The factor as it prints.
    {"dayTimeDuration PT1S", kMul, "double 0.1", "dayTimeDuration PT0.1S"},
    {"dayTimeDuration PT1S", kMul, "double NaN", "FOCA0005"},
    {"dayTimeDuration PT1S", kMul, "double 1e300", "FODT0002"},
    {"dayTimeDuration PT1S", kDiv, "integer 0", "FODT0002"},
    {"yearMonthDuration P1Y", kDiv, "double -INF", "yearMonthDuration P0M"},
    {"dayTimeDuration P1D", kDiv, "dayTimeDuration PT0S", "FOAR0001"},
};

constexpr OperatorCase kDates[] = {
    {"date 2000-01-31", kAdd, "yearMonthDuration P1M", "date 2000-02-29"},
    {"date 0001-01-01", kSub, "yearMonthDuration P1M", "date -0001-12-01"},
    {"date 2000-02-28", kAdd, "dayTimeDuration P1DT23H59M", "date 2000-02-29"},
    {"date 2000-03-01", kSub, "dayTimeDuration PT0.000000000000000001S",
     "date 2000-02-29"},
    {"time 00:00:00.5+01:00", kSub, "dayTimeDuration P3DT1S",
     "time 23:59:59.5+01:00"},
    {"time 00:00:00", kAdd, "yearMonthDuration P1M", "XPTY0004"},
    {"dateTime 2000-01-01T00:00:00+14:00", kSub,
     "dateTime 2000-01-01T00:00:00-14:00", "dayTimeDuration -P1DT4H"},
    // The implicit zone.
    {"date 2000-01-02", kSub, "date 2000-01-01Z", "dayTimeDuration P1DT5H"},
    {"time 11:12:00Z", kSub, "time 04:00:00", "dayTimeDuration PT2H12M"},
    {"dateTime 2000-01-01T00:00:00.1Z", kSub, "dateTime 1999-12-31T23:59:59.9Z",
     "dayTimeDuration PT0.2S"},
    {"date 2000-01-01", kAdd, "yearMonthDuration P292277024000Y", "FODT0001"},
    {"date -292277024000-01-01", kSub,
     "yearMonthDuration P9223372036854775807M", "FODT0001"},
    {"dateTime 2000-01-01T00:00:00", kAdd,
     "dayTimeDuration PT9223372036854775807S", "FODT0001"},
    {"date 292277024000-01-01", kSub, "date -292277024000-01-01", "FODT0002"},
};

void ExpectResult(const OperatorCase& row) {
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
  if (!value.IsNone()) {
    EXPECT_EQ(type, value.type());
  }
}

TEST(Arithmetic, GivesTheValueOrTheCode) {
  for (const OperatorCase& row : kNumbers) ExpectResult(row);
  for (const OperatorCase& row : kDurations) ExpectResult(row);
  for (const OperatorCase& row : kDates) ExpectResult(row);
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

struct FunctionCase {
  const char* value;
  // Negated, absolute, ceiling, floor, rounded and rounded half to even, behind
  // their type.
  const char* results;
};

TEST(Arithmetic, FunctionsKeepTheTypeOfTheNumber) {
  constexpr FunctionCase kRows[] = {
      {"long -9223372036854775808",
       "integer 9223372036854775808 9223372036854775808 -9223372036854775808 "
       "-9223372036854775808 -9223372036854775808 -9223372036854775808"},
      {"decimal -2.5", "decimal 2.5 2.5 -2 -3 -2 -2"},
      {"double 0.5", "double -0.5 0.5 1 0 1 0"},
      {"float -0.5", "float 0.5 0.5 -0 -1 -0 -0"},
      {"double 0.49999999999999994",
       "double -0.49999999999999994 0.49999999999999994 1 0 0 0"},
      {"double 4503599627370497",
       "double -4.503599627370497E15 4.503599627370497E15 4.503599627370497E15 "
       "4.503599627370497E15 4.503599627370497E15 4.503599627370497E15"},
      {"double -0", "double 0 0 -0 -0 -0 -0"},
      {"double NaN", "double NaN NaN NaN NaN NaN NaN"},
      {"float -INF", "float INF INF -INF -INF -INF -INF"},
  };
  for (const FunctionCase& row : kRows) {
    const Item value = ValueOf(row.value);
    const Item results[] = {Negate(value),  Abs(value),
                            Ceiling(value), Floor(value),
                            Round(value),   RoundHalfToEven(value)};
    std::string shown(LocalNameOf(results[0].type()));
    for (const Item& result : results) {
      EXPECT_EQ(result.type(), results[0].type()) << row.value;
      shown += " " + TextOf(result);
    }
    EXPECT_EQ(shown, row.results);
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
