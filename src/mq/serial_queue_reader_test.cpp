#include "kiv/mq/serial_queue_reader.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kiv/dom.h"
#include "kiv/mq/queue_config.h"
#include "port/clock.h"
#include "testing/eventually.h"
#include "testing/service_folder.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using testing::Eventually;

// Every day has the same date here: only the hour counts.
class HourClock final : public port::Clock {
 public:
  void SetHour(int hour) { hour_ = hour; }
  long long UnixTicks() const override {
    return (1'100'000'000LL / 86400 * 86400 + hour_ * 3600LL) * 10'000'000;
  }
  bool LocalTime(std::time_t second, std::tm& out) const override {
    return ::gmtime_r(&second, &out) != nullptr;
  }

 private:
  std::atomic<int> hour_{12};
};

// A queue in memory.
struct Mailbox {
  std::mutex mutex;
  std::deque<std::string> messages;
  std::string error;  // while it is not empty, nothing can be received
  std::atomic<int> receives{0};
  bool can_open = true;
  std::function<void()> on_receive = [] {};

  std::size_t Size() {
    const std::lock_guard lock(mutex);
    return messages.size();
  }
  void SetError(const std::string& text) {
    const std::lock_guard lock(mutex);
    error = text;
  }
};

class MailboxMessage final : public Message {
 public:
  explicit MailboxMessage(std::string text) : text_(std::move(text)) {}
  bool GetBody(std::string& body) override {
    body = text_;
    return text_ != "unreadable";
  }

 private:
  std::string text_;
};

class MailboxQueue final : public Queue {
 public:
  explicit MailboxQueue(Mailbox& mailbox) : mailbox_(mailbox) {}
  std::shared_ptr<Message> Receive() override {
    const std::lock_guard lock(mailbox_.mutex);
    mailbox_.on_receive();
    ++mailbox_.receives;
    last_error_ = mailbox_.error;
    if (!last_error_.empty() || mailbox_.messages.empty()) return nullptr;
    auto message = std::make_shared<MailboxMessage>(mailbox_.messages.front());
    mailbox_.messages.pop_front();
    return message;
  }

  std::string LastError() const override { return last_error_; }

 private:
  Mailbox& mailbox_;
  std::string last_error_;
};

class MailboxInfo final : public QueueInfo {
 public:
  explicit MailboxInfo(Mailbox& mailbox) : mailbox_(mailbox) {}
  bool Create(const char*, const char*, bool) override { return true; }
  bool Delete(const char*) override { return true; }
  std::shared_ptr<Queue> Open(const char*, int access, int share) override {
    EXPECT_EQ(share, 0);
    if (access == QueueInfo::ACCESS_RECEIVE && !mailbox_.can_open)
      return nullptr;
    return std::make_shared<MailboxQueue>(mailbox_);
  }

 private:
  Mailbox& mailbox_;
};

class FunctionModule final : public module::Module {
 public:
  explicit FunctionModule(std::function<bool(const std::string&, void*)> take)
      : take_(std::move(take)) {}
  bool process_mem(const char* data, int length, void* context) override {
    return take_(std::string(data, static_cast<std::size_t>(length)), context);
  }

 private:
  std::function<bool(const std::string&, void*)> take_;
};

class TestQueue final : public QueueConfig {
 public:
  TestQueue(const std::string& element_text, Mailbox& mailbox) {
    DomParser parser;
    DomDocument document;
    DomElement element;
    EXPECT_TRUE(parser.parseMem(element_text.data(),
                                static_cast<unsigned>(element_text.size()),
                                document));
    EXPECT_TRUE(document.GetDocumentElement(element));
    EXPECT_TRUE(
        Init(element, std::make_shared<SerialQueueReader>(element, this)));
    queue_info_ = std::make_shared<MailboxInfo>(mailbox);
  }
  void SetModule(std::shared_ptr<module::Module> processor) {
    module_ = std::move(processor);
  }
};

class PolledQueue : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }
  void TearDown() override {
    if (queue_ != nullptr) {
      EXPECT_TRUE(queue_->Stop(20000));
    }
  }

  std::shared_ptr<TestQueue> Make(const std::string& interval,
                                  const std::string& ranges) {
    queue_ = std::make_shared<TestQueue>(
        "<q type='msmq' name='orders' processor='none' interval='" + interval +
            "'><duration>" + ranges + "</duration></q>",
        mailbox_);
    queue_->SetModule(std::make_shared<FunctionModule>(
        [this](const std::string& message, void* context) {
          EXPECT_EQ(context, nullptr);
          ++processed_;
          return message != "bad";
        }));
    return queue_;
  }
  bool WaitForState(QueueState state) const {
    return Eventually([&] { return queue_->Status().state == state; });
  }
  SerialQueueReader& Reader() const {
    return static_cast<SerialQueueReader&>(*queue_->GetQueueReader());
  }
  int ResultOf(SerialQueueReader& reader) const {
    Eventually([&] { return reader.GetThread()->Result() >= 0; });
    return reader.GetThread()->Result();
  }

  HourClock clock_;
  const port::ClockOverride clock_override_{clock_};
  const testing::ServiceFolder service_;
  Mailbox mailbox_;
  std::atomic<int> processed_{0};
  std::shared_ptr<TestQueue> queue_;
};

constexpr char kAllDay[] = "<x from='00:00:00' to='23:59:59'/>";

TEST_F(PolledQueue, GivesOneMessageAnIntervalAndWakesForAStop) {
  mailbox_.messages = {"one", "two", "three"};
  Make("3600", kAllDay);
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(Eventually([&] { return processed_ == 1; }));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(queue_->Stop(60000));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(mailbox_.Size(), 2u);
  EXPECT_EQ(queue_->Status().state, QueueState::Stopped);
  EXPECT_EQ(queue_->Status().messages, 1u);

  // A new start is a new thread.
  ASSERT_TRUE(queue_->StartListen());
  EXPECT_TRUE(Eventually([&] { return mailbox_.Size() == 1; }));
}

TEST_F(PolledQueue, IsDrainedWithoutPauseByAnIntervalOfZero) {
  mailbox_.messages.assign(500, "x");
  Make("0", kAllDay);
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(Eventually([&] { return processed_ == 500; }));
  // Empty now: asked ten times a second, not as fast as it can be.
  const int receives = mailbox_.receives;
  ASSERT_TRUE(Eventually([&] { return mailbox_.receives >= receives + 2; }));
  EXPECT_LT(mailbox_.receives, receives + 100);
}

TEST_F(PolledQueue, IsReadInEveryOneOfItsTimesAndWithoutAnyNever) {
  mailbox_.messages = {"one"};
  Make("0", "");
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(WaitForState(QueueState::OutsideTimes));
  ASSERT_TRUE(queue_->Stop(20000));
  Make("0",
       "<x from='08:00:00' to='09:00:00'/><x from='13:00:00' to='14:00:00'/>");
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(WaitForState(QueueState::OutsideTimes));
  EXPECT_EQ(mailbox_.receives, 0);
  clock_.SetHour(13);
  EXPECT_TRUE(Eventually([&] { return processed_ == 1; }));
  EXPECT_TRUE(WaitForState(QueueState::Reading));
  EXPECT_EQ(queue_->Status().last_message.Hour(), 13);
}

TEST_F(PolledQueue, IsShownAsFailedUntilAReceiveWorksAgain) {
  mailbox_.messages = {"one"};
  Make("0", "<x from='12:00:00' to='12:59:59'/>");
  mailbox_.SetError("the broker is away");
  // A try may take as long as a broker is waited for.
  std::vector<QueueState> shown;
  mailbox_.on_receive = [&] { shown.push_back(queue_->Status().state); };
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(Eventually([&] { return mailbox_.receives >= 3; }));
  EXPECT_EQ(queue_->Status().state, QueueState::Failed);
  EXPECT_EQ(queue_->Status().last_error, "the broker is away");
  // No try was made meanwhile that could have worked.
  clock_.SetHour(14);
  ASSERT_TRUE(WaitForState(QueueState::OutsideTimes));
  clock_.SetHour(12);
  ASSERT_TRUE(WaitForState(QueueState::Failed));
  mailbox_.SetError("");
  EXPECT_TRUE(Eventually([&] { return processed_ == 1; }));
  EXPECT_EQ(queue_->Status().state, QueueState::Reading);
  ASSERT_TRUE(queue_->Stop(20000));
  ASSERT_GE(shown.size(), 4u);
  EXPECT_EQ(shown[0], QueueState::Reading);
  for (std::size_t i = 1; i < 4; ++i)
    EXPECT_EQ(shown[i], QueueState::Failed) << "between two tries";
}

TEST_F(PolledQueue, LosesWhatItsProcessorRefuses) {
  mailbox_.messages = {"bad", "unreadable", "good"};
  Make("0", kAllDay);
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(Eventually([&] { return processed_ == 2; }));
  ASSERT_TRUE(queue_->Stop(20000));
  const QueueStatus status = queue_->Status();
  EXPECT_EQ(status.messages, 2u);
  EXPECT_EQ(status.bytes, 7u);
  EXPECT_EQ(status.failures, 1u);
  EXPECT_EQ(mailbox_.Size(), 0u);
}

TEST_F(PolledQueue, EndsItsThreadWhenSomethingIsMissing) {
  Make("1", kAllDay);
  SerialQueueReader& reader = Reader();
  queue_->SetModule(nullptr);
  EXPECT_TRUE(reader.Start());
  EXPECT_EQ(ResultOf(reader), 2);
  EXPECT_TRUE(service_.log.Has(
      "[\xB4\xED\xCE\xF3] mq: serial_queue_reader_func Failed: module can not "
      "be null\r\n"));
  EXPECT_EQ(queue_->Status().state, QueueState::Failed);

  Make("1", kAllDay);
  SerialQueueReader& closed = Reader();
  mailbox_.can_open = false;
  EXPECT_TRUE(queue_->StartListen());
  EXPECT_EQ(ResultOf(closed), 3);
  EXPECT_TRUE(service_.log.Has(
      "serial_queue_reader_func Failed: open 'orders' queue failed\r\n"));

  const auto orphan = std::make_shared<SerialQueueReaderThread>(nullptr);
  EXPECT_TRUE(orphan->start(nullptr, nullptr));
  EXPECT_TRUE(orphan->Stop(20000));
  EXPECT_EQ(orphan->Result(), 1);
  EXPECT_TRUE(service_.log.Has(
      "serial_queue_reader_func Failed: reader can not be null\r\n"));
}

TEST_F(PolledQueue, FailsAloneWhenSomethingIsThrown) {
  struct Case {
    std::function<bool(const std::string&, void*)> take;
    const char* text;
  };
  const Case cases[] = {
      {[](const std::string&, void*) -> bool {
         throw std::runtime_error("out of paper");
       },
       "out of paper"},
      {[](const std::string&, void*) -> bool { throw 42; },
       "something unknown was thrown"},
  };
  for (const Case& thrown : cases) {
    mailbox_.messages = {"one"};
    Make("0", kAllDay);
    queue_->SetModule(std::make_shared<FunctionModule>(thrown.take));
    ASSERT_TRUE(queue_->StartListen());
    EXPECT_EQ(ResultOf(Reader()), 4) << thrown.text;
    EXPECT_TRUE(service_.log.Has(
        "mq: queue_reader_func Failed: " + std::string(thrown.text) + "\r\n"))
        << service_.log.Text();
    EXPECT_EQ(queue_->Status().state, QueueState::Failed);
    EXPECT_EQ(queue_->Status().last_error, thrown.text);
    EXPECT_TRUE(queue_->Stop(20000));
  }
}

// A cancelled thread unwinds; who stops it there ends the process.
TEST_F(PolledQueue, MayBeCancelledByItsProcessor) {
  mailbox_.messages = {"one"};
  Make("0", kAllDay);
  queue_->SetModule(
      std::make_shared<FunctionModule>([](const std::string&, void*) {
        ::pthread_cancel(::pthread_self());
        ::pthread_testcancel();
        return true;
      }));
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(Eventually([&] { return mailbox_.Size() == 0; }));
  EXPECT_TRUE(queue_->Stop(20000));
  EXPECT_EQ(Reader().GetThread()->Result(), -1);
  EXPECT_EQ(queue_->Status().state, QueueState::Stopped);
  EXPECT_FALSE(service_.log.Has("queue_reader_func Failed"));
}

TEST_F(PolledQueue, MayBeLetGoOfWhileItsProcessorWorks) {
  mailbox_.messages = {"slow"};
  Make("3600", kAllDay);
  std::atomic<bool> is_inside{false};
  std::atomic<bool> may_leave{false};
  std::atomic<bool> has_left{false};
  queue_->SetModule(
      std::make_shared<FunctionModule>([&](const std::string&, void*) {
        is_inside = true;
        Eventually([&] { return may_leave.load(); });
        has_left = true;
        return true;
      }));
  ASSERT_TRUE(queue_->StartListen());
  ASSERT_TRUE(Eventually([&] { return is_inside.load(); }));
  EXPECT_FALSE(queue_->Stop(10));
  const std::weak_ptr<TestQueue> left_behind = queue_;
  queue_.reset();
  EXPECT_FALSE(left_behind.expired());
  may_leave = true;
  EXPECT_TRUE(Eventually([&] { return left_behind.expired(); }));
  EXPECT_TRUE(has_left);
}

}  // namespace
}  // namespace kiv::mq
