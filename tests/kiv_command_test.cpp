// kiv host, kiv check-config and kiv log as users run them, and what is made of
// the program's own help: manual pages and completion.
#include <gtest/gtest.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kiv_session.h"
#include "testing/test_processor.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

// [错误] mq: 订单
#define ERROR_GB "14:03:59 [\xB4\xED\xCE\xF3] mq: \xB6\xA9\xB5\xA5"
#define ERROR_UTF8 \
  "14:03:59 [\xE9\x94\x99\xE8\xAF\xAF] mq: \xE8\xAE\xA2\xE5\x8D\x95"

std::string Today() {
  const std::time_t now = std::time(nullptr);
  char text[16];
  std::strftime(text, sizeof text, "%Y%m%d", std::localtime(&now));
  return text;
}

// Services named after what is wrong with them.
class KivServices : public KivSession<> {
 protected:
  KivServices() : KivSession("") {
    Make("good", "queue.xml", Queue(line_.Device()));
    Make("odd", "queue.xml", Queue(line_.Device(), "baudrate='9600'"));
    Make("faulty", "queue.xml", Queue("gate"));
    Make("unread", "queue.xml", "<broken");
    Make("empty", "other", "");
    Make("watching", "fileq.xml",
         "<directories>\n<directory name='inbox' process='true'><path>../in"
         "</path><processor>dll://../../lib/p:ThrowNumber</processor>"
         "</directory></directories>");
    Make("blind", "fileq.xml", "<directories><directory/></directories>");
  }

  static std::string Queue(const std::string& port,
                           const std::string& more = "") {
    return "<queues>\n<q type='com' processor='dll://../../lib/p:Record' "
           "name='" +
           port + "' " + more + "/></queues>";
  }
  static void Make(const fs::path& service, const char* file,
                   const std::string& text) {
    fs::create_directories(service / "bin");
    fs::create_directories(service / "conf");
    WriteTestFile(service / "conf" / file, "<s>" + text + "</s>");
  }
  // Of the service "good".
  static void WriteLog(const std::string& day, const std::string& text) {
    fs::create_directories("good/bin/Logfiles/System");
    std::ofstream("good/bin/Logfiles/System/" + day + ".txt",
                  std::ios::app | std::ios::binary)
        << text << std::flush;
  }

  const TestFolder folder_;
  const PseudoTerminal line_;
  const TestProcessor processor_{"lib/p.so"};
};

TEST_F(KivServices, EndWithTheirCodeAndSayWhy) {
  Expect(
      {{"--help", "*\nExit codes: 0 done*"},
       {"listen", "2: ! kiv: there is no command 'listen'*"},
       {"host no", "1: ! kiv host: no is not a folder\n"},
       {"host lib", "1: ! kiv host: lib is no service folder*"},
       {"host empty", "1: ! *no queue*"},
       {"host unread", "1: ! *queue.xml could not be read*"},
       {"host faulty", "1: ! *queue gate is not listened on*"},
       {"host faulty /DEBUG", "1: ! *kiv-faulty: has ended with a failure*"},
       {"host faulty -USER -Stop", "1: ! *not installed*"},
       {"host blind", "1: ! *fileq.xml are not watched*"},
       {"check-config watching",
        "*watching/conf/fileq.xml:2: good: directory inbox: files*"},
       {"check-config blind", "1: *fileq.xml:1: fault: directory #1: has*"},
       {"check-config empty", "1: *queue.xml: fault: the file is not there\n"},
       {"check-config faulty/bin",
        "1: *faulty/conf/queue.xml:2: fault: queue gate: *"},
       {"check-config odd", "*queue.xml:2: warning: queue /dev*"},
       {"check-config good", "*queue.xml:2: good: queue /dev*\n"}});
}

TEST_F(KivServices, ShowTheirLogs) {
  WriteLog("20200131", "old\r\n");
  Expect({{"log good", "! kiv log: nothing was logged today\n"},
          {"log lib", "1: ! *is not there*"},
          {"log good --date 20200131", "old\n"},
          {"log good --date 2020-1-3", "2: ! *YYYYMMDD*"},
          {"log good --date 20200131 --follow", "2: ! *leave out --date*"},
          // What a host logged.
          {"host faulty", "1: *"},
          {"log faulty",
           "*[[]\xE9\x94\x99\xE8\xAF\xAF] mq: QueueConfig::StartListen Error: "
           "Create Queue Failed, can not open the queue 'gate'*"}});
  WriteLog(Today(), "one\r\n" ERROR_GB "\r\n\x1B[2Jtwo\ta\r\n");
  EXPECT_EQ(Kiv("log good --lines 2"), ERROR_UTF8 "\n[2Jtwo\ta\n");
}

TEST_F(KivServices, FollowALogFromBeforeItIsThereUntilTheyAreStopped) {
  const std::string line = ERROR_GB "\r\n";
  std::string shown = "there\nmore\n";
  for (const int signal : {SIGINT, SIGTERM}) {
    RunningProgram kiv(KIV_PROGRAM, {"log", "good", "-f", "-n", "1"}, {});
    if (signal == SIGINT) {
      ASSERT_TRUE(Eventually([&] { return !kiv.Errors().empty(); }));
      WriteLog(Today(), "there\r\nmore\r\n");
    }
    ASSERT_TRUE(kiv.WaitForOutput("\n"));
    // A line in two writes, cut inside a character, is one line.
    WriteLog(Today(), "next\r\n" + line.substr(0, line.size() - 3));
    ASSERT_TRUE(kiv.WaitForOutput("next\n"));
    WriteLog(Today(), line.substr(line.size() - 3));
    EXPECT_TRUE(kiv.WaitForOutput("next\n" ERROR_UTF8 "\n"));
    kiv.Send(signal);
    EXPECT_EQ(kiv.WaitForEnd(), 0);
    EXPECT_EQ(kiv.Output(), shown + "next\n" ERROR_UTF8 "\n");
    shown = ERROR_UTF8 "\n";
  }
}

TEST_F(KivServices, HaveColoursOnATerminalAlone) {
  WriteLog(Today(), ERROR_GB "\r\n");
  for (const char* const command : {"log", "check-config"}) {
    AtTerminal coloured({command, "good"}, {"NO_COLOR="});
    coloured.Type("", "\x1B[3");
    AtTerminal plain({command, "good"}, {"NO_COLOR=1"});
    EXPECT_EQ(plain.WaitForEnd(), 0);
    EXPECT_EQ(plain.Output(), Kiv(std::string(command) + " good"));
    EXPECT_EQ(output_.find('\x1B'), std::string::npos) << output_;
  }
}

// Two of the three signals that end it, with and without a terminal.
TEST_F(KivServices, AreHostedUntilTheyAreStopped) {
  const PseudoTerminal terminal;
  const PseudoTerminal* const places[] = {nullptr, &terminal};
  for (const PseudoTerminal* place : places) {
    RunningProgram host(KIV_PROGRAM, {"host", "good"},
                        {.terminal = place, .variables = {"NO_COLOR=1"}});
    ASSERT_TRUE(host.WaitForOutput("reading")) << host.Errors();
    host.Send(place == nullptr ? SIGTERM : SIGINT);
    EXPECT_EQ(host.WaitForEnd(), 0);
    EXPECT_EQ(host.Errors(), "");
    const std::string output = host.Output();
    EXPECT_GT(output.rfind(line_.Device()), output.rfind("queue ")) << output;
    EXPECT_EQ(output.find('\x1B') != std::string::npos, place != nullptr);
    EXPECT_EQ(output.find("\x1B[3"), std::string::npos) << output;
  }
}

TEST_F(KivServices, AreHostedForWatchedDirectoriesAlone) {
  fs::create_directories("watching/in");
  RunningProgram host(KIV_PROGRAM, {"host", "watching"}, {});
  ASSERT_TRUE(host.WaitForOutput("inbox: reading")) << host.Errors();
  WriteTestFile("watching/in/file", "12345");
  ASSERT_TRUE(
      Eventually([] { return fs::exists("watching/in/.failed/file.reason"); }));
  host.Send(SIGTERM);
  EXPECT_EQ(host.WaitForEnd(), 0);
  EXPECT_TRUE(host.WaitForOutput("\ninbox         1")) << host.Output();
}

class KivManual : public KivSession<> {
 protected:
  KivManual() : KivSession("") { Expect({{"man pages", ""}}); }

  const TestFolder folder_;
};

TEST_F(KivManual, HasAPageThatPrintsForEveryCommandOfTheHelp) {
  std::istringstream help(Kiv("--help"));
  int commands = 0;
  bool is_list = false;
  for (std::string line; std::getline(help, line);) {
    if (line.ends_with(':')) is_list = line == "Subcommands:";
    if (!is_list || !Matches(line, "  [a-z]*")) continue;
    ++commands;
    const std::string command = line.substr(2, line.find(' ', 2) - 2);
    const std::string page = "pages/kiv-" + command + ".1";
    EXPECT_TRUE(fs::exists(page)) << page;
    if (!fs::exists("/usr/bin/man")) continue;
    // What troff has against it would be an error.
    EXPECT_EQ(Shell("man --warnings --local-file --encoding=UTF-8 ./" + page),
              0);
    EXPECT_TRUE(Shows("kiv " + command)) << output_;
    EXPECT_EQ(errors_, "");
  }
  EXPECT_GT(commands, 8);
  EXPECT_EQ(std::distance(fs::directory_iterator("pages"), {}), commands + 1);
}

TEST_F(KivManual, SaysOfOptionsWhatTheirHelpSays) {
  for (const char* const part :
       {"(default 1000)", "(xml, plain; default xml)",
        "cannot be\nencrypted later.\n.nf\n  kiv xdb", ".B KIV_HISTORY\n"})
    ExpectMatch(ReadTestFile("pages/kiv-xdb.1"), std::string("*") + part + "*");
  // And nothing of another command's.
  for (const char* const command : {"init", "queue list"})
    EXPECT_FALSE(Matches(Kiv(std::string(command) + " --help"), "*COMMAND*"));
}

TEST_F(KivManual, CompletesWhatMayStandThere) {
  // The line up to the cursor, words with one blank between.
  const char* const lines[][2] = {{"kiv sto", "store"},
                                  {"kiv queue p", "peek purge"},
                                  {"kiv xdb -d ../db ver", "verify"},
                                  {"kiv queue send --la", "--label"},
                                  {"kiv host --inst", "--install"},
                                  {"kiv nonsense-", ""}};
  for (const auto& [line, offered] : lines)
    Expect({{std::string("completion > script; bash -c 'source ./script; "
                         "COMP_WORDS=(") +
                 line +
                 "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _kiv; "
                 "echo \"${COMPREPLY[*]}\"'",
             std::string(offered) + "\n"}});
}

}  // namespace
}  // namespace kiv::testing
