// Threads that read and write the same documents at the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kiv/startup.h"
#include "testing/service_folder.h"
#include "testing/xdb_journal.h"
#include "xdb/container/store_error.h"

namespace kiv::testing {
namespace {

using std::chrono::seconds;
using xdb::Failure;

constexpr int kAccounts = 12;
constexpr int kMoney = 100;

std::string Account(unsigned long number) {
  return "account-" + std::to_string(number);
}
std::string Content(int money) {
  return "<m>" + std::to_string(money) + "</m>";
}

// Money goes from one account to another, with a slip for each time; whoever
// reads all of them at one time finds as much as ever.
TEST(ConcurrentStores, LoseNothing) {
  const ServiceFolder service;
  GlobalInit();
  const auto environment = std::make_shared<xdb::Environment>();
  ASSERT_EQ(environment->Open(".", kXdbEnvironment, ""), 0)
      << environment->ErrorText();
  auto container = xdb::OpenContainer(environment, "bank.xdb", kXdbContainer);
  for (int i = 0; i < kAccounts; ++i)
    container->Put(Account(i), Content(kMoney), nullptr);
  const auto money = [&](unsigned long account, xdb::Transaction* transaction) {
    return std::stoi(container->Get(Account(account), transaction).substr(3));
  };
  // In a transaction, again and again until it was not given up for others.
  const auto transact = [&](const auto& work) {
    for (;;) {
      const auto transaction = environment->Begin();
      try {
        work(transaction.get());
        return transaction->Commit();
      } catch (const xdb::StoreError& error) {
        if (error.failure() != Failure::Deadlock &&
            error.failure() != Failure::BusyTooLong)
          throw;
      }
    }
  };
  std::atomic<bool> is_over = false;
  std::atomic<int> reads = 0, slips = 0, started = 0;
  std::vector<std::thread> threads;
  for (unsigned writer = 0; writer < 5; ++writer)
    threads.emplace_back([&, writer] {
      std::mt19937 random(writer);
      while (!is_over) {
        const auto from = random() % kAccounts;
        const auto to = (from + 1 + random() % (kAccounts - 1)) % kAccounts;
        const std::string slip = std::to_string(++started);
        transact([&](xdb::Transaction* transaction) {
          const int there = money(from, transaction);
          const int here = money(to, transaction);
          container->Replace(Account(from), Content(there - 1), transaction);
          container->Replace(Account(to), Content(here + 1), transaction);
          container->Put(slip, "<slip/>", transaction);
        });
        ++slips;
      }
    });
  for (int reader = 0; reader < 3; ++reader)
    threads.emplace_back([&] {
      for (; !is_over; ++reads) {
        int sum = 0;
        transact([&](xdb::Transaction* transaction) {
          sum = 0;
          for (int i = 0; i < kAccounts; ++i) sum += money(i, transaction);
        });
        EXPECT_EQ(sum, kAccounts * kMoney);
      }
    });
  std::this_thread::sleep_for(AreLongTestsWanted() ? seconds(60) : seconds(4));
  is_over = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(slips, 20);
  EXPECT_GT(reads, 20);
  container->EachName(
      [&slips](const std::string& name) {
        if (!name.starts_with("account")) --slips;
        return true;
      },
      nullptr);
  EXPECT_EQ(slips, 0) << "as many as were committed";
  EXPECT_EQ(container->Verify(), std::vector<std::string>());
  container.reset();
  environment->Close();
  GlobalUninit();
}

}  // namespace
}  // namespace kiv::testing
