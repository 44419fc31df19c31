#include "xdb/xquery/values/compare.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "testing/xquery_values.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::ValueOf;

constexpr int kZone = 60;

// "<", "=", ">", "!=" where all but ne fail, or the code of eq and of lt.
std::string Relation(const Item& left, const Item& right) {
  const auto holds = [&](Comparison comparison) -> std::string {
    try {
      return CompareValues(comparison, left, right, kZone) ? "y" : "n";
    } catch (const Error& error) {
      return error.code();
    }
  };
  const std::string eq = holds(Comparison::Eq), lt = holds(Comparison::Lt);
  if (eq.size() > 1) return eq;
  if (lt.size() > 1) return (eq == "y" ? "= " : "!= ") + lt;
  const std::string all = eq + holds(Comparison::Ne) + lt +
                          holds(Comparison::Le) + holds(Comparison::Gt) +
                          holds(Comparison::Ge);
  const std::map<std::string, std::string> kSigns = {
      {"ynnyny", "="}, {"nyyynn", "<"}, {"nynnyy", ">"}, {"nynnnn", "!="}};
  return kSigns.count(all) != 0 ? kSigns.at(all) : all;
}

TEST(Compare, HoldsAndFitsTheKeys) {
  constexpr const char* kRows[][3] = {
      {"integer 9007199254740993", "integer 9007199254740992", ">"},
      // As doubles, and as floats.
      {"integer 9007199254740993", "double 9007199254740992", "="},
      {"decimal 0.1", "float 0.1", "="},
      {"float 0.1", "double 0.1", ">"},
      {"decimal 0.10000000000000000000001", "decimal 0.1", ">"},
      {"integer 99999999999999999999", "double INF", "<"},
      {"untypedAtomic 10", "string 9", "<"},
      {"dateTime 2000-01-01T00:00:00+14:00", "dateTime 1999-12-31T10:00:00Z",
       "="},
      // The implicit zone.
      {"dateTime 2000-01-01T01:00:00", "dateTime 2000-01-01T00:00:00Z", "="},
      {"time 01:00:00+05:00", "time 23:00:00Z", "<"},
      {"date 2000-01-01", "dateTime 2000-01-01T00:00:00", "XPTY0004"},
      {"yearMonthDuration P0M", "dayTimeDuration PT0S", "= XPTY0004"},
      {"gDay ---12+01:00", "gDay ---12", "= XPTY0004"},
      {"gDay ---12", "gMonth --12", "XPTY0004"},
  };
  for (const auto& [left_text, right_text, expected] : kRows) {
    SCOPED_TRACE(std::string(left_text) + " and " + right_text);
    const Item left = ValueOf(left_text), right = ValueOf(right_text);
    const std::string relation = Relation(left, right);
    EXPECT_EQ(relation, expected);
    EXPECT_EQ(HasComparison(Comparison::Eq, left.type(), right.type()),
              relation != "XPTY0004");
    EXPECT_EQ(HasComparison(Comparison::Gt, left.type(), right.type()),
              relation.find("XPTY0004") == relation.npos);
    const bool is_same = relation[0] == '=';
    EXPECT_EQ(IsSameKey(left, right, kZone), is_same);
    if (!is_same) continue;
    EXPECT_EQ(HashOfKey(left, kZone, true), HashOfKey(right, kZone, true));
    EXPECT_TRUE(left.type() == Type::Float || right.type() == Type::Float ||
                HashOfKey(left, kZone) == HashOfKey(right, kZone));
  }
}

TEST(Compare, NaNIsUnequalButOneKey) {
  for (const char* text : {"double NaN", "float NaN"}) {
    const Item nan = ValueOf(text), other = ValueOf("double NaN");
    EXPECT_EQ(Relation(nan, other), "!=");
    EXPECT_EQ(Relation(nan, ValueOf("integer 1")), "!=");
    EXPECT_TRUE(IsSameKey(nan, other, 0));
    EXPECT_EQ(HashOfKey(nan, 0), HashOfKey(other, 0));
    EXPECT_FALSE(IsSameKey(nan, ValueOf("string NaN"), 0));
  }
}

TEST(Compare, OrdersNoneAndNaNBesideAllElse) {
  const Item none, nan = ValueOf("double NaN"), low = ValueOf("double -INF");
  EXPECT_LT(CompareForOrder(none, nan, true, 0), 0);
  EXPECT_LT(CompareForOrder(nan, low, true, 0), 0);
  EXPECT_GT(CompareForOrder(nan, low, false, 0), 0);
  EXPECT_EQ(CompareForOrder(nan, ValueOf("float NaN"), true, 0), 0);
  EXPECT_LT(CompareForOrder(ValueOf("untypedAtomic 10"), ValueOf("string 9"),
                            true, 0),
            0);
  EXPECT_THROW(
      CompareForOrder(ValueOf("gDay ---01"), ValueOf("gDay ---01"), true, 0),
      Error);
}

}  // namespace
}  // namespace kiv::xdb::xq
