// What happens to a serial line: it is unplugged and comes back elsewhere, it
// belongs to another program, it sends noise.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>

#include "kiv/startup.h"
#include "testing/pseudo_terminal.h"
#include "testing/running_program.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"
#include "testing/xml_probe.h"

namespace kiv {
namespace {

using mq::QueueState;
using testing::Eventually;
using ::testing::HasSubstr;
using testing::PseudoTerminal;
using testing::RunningProgram;
using Messages = std::vector<std::string>;
using SteadyClock = std::chrono::steady_clock;

// The share of one core that this process takes while nobody here does a thing.
double CpuShareDuring(std::chrono::seconds time) {
  const std::clock_t before = std::clock();
  std::this_thread::sleep_for(time);
  return static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC /
         static_cast<double>(time.count());
}

// Another program that has the port, unless somebody has it already: then it
// ends with 1.
std::unique_ptr<RunningProgram> OtherProgram(const std::string& device) {
  return std::make_unique<RunningProgram>(
      "/usr/bin/flock",
      Messages{"--no-fork", "--nonblock", device, "/bin/sh", "-c",
               "echo has it; exec sleep 60"},
      RunningProgram::Surroundings{});
}

class Scenario14SerialLine : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { GlobalInit(); }
  static void TearDownTestSuite() { GlobalUninit(); }
  void SetUp() override { testing::LinkTo(gate_, line_->Device()); }
  void TearDown() override {
    if (config_ != nullptr) {
      EXPECT_TRUE(config_->Stop(20000));
    }
  }

  void Listen(const std::string& attributes = "") {
    service_.WriteQueues("<q type='com' name='" + gate_.string() +
                         "' processor='dll://../lib/p:Record' " + attributes +
                         "/>");
    config_ = std::make_unique<testing::TestConfig>();
    ASSERT_TRUE(config_->StartListen()) << service_.log.Text();
  }
  mq::QueueStatus Status() const { return config_->Queues().at(0)->Status(); }
  bool WaitForState(QueueState state) const {
    return Eventually([&] { return Status().state == state; });
  }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
  const std::filesystem::path gate_ = service_.path() / "gate";
  std::unique_ptr<PseudoTerminal> line_ = std::make_unique<PseudoTerminal>();
  std::unique_ptr<testing::TestConfig> config_;
};

TEST_F(Scenario14SerialLine, ComesBackUnderAnotherNodeWithinTenSeconds) {
  Listen("WaitMilliseconds='0'");
  // One write, so that half a line is in the reader's hands with the whole one.
  line_->Send("first\rhalf");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_LT(CpuShareDuring(std::chrono::seconds(2)), 0.01) << "idle";
  // Kept until the next one is there, which so gets another node.
  const auto next = std::make_unique<PseudoTerminal>();
  ASSERT_NE(next->Device(), line_->Device());
  line_->Unplug();
  std::filesystem::remove(gate_);
  ASSERT_TRUE(WaitForState(QueueState::Unplugged));
  EXPECT_TRUE(service_.log.Has(
      "was unplugged; 4 bytes of an unfinished block are dropped"));
  EXPECT_LT(CpuShareDuring(std::chrono::seconds(4)), 0.01);

  const auto plugged_at = SteadyClock::now();
  testing::LinkTo(gate_, next->Device());
  next->Send("second\r");
  ASSERT_TRUE(processor_.WaitForMessages(2));
  EXPECT_LT(SteadyClock::now() - plugged_at, std::chrono::seconds(10));
  EXPECT_EQ(processor_.Messages(), (Messages{"first", "second"}));
  EXPECT_EQ(Status().state, QueueState::Reading);
  EXPECT_EQ(service_.log.Count("was unplugged"), 1);
  EXPECT_EQ(service_.log.Count("cannot be opened"), 0);
  EXPECT_EQ(service_.log.Count("is back"), 1);
}

TEST_F(Scenario14SerialLine, IsReadByOneProgramAtATime) {
  auto other = OtherProgram(line_->Device());
  ASSERT_TRUE(other->WaitForOutput("has it")) << other->Errors();
  Listen();
  ASSERT_TRUE(WaitForState(QueueState::Unplugged));
  EXPECT_THAT(Status().last_error, HasSubstr("in use by another program"));
  other.reset();
  ASSERT_TRUE(WaitForState(QueueState::Reading));
  EXPECT_EQ(service_.log.Count("in use by another program"), 1);
  EXPECT_EQ(OtherProgram(line_->Device())->WaitForEnd(), 1);
}

TEST_F(Scenario14SerialLine, OfNoiseNeedsNoMoreMemory) {
  constexpr std::size_t kNoise = 10 << 20;
  std::atomic<std::size_t> received{0};
  std::atomic<std::size_t> largest{0};
  processor_.keeps_messages = false;
  processor_.answer = [&](std::string_view message, void*) {
    received += message.size();
    largest = std::max(largest.load(), message.size());
    return true;
  };
  Listen();
  std::string noise(1 << 16, '\0');
  unsigned seed = 1;
  for (char& byte : noise) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<char>(seed >> 24);
    if (byte == '\r') byte = '\n';
  }
  line_->Send(noise);
  ASSERT_TRUE(Eventually([&] { return received >= noise.size() - 4096; }));
  testing::ResetPeakMemory();
  const long before_kib = testing::PeakMemoryKiB();
  for (std::size_t sent = noise.size(); sent < kNoise; sent += noise.size())
    line_->Send(noise);
  line_->Send("\rclear again\r");
  EXPECT_TRUE(Eventually([&] { return received == kNoise + 11; },
                         std::chrono::seconds(60)));
  EXPECT_EQ(largest, 4096u);
  EXPECT_LT(testing::PeakMemoryKiB() - before_kib, 2048);
  EXPECT_EQ(service_.log.Count("sent more than 4096 bytes without its event "
                               "character"),
            1);
}

TEST_F(Scenario14SerialLine, IsStoppedOnlyByABlockThatBeginsWithTheWord) {
  Listen();
  const std::string long_line = std::string(4096, 'x') + "exit of a long line";
  line_->Send("please exit\r" + long_line + "\rnext\r");
  ASSERT_TRUE(processor_.WaitForMessages(4));
  EXPECT_EQ(Status().state, QueueState::Reading);
  line_->Send("Exit, please\rtoo late\r");
  ASSERT_TRUE(WaitForState(QueueState::StoppedByLine));
  EXPECT_EQ(processor_.Messages(),
            (Messages{"please exit", std::string(4096, 'x'),
                      "exit of a long line", "next"}));
  // Listening again reads again.
  ASSERT_TRUE(config_->StartListen());
  line_->Send("back\r");
  EXPECT_TRUE(processor_.WaitForMessages(5));
}

TEST_F(Scenario14SerialLine, AtTheWrongRateGivesGarbageAndGoesOn) {
  // What a receiver makes of 9600 baud at 19200: bytes that nobody sent, here
  // and there an event character.
  processor_.answer = [](std::string_view message, void*) {
    return message == "good";
  };
  Listen("DataLength='7' Parity='mark'");
  line_->Send(std::string("\xE6\x98\xFE\x80\r\x80\0\xF8\r\xFE\rgood\r", 16));
  ASSERT_TRUE(Eventually([&] { return Status().messages == 4; }));
  EXPECT_EQ(Status().failures, 3u);
  EXPECT_EQ(service_.log.Count("refuses DataLength 7, Parity M; its other "
                               "settings are in force"),
            1);
  EXPECT_THAT(Status().last_error, HasSubstr("refuses"));
}

}  // namespace
}  // namespace kiv
