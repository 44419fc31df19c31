// Processors in processes of their own: whatever they do, the host goes on.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kiv/startup.h"
#include "mq/isolation.h"
#include "mq/processor_fault.h"
#include "testing/eventually.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using module::Module;
using testing::Eventually;

class Scenario16Isolation : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { GlobalInit(); }
  static void TearDownTestSuite() { GlobalUninit(); }

  Scenario16Isolation() {
    ::setenv("KIV_TEST_JOURNAL", journal_.c_str(), 1);
    ::setenv("KIV_PROCESSOR_HOST", KIV_PROCESSOR, 1);
  }
  ~Scenario16Isolation() override { ::unsetenv("KIV_PROCESSOR_HOST"); }

  static std::shared_ptr<Module> Make(int time_limit_seconds = 20,
                                      const char* function = "Obey") {
    auto module =
        module::CreateModule(std::string("dll://../lib/p:") + function,
                             {true, time_limit_seconds}, "");
    if (module == nullptr) throw std::runtime_error("no module");
    return module;
  }
  static bool Process(Module& module, const std::string& text) {
    return module.process_mem(text.data(), static_cast<int>(text.size()),
                              nullptr);
  }
  struct Entry {
    pid_t process;
    std::string text;
  };
  std::vector<Entry> Journal() const {
    std::vector<Entry> entries;
    std::ifstream file(journal_);
    for (Entry entry; file >> entry.process && file.get() == ' ' &&
                      std::getline(file, entry.text);)
      entries.push_back(entry);
    return entries;
  }

  const testing::ServiceFolder service_;
  const std::string journal_ = service_.path() / "journal";
  const testing::TestProcessor processor_{"../lib/p.so"};
};

TEST_F(Scenario16Isolation, CallsTheProcessorInOneProcessThatIsNotOurs) {
  const auto module = Make();
  EXPECT_TRUE(Process(*module, "one"));
  EXPECT_TRUE(Process(*module, ""));
  EXPECT_TRUE(Process(*module, "two"));
  EXPECT_FALSE(Process(*module, "refuse"));
  EXPECT_EQ(module::TakeProcessorFault(), "");
  EXPECT_FALSE(Process(*module, "throw"));
  EXPECT_EQ(module::TakeProcessorFault(), "it threw: out of paper");
  const auto journal = Journal();
  ASSERT_EQ(journal.size(), 5U);
  EXPECT_EQ(journal[1].text, "");
  for (const Entry& entry : journal) {
    EXPECT_EQ(entry.process, journal[0].process);
    EXPECT_NE(entry.process, ::getpid());
  }
  // What the process logs is in the service's log.
  EXPECT_TRUE(service_.log.Has("out of paper"));
}

TEST_F(Scenario16Isolation, GivesMessagesOfAnyLengthAsTheyAre) {
  const auto module = Make();
  // 65,536 bytes are the most that go with the message itself. What is longer
  // goes through memory, which is used again unless it was very much.
  const std::pair<std::size_t, char> messages[] = {
      {65'536, 'a'}, {65'537, 'b'},     {3'000'000, 'c'}, {70'000, 'd'},
      {200, 'e'},    {17'000'000, 'f'}, {80'000, 'g'},    {90'000, 'h'}};
  for (const auto& [length, letter] : messages) {
    ASSERT_TRUE(Process(*module, std::string(length, letter)));
    EXPECT_EQ(Journal().back().text,
              std::to_string(length) + ' ' + letter + letter);
  }
}

TEST_F(Scenario16Isolation, FailsTheMessageOfACrashAndGoesOn) {
  const auto module = Make();
  EXPECT_FALSE(Process(*module, "abort"));
  EXPECT_EQ(module::TakeProcessorFault(),
            "its process ended by signal 6 (Aborted)");
  EXPECT_TRUE(Process(*module, "next"));
  EXPECT_FALSE(Process(*module, "exit"));
  EXPECT_TRUE(Process(*module, "last"));
  EXPECT_TRUE(
      service_.log.Has("IsolatedModule: processor '..\\LIB\\P.DLL:Obey'"
                       ": its process ended by exit code 3"))
      << service_.log.Text();
  std::set<pid_t> processes;
  for (const Entry& entry : Journal()) processes.insert(entry.process);
  EXPECT_EQ(processes.size(), 3U);
}

TEST_F(Scenario16Isolation, WaitsLongerAfterEveryCrashInARow) {
  const auto module = Make();
  const auto begin = std::chrono::steady_clock::now();
  // Behind them pauses of 0.1, 0.2 and 0.4 seconds.
  for (int i = 0; i < 4; ++i) EXPECT_FALSE(Process(*module, "abort"));
  EXPECT_GE(std::chrono::steady_clock::now() - begin,
            std::chrono::milliseconds(700));
}

TEST_F(Scenario16Isolation, EndsAProcessorThatTakesTooLong) {
  const auto module = Make(1);
  EXPECT_FALSE(Process(*module, "hang"));
  EXPECT_TRUE(service_.log.Has("more than the 1 seconds of its timeLimit"))
      << service_.log.Text();
  EXPECT_TRUE(Process(*module, "next"));
  EXPECT_NE(::kill(Journal().front().process, 0), 0);
}

TEST_F(Scenario16Isolation, LosesNoMessageToAProcessThatEndedInBetween) {
  const auto module = Make();
  EXPECT_TRUE(Process(*module, "one"));
  ASSERT_EQ(::kill(Journal().front().process, SIGKILL), 0);
  // Its link closes when it has ended; until then a message goes with it.
  ::usleep(200'000);
  EXPECT_TRUE(Process(*module, "two"));
  EXPECT_EQ(Journal().back().text, "two");
}

TEST_F(Scenario16Isolation, EndsItsProcessInOrderWithTheModule) {
  auto module = Make();
  EXPECT_TRUE(Process(*module, "farewell"));
  const pid_t process = Journal().front().process;
  EXPECT_EQ(::kill(process, 0), 0);
  module.reset();
  EXPECT_NE(::kill(process, 0), 0);
  EXPECT_EQ(Journal().back().text, "farewell at the end");
}

TEST_F(Scenario16Isolation, SaysWhatItCannotLoadAndWhatItCannotStart) {
  const auto unknown = Make(20, "obey");
  EXPECT_FALSE(Process(*unknown, "one"));
  EXPECT_TRUE(service_.log.Has("undefined symbol: obey"));
  EXPECT_FALSE(service_.log.Has("its process ended"));
  ::setenv("KIV_PROCESSOR_HOST", "/no/such/program", 1);
  const auto homeless = Make();
  EXPECT_FALSE(Process(*homeless, "one"));
  EXPECT_TRUE(service_.log.Has("its process cannot be started: "));
}

TEST_F(Scenario16Isolation, KeepsTheQueuesOfAHostWhoseProcessorCrashes) {
  testing::PseudoTerminal bad;
  testing::PseudoTerminal good;
  const auto queue = [](const testing::PseudoTerminal& port) {
    return "<q type='com' name='" + port.Device() +
           "' isolation='process' processor='dll://../lib/p:Obey'/>";
  };
  service_.WriteQueues(queue(bad) + queue(good));
  testing::TestConfig config;
  ASSERT_TRUE(config.StartListen());
  bad.Send("abort\r");
  good.Send("fine\r");
  EXPECT_TRUE(Eventually([&] {
    return config.Queues()[0]->Status().failures == 1 &&
           config.Queues()[1]->Status().messages == 1;
  }));
  bad.Send("after\r");
  EXPECT_TRUE(
      Eventually([&] { return config.Queues()[0]->Status().messages == 2; }));
  EXPECT_EQ(config.Queues()[0]->Status().failures, 1U);
  EXPECT_TRUE(config.Stop(20000));
  // The port's settings went with each.
  for (const Entry& entry : Journal())
    EXPECT_TRUE(entry.text.ends_with(" with context")) << entry.text;
}

}  // namespace
}  // namespace kiv
