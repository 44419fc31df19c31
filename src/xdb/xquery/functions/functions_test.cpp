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

// What the conformance cases of the language do not ask.
TEST(Functions, GiveTheValueOrTheCode) {
  const struct {
    const char* function;
    Values arguments;
    const char* result;
  } kRows[] = {
      {"substring", {"string 12345", "double 5", "double -3"}, "string "},
      {"substring", {"string 1", "double -INF", "double INF"}, "string "},
      {"concat",
       {"string a", "none", "double 1e6", "boolean true"},
       "string a1.0E6true"},
      {"translate", {"string aa", "string aa", "string xy"}, "string xx"},
      {"translate",
       {"string \xE5\x9B\xBD\xC3\xA9", "string \xC3\xA9\xE5\x9B\xBD",
        "string e"},
       "string e"},
      {"upper-case", {"string \xC3\x9F"}, "string SS"},
      {"normalize-unicode", {"string e\xCC\x81"}, "string \xC3\xA9"},
      {"normalize-unicode",
       {"string \xEF\xAC\x81", "string  nfkc "},
       "string fi"},
      {"compare",
       {"string \xEF\xBF\xBD", "string \xF0\x90\x80\x80"},
       "integer -1"},
      // The name of a collation is relative to the base.
      {"compare", {"string a", "string a", "string other"}, "FOCH0002"},
      {"encode-for-uri",
       {"string ~b\xC3\xA9/ \x7F%"},
       "string ~b%C3%A9%2F%20%7F%25"},
      {"iri-to-uri",
       {"string http://h/\xC3\xA9?a=%20&b={}\x7F"},
       "string http://h/%C3%A9?a=%20&b=%7B%7D%7F"},
      {"escape-html-uri",
       {"string j:a('\xC3\xA9 ');\t"},
       "string j:a('%C3%A9 ');%09"},
      {"resolve-uri", {"string c"}, "anyURI http://host/a/c"},
      {"resolve-uri",
       {"string ../../../g/./h/..", "string http://h/b/c/d;p?q"},
       "anyURI http://h/g/"},
      {"resolve-uri",
       {"string ?y", "string http://h/b/c?q"},
       "anyURI http://h/b/c?y"},
      {"resolve-uri",
       {"string ", "string http://h/b/c?q"},
       "anyURI http://h/b/c?q"},
      {"resolve-uri", {"string ?y", "string http://h/b/c?q#f"}, "FORG0002"},
      {"resolve-uri",
       {"string //g/x/../y", "string http://h/b"},
       "anyURI http://g/y"},
      {"resolve-uri", {"string g", "string http://h"}, "anyURI http://h/g"},
      {"resolve-uri",
       {"string x:a/../b", "string not absolute"},
       "anyURI x:a/../b"},
      {"resolve-uri", {"string g", "string b/c"}, "FORG0002"},
      {"resolve-uri", {"string g", "string mailto:a"}, "FORG0009"},
      {"static-base-uri", {}, "anyURI http://host/a/b?q"},
      {"round-half-to-even",
       {"decimal 0.1", "integer 99999999999999999999"},
       "decimal 0.1"},
      {"adjust-time-to-timezone", {"time 10:00:00Z"}, "time 18:00:00+08:00"},
      {"current-date", {}, "date 1970-01-01+08:00"},
      {"implicit-timezone", {}, "dayTimeDuration PT8H"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(Called(row.function, row.arguments), row.result) << row.function;
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
