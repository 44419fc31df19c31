// The end of a process whose queues still run.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "kiv/mq/factory.h"
#include "kiv/startup.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

using testing::Eventually;

constexpr int kExitCode = 7;

class QueueHostEnd : public ::testing::Test {
 protected:
  // Runs a host on a serial line and exits while it reads; `is_busy`: while its
  // processor is at work and will not end.
  [[noreturn]] static void HostAndExit(bool is_busy) {
    GlobalInit();
    // Still there while the process ends.
    static const auto& service = *new testing::ServiceFolder;
    static auto& processor = *new testing::TestProcessor("../lib/p.so");
    static auto& line = *new testing::PseudoTerminal;
    if (is_busy)
      processor.answer = [](std::string_view, void*) {
        std::this_thread::sleep_for(std::chrono::hours(1));
        return true;
      };
    service.WriteQueues("<q type='com' name='" + line.Device() +
                        "' processor='dll://../lib/p:Record'/>");
    const auto config = mq::Factory::GetConfig();
    const bool is_listening =
        config->StartListen() && config == mq::Factory::GetConfig();
    line.Send("message\r");
    const bool is_received = processor.WaitForMessages(1);
    std::error_code ignored;
    std::filesystem::remove_all(service.path(), ignored);
    std::exit(is_listening && is_received ? kExitCode : 1);
  }
};

TEST_F(QueueHostEnd, StopsTheReadersAndDoesNotWaitForAProcessorThatHangs) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const bool is_busy : {false, true}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(HostAndExit(is_busy), ::testing::ExitedWithCode(kExitCode), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(30));
  }
}

}  // namespace
}  // namespace kiv
