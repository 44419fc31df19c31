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
  const char* left;
  const char* right;
  const char* relation;
};

TEST(Compare, HoldsAndFitsTheKeys) {
  constexpr CompareCase kRows[] = {
      {"byte 1", "double 1", "="},
      {"integer 9007199254740993", "integer 9007199254740992", ">"},
      // As doubles, and as floats.
      {"integer 9007199254740993", "double 9007199254740992", "="},
      {"decimal 0.1", "float 0.1", "="},
      {"float 0.1", "double 0.1", ">"},
      {"decimal 0.10000000000000000000001", "decimal 0.1", ">"},
      {"integer -99999999999999999999", "integer -9", "<"},
      {"double -0", "integer 0", "="},
      {"integer 99999999999999999999", "double INF", "<"},
      {"untypedAtomic 10", "string 9", "<"},
      {"anyURI a", "token a", "="},
      {"string \xEF\xBD\xA1", "string \xF0\x90\x80\x80", "<"},
      {"dateTime 2000-01-01T00:00:00+14:00", "dateTime 1999-12-31T10:00:00Z",
       "="},
      // The implicit zone.
      {"dateTime 2000-01-01T01:00:00", "dateTime 2000-01-01T00:00:00Z", "="},
      {"time 00:00:00.000000000000000001", "time 00:00:00", ">"},
      {"time 01:00:00+05:00", "time 23:00:00Z", "<"},
      {"date 2000-01-01", "dateTime 2000-01-01T00:00:00", "XPTY0004"},
      {"yearMonthDuration P0M", "dayTimeDuration PT0S", "= XPTY0004"},
      {"yearMonthDuration P1M", "dayTimeDuration P30D", "!= XPTY0004"},
      {"duration P1YT1S", "duration P12MT1S", "= XPTY0004"},
      {"gYearMonth 2000-01Z", "gYearMonth 2000-01", "!= XPTY0004"},
      {"gDay ---12+01:00", "gDay ---12", "= XPTY0004"},
      {"gDay ---12", "gMonth --12", "XPTY0004"},
      {"hexBinary 00", "hexBinary 00", "= XPTY0004"},
      {"hexBinary 00", "base64Binary AA==", "XPTY0004"},
  };
  for (const CompareCase& row : kRows) {
    SCOPED_TRACE(std::string(row.left) + " and " + row.right);
    const Item left = ValueOf(row.left), right = ValueOf(row.right);
    const std::string relation = Relation(left, right, CompareValues);
    EXPECT_EQ(relation, row.relation);
    EXPECT_EQ(HasComparison(Comparison::Eq, left.type(), right.type()),
              relation != "XPTY0004");
    EXPECT_EQ(HasComparison(Comparison::Gt, left.type(), right.type()),
              relation.find("XPTY0004") == relation.npos);
    const bool is_same = relation[0] == '=';
    EXPECT_EQ(IsSameKey(left, right, kZone), is_same);
    if (!is_same) continue;
    EXPECT_EQ(HashOfKey(left, kZone, true), HashOfKey(right, kZone, true));
    if (left.type() != Type::Float && right.type() != Type::Float) {
      EXPECT_EQ(HashOfKey(left, kZone), HashOfKey(right, kZone));
    }
  }
}

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

TEST(Compare, GenerallyConvertsTheUntyped) {
  constexpr CompareCase kRows[] = {
      {"untypedAtomic  10.0 ", "integer 9", ">"},
      {"decimal 0.1", "untypedAtomic 0.10000000000000000001", "="},
      {"untypedAtomic  a", "token a", "<"},
      {"untypedAtomic  a ", "anyURI a", "="},
      {"boolean true", "untypedAtomic 1", "="},
      {"untypedAtomic 2000-01-01", "date 2000-01-02Z", "<"},
      {"string 1", "integer 1", "XPTY0004"},
  };
  for (const CompareCase& row : kRows) {
    EXPECT_EQ(Relation(ValueOf(row.left), ValueOf(row.right), CompareGeneral),
              row.relation)
        << row.left << " and " << row.right;
  }
}

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

}  // namespace
}  // namespace kiv::xdb::xq
