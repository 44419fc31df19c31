// Threads that read and write the same documents at the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kiv/startup.h"
#include "testing/long_tests.h"
#include "testing/service_folder.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"

namespace kiv::testing {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;
using xdb::Failure;
using xdb::StoreError;

constexpr int kAccounts = 12;
constexpr int kMoney = 100;

std::string AccountName(int number) {
  return "account-" + std::to_string(number);
}

std::string AccountContent(int money) {
  return "<account><money>" + std::to_string(money) + "</money></account>";
}

int MoneyIn(const std::string& content) {
  constexpr char kElement[] = "<money>";
  const std::size_t at = content.find(kElement);
  return at == std::string::npos
             ? -1
             : std::stoi(content.substr(at + sizeof(kElement) - 1));
}

class ConcurrentStores : public ::testing::Test {
 protected:
  ConcurrentStores() {
    GlobalInit();
    std::filesystem::create_directory("home");
    const int code = environment_->Open(
        "home",
        {.thread = true, .lock = true, .log = true, .transactions = true}, "");
    if (code != 0) throw std::runtime_error(environment_->ErrorText());
    container_ = xdb::OpenContainer(environment_, "bank.xdb",
                                    {.create = true,
                                     .encrypted = false,
                                     .thread = true,
                                     .transactional = true});
    for (int i = 0; i < kAccounts; ++i)
      container_->Put(AccountName(i), AccountContent(kMoney), nullptr);
  }
  ~ConcurrentStores() override {
    container_.reset();
    environment_.reset();
    GlobalUninit();
  }

  // Runs it in a transaction, again and again until it was not given up for
  // others.
  template <class Work>
  void Transact(Work work) {
    for (;;) {
      const auto transaction = environment_->Begin();
      try {
        work(*transaction);
        transaction->Commit();
        return;
      } catch (const StoreError& error) {
        if (error.failure() != Failure::Deadlock &&
            error.failure() != Failure::BusyTooLong)
          throw;
        ++given_up_;
      }
    }
  }

  // From one account to another, with a slip for each time.
  void Write(int thread, std::set<std::string>& slips) {
    std::mt19937 random(static_cast<unsigned>(thread));
    for (int i = 0; !is_over_; ++i) {
      const int from = static_cast<int>(random() % kAccounts);
      const int to =
          static_cast<int>((from + 1 + random() % (kAccounts - 1)) % kAccounts);
      const std::string slip =
          "slip-" + std::to_string(thread) + "-" + std::to_string(i);
      Transact([&](xdb::Transaction& transaction) {
        const int there =
            MoneyIn(container_->Get(AccountName(from), &transaction));
        const int here =
            MoneyIn(container_->Get(AccountName(to), &transaction));
        container_->Replace(AccountName(from), AccountContent(there - 1),
                            &transaction);
        container_->Replace(AccountName(to), AccountContent(here + 1),
                            &transaction);
        container_->Put(slip, "<slip/>", &transaction);
      });
      slips.insert(slip);
      ++writes_;
    }
  }

  // All of them at one time.
  void Read() {
    while (!is_over_) {
      int sum = 0;
      Transact([&](xdb::Transaction& transaction) {
        sum = 0;
        for (int i = 0; i < kAccounts; ++i)
          sum += MoneyIn(container_->Get(AccountName(i), &transaction));
      });
      EXPECT_EQ(sum, kAccounts * kMoney);
      ++reads_;
    }
  }

  const ServiceFolder service_;
  std::shared_ptr<xdb::Environment> environment_ =
      std::make_shared<xdb::Environment>();
  std::shared_ptr<xdb::Container> container_;
  std::atomic<bool> is_over_ = false;
  std::atomic<int> reads_ = 0;
  std::atomic<int> writes_ = 0;
  std::atomic<int> given_up_ = 0;
};

TEST_F(ConcurrentStores, LoseNothing) {
  constexpr int kWriters = 5;
  constexpr int kReaders = 3;
  std::vector<std::set<std::string>> slips(kWriters);
  std::vector<std::thread> threads;
  for (int i = 0; i < kWriters; ++i)
    threads.emplace_back([this, i, &slips] { Write(i, slips[i]); });
  for (int i = 0; i < kReaders; ++i) threads.emplace_back([this] { Read(); });
  std::this_thread::sleep_for(AreLongTestsWanted() ? seconds(60) : seconds(4));
  is_over_ = true;
  for (std::thread& thread : threads) thread.join();

  std::set<std::string> expected;
  for (const auto& of_thread : slips)
    expected.insert(of_thread.begin(), of_thread.end());
  for (int i = 0; i < kAccounts; ++i) expected.insert(AccountName(i));
  std::set<std::string> found;
  container_->EachName(
      [&found](const std::string& name) {
        found.insert(name);
        return true;
      },
      nullptr);
  EXPECT_EQ(found, expected);
  for (const std::string& problem : container_->Verify())
    ADD_FAILURE() << problem;
  EXPECT_GT(writes_, 20);
  EXPECT_GT(reads_, 20);
  std::printf("%d writes, %d reads, %d given up for others\n", writes_.load(),
              reads_.load(), given_up_.load());
}

}  // namespace
}  // namespace kiv::testing
