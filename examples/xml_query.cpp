// Asks an XML database: values, a variable, nodes as XML, a lazy walk, the
// plan, an error and a limit. Works in a folder of its own below the temporary
// one.
#include <cstdio>
#include <filesystem>
#include <string>

#include "kiv/startup.h"
#include "kiv/xdb.h"

namespace {

constexpr long kFlags = kiv::XDbManager::THREAD | kiv::XDbManager::TRANSACTION;

bool Complain(const char* what) {
  std::printf("%s: %s\n", what, kiv::XDbManager::LastError().c_str());
  return false;
}

bool Store(kiv::XDbManager& manager, kiv::XDbContainer& orders) {
  return manager.CreateContainer("orders", orders, kFlags) &&
         orders.put(
             "<order no='1' date='2026-03-01'><line item='bolt' count='3'/>"
             "<line item='nut' count='5'/></order>") &&
         orders.put(
             "<order no='2' date='2026-04-07'><line item='nut' "
             "count='40'/></order>");
}

// A variable keeps what users type out of the text of the query, and lets the
// prepared query be used again.
bool CountItem(kiv::XDbManager& manager, const char* item, double expected) {
  kiv::XDbQueryContext context;
  kiv::XDbValue name(item);
  kiv::XDbResults results;
  kiv::XDbValue sum;
  if (!manager.CreateQueryContext(context) ||
      !context.SetVariableValue("item", name) ||
      !manager.Query("sum(collection('orders')/order/line[@item = $item]"
                     "/@count)",
                     context, results, true) ||
      !results.next(sum))
    return Complain("no sum");
  std::printf("%s: %g\n", item, sum.asNumber());
  return sum.asNumber() == expected;
}

// Nothing is computed that nobody asks for.
bool WalkLazily(kiv::XDbManager& manager) {
  kiv::XDbQueryContext context;
  kiv::XDbResults results;
  if (!manager.CreateQueryContext(context) ||
      !context.SetEvaluationType(kiv::XDbQueryContext::Lazy) ||
      !manager.Query("for $o in collection('orders')/order "
                     "order by xs:date($o/@date) descending "
                     "return <late no='{$o/@no}'>{$o/line/@item/string()}"
                     "</late>",
                     context, results, false))
    return Complain("no query");
  int count = 0;
  for (kiv::XDbValue value; results.next(value); ++count)
    std::printf("%s\n", value.asXml().c_str());
  return count == 2 && !results.has_failed();
}

bool ShowPlan(kiv::XDbManager& manager) {
  kiv::XDbQueryContext context;
  manager.CreateQueryContext(context);
  const auto query = manager.Prepare(
      "for $a in collection('orders')/order, $b in collection('orders')/order "
      "where $b/line/@item = $a/line/@item and $a/@no < $b/@no "
      "return concat($a/@no, ' and ', $b/@no)",
      context, false);
  if (query == nullptr) return Complain("not prepared");
  std::printf("%s", query->GetPlan(context).c_str());
  return query->GetPlan(context).find("join by a table") != std::string::npos;
}

// Both fail, and say why.
bool Fail(kiv::XDbManager& manager) {
  kiv::XDbQueryContext context;
  kiv::XDbResults results;
  kiv::XDbQueryLimits limits;
  manager.CreateQueryContext(context);
  if (manager.Query("1 +\n 'one'", context, results, false)) return false;
  Complain("as expected");
  limits.time_ms = 50;
  context.SetLimits(limits);
  if (manager.Query("count(1 to 1000000000000)", context, results, false))
    return false;
  Complain("as expected");
  return true;
}

bool Run(const std::string& folder) {
  kiv::XDbManager manager;
  kiv::XDbContainer orders;
  if (!manager.Open(folder.c_str(), kFlags, nullptr, nullptr) ||
      !Store(manager, orders))
    return Complain("not stored");
  return CountItem(manager, "nut", 45) && CountItem(manager, "bolt", 3) &&
         WalkLazily(manager) && ShowPlan(manager) && Fail(manager);
}

}  // namespace

int main() {
  namespace fs = std::filesystem;
  const fs::path folder =
      fs::temp_directory_path() /
      ("kiv-xml-query-example-" +
       std::to_string(std::hash<std::string>()(fs::current_path().string())));
  fs::remove_all(folder);
  kiv::GlobalInit();
  const bool done = Run(folder.string());
  kiv::GlobalUninit();
  fs::remove_all(folder);
  return done ? 0 : 1;
}
