// What happens to a serial line: it is unplugged and comes back elsewhere, it
// belongs to another program, it sends noise.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "kiv/mq/com_queue_reader.h"
#include "kiv/startup.h"
#include "testing/eventually.h"
#include "testing/pseudo_terminal.h"
#include "testing/running_program.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

using mq::QueueState;
using mq::QueueStatus;
using testing::Eventually;
using testing::PseudoTerminal;
using testing::RunningProgram;
using testing::TestConfig;
using Messages = std::vector<std::string>;
using SteadyClock = std::chrono::steady_clock;

// The share of one core that this process takes while nobody here does a thing.
double CpuShareDuring(std::chrono::milliseconds time) {
  const auto used = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& value) {
      return static_cast<double>(value.tv_sec) +
             static_cast<double>(value.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
  };
  const double before = used();
  std::this_thread::sleep_for(time);
  return (used() - before) / std::chrono::duration<double>(time).count();
}

long ResidentKiB() {
  long pages = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// Another program that has the port, unless somebody has it already: then it
// ends with 1.
std::unique_ptr<RunningProgram> OtherProgram(const std::string& device) {
  return std::make_unique<RunningProgram>(
      "/usr/bin/flock",
      std::vector<std::string>{"--no-fork", "--nonblock", device, "/bin/sh",
                               "-c", "echo has it; exec sleep 60"},
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
    config_ = std::make_unique<TestConfig>();
    ASSERT_TRUE(config_->StartListen()) << service_.log.Text();
  }
  QueueStatus Status() const { return config_->Queues().at(0)->Status(); }
  bool WaitForState(QueueState state) const {
    return Eventually([&] { return Status().state == state; });
  }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
  const std::filesystem::path gate_ = service_.path() / "gate";
  std::unique_ptr<PseudoTerminal> line_ = std::make_unique<PseudoTerminal>();
  std::unique_ptr<TestConfig> config_;
};

TEST_F(Scenario14SerialLine, ComesBackUnderAnotherNodeWithinTenSeconds) {
  Listen();
  // One write, so that half a line is in the reader's hands with the whole one.
  line_->Send("first\rhalf");
  ASSERT_TRUE(processor_.WaitForMessages(1));
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

TEST_F(Scenario14SerialLine, ThatIsMissingAtTheStartIsWaitedFor) {
  std::filesystem::remove(gate_);
  Listen();
  ASSERT_TRUE(WaitForState(QueueState::Unplugged));
  testing::LinkTo(gate_, line_->Device());
  line_->Send("here\r");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_EQ(service_.log.Count("cannot be opened"), 1);
  EXPECT_EQ(service_.log.Count("is back"), 1);
}

TEST_F(Scenario14SerialLine, IsIdleWhileNothingComes) {
  Listen("WaitMilliseconds='0'");
  line_->Send("awake\r");
  ASSERT_TRUE(processor_.WaitForMessages(1));
  EXPECT_LT(CpuShareDuring(std::chrono::seconds(2)), 0.005);
}

TEST_F(Scenario14SerialLine, OfAnotherProgramIsRefusedUntilThatLetsGo) {
  auto other = OtherProgram(line_->Device());
  ASSERT_TRUE(other->WaitForOutput("has it")) << other->Errors();
  Listen();
  ASSERT_TRUE(WaitForState(QueueState::Unplugged));
  EXPECT_NE(Status().last_error.find("in use by another program"),
            std::string::npos)
      << Status().last_error;
  other.reset();
  ASSERT_TRUE(WaitForState(QueueState::Reading));
  EXPECT_EQ(service_.log.Count("in use by another program"), 1);
}

TEST_F(Scenario14SerialLine, OfOursIsRefusedToAnotherProgram) {
  Listen();
  ASSERT_TRUE(WaitForState(QueueState::Reading));
  EXPECT_EQ(OtherProgram(line_->Device())->WaitForEnd(), 1);
}

TEST_F(Scenario14SerialLine, OfNoiseNeedsNoMoreMemory) {
  constexpr std::size_t kNoise = 10 << 20;
  std::atomic<std::size_t> received{0};
  std::atomic<std::size_t> largest{0};
  std::atomic<bool> is_clear{false};
  processor_.keeps_messages = false;
  processor_.answer = [&](std::string_view message, void*) {
    received += message.size();
    largest = std::max(largest.load(), message.size());
    if (message == "clear again") is_clear = true;
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
  const long before = ResidentKiB();
  for (std::size_t sent = noise.size(); sent < kNoise; sent += noise.size())
    line_->Send(noise);
  line_->Send("\rclear again\r");
  ASSERT_TRUE(
      Eventually([&] { return is_clear.load(); }, std::chrono::seconds(60)));
  EXPECT_EQ(received, kNoise + std::string("clear again").size());
  EXPECT_EQ(largest, 4096u);
  EXPECT_LT(ResidentKiB() - before, 2048);
  EXPECT_EQ(service_.log.Count("sent more than 4096 bytes without its event "
                               "character"),
            1);
}

TEST_F(Scenario14SerialLine, IsStoppedOnlyByABlockThatBeginsWithTheWord) {
  Listen();
  const std::string long_line = std::string(4096, 'x') + "exit of a long line";
  line_->Send("please exit\r" + long_line + "\r exit\rnext\r");
  ASSERT_TRUE(processor_.WaitForMessages(5));
  EXPECT_EQ(Status().state, QueueState::Reading);
  line_->Send("Exit, please\rtoo late\r");
  ASSERT_TRUE(WaitForState(QueueState::StoppedByLine));
  EXPECT_EQ(processor_.Messages(),
            (Messages{"please exit", std::string(4096, 'x'),
                      "exit of a long line", " exit", "next"}));
  const auto reader = std::dynamic_pointer_cast<mq::ComQueueReader>(
      config_->Queues().at(0)->GetQueueReader());
  EXPECT_TRUE(Eventually([&] { return reader->GetThread()->Result() == 0; }));
  // Listening again reads again.
  ASSERT_TRUE(config_->StartListen());
  line_->Send("back\r");
  EXPECT_TRUE(processor_.WaitForMessages(6));
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
  EXPECT_TRUE(Status().last_error.find("refuses") != std::string::npos);
}

}  // namespace
}  // namespace kiv
