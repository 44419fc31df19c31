#include "xdb/xquery/values/compare.h"

#include <gtest/gtest.h>

#include <string>

#include "testing/xquery_values.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::ValueOf;

constexpr int kZone = 60;

// "<", "=", ">", "!=" where all but ne fail, or the code of eq and of lt.
std::string Relation(const Item& left, const Item& right,
                     bool (*compare)(Comparison, const Item&, const Item&,
                                     int)) {
  const auto holds = [&](Comparison comparison) -> std::string {
    try {
      return compare(comparison, left, right, kZone) ? "y" : "n";
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
  return all == "ynnyny"   ? "="
         : all == "nyyynn" ? "<"
         : all == "nynnyy" ? ">"
         : all == "nynnnn" ? "!="
                           : all;
}

struct CompareCase {
  const char* name;
  const char* left;
  const char* right;
  const char* relation;
};

class ComparisonOf : public ::testing::TestWithParam<CompareCase> {};

TEST_P(ComparisonOf, HoldsAndFitsTheKeys) {
  const CompareCase& row = GetParam();
  const Item left = ValueOf(row.left), right = ValueOf(row.right);
  const std::string relation = Relation(left, right, CompareValues);
  EXPECT_EQ(relation, row.relation);
  EXPECT_EQ(HasComparison(Comparison::Eq, left.type(), right.type()),
            relation != "XPTY0004");
  EXPECT_EQ(HasComparison(Comparison::Gt, left.type(), right.type()),
            relation.find("XPTY0004") == relation.npos);
  const bool is_same = relation[0] == '=';
  EXPECT_EQ(IsSameKey(left, right, kZone), is_same);
  if (is_same) {
    EXPECT_EQ(HashOfKey(left, kZone, true), HashOfKey(right, kZone, true));
    if (left.type() != Type::Float && right.type() != Type::Float) {
      EXPECT_EQ(HashOfKey(left, kZone), HashOfKey(right, kZone));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Values, ComparisonOf,
    ::testing::Values(
        CompareCase{"Promoted", "byte 1", "double 1", "="},
        CompareCase{"IntegersExactly", "integer 9007199254740993",
                    "integer 9007199254740992", ">"},
        CompareCase{"AsDoubles", "integer 9007199254740993",
                    "double 9007199254740992", "="},
        CompareCase{"AsFloats", "decimal 0.1", "float 0.1", "="},
        CompareCase{"FloatWidens", "float 0.1", "double 0.1", ">"},
        CompareCase{"LongDecimals", "decimal 0.10000000000000000000001",
                    "decimal 0.1", ">"},
        CompareCase{"LongNegatives", "integer -99999999999999999999",
                    "integer -9", "<"},
        CompareCase{"Zeros", "double -0", "integer 0", "="},
        CompareCase{"Infinite", "integer 99999999999999999999", "double INF",
                    "<"},
        CompareCase{"UntypedIsText", "untypedAtomic 10", "string 9", "<"},
        CompareCase{"UntypedIsNoNumber", "untypedAtomic 10", "integer 10",
                    "XPTY0004"},
        CompareCase{"UriIsText", "anyURI a", "token a", "="},
        CompareCase{"CodePoints", "string \xEF\xBD\xA1",
                    "string \xF0\x90\x80\x80", "<"},
        CompareCase{"Prefix", "string ab", "string abc", "<"},
        CompareCase{"Booleans", "boolean false", "boolean true", "<"},
        CompareCase{"BooleanIsNoNumber", "boolean true", "integer 1",
                    "XPTY0004"},
        CompareCase{"ZonesMeet", "dateTime 2000-01-01T00:00:00+14:00",
                    "dateTime 1999-12-31T10:00:00Z", "="},
        CompareCase{"ImplicitZone", "dateTime 2000-01-01T01:00:00",
                    "dateTime 2000-01-01T00:00:00Z", "="},
        CompareCase{"Fraction", "time 00:00:00.000000000000000001",
                    "time 00:00:00", ">"},
        CompareCase{"TimesOfTwoDays", "time 01:00:00+05:00", "time 23:00:00Z",
                    "<"},
        CompareCase{"DateIsNoDateTime", "date 2000-01-01",
                    "dateTime 2000-01-01T00:00:00", "XPTY0004"},
        CompareCase{"Months", "yearMonthDuration P1Y", "yearMonthDuration P12M",
                    "="},
        CompareCase{"Times", "dayTimeDuration -PT1S", "dayTimeDuration PT0S",
                    "<"},
        CompareCase{"ZeroOfBothKinds", "yearMonthDuration P0M",
                    "dayTimeDuration PT0S", "= XPTY0004"},
        CompareCase{"BothKinds", "yearMonthDuration P1M",
                    "dayTimeDuration P30D", "!= XPTY0004"},
        CompareCase{"PlainDurations", "duration P1YT1S", "duration P12MT1S",
                    "= XPTY0004"},
        CompareCase{"YearMonths", "gYearMonth 2000-01Z", "gYearMonth 2000-01",
                    "!= XPTY0004"},
        CompareCase{"DaysWithZones", "gDay ---12+01:00", "gDay ---12",
                    "= XPTY0004"},
        CompareCase{"DaysAndMonths", "gDay ---12", "gMonth --12", "XPTY0004"},
        CompareCase{"Octets", "hexBinary 00", "hexBinary 00", "= XPTY0004"},
        CompareCase{"OctetsOfTwoTypes", "hexBinary 00",
                    "base64Binary AA==", "XPTY0004"}),
    [](const auto& row) { return row.param.name; });

TEST(Compare, NaNIsUnequalButOneKey) {
  for (const char* text : {"double NaN", "float NaN"}) {
    const Item nan = ValueOf(text), other = ValueOf("double NaN");
    EXPECT_EQ(Relation(nan, other, CompareValues), "!=");
    EXPECT_EQ(Relation(nan, ValueOf("integer 1"), CompareValues), "!=");
    EXPECT_TRUE(IsSameKey(nan, other, 0));
    EXPECT_EQ(HashOfKey(nan, 0), HashOfKey(other, 0));
    EXPECT_FALSE(IsSameKey(nan, ValueOf("string NaN"), 0));
  }
}

TEST(Compare, NamesCompareWithoutTheirPrefix) {
  const Item name = Item::OfQName({"p", "uri", "a"});
  const Item same = Item::OfQName({"q", "uri", "a"});
  EXPECT_EQ(Relation(name, same, CompareValues), "= XPTY0004");
  EXPECT_EQ(HashOfKey(name, 0), HashOfKey(same, 0));
  EXPECT_EQ(Relation(name, Item::OfQName({"p", "", "a"}), CompareValues),
            "!= XPTY0004");
}

class GeneralComparisonOf : public ::testing::TestWithParam<CompareCase> {};

TEST_P(GeneralComparisonOf, ConvertsTheUntyped) {
  const CompareCase& row = GetParam();
  EXPECT_EQ(Relation(ValueOf(row.left), ValueOf(row.right), CompareGeneral),
            row.relation);
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, GeneralComparisonOf,
    ::testing::Values(
        CompareCase{"ToDouble", "untypedAtomic  10.0 ", "integer 9", ">"},
        CompareCase{"ToDoubleBesideDecimal", "decimal 0.1",
                    "untypedAtomic 0.10000000000000000001", "="},
        CompareCase{"NoNumber", "untypedAtomic ten", "integer 9", "FORG0001"},
        CompareCase{"BothUntyped", "untypedAtomic 10", "untypedAtomic 9", "<"},
        CompareCase{"ToString", "untypedAtomic  a", "token a", "<"},
        CompareCase{"ToUri", "untypedAtomic  a ", "anyURI a", "="},
        CompareCase{"ToBoolean", "boolean true", "untypedAtomic 1", "="},
        CompareCase{"ToDate", "untypedAtomic 2000-01-01", "date 2000-01-02Z",
                    "<"},
        CompareCase{"NoDate", "untypedAtomic 2000", "date 2000-01-02",
                    "FORG0001"},
        CompareCase{"TypedStay", "string 1", "integer 1", "XPTY0004"}),
    [](const auto& row) { return row.param.name; });

TEST(Compare, OrdersNoneAndNaNBesideAllElse) {
  const Item none, nan = ValueOf("double NaN"), low = ValueOf("double -INF");
  EXPECT_LT(CompareForOrder(none, nan, true, 0), 0);
  EXPECT_LT(CompareForOrder(nan, low, true, 0), 0);
  EXPECT_GT(CompareForOrder(none, nan, false, 0), 0);
  EXPECT_GT(CompareForOrder(nan, low, false, 0), 0);
  EXPECT_EQ(CompareForOrder(nan, ValueOf("float NaN"), true, 0), 0);
  EXPECT_EQ(CompareForOrder(none, none, false, 0), 0);
  EXPECT_LT(CompareForOrder(ValueOf("untypedAtomic 10"), ValueOf("string 9"),
                            true, 0),
            0);
  EXPECT_THROW(
      CompareForOrder(ValueOf("gDay ---01"), ValueOf("gDay ---01"), true, 0),
      Error);
}

TEST(Compare, KnowsWhatIsTrue) {
  for (const char* text : {"boolean true", "string false", "anyURI a",
                           "decimal 0.1", "float -INF", "untypedAtomic 0"})
    EXPECT_TRUE(EffectiveBoolean(ValueOf(text))) << text;
  for (const char* text : {"boolean false", "string ", "integer 0", "double -0",
                           "float NaN", "untypedAtomic "})
    EXPECT_FALSE(EffectiveBoolean(ValueOf(text))) << text;
  for (const char* text :
       {"date 2000-01-01", "hexBinary 00", "dayTimeDuration PT1S"}) {
    try {
      EffectiveBoolean(ValueOf(text));
      ADD_FAILURE() << text;
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), "FORG0006");
    }
  }
}

}  // namespace
}  // namespace kiv::xdb::xq
