#include "kiv/mq/com_queue_reader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "kiv/date_time.h"
#include "kiv/mq/com_queue.h"
#include "testing/eventually.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using testing::Eventually;
using Messages = std::vector<std::string>;

class SerialLine : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }
  ~SerialLine() override { EXPECT_TRUE(config_.Stop(20000)); }

  // A queue on the line, with more attributes and children.
  void Listen(const std::string& attributes = "",
              const std::string& children = "") {
    service_.WriteQueues("<q type='com' name='" + line_.Device() +
                         "' processor='dll://../lib/p:Record' " + attributes +
                         ">" + children + "</q>");
    ASSERT_TRUE(config_.Load() && config_.StartListen()) << service_.log.Text();
  }
  QueueStatus Status() const { return config_.Queues().at(0)->Status(); }
  bool WaitForState(QueueState state) const {
    return Eventually([&] { return Status().state == state; });
  }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
  testing::PseudoTerminal line_;
  testing::TestConfig config_{false};
};

TEST_F(SerialLine, GivesEveryLineToTheProcessorWithItsSettings) {
  void* context = nullptr;
  processor_.answer = [&context](std::string_view message, void* given) {
    context = given;
    return message != "bad";
  };
  Listen();
  line_.Send("first\rbad\r\n\xD6\xD0\xB9\xFA\r\r");
  ASSERT_TRUE(processor_.WaitForMessages(4));
  ASSERT_TRUE(config_.Stop(20000));
  EXPECT_EQ(processor_.Messages(),
            (Messages{"first", "bad", "\xD6\xD0\xB9\xFA", ""}));
  EXPECT_EQ(context, dynamic_cast<ComQueueConfig*>(config_.Queues()[0].get()));
  EXPECT_EQ(Status().messages, 4u);
  EXPECT_EQ(Status().bytes, 12u);
  EXPECT_EQ(Status().failures, 1u);
}

TEST_F(SerialLine, IsCutIntoPackagesByOneReaderHoweverOftenItIsStarted) {
  Listen("PackageSize='3' EvChar=';'",
         "<duration><x from='00:00:00' to='23:59:59'/></duration>");
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(config_.StartListen());
  ASSERT_TRUE(WaitForState(QueueState::Reading));
  line_.Send("ab;c\rdef;");
  ASSERT_TRUE(processor_.WaitForMessages(3)) << "it is in its times";
  EXPECT_EQ(processor_.Messages(), (Messages{"ab;", "c\rd", "ef;"}));
  EXPECT_FALSE(service_.log.Has("in use"));
}

TEST_F(SerialLine, DropsWhatComesOutsideItsTimes) {
  // An hour that is at least two hours away from now.
  const int hour = (DateTime::Now().Hour() + 12) % 24;
  const std::string away = (hour < 10 ? "0" : "") + std::to_string(hour);
  Listen("", "<duration><x from='" + away + ":00:00' to='" + away +
                 ":59:59'/></duration>");
  ASSERT_TRUE(WaitForState(QueueState::OutsideTimes));
  line_.Send("late\rlater\r");
  ASSERT_TRUE(Eventually([&] { return Status().refused == 2; }));
  line_.Send("exit\r");
  ASSERT_TRUE(WaitForState(QueueState::StoppedByLine));
  EXPECT_EQ(processor_.Messages(), Messages{});
  EXPECT_EQ(Status().last_message, DateTime());
  EXPECT_EQ(service_.log.Count("is outside its times"), 1);
}

TEST_F(SerialLine, StopsWhileItWaitsForItsPort) {
  line_.Unplug();
  Listen();
  ASSERT_TRUE(WaitForState(QueueState::Unplugged));
}

TEST_F(SerialLine, IsAQueueOfMessagesToAHostThatReadsItItself) {
  ComQueueInfo info;
  const char* const name = line_.Device().c_str();
  EXPECT_TRUE(info.Create(name, nullptr, false));
  const auto queue = info.Open(name, 1, 0);
  ASSERT_NE(queue, nullptr);
  std::thread sender([this] { line_.Send("one\rtwo\r"); });
  for (const char* const expected : {"one", "two"}) {
    std::string body;
    if (const auto message = queue->Receive()) message->GetBody(body);
    EXPECT_EQ(body, expected);
  }
  sender.join();
  EXPECT_FALSE(info.Create(name, nullptr, false));
}

TEST_F(SerialLine, WithABadNameIsNotListenedOn) {
  service_.WriteQueues(
      "<q type='com' name='gate' processor='dll://../lib/p:Record'/>"
      "<q type='com' name='COM1' processor='dll://../lib/none:Record'/>");
  EXPECT_TRUE(config_.Load());
  EXPECT_FALSE(config_.StartListen());
  for (const std::string fault :
       {"Create Queue Failed, can not open the queue 'gate'",
        "invalid processor: 'dll://../lib/none:Record'"})
    EXPECT_TRUE(service_.log.Has(
        "[\xB4\xED\xCE\xF3] mq: QueueConfig::StartListen Error: " + fault +
        "\r\n"));
  EXPECT_EQ(Status().state, QueueState::Failed);
}

TEST_F(SerialLine, ReportsAProcessorThatDoesNotEnd) {
  std::atomic<bool> may_leave{false};
  processor_.answer = [&may_leave](std::string_view, void*) {
    return Eventually([&] { return may_leave.load(); });
  };
  Listen();
  line_.Send("stuck\r");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_FALSE(config_.Stop(10));
  EXPECT_TRUE(service_.log.Has("Config::Stop Failed: the processor of queue '" +
                               line_.Device() +
                               "' is still at work; its "
                               "reader ends after that message\r\n"));
  may_leave = true;
  EXPECT_TRUE(config_.Stop(-1));
}

}  // namespace
}  // namespace kiv::mq
