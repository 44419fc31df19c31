// Senders and receivers of a durable queue that are killed at any moment, and a
// broker that dies or falls silent.
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
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "testing/broker.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

using mq::QueueInfo;
using std::chrono::seconds;
using std::chrono::steady_clock;
using Bodies = std::set<std::string>;

std::size_t CountWithout(const Bodies& these, const Bodies& those) {
  return static_cast<std::size_t>(
      std::count_if(these.begin(), these.end(),
                    [&](const auto& body) { return !those.contains(body); }));
}

class Scenario15KilledWorkers : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    GlobalInit();
    if (GetParam() == "Broker") {
      if (!Broker::IsInstalled()) GTEST_SKIP() << Broker::kWhyNot;
      broker_ = std::make_unique<Broker>();
      ::setenv("KIV_MSMQ_URL", broker_->Url().c_str(), 1);
    }
    ASSERT_TRUE(queues_.Create("orders", nullptr, false));
  }
  void TearDown() override {
    ::unsetenv("KIV_MSMQ_URL");
    GlobalUninit();
  }

  std::shared_ptr<mq::MsmqQueue> Open(int access) {
    auto queue = queues_.OpenQueue("orders", access);
    EXPECT_NE(queue, nullptr) << queues_.LastError();
    return queue;
  }
  // A worker's number.
  std::size_t Start(const std::string& kind) {
    const std::string name = std::to_string(workers_.size());
    workers_.push_back(std::make_unique<RunningProgram>(
        KIV_QUEUE_WORKER,
        std::vector<std::string>{kind, "orders", "journal" + name, name},
        RunningProgram::Surroundings{}));
    return workers_.size() - 1;
  }
  void Kill(std::size_t worker) { workers_[worker].reset(); }
  // How often a worker wrote a line that begins with that word.
  static int Count(std::size_t worker, const std::string& wanted) {
    std::ifstream file("journal" + std::to_string(worker));
    int count = 0;
    for (std::string word; file >> word;) count += word == wanted ? 1 : 0;
    return count;
  }
  static bool WaitFor(std::size_t worker, const std::string& word,
                      int times = 1) {
    return Eventually([&] { return Count(worker, word) >= times; });
  }
  void SleepUpTo(unsigned longest_us) {
    std::this_thread::sleep_for(
        std::chrono::microseconds(random_() % longest_us));
  }
  // A receiver that lives makes it so, and is then between two calls.
  void WaitUntilEmpty(std::size_t receiver) {
    const auto queue = Open(QueueInfo::ACCESS_PEEK);
    EXPECT_TRUE(Eventually([&] { return queue->Peek() == nullptr; }));
    EXPECT_EQ(queue->LastError(), "");
    // One call may have been under way, the next began with an empty queue.
    EXPECT_TRUE(WaitFor(receiver, "none", Count(receiver, "none") + 2));
  }

  // Compares what the journals say, and what is left in the queue. One who was
  // killed between a step and the line that tells how it ended may have sent,
  // or taken, a message without a word.
  void ExpectBalanced(bool may_lose, bool may_come_unconfirmed = false) {
    Bodies tried, sent;
    std::multiset<std::string> received;
    std::size_t lost = 0, unconfirmed = 0;
    for (std::size_t worker = 0; worker < workers_.size(); ++worker) {
      std::ifstream file("journal" + std::to_string(worker));
      std::string word, body;
      for (std::string line; std::getline(file, line);) {
        std::istringstream(line) >> word >> body;
        if (word == "try") tried.insert(body);
        if (word == "sent") sent.insert(body);
        if (word == "got") received.insert(body);
      }
      unconfirmed += word == "try" ? 1 : 0;
      lost += may_lose && word == "take" ? 1 : 0;
    }
    EXPECT_GT(received.size(), 50u) << "hardly anything was exchanged";
    const auto queue = Open(QueueInfo::ACCESS_RECEIVE);
    for (std::string body; const auto message = queue->Receive();) {
      EXPECT_TRUE(message->GetBody(body));
      received.insert(body);
    }
    EXPECT_EQ(queue->LastError(), "");
    const Bodies once(received.begin(), received.end());
    EXPECT_EQ(once.size(), received.size()) << "something came twice";
    EXPECT_EQ(CountWithout(once, tried), 0u) << "out of nowhere";
    EXPECT_LE(CountWithout(sent, once), lost) << "acknowledged and lost";
    EXPECT_TRUE(may_come_unconfirmed || CountWithout(once, sent) <= unconfirmed)
        << "received, yet never acknowledged";
  }

  const ServiceFolder service_;
  std::mt19937 random_{std::random_device()()};
  std::unique_ptr<Broker> broker_;
  mq::MsmqQueueInfo queues_;
  std::vector<std::unique_ptr<RunningProgram>> workers_;
};

constexpr auto kNameOf = [](const auto& place) { return place.param; };
INSTANTIATE_TEST_SUITE_P(Place, Scenario15KilledWorkers,
                         ::testing::Values("Files", "Broker"), kNameOf);

TEST_P(Scenario15KilledWorkers, LoseNothingAndShareNothing) {
  const std::string kinds[] = {"send", "receive", "send", "receive"};
  std::size_t running[4];
  for (int i = 0; i < 4; ++i) running[i] = Start(kinds[i]);
  for (int kill = 0; kill < 80; ++kill) {
    const std::size_t victim = random_() % 4;
    // Most of them at work, some while they start.
    if (kill % 8 != 0) {
      ASSERT_TRUE(WaitFor(running[victim], victim % 2 == 0 ? "sent" : "take"));
    }
    SleepUpTo(40'000);
    Kill(running[victim]);
    running[victim] = Start(kinds[victim]);
  }
  for (const std::size_t worker : running) Kill(worker);
  ExpectBalanced(true);
}

// The receiver lives, so nothing may be lost: not one message a kill.
TEST_P(Scenario15KilledWorkers, LoseNothingWhileTheReceiverLives) {
  const std::size_t receiver = Start("receive");
  for (int kill = 0; kill < 25; ++kill) {
    const std::size_t sender = Start("send");
    ASSERT_TRUE(WaitFor(sender, "sent"));
    SleepUpTo(20'000);
    Kill(sender);
  }
  WaitUntilEmpty(receiver);
  Kill(receiver);
  ExpectBalanced(false);
}

using Scenario15Broker = Scenario15KilledWorkers;
INSTANTIATE_TEST_SUITE_P(Place, Scenario15Broker, ::testing::Values("Broker"),
                         kNameOf);

// It dies in the middle of sends and receives. Its sender and its receiver live
// on and find it again.
TEST_P(Scenario15Broker, ThatIsKilledKeepsWhatItConfirmed) {
  broker_->Restart();
  const std::size_t sender = Start("send");
  const std::size_t receiver = Start("receive");
  for (int kill = 0; kill < 5; ++kill) {
    ASSERT_TRUE(WaitFor(receiver, "got", Count(receiver, "got") + 20))
        << "the workers did not find the broker again";
    if (kill == 4) break;
    SleepUpTo(200'000);
    broker_->Kill();
    broker_->Start();
  }
  Kill(sender);
  WaitUntilEmpty(receiver);
  Kill(receiver);
  ExpectBalanced(false, true);
}

TEST_P(Scenario15Broker, ThatIsSilentIsWaitedForOnlySoLong) {
  const auto sender = Open(QueueInfo::ACCESS_SEND);
  const auto receiver = Open(QueueInfo::ACCESS_RECEIVE);
  broker_->Suspend();
  auto start = steady_clock::now();
  EXPECT_EQ(receiver->Receive(), nullptr);
  EXPECT_NE(receiver->LastError(), "");
  EXPECT_EQ(queues_.Open("orders", QueueInfo::ACCESS_PEEK, 0), nullptr);
  EXPECT_LT(steady_clock::now() - start, seconds(20));
  start = steady_clock::now();
  // More than the buffers on the way hold: the sender's socket is full.
  EXPECT_FALSE(sender->Send(std::string(64 << 20, 'x')));
  const auto waited = steady_clock::now() - start;
  EXPECT_GT(waited, seconds(20)) << "its socket was not full";
  EXPECT_LT(waited, seconds(45));
  EXPECT_EQ(sender->LastError(),
            "the broker has taken nothing for 30 seconds; the broker has not "
            "confirmed the message and may have it all the same");
  broker_->Resume();
  EXPECT_TRUE(Eventually([&] { return sender->Send("last"); }));
  std::string body;
  EXPECT_TRUE(Eventually([&] {
    const auto message = receiver->Receive();
    return message != nullptr && message->GetBody(body);
  }));
  EXPECT_EQ(body, "last") << "half a message was sent";
}

}  // namespace
}  // namespace kiv::testing
