// What every place of message queues promises.
#include "mq/message_store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kiv/environment.h"
#include "mq/amqp_store.h"
#include "mq/sqlite_store.h"
#include "port/test_folder.h"
#include "testing/broker.h"
#include "testing/scarce_memory.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using Step = MessageStore::Step;

enum class Kind { Files, Broker, TlsBroker };

class Store : public ::testing::TestWithParam<Kind> {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  void SetUp() override {
    if (GetParam() == Kind::Files) {
      stores_ =
          std::make_unique<SqliteStores>((folder_.path() / "queues").string());
      return;
    }
    if (!testing::Broker::IsInstalled())
      GTEST_SKIP() << testing::Broker::kWhyNot;
    const testing::Broker& broker = testing::SharedBroker();
    const bool is_tls = GetParam() == Kind::TlsBroker;
    if (is_tls) ::setenv("KIV_MSMQ_CA", broker.Certificate().c_str(), 1);
    AmqpAddress address;
    ASSERT_TRUE(
        AmqpAddress::Parse(is_tls ? broker.TlsUrl() : broker.Url(), address));
    stores_ = std::make_unique<AmqpStores>(address);
  }
  // The broker's queues outlive a test.
  void TearDown() override {
    std::string reason;
    for (const QueueName& name : created_) stores_->Delete(name, reason);
    ::unsetenv("KIV_MSMQ_CA");
  }

  static QueueName Name(const std::string& text) {
    QueueName name;
    std::string reason;
    EXPECT_TRUE(QueueName::Read(text, name, reason)) << reason;
    return name;
  }
  void Create(const QueueName& name) {
    std::string reason;
    ASSERT_TRUE(stores_->Create(name, "a label", reason)) << reason;
    created_.push_back(name);
  }
  std::unique_ptr<MessageStore> Open(const QueueName& name) {
    std::string reason;
    auto store = stores_->Open(name, reason);
    EXPECT_NE(store, nullptr) << reason;
    return store;
  }
  std::unique_ptr<MessageStore> Make(const std::string& text = "orders") {
    Create(Name(text));
    return Open(Name(text));
  }

  static StoredMessage Message(const std::string& body,
                               const std::string& label = "") {
    StoredMessage message;
    generateUUID(message.id);
    message.label = label;
    message.body = body;
    message.sent_ms = 1'700'000'000'123;
    return message;
  }
  static void Send(MessageStore& store, const std::string& body) {
    std::string reason;
    ASSERT_TRUE(store.Send(Message(body), reason)) << reason;
  }
  // The body; nothing for an empty queue.
  static std::optional<std::string> Receive(MessageStore& store) {
    StoredMessage message;
    std::string reason;
    const Step step = store.Receive(message, reason);
    EXPECT_NE(step, Step::Failed) << reason;
    if (step != Step::Message) return std::nullopt;
    return message.body;
  }
  static unsigned long long Depth(MessageStore& store) {
    StoreSummary summary;
    std::string reason;
    EXPECT_TRUE(store.Summarize(summary, reason)) << reason;
    return summary.messages;
  }

  const TestFolder folder_;
  std::unique_ptr<MessageStores> stores_;
  std::vector<QueueName> created_;
};

constexpr const char* kKinds[] = {"Files", "Broker", "TlsBroker"};

INSTANTIATE_TEST_SUITE_P(
    Place, Store, ::testing::Values(Kind::Files, Kind::Broker, Kind::TlsBroker),
    [](const auto& kind) { return kKinds[static_cast<int>(kind.param)]; });

TEST_P(Store, KeepsEveryByteOfAMessage) {
  const auto store = Make();
  std::string every_byte;
  for (int byte = 0; byte < 256; ++byte) every_byte += static_cast<char>(byte);
  const std::string bodies[] = {"one", "", every_byte,
                                std::string(5'000'000, '\0')};
  const std::string label = "\xB6\xA9\xB5\xA5\x81\x5C";  // 订单乗
  std::string reason;
  for (const std::string& body : bodies) {
    const StoredMessage sent = Message(body, label);
    ASSERT_TRUE(store->Send(sent, reason)) << reason;
    StoredMessage received;
    ASSERT_EQ(store->Receive(received, reason), Step::Message) << reason;
    EXPECT_TRUE(received.body == body) << body.size() << " bytes";
    EXPECT_EQ(received.label, label);
    EXPECT_EQ(received.id, sent.id);
    EXPECT_EQ(received.sent_ms, sent.sent_ms);
    EXPECT_EQ(received.body_fault + received.label_fault, "");
  }
}

TEST_P(Store, IsPeekedCountedAndPurged) {
  const auto store = Make();
  StoredMessage message;
  StoreSummary summary;
  std::string reason;
  EXPECT_EQ(store->Peek(message, reason), Step::Empty);
  ASSERT_TRUE(store->Summarize(summary, reason)) << reason;
  EXPECT_EQ(summary.messages, 0u);
  EXPECT_EQ(summary.oldest_ms, std::nullopt);
  StoredMessage old = Message("old");
  old.sent_ms = 1'600'000'000'007;
  ASSERT_TRUE(store->Send(old, reason));
  Send(*store, "new");
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(store->Peek(message, reason), Step::Message) << reason;
    EXPECT_EQ(message.body, "old");
  }
  ASSERT_TRUE(store->Summarize(summary, reason)) << reason;
  EXPECT_EQ(summary.messages, 2u);
  EXPECT_EQ(summary.oldest_ms, 1'600'000'000'007);
  // In their order, for whoever has it open.
  const auto receiver = Open(Name("orders"));
  EXPECT_EQ(Receive(*receiver), "old");
  Send(*store, "newest");
  for (const char* const body : {"new", "newest"})
    EXPECT_EQ(Receive(*receiver), body);
  EXPECT_EQ(Receive(*receiver), std::nullopt);
  for (int i = 0; i < 5; ++i) Send(*store, "x");
  unsigned long long removed = 0;
  ASSERT_TRUE(store->Purge(removed, reason)) << reason;
  EXPECT_EQ(removed, 5u);
  Send(*store, "later");
  EXPECT_EQ(Receive(*store), "later");
}

TEST_P(Store, IsCreatedOnceAndKeepsItsMessages) {
  std::string reason;
  EXPECT_EQ(stores_->Open(Name("orders"), reason), nullptr);
  EXPECT_EQ(reason, "there is no such queue");
  std::string remark;
  EXPECT_TRUE(stores_->Check(Name("orders"), remark, reason)) << reason;
  EXPECT_EQ(stores_->Open(Name("orders"), reason), nullptr) << "check made it";
  const auto store = Make();
  Send(*store, "kept");
  Create(Name("orders"));
  EXPECT_EQ(Receive(*store), "kept");
}

TEST_P(Store, ThatIsDeletedTakesNoMessageUntilItIsCreatedAgain) {
  const auto store = Make();
  Send(*store, "gone");
  std::string reason;
  ASSERT_TRUE(stores_->Delete(Name("orders"), reason)) << reason;
  EXPECT_FALSE(stores_->Delete(Name("orders"), reason));
  EXPECT_FALSE(store->Send(Message("into the void"), reason));
  StoredMessage message;
  EXPECT_EQ(store->Receive(message, reason), Step::Failed);
  EXPECT_EQ(reason, "there is no such queue");
  Create(Name("orders"));
  EXPECT_EQ(Receive(*store), std::nullopt);
  Send(*store, "again");
  EXPECT_EQ(Receive(*Open(Name("orders"))), "again");
}

// Every pair of them met somewhere: a folder, a file system without case, an
// encoding's second byte.
TEST_P(Store, OfEveryNameIsItsOwn) {
  const char* const names[] = {"a/b",
                               "a\\b",
                               "a%2Fb",
                               "..",
                               "../a",
                               "a",
                               "A",
                               ".a",
                               "a ",
                               "%",
                               "a.wal",
                               "a.queue",
                               "a-wal",
                               "*",
                               "\x81\x5C",  // 乗, whose second byte is "\"
                               "\xB6\xA9\xB5\xA5"};
  for (const char* const text : names) Send(*Make(text), text);
  for (const char* const text : names) {
    const auto store = Open(Name(text));
    EXPECT_EQ(Receive(*store), text);
    EXPECT_EQ(Receive(*store), std::nullopt);
  }
}

// An operator moved it away and back: it keeps its id.
TEST_P(Store, GivesOutAMessageThatIsSentASecondTime) {
  const auto store = Make();
  std::string reason;
  ASSERT_TRUE(store->Send(Message("body"), reason));
  for (int i = 0; i < 3; ++i) {
    StoredMessage message;
    ASSERT_EQ(store->Receive(message, reason), Step::Message) << i;
    ASSERT_TRUE(store->Send(message, reason));
  }
  EXPECT_EQ(Depth(*store), 1u);
}

TEST_P(Store, KeepsAMessageThatThereIsNoMemoryFor) {
  const auto store = Make();
  Send(*store, std::string(testing::kScarceBytes, 'x'));
  Send(*store, "next");
  std::string reason;
  auto step = Step::Failed;
  {
    const testing::ScarceMemory scarce;
    StoredMessage message;
    try {
      step = store->Receive(message, reason);
    } catch (const std::bad_alloc&) {
    }
  }
  EXPECT_EQ(step, Step::Failed);
  if (GetParam() == Kind::Files) {
    Send(*Open(Name("orders")), "no lock is left");
  }
  const auto body = Receive(*store);
  ASSERT_TRUE(body);
  EXPECT_EQ(body->size(), testing::kScarceBytes);
  EXPECT_EQ(Receive(*store), "next");
}

TEST_P(Store, GivesEachMessageToOneOfManyReceivers) {
  constexpr int kSenders = 3;
  constexpr int kReceivers = 4;
  const int messages = GetParam() == Kind::Files ? 60 : 200;
  Make();
  std::vector<std::vector<std::string>> received(kReceivers);
  std::vector<std::thread> threads;
  for (int sender = 0; sender < kSenders; ++sender) {
    threads.emplace_back([&, sender] {
      const auto store = Open(Name("orders"));
      for (int i = 0; i < messages; ++i)
        Send(*store, std::string(1, static_cast<char>('a' + sender)) +
                         std::to_string(1000 + i));
    });
  }
  std::atomic<int> left = kSenders * messages;
  // A message that is lost must not make this endless.
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(60);
  for (int receiver = 0; receiver < kReceivers; ++receiver) {
    threads.emplace_back([&, receiver] {
      const auto store = Open(Name("orders"));
      while (left > 0 && !HasFailure() && Clock::now() < end) {
        const auto body = Receive(*store);
        if (!body) continue;
        --left;
        received[static_cast<std::size_t>(receiver)].push_back(*body);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::multiset<std::string> all;
  for (const auto& bodies : received) {
    // Each sender's messages come to a receiver in the order they were sent.
    std::map<char, std::string> last;
    for (const std::string& body : bodies) {
      EXPECT_LT(last[body[0]], body);
      last[body[0]] = body;
    }
    all.insert(bodies.begin(), bodies.end());
  }
  EXPECT_EQ(all.size(), static_cast<std::size_t>(kSenders * messages));
  EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), all.size());
  EXPECT_EQ(Receive(*Open(Name("orders"))), std::nullopt);
}

}  // namespace
}  // namespace kiv::mq
