// The kiv program as users run it.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "kiv/date_time.h"
#include "port/test_folder.h"
#include "testing/pseudo_terminal.h"
#include "testing/running_program.h"
#include "testing/test_processor.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

// [错误] mq: 订单
constexpr char kErrorGb[] = "14:03:59 [\xB4\xED\xCE\xF3] mq: \xB6\xA9\xB5\xA5";
constexpr char kErrorUtf8[] =
    "14:03:59 [\xE9\x94\x99\xE8\xAF\xAF] mq: \xE8\xAE\xA2\xE5\x8D\x95";

std::string Today() {
  const DateTime now = DateTime::Now();
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", now.Year(), now.Month(),
                now.Day());
  return text;
}

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class Kiv : public ::testing::Test {
 protected:
  // A service named "good", one whose only queue has a fault, one whose queue
  // only looks odd, and one without a file.
  Kiv() {
    Make("good", Queue(line_.Device(), ""));
    Make("odd", Queue(line_.Device(), " baudrate='9600'"));
    Make("faulty", Queue("gate", ""));
    Make("unread", "<broken");
    Make("empty", "");
    // Watched directories alone.
    Make("watching", "");
    WriteDirectories("watching");
    Make("blind", "");
    WriteTestFile("blind/conf/fileq.xml",
                  "<s><directories><directory/></directories></s>");
  }

  static std::string Queue(const std::string& port, const std::string& more) {
    return "\n<q type='com' name='" + port +
           "' processor='dll://../../lib/p:Record'" + more + "/>";
  }
  static void Make(const fs::path& service, const std::string& queues) {
    fs::create_directories(service / "bin");
    fs::create_directories(service / "conf");
    if (!queues.empty())
      WriteTestFile(service / "conf/queue.xml",
                    "<s><queues>" + queues + "</queues></s>");
  }
  static void WriteDirectories(const fs::path& service) {
    WriteTestFile(service / "conf/fileq.xml",
                  "<s><directories>\n<directory name='inbox' process='true'>"
                  "<path>../in</path><processor>dll://../../lib/p:ThrowNumber"
                  "</processor></directory></directories></s>");
  }
  static void WriteLog(const fs::path& service, const std::string& day,
                       const std::string& text) {
    const fs::path folder = service / "bin/Logfiles/System";
    fs::create_directories(folder);
    std::ofstream(folder / (day + ".txt"), std::ios::app | std::ios::binary)
        << text << std::flush;
  }

  const TestFolder folder_;
  const PseudoTerminal line_;
  const TestProcessor processor_{"lib/p.so"};
};

class KivProgram : public RunningProgram {
 public:
  explicit KivProgram(const Words& arguments,
                      const PseudoTerminal* terminal = nullptr,
                      const Words& variables = {})
      : RunningProgram(KIV_PROGRAM, arguments,
                       {.terminal = terminal, .variables = variables}) {}
};

struct UseCase {
  const char* name;
  const char* arguments;  // with one blank between
  int exit_code;
  const char* output;  // a part of it; null: nothing is put out
  const char* error;
};

class KivUse : public Kiv, public ::testing::WithParamInterface<UseCase> {};

TEST_P(KivUse, EndsWithItsCodeAndSaysWhy) {
  const UseCase& use = GetParam();
  WriteLog("good", "20200131", "old\r\n");
  std::istringstream words(use.arguments);
  KivProgram kiv(Words(std::istream_iterator<std::string>(words), {}));
  EXPECT_EQ(kiv.WaitForEnd(), use.exit_code);
  const auto check = [](const std::string& text, const char* part) {
    if (part == nullptr)
      EXPECT_EQ(text, "");
    else
      EXPECT_TRUE(Has(text, part)) << text;
  };
  check(kiv.Output(), use.output);
  check(kiv.Errors(), use.error);
}

INSTANTIATE_TEST_SUITE_P(
    Command, KivUse,
    ::testing::Values(
        UseCase{"Help", "--help", 0, "Exit codes: 0 done", nullptr},
        UseCase{"HostHelp", "host --help", 0, "SIGTERM", nullptr},
        UseCase{"CheckHelp", "check-config --help", 0, "why", nullptr},
        UseCase{"LogHelp", "log --help", 0, "--follow", nullptr},
        UseCase{"Nothing", "", 2, nullptr, "subcommand"},
        UseCase{"OtherCommand", "listen", 2, nullptr,
                "kiv: there is no command 'listen'"},
        UseCase{"OtherOption", "host --loud", 2, nullptr, "--loud"},
        UseCase{"TwoFolders", "check-config a b", 2, nullptr, "b"},
        UseCase{"HostNowhere", "host no", 1, nullptr, "no is not a folder"},
        UseCase{"HostNoService", "host lib", 1, nullptr, "kiv host: lib"},
        UseCase{"HostNoFile", "host empty", 1, nullptr, "no queue"},
        UseCase{"HostBrokenFile", "host unread", 1, nullptr, "queue.xml"},
        UseCase{"HostBadQueue", "host faulty", 1, nullptr, "queue gate"},
        UseCase{"HostSwitchOfAService", "host faulty /DEBUG", 1, nullptr,
                "kiv-faulty: has ended with a failure"},
        UseCase{"HostSwitchesOfAUser", "host faulty -USER -Stop", 1, nullptr,
                "not installed"},
        UseCase{"HostBadDirectory", "host blind", 1, nullptr,
                "fileq.xml are not watched"},
        UseCase{"CheckDirectory", "check-config watching", 0,
                "watching/conf/fileq.xml:2: good: directory inbox: files",
                nullptr},
        UseCase{"CheckBadDirectory", "check-config blind", 1,
                "fileq.xml:1: fault: directory #1: has no", nullptr},
        UseCase{"CheckNowhere", "check-config no", 1, nullptr, "no is"},
        UseCase{"CheckNoFile", "check-config empty", 1, "not there", nullptr},
        UseCase{"CheckBrokenFile", "check-config unread", 1,
                "queue.xml:1: fault:", nullptr},
        UseCase{"CheckFault", "check-config faulty/bin", 1,
                "faulty/conf/queue.xml:2: fault: queue gate: ", nullptr},
        UseCase{"CheckWarning", "check-config odd", 0,
                "odd/conf/queue.xml:2: warning: queue /dev", nullptr},
        UseCase{"CheckGood", "check-config good", 0,
                "good/conf/queue.xml:2: good: queue /dev", nullptr},
        UseCase{"LogOfNoToday", "log good", 0, nullptr,
                "nothing was logged today"},
        UseCase{"LogOfNoService", "log lib", 1, nullptr, "is not there"},
        UseCase{"LogOfADay", "log good --date 20200131", 0, "old\n", nullptr},
        UseCase{"LogOfBin", "log good/bin -d 20200131", 0, "old\n", nullptr},
        UseCase{"LogOfNoDay", "log good --date 20200132", 1, nullptr,
                "is not there"},
        UseCase{"LogDateIsNone", "log good --date 2020-1-3", 2, nullptr,
                "YYYYMMDD"},
        UseCase{"LogLinesAreNone", "log good --lines 0", 2, nullptr, "--lines"},
        UseCase{"LogFollowsNoOldDay", "log good --date 20200131 --follow", 2,
                nullptr, "leave out --date"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Kiv, ShowsTodaysLogAsUtf8) {
  WriteLog("good", Today(),
           "one\r\n" + std::string(kErrorGb) + "\r\n\x1B[2Jtwo\ta\r\n");
  KivProgram all({"log", "good"});
  EXPECT_EQ(all.WaitForEnd(), 0);
  EXPECT_EQ(all.Output(), "one\n" + std::string(kErrorUtf8) + "\n[2Jtwo\ta\n");
  KivProgram end({"log", "good", "--lines", "2"});
  EXPECT_EQ(end.WaitForEnd(), 0);
  EXPECT_EQ(end.Output(), std::string(kErrorUtf8) + "\n[2Jtwo\ta\n");
}

class KivFollow : public Kiv, public ::testing::WithParamInterface<int> {};

TEST_P(KivFollow, ShowsWhatIsThereAndWhatIsWrittenUntilItIsStopped) {
  const std::string today = Today();
  WriteLog("good", today, "there\r\nmore\r\n");
  KivProgram kiv({"log", "good", "--follow", "--lines", "1", "--date", today});
  ASSERT_TRUE(kiv.WaitForOutput("more\n"));
  // A line in two writes, cut inside a character, is one line.
  const std::string line = kErrorGb;
  WriteLog("good", today, "next\r\n" + line.substr(0, line.size() - 1));
  ASSERT_TRUE(kiv.WaitForOutput("next\n"));
  WriteLog("good", today, line.substr(line.size() - 1) + "\r\n");
  EXPECT_TRUE(kiv.WaitForOutput(kErrorUtf8));
  kiv.Send(GetParam());
  EXPECT_EQ(kiv.WaitForEnd(), 0);
  EXPECT_EQ(kiv.Output(), "more\nnext\n" + std::string(kErrorUtf8) + "\n");
  EXPECT_EQ(kiv.Errors(), "");
}

INSTANTIATE_TEST_SUITE_P(Signal, KivFollow, ::testing::Values(SIGINT, SIGTERM));

TEST_F(Kiv, FollowsALogThatIsYetToCome) {
  KivProgram kiv({"log", "good", "--follow"});
  ASSERT_TRUE(
      Eventually([&] { return Has(kiv.Errors(), "nothing was logged"); }));
  WriteLog("good", Today(), "first\r\n");
  EXPECT_TRUE(kiv.WaitForOutput("first\n"));
}

TEST_F(Kiv, ColoursOnATerminalAlone) {
  WriteLog("good", Today(), std::string(kErrorGb) + "\r\n");
  const auto output = [](const Words& arguments, bool on_terminal,
                         const Words& variables) {
    const PseudoTerminal terminal;
    KivProgram kiv(arguments, on_terminal ? &terminal : nullptr, variables);
    kiv.WaitForEnd();
    return kiv.Output();
  };
  for (const Words& arguments :
       {Words{"log", "good"}, Words{"check-config", "good"}}) {
    const std::string plain = output(arguments, false, {"NO_COLOR="});
    EXPECT_FALSE(Has(plain, "\x1B")) << plain;
    EXPECT_TRUE(Has(output(arguments, true, {"NO_COLOR="}), "\x1B[3"));
    EXPECT_EQ(output(arguments, true, {"NO_COLOR=1"}), plain);
  }
}

// Two of the three signals that end it, with and without a terminal.
TEST_F(Kiv, HostsUntilItIsStopped) {
  const PseudoTerminal terminal;
  const PseudoTerminal* const places[] = {nullptr, &terminal};
  for (const PseudoTerminal* place : places) {
    KivProgram host({"host", "good"}, place, {"NO_COLOR=1"});
    ASSERT_TRUE(host.WaitForOutput("reading")) << host.Errors();
    host.Send(place == nullptr ? SIGTERM : SIGINT);
    EXPECT_EQ(host.WaitForEnd(), 0);
    EXPECT_EQ(host.Errors(), "");
    const std::string output = host.Output();
    const std::size_t table = output.rfind("queue ");
    ASSERT_NE(table, std::string::npos) << output;
    EXPECT_TRUE(Has(output.substr(table), line_.Device())) << output;
    EXPECT_EQ(Has(output, "\x1B"), place != nullptr) << output;
    EXPECT_FALSE(Has(output, "\x1B[3")) << output;
  }
}

TEST_F(Kiv, HostsWatchedDirectoriesAlone) {
  const std::string file = "watching/in/file";
  fs::create_directories("watching/in");
  KivProgram host({"host", "watching"});
  ASSERT_TRUE(host.WaitForOutput("inbox: reading")) << host.Errors();
  WriteTestFile(file, "12345");
  ASSERT_TRUE(
      Eventually([] { return fs::exists("watching/in/.failed/file.reason"); }));
  host.Send(SIGTERM);
  EXPECT_EQ(host.WaitForEnd(), 0);
  const std::string output = host.Output();
  EXPECT_TRUE(Has(output.substr(output.rfind("queue ")), "inbox         1"))
      << output;
}

TEST_F(Kiv, ShowsWhatItsHostLogged) {
  EXPECT_EQ(KivProgram({"host", "faulty"}).WaitForEnd(), 1);
  KivProgram log({"log", "faulty"});
  EXPECT_EQ(log.WaitForEnd(), 0);
  EXPECT_TRUE(Has(log.Output(),
                  "[\xE9\x94\x99\xE8\xAF\xAF] mq: QueueConfig::StartListen "
                  "Error: Create Queue Failed, can not open the queue 'gate'"))
      << log.Output();
}

}  // namespace
}  // namespace kiv::testing
