#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/xquery_values.h"
#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/functions/pattern.h"
#include "xdb/xquery/values/date_time.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::Shown;
using kiv::testing::ShownOrCode;
using kiv::testing::ValueOf;

CallContext ContextOfTests() {
  CallContext context;
  context.implicit_zone = 8 * 60;
  context.current_date_time = DateTimeOfUnix(0, context.implicit_zone);
  context.base_uri = "http://host/a/b?q";
  return context;
}

using Values = std::vector<const char*>;

std::vector<Item> ItemsOf(const Values& values) {
  std::vector<Item> items;
  for (const char* value : values) {
    items.push_back(std::string(value) == "none" ? Item{} : ValueOf(value));
  }
  return items;
}

// A call as Shown, the items of a list with commas, or the code of its error.
std::string Called(const char* name, const Values& values) {
  const std::vector<Item> arguments = ItemsOf(values);
  const Function* function = FindFunction(name, arguments.size());
  if (!function) return "XPST0017";
  const CallContext context = ContextOfTests();
  if (function->scalar) {
    return ShownOrCode([&] { return function->scalar(context, arguments); });
  }
  std::string shown;
  try {
    for (const Item& item : function->list(context, arguments)) {
      shown += (shown.empty() ? "" : ", ") + Shown(item);
    }
  } catch (const Error& error) {
    return error.code();
  }
  return shown;
}

struct CallCase {
  const char* name;
  const char* function;
  Values arguments;
  const char* result;
};

class CallOf : public ::testing::TestWithParam<CallCase> {};

TEST_P(CallOf, GivesTheValueOrTheCode) {
  const CallCase& row = GetParam();
  EXPECT_EQ(Called(row.function, row.arguments), row.result);
}

const auto kRowName = [](const auto& row) { return row.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Substring, CallOf,
    ::testing::Values(
        CallCase{"HalfRoundsUp",
                 "substring",
                 {"string 12345", "double 1.5", "double 2.6"},
                 "string 234"},
        CallCase{"FromZeroLosesOne",
                 "substring",
                 {"string 12345", "double 0", "double 3"},
                 "string 12"},
        CallCase{"NegativeLength",
                 "substring",
                 {"string 12345", "double 5", "double -3"},
                 "string "},
        CallCase{"NotANumber",
                 "substring",
                 {"string 12345", "double NaN", "double 3"},
                 "string "},
        CallCase{"LengthIsNotANumber",
                 "substring",
                 {"string 12345", "double 1", "double NaN"},
                 "string "},
        CallCase{"FromBelowWithoutEnd",
                 "substring",
                 {"string 12345", "double -42", "double INF"},
                 "string 12345"},
        CallCase{"InfinitiesCancel",
                 "substring",
                 {"string 12345", "double -INF", "double INF"},
                 "string "},
        CallCase{
            "NoLength", "substring", {"string 12345", "double 4"}, "string 45"},
        CallCase{
            "CountsCharacters",
            "substring",
            {"string \xE5\x9B\xBD\xF0\x9F\x98\x80z", "double 2", "double 1"},
            "string \xF0\x9F\x98\x80"},
        CallCase{"OfNothing", "substring", {"none", "double 1"}, "string "}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Text, CallOf,
    ::testing::Values(
        CallCase{"LengthInCharacters",
                 "string-length",
                 {"string \xE5\x9B\xBD\xF0\x9F\x98\x80z"},
                 "integer 3"},
        CallCase{"ConcatSkipsNothing",
                 "concat",
                 {"string a", "none", "double 1e6", "boolean true"},
                 "string a1.0E6true"},
        CallCase{"ConcatOfOne", "concat", {"string a"}, "XPST0017"},
        CallCase{"SpaceOfAllKinds",
                 "normalize-space",
                 {"string \t a \n b\r"},
                 "string a b"},
        CallCase{"TranslateDropsAndMaps",
                 "translate",
                 {"string --aaa--", "string abc-", "string ABC"},
                 "string AAA"},
        CallCase{"TranslateFirstMentionCounts",
                 "translate",
                 {"string aa", "string aa", "string xy"},
                 "string xx"},
        CallCase{"TranslateWide",
                 "translate",
                 {"string \xE5\x9B\xBD\xC3\xA9", "string \xC3\xA9\xE5\x9B\xBD",
                  "string e"},
                 "string e"},
        CallCase{"UpperOneToTwo",
                 "upper-case",
                 {"string stra\xC3\x9F"
                  "e"},
                 "string STRASSE"},
        CallCase{"LowerKeepsKind",
                 "lower-case",
                 {"string A\xC3\x89"},
                 "string a\xC3\xA9"},
        CallCase{"ComposedByDefault",
                 "normalize-unicode",
                 {"string e\xCC\x81"},
                 "string \xC3\xA9"},
        CallCase{"FormsInAnyCase",
                 "normalize-unicode",
                 {"string \xEF\xAC\x81", "string  nfkc "},
                 "string fi"},
        CallCase{"UnknownForm",
                 "normalize-unicode",
                 {"string a", "string NFX"},
                 "FOCH0003"},
        CallCase{"BeforeNothing",
                 "substring-before",
                 {"string abc", "string "},
                 "string "},
        CallCase{"AfterNothing",
                 "substring-after",
                 {"string abc", "none"},
                 "string abc"},
        CallCase{"AfterMissing",
                 "substring-after",
                 {"string abc", "string x"},
                 "string "},
        CallCase{"EmptyIsEverywhere",
                 "contains",
                 {"none", "string "},
                 "boolean true"},
        CallCase{"OrderIsOfCodepoints",
                 "compare",
                 {"string \xEF\xBF\xBD", "string \xF0\x90\x80\x80"},
                 "integer -1"},
        CallCase{"CompareWithNothing", "compare", {"string a", "none"}, "none"},
        CallCase{"CollationByRelativeReference",
                 "compare",
                 {"string a", "string a", "string other"},
                 "FOCH0002"},
        CallCase{"CollationByName",
                 "ends-with",
                 {"string ab", "string b",
                  "string http://www.w3.org/2005/xpath-functions/collation/"
                  "codepoint"},
                 "boolean true"},
        CallCase{"Codepoints",
                 "string-to-codepoints",
                 {"string a\xF0\x9F\x98\x80"},
                 "integer 97, integer 128512"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Uri, CallOf,
    ::testing::Values(
        CallCase{"EncodesAllButUnreserved",
                 "encode-for-uri",
                 {"string ~b\xC3\xA9/ \x7F%"},
                 "string ~b%C3%A9%2F%20%7F%25"},
        CallCase{"IriKeepsWhatUrisHave",
                 "iri-to-uri",
                 {"string http://h/\xC3\xA9?a=%20&b={}\x7F"},
                 "string http://h/%C3%A9?a=%20&b=%7B%7D%7F"},
        CallCase{"HtmlKeepsPrintable",
                 "escape-html-uri",
                 {"string j:a('\xC3\xA9 ');\t"},
                 "string j:a('%C3%A9 ');%09"},
        CallCase{
            "Sibling", "resolve-uri", {"string c"}, "anyURI http://host/a/c"},
        CallCase{"UpPastTheRoot",
                 "resolve-uri",
                 {"string ../../../g/./h/..", "string http://h/b/c/d;p?q"},
                 "anyURI http://h/g/"},
        CallCase{"QueryAlone",
                 "resolve-uri",
                 {"string ?y", "string http://h/b/c?q"},
                 "anyURI http://h/b/c?y"},
        CallCase{"EmptyIsBase",
                 "resolve-uri",
                 {"string ", "string http://h/b/c?q"},
                 "anyURI http://h/b/c?q"},
        CallCase{"NoBaseHasAFragment",
                 "resolve-uri",
                 {"string ?y", "string http://h/b/c?q#f"},
                 "FORG0002"},
        CallCase{"OtherHost",
                 "resolve-uri",
                 {"string //g/x/../y", "string http://h/b"},
                 "anyURI http://g/y"},
        CallCase{"BaseWithoutPath",
                 "resolve-uri",
                 {"string g", "string http://h"},
                 "anyURI http://h/g"},
        CallCase{"AbsoluteStays",
                 "resolve-uri",
                 {"string x:a/../b", "string not absolute"},
                 "anyURI x:a/../b"},
        CallCase{"BaseIsRelative",
                 "resolve-uri",
                 {"string g", "string b/c"},
                 "FORG0002"},
        CallCase{"BaseHasNoPath",
                 "resolve-uri",
                 {"string g", "string mailto:a"},
                 "FORG0009"},
        CallCase{"NoReference", "resolve-uri", {"none", "string b"}, "none"},
        CallCase{
            "StaticBase", "static-base-uri", {}, "anyURI http://host/a/b?q"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Value, CallOf,
    ::testing::Values(
        CallCase{"NumberOfText", "number", {"string 1e3 "}, "double 1000"},
        CallCase{"NumberOfNoNumber", "number", {"string x"}, "double NaN"},
        CallCase{"NumberOfDate", "number", {"date 2000-01-01"}, "double NaN"},
        CallCase{"NumberOfNothing", "number", {"none"}, "double NaN"},
        CallCase{"RoundHalfUp", "round", {"decimal -2.5"}, "decimal -2"},
        CallCase{"RoundOfNothing", "round", {"none"}, "none"},
        CallCase{"HalfToEven",
                 "round-half-to-even",
                 {"decimal 0.125", "integer 2"},
                 "decimal 0.12"},
        CallCase{"HalfToEvenBeforeThePoint",
                 "round-half-to-even",
                 {"integer 35", "integer -1"},
                 "integer 40"},
        CallCase{"PrecisionPastAllDigits",
                 "round-half-to-even",
                 {"decimal 0.1", "integer 99999999999999999999"},
                 "decimal 0.1"},
        CallCase{"AdjustToImplicit",
                 "adjust-time-to-timezone",
                 {"time 10:00:00Z"},
                 "time 18:00:00+08:00"},
        CallCase{"AdjustToNone",
                 "adjust-date-to-timezone",
                 {"date 2000-01-01+08:00", "none"},
                 "date 2000-01-01"},
        CallCase{"AdjustToNoZone",
                 "adjust-date-to-timezone",
                 {"date 2000-01-01", "dayTimeDuration PT15H"},
                 "FODT0003"},
        CallCase{"CurrentDateHasTheZone",
                 "current-date",
                 {},
                 "date 1970-01-01+08:00"},
        CallCase{
            "ImplicitZone", "implicit-timezone", {}, "dayTimeDuration PT8H"},
        CallCase{"SecondsKeepFraction",
                 "seconds-from-duration",
                 {"duration -PT61.5S"},
                 "decimal -1.5"},
        CallCase{"MonthsOfDuration",
                 "months-from-duration",
                 {"duration P1Y14M"},
                 "integer 2"},
        CallCase{"NoZone", "timezone-from-date", {"date 2000-01-01"}, "none"},
        CallCase{"JoinZonesDiffer",
                 "dateTime",
                 {"date 2000-01-01Z", "time 00:00:00+01:00"},
                 "FORG0008"},
        CallCase{
            "JoinOfNothing", "dateTime", {"none", "time 00:00:00"}, "none"},
        CallCase{
            "QNameOfNoName", "QName", {"string u", "string 1a"}, "FOCA0002"},
        CallCase{
            "PrefixOfNoNamespace", "QName", {"none", "string p:a"}, "FOCA0002"},
        CallCase{"QNameKeepsPrefix",
                 "QName",
                 {"string u", "string p:a"},
                 "QName p:a"}),
    kRowName);

TEST(QNameParts, AreTheNamesOwn) {
  const CallContext context = ContextOfTests();
  const Item plain[] = {Item::OfQName({"", "", "a"})};
  const Item full[] = {Item::OfQName({"p", "u", "a"})};
  const auto part = [&](const char* name, std::span<const Item> arguments) {
    return Shown(FindFunction(name, 1)->scalar(context, arguments));
  };
  EXPECT_EQ(part("prefix-from-QName", plain), "none");
  EXPECT_EQ(part("namespace-uri-from-QName", plain), "anyURI ");
  EXPECT_EQ(part("prefix-from-QName", full), "NCName p");
  EXPECT_EQ(part("local-name-from-QName", full), "NCName a");
  EXPECT_EQ(part("namespace-uri-from-QName", full), "anyURI u");
}

TEST(FunctionTable, FindsByNameAndArity) {
  EXPECT_EQ(FindFunction("concat", 1), nullptr);
  EXPECT_NE(FindFunction("concat", 1000), nullptr);
  EXPECT_EQ(FindFunction("concat", 9)->Parameter(8).atomic, Type::AnyAtomic);
  EXPECT_EQ(FindFunction("error", 1)->parameters[0].occurrence,
            Occurrence::One);
  EXPECT_EQ(FindFunction("error", 2)->parameters[0].occurrence,
            Occurrence::Optional);
  EXPECT_EQ(FindFunction("error", 4), nullptr);
}

TEST(FunctionTable, SaysForEachWhoCarriesItOut) {
  // 112 names, two of them with other types in other arities.
  EXPECT_EQ(AllFunctions().size(), 114U);
  for (const Function& row : AllFunctions()) {
    const int ways = (row.engine != EngineFunction::None ? 1 : 0) +
                     (row.scalar ? 1 : 0) + (row.list ? 1 : 0);
    EXPECT_EQ(ways, 1) << row.name;
    if (row.implied != ImpliedArgument::None) {
      EXPECT_EQ(row.min_arity + 1, row.max_arity) << row.name;
    }
    if (!row.scalar) continue;
    for (const SignatureType& parameter : row.parameters) {
      EXPECT_TRUE(parameter.kind != ItemKind::Atomic ||
                  parameter.occurrence == Occurrence::One ||
                  parameter.occurrence == Occurrence::Optional)
          << row.name;
    }
  }
}

}  // namespace
}  // namespace kiv::xdb::xq
