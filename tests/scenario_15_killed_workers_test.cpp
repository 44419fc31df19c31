// Senders and receivers of a durable queue that are killed at any moment.
//
// A sender's "true" means that the message will be received. "Received once"
// means: never twice, and once the call that took it returned. A receiver that
// is killed inside that call takes at most one message with it, which nobody
// can tell from one that it had begun to process; the journals show how many
// were in there.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kiv/environment.h"
#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "testing/broker.h"
#include "testing/queue_workers.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

using mq::MsmqQueueInfo;

constexpr char kQueue[] = "orders";

enum class Place { Files, Broker };

class Scenario15KilledWorkers : public ::testing::TestWithParam<Place> {
 protected:
  void SetUp() override {
    GlobalInit();
    if (GetParam() == Place::Broker) {
      if (!Broker::IsInstalled()) GTEST_SKIP() << Broker::kWhyNot;
      broker_ = std::make_unique<Broker>();
      ::setenv("KIV_MSMQ_URL", broker_->Url().c_str(), 1);
    }
    ASSERT_TRUE(queues_.Create(kQueue, nullptr, false));
  }
  void TearDown() override {
    ::unsetenv("KIV_MSMQ_URL");
    GlobalUninit();
  }

  std::multiset<std::string> Drain() {
    std::multiset<std::string> bodies;
    const auto queue = queues_.OpenQueue(kQueue, mq::QueueInfo::ACCESS_RECEIVE);
    if (queue == nullptr) {
      ADD_FAILURE() << queues_.LastError();
      return bodies;
    }
    std::string body;
    while (const auto message = queue->Receive()) {
      EXPECT_TRUE(message->GetBody(body));
      bodies.insert(body);
    }
    EXPECT_EQ(queue->LastError(), "");
    return bodies;
  }

  const ServiceFolder service_;
  std::unique_ptr<Broker> broker_;
  MsmqQueueInfo queues_;
};

INSTANTIATE_TEST_SUITE_P(Place, Scenario15KilledWorkers,
                         ::testing::Values(Place::Files, Place::Broker),
                         [](const auto& place) {
                           return place.param == Place::Files ? "Files"
                                                              : "Broker";
                         });

std::vector<std::string> Without(const std::set<std::string>& these,
                                 const std::set<std::string>& those) {
  std::vector<std::string> rest;
  std::set_difference(these.begin(), these.end(), those.begin(), those.end(),
                      std::back_inserter(rest));
  return rest;
}

void ExpectBalanced(const QueueAccount& account,
                    std::multiset<std::string> received) {
  received.insert(account.received.begin(), account.received.end());
  const std::set<std::string> once(received.begin(), received.end());
  EXPECT_EQ(once.size(), received.size()) << "something came twice";
  EXPECT_TRUE(Without(once, account.tried).empty()) << "out of nowhere";
  EXPECT_LE(Without(account.sent, once).size(), account.receivers_in_flight)
      << "acknowledged and lost";
  EXPECT_LE(Without(once, account.sent).size(), account.senders_in_flight)
      << "received, yet never acknowledged";
}

TEST_P(Scenario15KilledWorkers, LoseNothingAndShareNothing) {
  constexpr int kKills = 80;
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  QueueWorkers workers(kQueue);
  const std::string kinds[] = {"send", "receive", "send", "receive"};
  std::size_t running[4];
  for (int i = 0; i < 4; ++i) running[i] = workers.Start(kinds[i]);
  for (int kill = 0; kill < kKills; ++kill) {
    const std::size_t victim = random() % 4;
    // Most of them at work, some while they start.
    if (kill % 8 != 0) {
      ASSERT_TRUE(workers.WaitForWork(running[victim]));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 40'000));
    workers.Kill(running[victim]);
    running[victim] = workers.Start(kinds[victim]);
  }
  workers.KillAll();
  const QueueAccount account = workers.Account();
  ExpectBalanced(account, Drain());
  EXPECT_GT(account.received.size(), 50u) << "hardly anything was exchanged";
  RecordProperty("sent", static_cast<int>(account.sent.size()));
  RecordProperty("received", static_cast<int>(account.received.size()));
  std::printf("%d kills: %zu sent, %zu received, %zu and %zu in flight\n",
              kKills, account.sent.size(), account.received.size(),
              account.senders_in_flight, account.receivers_in_flight);
}

// The receiver lives, so nothing may be lost: not one message a kill.
TEST_P(Scenario15KilledWorkers, LoseNothingWhileTheReceiverLives) {
  constexpr int kKills = 25;
  std::mt19937 random(std::random_device{}());
  QueueWorkers workers(kQueue);
  const std::size_t receiver = workers.Start("receive");
  ASSERT_TRUE(workers.WaitForWork(receiver));
  for (int kill = 0; kill < kKills; ++kill) {
    const std::size_t sender = workers.Start("send");
    ASSERT_TRUE(workers.WaitForWork(sender));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
    workers.Kill(sender);
  }
  const auto queue = queues_.OpenQueue(kQueue, mq::QueueInfo::ACCESS_PEEK);
  ASSERT_NE(queue, nullptr);
  EXPECT_TRUE(Eventually([&] { return queue->Peek() == nullptr; }));
  // One call may have been under way, the next began with an empty queue.
  const int before = workers.FoundEmpty(receiver);
  EXPECT_TRUE(
      Eventually([&] { return workers.FoundEmpty(receiver) > before + 1; }));
  workers.Kill(receiver);
  QueueAccount account = workers.Account();
  account.receivers_in_flight = 0;
  ExpectBalanced(account, Drain());
  EXPECT_GT(account.received.size(), 50u);
}

// Receivers that are killed between two calls: what they had, they had told.
TEST_P(Scenario15KilledWorkers, LoseNothingBetweenTwoCalls) {
  constexpr int kKills = 20;
  QueueWorkers workers(kQueue);
  const std::size_t sender = workers.Start("send-and-rest");
  ASSERT_TRUE(workers.WaitForWork(sender));
  for (int kill = 0; kill < kKills; ++kill) {
    const std::size_t receiver = workers.Start("receive-and-rest");
    ASSERT_TRUE(Eventually([&] { return workers.IsAsleep(receiver); }));
    workers.Kill(receiver);
  }
  workers.Kill(sender);
  const QueueAccount account = workers.Account();
  EXPECT_EQ(account.receivers_in_flight, 0u);
  EXPECT_GE(account.received.size(), static_cast<std::size_t>(kKills));
  ExpectBalanced(account, Drain());
}

// The broker itself dies in the middle of sends and receives. Its sender and
// its receiver live on and find it again.
TEST(Scenario15KilledBroker, KeepsWhatItConfirmed) {
  constexpr int kKills = 4;
  if (!Broker::IsInstalled()) GTEST_SKIP() << Broker::kWhyNot;
  const ServiceFolder service;
  GlobalInit();
  Broker broker;
  ::setenv("KIV_MSMQ_URL", broker.Url().c_str(), 1);
  MsmqQueueInfo queues;
  ASSERT_TRUE(queues.Create(kQueue, nullptr, false));
  broker.Restart();
  std::mt19937 random(std::random_device{}());
  QueueWorkers workers(kQueue);
  const std::size_t sender = workers.Start("send");
  const std::size_t receiver = workers.Start("receive");
  for (int kill = 0; kill < kKills; ++kill) {
    const std::size_t before = workers.Account().received.size();
    ASSERT_TRUE(Eventually(
        [&] { return workers.Account().received.size() > before + 20; }));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 200'000));
    broker.Kill();
    broker.Start();
  }
  const std::size_t before = workers.Account().received.size();
  EXPECT_TRUE(Eventually([&] {
    return workers.Account().received.size() > before + 20;
  })) << "the workers did not find the broker again";
  workers.Kill(sender);
  const auto queue = queues.OpenQueue(kQueue, mq::QueueInfo::ACCESS_PEEK);
  ASSERT_NE(queue, nullptr);
  EXPECT_TRUE(Eventually([&] { return queue->Peek() == nullptr; }));
  EXPECT_EQ(queue->LastError(), "");
  workers.Kill(receiver);
  const QueueAccount account = workers.Account();
  const std::set<std::string> once(account.received.begin(),
                                   account.received.end());
  // The receiver lived: nothing was in flight but its last call, and the queue
  // was empty then.
  EXPECT_TRUE(Without(account.sent, once).empty()) << "confirmed and lost";
  EXPECT_EQ(once.size(), account.received.size()) << "something came twice";
  EXPECT_TRUE(Without(once, account.tried).empty());
  std::printf(
      "%d broker kills: %zu tried, %zu sent, %zu received, %zu errors\n",
      kKills, account.tried.size(), account.sent.size(),
      account.received.size(), account.receive_errors);
  ::unsetenv("KIV_MSMQ_URL");
  GlobalUninit();
}

}  // namespace
}  // namespace kiv::testing
