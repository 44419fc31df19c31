// A broker that stops or dies while somebody waits for it.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "testing/broker.h"
#include "testing/broker_relay.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

using mq::MsmqQueue;
using mq::MsmqQueueInfo;
using mq::QueueInfo;
using Strings = std::vector<std::string>;

constexpr char kQueue[] = "orders";

class Scenario15Broker : public ::testing::Test {
 protected:
  Scenario15Broker() { GlobalInit(); }
  ~Scenario15Broker() override {
    ::unsetenv("KIV_MSMQ_URL");
    GlobalUninit();
  }

  void SetUp() override {
    if (!Broker::IsInstalled()) GTEST_SKIP() << Broker::kWhyNot;
    broker_ = std::make_unique<Broker>();
    UseUrl(broker_->Url());
    ASSERT_TRUE(queues_.Create(kQueue, nullptr, false)) << queues_.LastError();
  }

  static void UseUrl(const std::string& url) {
    ::setenv("KIV_MSMQ_URL", url.c_str(), 1);
  }
  std::shared_ptr<MsmqQueue> Open(int access) {
    auto queue = queues_.OpenQueue(kQueue, access);
    EXPECT_NE(queue, nullptr) << queues_.LastError();
    return queue;
  }
  // What comes until `last` has come, whatever the broker is at meanwhile.
  static void ReceiveUntil(MsmqQueue& queue, const std::string& last,
                           Strings& bodies) {
    EXPECT_TRUE(Eventually([&] {
      const auto message = queue.Receive();
      std::string body;
      if (message != nullptr && message->GetBody(body)) bodies.push_back(body);
      return !bodies.empty() && bodies.back() == last;
    })) << queue.LastError();
  }

  using Clock = std::chrono::steady_clock;

  const ServiceFolder service_;
  MsmqQueueInfo queues_;
  std::unique_ptr<Broker> broker_;
};

using Scenario15SilentBroker = Scenario15Broker;

TEST_F(Scenario15SilentBroker, IsWaitedForOnlySoLong) {
  ASSERT_TRUE(Open(QueueInfo::ACCESS_SEND)->Send("kept"));
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  broker_->Suspend();
  const auto start = Clock::now();
  EXPECT_EQ(receiver->Receive(), nullptr);
  EXPECT_NE(receiver->LastError(), "");
  EXPECT_EQ(queues_.Open(kQueue, QueueInfo::ACCESS_PEEK, 0), nullptr);
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
  broker_->Resume();
  Strings bodies;
  ReceiveUntil(*receiver, "kept", bodies);
  EXPECT_EQ(bodies, Strings{"kept"});
}

// More than the buffers on the way hold: the sender's socket is full.
TEST_F(Scenario15SilentBroker, TakingNothingMoreHoldsASenderOnlySoLong) {
  const auto sender = Open(QueueInfo::ACCESS_SEND);
  ASSERT_TRUE(sender->Send("first"));
  broker_->Suspend();
  const auto start = Clock::now();
  EXPECT_FALSE(sender->Send(std::string(64 << 20, 'x')));
  const auto waited = Clock::now() - start;
  EXPECT_GT(waited, std::chrono::seconds(20)) << "its socket was not full";
  EXPECT_LT(waited, std::chrono::seconds(45));
  EXPECT_EQ(sender->LastError(),
            "the broker has taken nothing for 30 seconds; the broker has not "
            "confirmed the message and may have it all the same");
  broker_->Resume();
  EXPECT_TRUE(Eventually([&] { return sender->Send("last"); }));
  Strings bodies;
  ReceiveUntil(*Open(QueueInfo::ACCESS_RECEIVE), "last", bodies);
  EXPECT_EQ(bodies, (Strings{"first", "last"})) << "half a message was sent";
}

enum class End { Killed, Suspended };

class Scenario15BrokerAtAcknowledgement
    : public Scenario15Broker,
      public ::testing::WithParamInterface<End> {};

INSTANTIATE_TEST_SUITE_P(Broker, Scenario15BrokerAtAcknowledgement,
                         ::testing::Values(End::Killed, End::Suspended),
                         [](const auto& end) {
                           return end.param == End::Killed ? "Killed"
                                                           : "Suspended";
                         });

// The message was given, and its acknowledgement is on the way.
TEST_P(Scenario15BrokerAtAcknowledgement, GivesItsReceiverNothingTwice) {
  broker_->Restart();
  const auto sender = Open(QueueInfo::ACCESS_SEND);
  ASSERT_TRUE(sender->Send("one"));
  ASSERT_TRUE(sender->Send("two"));
  std::atomic<bool> is_armed = true;
  std::atomic<bool> is_down = false;
  const BrokerRelay relay(broker_->Port(), [&](const BrokerRelay::Frame& frame,
                                               auto&) {
    if (frame.method != BrokerRelay::kAcknowledge || !is_armed.exchange(false))
      return true;
    const bool is_killed = GetParam() == End::Killed;
    is_killed ? broker_->Kill() : broker_->Suspend();
    is_down = true;
    return !is_killed;
  });
  UseUrl(relay.Url());
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  Strings bodies;
  ReceiveUntil(*receiver, "one", bodies);
  ASSERT_TRUE(is_down);
  GetParam() == End::Killed ? broker_->Start() : broker_->Resume();
  ReceiveUntil(*receiver, "two", bodies);
  EXPECT_EQ(bodies, (Strings{"one", "two"}));
  unsigned long long left = 9;
  DateTime oldest;
  EXPECT_TRUE(
      Eventually([&] { return receiver->Count(left, oldest) && left == 0; }));
  if (GetParam() == End::Killed) {
    EXPECT_EQ(service_.log.Count("it was received before and is dropped"), 1);
  }
}

}  // namespace
}  // namespace kiv::testing
