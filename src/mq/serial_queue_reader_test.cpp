#include "kiv/mq/serial_queue_reader.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "kiv/dom.h"
#include "kiv/module/module.h"
#include "kiv/mq/msmq_queue.h"
#include "kiv/mq/queue_config.h"
#include "port/clock.h"
#include "testing/eventually.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using testing::Eventually;
using SteadyClock = std::chrono::steady_clock;

#define TIME(from, to) "<x from='" from "' to='" to "'/>"

// Every day has the same date: only the hour counts.
class HourClock final : public port::Clock {
 public:
  long long UnixTicks() const override {
    return (1'100'000'000LL / 86400 * 86400 + hour * 3600LL) * 10'000'000;
  }
  bool LocalTime(std::time_t second, std::tm& out) const override {
    return ::gmtime_r(&second, &out) != nullptr;
  }

  std::atomic<int> hour = 12;
};

class PolledQueue : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }
  PolledQueue() { queues_.Create("orders", nullptr, false); }
  ~PolledQueue() override { EXPECT_TRUE(config_.Stop(20000)); }

  void Send(int messages = 1, const std::string& body = "body") {
    const auto queue = queues_.OpenQueue("orders", QueueInfo::ACCESS_SEND);
    for (int i = 0; i < messages; ++i) ASSERT_TRUE(queue->Send(body));
  }
  unsigned long long Left() {
    unsigned long long left = 99;
    DateTime oldest;
    queues_.OpenQueue("orders", QueueInfo::ACCESS_PEEK)->Count(left, oldest);
    return left;
  }
  void Load(const std::string& interval, const std::string& times) {
    service_.WriteQueues(
        "<q type='msmq' name='orders' processor='dll://../lib/p:Record' "
        "reader='serial' interval='" +
        interval + "'><duration>" + times + "</duration></q>");
    ASSERT_TRUE(config_.Load());
  }
  void Listen(const std::string& interval = "0",
              const std::string& times = TIME("00:00:00", "23:59:59")) {
    Load(interval, times);
    ASSERT_TRUE(config_.StartListen());
  }
  SerialQueueReader& Reader() const {
    return static_cast<SerialQueueReader&>(
        *config_.Queues().at(0)->GetQueueReader());
  }
  QueueStatus Status() const { return config_.Queues().at(0)->Status(); }
  bool WaitForState(QueueState state) const {
    return Eventually([&] { return Status().state == state; });
  }
  void ExpectFailure(const QueueReaderThread& thread, int result,
                     const std::string& text) {
    EXPECT_TRUE(Eventually([&] { return thread.Result() == result; })) << text;
    // [错误]
    EXPECT_TRUE(service_.log.Has("[\xB4\xED\xCE\xF3] mq: " + text + "\r\n"))
        << service_.log.Text();
  }

  HourClock clock_;
  const port::ClockOverride clock_override_{clock_};
  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
  MsmqQueueInfo queues_;
  testing::TestConfig config_{false};
};

TEST_F(PolledQueue, GivesOneMessageAnIntervalAndWakesForAStop) {
  Send(3);
  Listen("3600");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  const auto start = SteadyClock::now();
  EXPECT_TRUE(config_.Stop(60000));
  EXPECT_LT(SteadyClock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(Left(), 2u);
  EXPECT_EQ(Status().state, QueueState::Stopped);
  // A new start is a new thread.
  ASSERT_TRUE(config_.StartListen());
  EXPECT_TRUE(Eventually([&] { return Left() == 1; }));
}

TEST_F(PolledQueue, IsDrainedByAnIntervalOfZeroAndLosesWhatIsRefused) {
  processor_.answer = [](auto message, void*) { return message != "bad"; };
  Send(1, "bad");
  Send(250);
  Listen();
  ASSERT_TRUE(processor_.WaitForMessages(251));
  // Empty now: not asked as fast as it can be.
  const std::clock_t worked = std::clock();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_LT(std::clock() - worked, CLOCKS_PER_SEC / 10);
  EXPECT_EQ(Status().messages, 251u);
  EXPECT_EQ(Status().bytes, 1003u);
  EXPECT_EQ(Status().failures, 1u);
}

// A queue each of whose messages is packed in a way that nobody reads.
class UnreadableMessage final : public Message {
  bool GetBody(std::string&) override { return false; }
};
class UnreadableQueue final : public Queue, public QueueInfo {
 public:
  std::shared_ptr<Message> Receive() override {
    ++received;
    return std::make_shared<UnreadableMessage>();
  }
  std::string LastError() const override { return ""; }
  bool Create(const char*, const char*, bool) override { return true; }
  bool Delete(const char*) override { return true; }
  std::shared_ptr<Queue> Open(const char*, int, int) override {
    return std::shared_ptr<Queue>(std::shared_ptr<void>(), this);
  }
  std::atomic<int> received = 0;
};
class NeverAsked final : public module::Module {
  bool process_mem(const char*, int, void*) override {
    ADD_FAILURE() << "there is no message for it";
    return true;
  }
};
class ConfigOf final : public QueueConfig {
 public:
  ConfigOf(const char* text, std::shared_ptr<QueueInfo> queues) {
    DomParser parser;
    DomDocument document;
    DomElement element;
    EXPECT_TRUE(parser.parseMem(text, static_cast<unsigned>(std::strlen(text)),
                                document));
    EXPECT_TRUE(document.GetDocumentElement(element));
    EXPECT_TRUE(
        Init(element, std::make_shared<SerialQueueReader>(element, this)));
    queue_info_ = std::move(queues);
    module_ = std::make_shared<NeverAsked>();
  }
};

TEST_F(PolledQueue, GivesItsProcessorNothingOfAMessageThatCannotBeRead) {
  const auto queue = std::make_shared<UnreadableQueue>();
  ConfigOf config(
      "<q type='msmq' name='orders' processor='none' interval='0'>"
      "<duration>" TIME("00:00:00", "23:59:59") "</duration></q>",
      queue);
  ASSERT_TRUE(config.StartListen());
  EXPECT_TRUE(Eventually([&] { return queue->received > 2; }));
  EXPECT_TRUE(config.Stop(20000));
  EXPECT_EQ(config.Status().messages, 0u);
}

TEST_F(PolledQueue, IsReadInEveryOneOfItsTimesAndWithoutAnyNever) {
  Send();
  for (const char* const times :
       {"", TIME("08:00:00", "09:00:00") TIME("13:00:00", "14:00:00")}) {
    Listen("0", times);
    ASSERT_TRUE(WaitForState(QueueState::OutsideTimes));
  }
  EXPECT_EQ(Left(), 1u);
  clock_.hour = 13;
  EXPECT_TRUE(processor_.WaitForMessages(1));
  EXPECT_TRUE(WaitForState(QueueState::Reading));
  EXPECT_EQ(Status().last_message.Hour(), 13);
}

TEST_F(PolledQueue, IsShownAsFailedUntilAReceiveWorksAgain) {
  Listen("0", TIME("12:00:00", "12:59:59"));
  ASSERT_TRUE(WaitForState(QueueState::Reading));
  ASSERT_TRUE(queues_.Delete("orders"));
  ASSERT_TRUE(WaitForState(QueueState::Failed));
  EXPECT_EQ(Status().last_error, "there is no such queue");
  // A try may take long; no moment of it looks as if all were well.
  const auto end = SteadyClock::now() + std::chrono::milliseconds(500);
  while (SteadyClock::now() < end)
    ASSERT_EQ(Status().state, QueueState::Failed);
  // No try is made meanwhile that could work.
  clock_.hour = 14;
  ASSERT_TRUE(WaitForState(QueueState::OutsideTimes));
  clock_.hour = 12;
  ASSERT_TRUE(WaitForState(QueueState::Failed));
  ASSERT_TRUE(queues_.Create("orders", nullptr, false));
  EXPECT_TRUE(WaitForState(QueueState::Reading));
}

TEST_F(PolledQueue, EndsItsThreadWhenSomethingIsMissing) {
  Load("1", "");
  EXPECT_TRUE(Reader().Start());
  ExpectFailure(*Reader().GetThread(), 2,
                "serial_queue_reader_func Failed: module can not be null");
  Listen();
  ASSERT_TRUE(config_.Stop(20000));
  ASSERT_TRUE(queues_.Delete("orders"));
  EXPECT_TRUE(Reader().Start());
  ExpectFailure(*Reader().GetThread(), 3,
                "serial_queue_reader_func Failed: open 'orders' queue failed");
  EXPECT_EQ(Status().state, QueueState::Failed);
  const auto orphan = std::make_shared<SerialQueueReaderThread>(nullptr);
  EXPECT_TRUE(orphan->start(nullptr, nullptr));
  ExpectFailure(*orphan, 1,
                "serial_queue_reader_func Failed: reader can not be null");
}

class FunctionThread final : public QueueReaderThread {
 public:
  explicit FunctionThread(int (*body)()) : body_(body) {}
  int run() override { return body_(); }

 private:
  int (*const body_)();
};

TEST_F(PolledQueue, FailsAloneWhenSomethingIsThrown) {
  const std::pair<std::string, int (*)()> rows[] = {
      {"out of paper",
       []() -> int { throw std::runtime_error("out of paper"); }},
      {"something unknown was thrown", []() -> int { throw 42; }}};
  Load("1", "");
  for (const auto& [text, body] : rows) {
    const auto thread = std::make_shared<FunctionThread>(body);
    ASSERT_TRUE(thread->start(&Reader(), config_.Queues().at(0).get()));
    ExpectFailure(*thread, 4, "queue_reader_func Failed: " + text);
    EXPECT_EQ(Status().last_error, text);
    EXPECT_TRUE(thread->Stop(20000));
  }
}

// A cancelled thread unwinds; who stops it there ends the process.
TEST_F(PolledQueue, MayBeCancelledByItsProcessor) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "what unwinds a cancelled thread leaves the marks of its "
                  "frames on the stack";
#endif
  processor_.answer = [](std::string_view, void*) {
    ::pthread_cancel(::pthread_self());
    ::pthread_testcancel();
    return true;
  };
  Send();
  Listen();
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_TRUE(config_.Stop(20000));
  EXPECT_EQ(Status().state, QueueState::Stopped);
}

TEST_F(PolledQueue, MayBeLetGoOfWhileItsProcessorWorks) {
  std::atomic<bool> may_leave = false, has_left = false;
  processor_.answer = [&](std::string_view, void*) {
    const bool is_good = Eventually([&] { return may_leave.load(); });
    has_left = true;
    return is_good;
  };
  Send();
  Listen("3600");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_FALSE(config_.Stop(10));
  const std::weak_ptr<QueueConfig> left_behind = config_.Queues().at(0);
  service_.WriteQueues("");
  ASSERT_TRUE(config_.Load());
  EXPECT_FALSE(left_behind.expired());
  may_leave = true;
  // Only the first of them orders what the thread did before what comes now.
  EXPECT_TRUE(Eventually([&] { return has_left && left_behind.expired(); }));
}

}  // namespace
}  // namespace kiv::mq
