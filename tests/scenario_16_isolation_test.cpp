// Processors in processes of their own: whatever they do, the host goes on.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kiv/startup.h"
#include "mq/isolation.h"
#include "mq/processor_fault.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

using module::TakeProcessorFault;
using testing::Eventually;

class Scenario16Isolation : public ::testing::Test {
 protected:
  Scenario16Isolation() {
    GlobalInit();
    ::setenv("KIV_TEST_JOURNAL", journal_.c_str(), 1);
    ::setenv("KIV_PROCESSOR_HOST", KIV_PROCESSOR, 1);
  }
  ~Scenario16Isolation() override {
    ::unsetenv("KIV_PROCESSOR_HOST");
    module_.reset();
    GlobalUninit();
  }

  void Make(int time_limit_seconds = 20, const char* function = "Obey") {
    module_ = module::CreateModule(std::string("dll://../lib/p:") + function,
                                   {true, time_limit_seconds}, "");
  }
  bool Process(const std::string& text) {
    if (module_ == nullptr) Make();
    return module_->process_mem(text.data(), static_cast<int>(text.size()),
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
  std::shared_ptr<module::Module> module_;
};

TEST_F(Scenario16Isolation, CallsTheProcessorInOneProcessThatIsNotOurs) {
  EXPECT_TRUE(Process("one"));
  EXPECT_TRUE(Process(""));
  EXPECT_FALSE(Process("refuse"));
  EXPECT_EQ(TakeProcessorFault(), "");
  EXPECT_FALSE(Process("throw"));
  EXPECT_EQ(TakeProcessorFault(), "it threw: out of paper");
  // What the process logs is in the service's log.
  EXPECT_TRUE(service_.log.Has("out of paper"));
  EXPECT_TRUE(Process("farewell"));
  const auto journal = Journal();
  ASSERT_EQ(journal.size(), 5U);
  EXPECT_EQ(journal[1].text, "");
  const pid_t process = journal[0].process;
  for (const Entry& entry : journal) EXPECT_EQ(entry.process, process);
  EXPECT_NE(process, ::getpid());
  // It ends in order with the module.
  EXPECT_EQ(::kill(process, 0), 0);
  module_.reset();
  EXPECT_NE(::kill(process, 0), 0);
  EXPECT_EQ(Journal().back().text, "farewell at the end");
}

TEST_F(Scenario16Isolation, GivesMessagesOfAnyLengthAsTheyAre) {
  // 65,536 bytes are the most that go with the message itself. What is longer
  // goes through memory, which is used again unless it was very much.
  const std::pair<std::size_t, char> messages[] = {
      {65'536, 'a'}, {65'537, 'b'},     {3'000'000, 'c'}, {70'000, 'd'},
      {200, 'e'},    {17'000'000, 'f'}, {80'000, 'g'},    {90'000, 'h'}};
  for (const auto& [length, letter] : messages) {
    ASSERT_TRUE(Process(std::string(length, letter)));
    EXPECT_EQ(Journal().back().text,
              std::to_string(length) + ' ' + letter + letter);
  }
}

TEST_F(Scenario16Isolation, FailsTheMessageOfACrashAndGoesOn) {
  EXPECT_FALSE(Process("abort"));
  EXPECT_EQ(TakeProcessorFault(), "its process ended by signal 6 (Aborted)");
  EXPECT_TRUE(Process("next"));
  EXPECT_FALSE(Process("exit"));
  EXPECT_TRUE(Process("last"));
  EXPECT_TRUE(
      service_.log.Has("IsolatedModule: processor '..\\LIB\\P.DLL:Obey'"
                       ": its process ended by exit code 3"))
      << service_.log.Text();
  std::set<pid_t> processes;
  for (const Entry& entry : Journal()) processes.insert(entry.process);
  EXPECT_EQ(processes.size(), 3U);
  // Longer after every crash in a row: here, 0.1, 0.2 and 0.4 seconds.
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) EXPECT_FALSE(Process("abort"));
  EXPECT_GE(std::chrono::steady_clock::now() - begin,
            std::chrono::milliseconds(700));
}

TEST_F(Scenario16Isolation, EndsAProcessorThatTakesTooLong) {
  Make(1);
  EXPECT_FALSE(Process("hang"));
  EXPECT_TRUE(service_.log.Has("more than the 1 seconds of its timeLimit"))
      << service_.log.Text();
  EXPECT_TRUE(Process("next"));
  EXPECT_NE(::kill(Journal().front().process, 0), 0);
  // One that ended in between takes no message with it.
  ASSERT_EQ(::kill(Journal().back().process, SIGKILL), 0);
  // Its link closes when it has ended; until then a message goes with it.
  ::usleep(200'000);
  EXPECT_TRUE(Process("two"));
  EXPECT_EQ(Journal().back().text, "two");
}

TEST_F(Scenario16Isolation, SaysWhatItCannotLoadAndWhatItCannotStart) {
  Make(20, "obey");
  EXPECT_FALSE(Process("one"));
  EXPECT_TRUE(service_.log.Has("undefined symbol: obey"));
  EXPECT_FALSE(service_.log.Has("its process ended"));
  ::setenv("KIV_PROCESSOR_HOST", "/no/such/program", 1);
  Make();
  EXPECT_FALSE(Process("one"));
  EXPECT_TRUE(service_.log.Has("its process cannot be started: "));
}

TEST_F(Scenario16Isolation, KeepsAQueueWhoseProcessorCrashes) {
  testing::PseudoTerminal port;
  service_.WriteQueues("<q type='com' name='" + port.Device() +
                       "' isolation='process' processor='dll://../lib/p:Obey'"
                       "/>");
  testing::TestConfig config;
  ASSERT_TRUE(config.StartListen());
  port.Send("abort\rafter\r");
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
