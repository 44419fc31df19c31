// Stores and fetches XML documents: two orders in one transaction, and one that
// is taken back. Works in a folder of its own below the temporary one.
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

// Both documents or neither. What others are in the way of is made again.
bool StoreBoth(kiv::XDbManager& manager, kiv::XDbContainer& orders) {
  for (int attempt = 0; attempt < 10; ++attempt) {
    kiv::XDbTransaction transaction;
    kiv::XDbUpdateContext context;
    if (!manager.CreateTransaction(transaction) ||
        !manager.CreateUpdateContext(context) ||
        !context.SetTransaction(transaction))
      return Complain("no transaction");
    std::string first = "4711";
    std::string second;  // gets a name that no document has
    if (orders.PutDocument(first, "<order item='bolt' count='3'/>", context) &&
        orders.PutDocument(second, "<order item='nut' count='3'/>", context) &&
        transaction.Commit()) {
      std::printf("stored %s and one more\n", first.c_str());
      return true;
    }
    if (!kiv::XDbManager::IsWorthRetrying()) return Complain("not stored");
  }
  return false;
}

// A transaction that is released without Commit changes nothing.
bool ChangeOfMind(kiv::XDbManager& manager, kiv::XDbContainer& orders) {
  kiv::XDbTransaction transaction;
  kiv::XDbUpdateContext context;
  return manager.CreateTransaction(transaction) &&
         manager.CreateUpdateContext(context) &&
         context.SetTransaction(transaction) &&
         orders.DeleteDocument("4711", context);
}

bool Fetch(kiv::XDbContainer& orders) {
  kiv::XDbDocument order;
  std::string content;
  if (!orders.GetDocument("4711", order) || !order.getContent(content))
    return Complain("not fetched");
  std::printf("%s is %s\n", order.GetName().c_str(), content.c_str());
  // A change of its own is a transaction of its own.
  if (!order.setContent("<order item='bolt' count='5'/>") ||
      !orders.update(order))
    return Complain("not updated");
  return true;
}

bool Run(const std::string& folder) {
  kiv::XDbManager manager;
  kiv::XDbContainer orders;
  if (!manager.Open(folder.c_str(), kFlags, nullptr, nullptr) ||
      !manager.CreateContainer("orders", orders, kFlags))
    return Complain("not opened");
  if (!StoreBoth(manager, orders) || !ChangeOfMind(manager, orders) ||
      !Fetch(orders))
    return false;
  int count = 0;
  orders.EachDocumentName([&count](const std::string&) { return ++count > 0; });
  std::printf("%d orders\n", count);
  return count == 2;
}

}  // namespace

int main() {
  namespace fs = std::filesystem;
  const fs::path folder =
      fs::temp_directory_path() /
      ("kiv-xml-store-example-" +
       std::to_string(std::hash<std::string>()(fs::current_path().string())));
  fs::remove_all(folder);
  kiv::GlobalInit();
  const bool done = Run(folder.string());
  kiv::GlobalUninit();
  fs::remove_all(folder);
  return done ? 0 : 1;
}
