// What a store on a broker does beyond the promises of every store: losing the
// broker between a message and its acknowledgement, and whom it trusts.
#include "mq/amqp_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "kiv/environment.h"
#include "testing/broker.h"
#include "testing/broker_relay.h"
#include "testing/eventually.h"
#include "testing/service_folder.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using testing::Broker;
using testing::BrokerRelay;
using testing::Eventually;
using testing::SharedBroker;
using Step = MessageStore::Step;
using Strings = std::vector<std::string>;

AmqpStores StoresAt(const std::string& url) {
  AmqpAddress address;
  EXPECT_TRUE(AmqpAddress::Parse(url, address)) << url;
  return AmqpStores(address);
}

class AmqpQueue : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  void SetUp() override {
    if (!Broker::IsInstalled()) GTEST_SKIP() << Broker::kWhyNot;
    std::string reason;
    ASSERT_TRUE(QueueName::Read("orders", name_, reason));
    AmqpStores stores = StoresAt(SharedBroker().Url());
    ASSERT_TRUE(stores.Create(name_, "", reason)) << reason;
    direct_ = stores.Open(name_, reason);
    ASSERT_NE(direct_, nullptr) << reason;
  }
  void TearDown() override {
    if (direct_ == nullptr) return;
    std::string reason;
    EXPECT_TRUE(StoresAt(SharedBroker().Url()).Delete(name_, reason));
  }

  void Send(const std::string& body) {
    StoredMessage message;
    generateUUID(message.id);
    message.body = body;
    std::string reason;
    ASSERT_TRUE(direct_->Send(message, reason)) << reason;
  }
  unsigned long long Depth() {
    StoreSummary summary;
    std::string reason;
    EXPECT_TRUE(direct_->Summarize(summary, reason)) << reason;
    return summary.messages;
  }
  std::unique_ptr<MessageStore> OpenOver(const BrokerRelay& relay) {
    std::string reason;
    auto store = StoresAt(relay.Url()).Open(name_, reason);
    EXPECT_NE(store, nullptr) << reason;
    return store;
  }
  // What comes until `last` has come.
  static Strings ReceiveUntil(MessageStore& store, const std::string& last) {
    Strings bodies;
    Eventually([&] {
      StoredMessage message;
      std::string reason;
      if (store.Receive(message, reason) == Step::Message)
        bodies.push_back(message.body);
      return !bodies.empty() && bodies.back() == last;
    });
    return bodies;
  }

  const testing::ServiceFolder service_;
  QueueName name_;
  std::unique_ptr<MessageStore> direct_;
};

// The connection breaks behind the message, and the broker has the message back
// before the acknowledgement is sent.
class UnsentAcknowledgement : public AmqpQueue {
 protected:
  bool Break(const BrokerRelay::Frame& frame, BrokerRelay::Line& line) {
    if (frame.sender != BrokerRelay::Sender::Broker ||
        frame.type != BrokerRelay::kBody || breaks_ == 0)
      return true;
    --breaks_;
    line.CutBroker();
    EXPECT_TRUE(Eventually([this] { return Depth() == 1; }));
    line.SilenceClient();
    return true;
  }

  std::atomic<int> breaks_ = 0;
};

TEST_F(UnsentAcknowledgement, IsTriedThreeTimesAndLosesNoMessage) {
  const BrokerRelay relay(
      SharedBroker().Port(),
      [this](const auto& frame, auto& line) { return Break(frame, line); });
  const auto store = OpenOver(relay);
  StoredMessage message;
  std::string reason;
  Send("one");
  breaks_ = 2;
  ASSERT_EQ(store->Receive(message, reason), Step::Message) << reason;
  EXPECT_EQ(message.body, "one");
  EXPECT_EQ(breaks_, 0);
  EXPECT_EQ(Depth(), 0u);
  EXPECT_EQ(service_.log.Text(), "") << "it was handed out once only";

  Send("two");
  breaks_ = 3;
  message.body = "untouched";
  ASSERT_EQ(store->Receive(message, reason), Step::Failed);
  EXPECT_NE(reason, "");
  EXPECT_EQ(message.body, "untouched");
  EXPECT_EQ(breaks_, 0);
  EXPECT_EQ(Depth(), 1u);
  EXPECT_EQ(store->Receive(message, reason), Step::Message) << reason;
  EXPECT_EQ(message.body, "two");
}

TEST_F(AmqpQueue, MessageThatComesAgainAfterItWasReceivedIsDroppedAndLogged) {
  Send("one");
  Send("two");
  std::atomic<int> lost = 2;
  const BrokerRelay relay(
      SharedBroker().Port(), [&](const BrokerRelay::Frame& frame, auto&) {
        return frame.method != BrokerRelay::kAcknowledge || lost-- <= 0;
      });
  const auto store = OpenOver(relay);
  // Lost are the acknowledgement of the message, and that of its return.
  EXPECT_EQ(ReceiveUntil(*store, "two"), (Strings{"one", "two"}));
  EXPECT_LE(lost, 0);
  EXPECT_GE(service_.log.Count("it was received before and is dropped"), 1);
  EXPECT_TRUE(Eventually([this] { return Depth() == 0; }));
}

class AmqpTls : public AmqpQueue {
 protected:
  ~AmqpTls() override { ::unsetenv("KIV_MSMQ_CA"); }

  // Why the queue cannot be opened; nothing when it can.
  std::string Refusal(const std::string& url, const std::string& trusted) {
    ::setenv("KIV_MSMQ_CA", trusted.c_str(), 1);
    const auto start = std::chrono::steady_clock::now();
    std::string reason;
    const auto store = StoresAt(url).Open(name_, reason);
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(15));
    return store != nullptr ? "" : reason;
  }
  void ExpectRefusal(const std::string& url, const std::string& trusted,
                     const std::string& part) {
    const std::string reason = Refusal(url, trusted);
    EXPECT_NE(reason.find(part), std::string::npos) << url << ": " << reason;
    EXPECT_EQ(reason.find("guest"), std::string::npos) << reason;
  }
};

TEST_F(AmqpTls, TrustsOnlyTheCertificateAndTheHostThatItIsFor) {
  Broker& broker = SharedBroker();
  const std::string good = broker.Certificate();
  EXPECT_EQ(Refusal(broker.TlsUrl(), good), "");
  ExpectRefusal(broker.TlsUrl(), broker.StrangersCertificate(), "cert");
  // The certificate has another name for the same machine.
  ExpectRefusal(broker.TlsUrl("127.0.0.1"), good, "hostname");
  // The system's list does not have it.
  ExpectRefusal(broker.TlsUrl(), "", "cert");
  ExpectRefusal(broker.TlsUrl(), "missing.pem", "KIV_MSMQ_CA");
}

TEST_F(AmqpTls, IsNotMixedUpWithAPlainConnection) {
  Broker& broker = SharedBroker();
  std::string plain = broker.TlsUrl();
  plain.erase(4, 1);
  ExpectRefusal(plain, broker.Certificate(), "refuses us");
  std::string tls = broker.Url();
  tls.insert(4, "s");
  ExpectRefusal(tls, broker.Certificate(), "no broker answers");
}

}  // namespace
}  // namespace kiv::mq
