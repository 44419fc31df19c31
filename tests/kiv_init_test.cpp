// kiv init, and the way that docs/five-minutes.md goes with it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/running_program.h"
#include "testing/user_service_manager.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr char kShell[] = "/bin/sh";

// So that a shell finds kiv.
std::string WithKiv(const std::string& line) {
  return "PATH='" + fs::path(KIV_PROGRAM).parent_path().string() + "':$PATH; " +
         line;
}

class KivInit : public ::testing::Test {
 protected:
  static RunningProgram Kiv(const Words& words) {
    return RunningProgram(KIV_PROGRAM, words, {});
  }
  static RunningProgram Shell(const std::string& line) {
    return RunningProgram(kShell, {"-ec", WithKiv(line)}, {});
  }
  static void ExpectDone(RunningProgram program, const std::string& what) {
    EXPECT_EQ(program.WaitForEnd(), 0) << what << '\n'
                                       << program.Output() << program.Errors();
  }

  const TestFolder folder_;
};

TEST_F(KivInit, SaysWhatToDoNextAndThatDoesIt) {
  const mode_t mask = ::umask(0);
  RunningProgram init = Kiv({"init", "it's mine"});
  ::umask(mask);
  ASSERT_EQ(init.WaitForEnd(), 0) << init.Errors();
  // A line each behind the heading, what is typed in front of the comment; the
  // last two run a host.
  std::istringstream lines(init.Output());
  std::string line;
  std::getline(lines, line);
  std::getline(lines, line);
  int steps = 0;
  for (; std::getline(lines, line); ++steps)
    if (line.find("kiv host") == std::string::npos)
      ExpectDone(Shell(line), line);
  EXPECT_EQ(steps, 5);
  RunningProgram host = Kiv({"host", "it's mine"});
  EXPECT_TRUE(Eventually([] {
    return ReadTestFile("it's mine/out/messages.txt") == "hello\n";
  })) << host.Errors();
  host.Send(SIGINT);
  EXPECT_EQ(host.WaitForEnd(), 0);
}

TEST_F(KivInit, TouchesNothingThatIsThere) {
  fs::create_directory("full");
  WriteTestFile("full/notes", "mine");
  WriteTestFile("file");
  for (const char* name : {"full", "file", "full/notes", ""}) {
    RunningProgram init = Kiv({"init", name});
    EXPECT_EQ(init.WaitForEnd(), 1) << name;
    EXPECT_NE(init.Errors(), "") << name;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator("full"), {}), 1);
  EXPECT_EQ(ReadTestFile("full/notes"), "mine");
}

// The commands of the page, the lines of its blocks for a shell.
Words CommandsOf(const std::string& page) {
  Words commands;
  std::istringstream lines(ReadTestFile(page));
  bool is_shell = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("```"))
      is_shell = line == "```sh";
    else if (is_shell && !line.empty())
      commands.push_back(line.substr(0, line.find("  #")));
  }
  return commands;
}

TEST_F(KivInit, AndTheFirstQueueInFiveMinutesRunAsWritten) {
  const Words commands = CommandsOf(KIV_DOCS "/five-minutes.md");
  ASSERT_GE(commands.size(), 9U);
  std::string reason;
  const auto manager = UserServiceManager::Start(reason);
  bool has_read = false;
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    if (command == "kiv host hello") {
      RunningProgram host = Shell("exec " + command);
      EXPECT_TRUE(
          Eventually([] { return fs::exists("hello/out/messages.txt"); }));
      host.Send(SIGINT);
      EXPECT_EQ(host.WaitForEnd(), 0) << host.Errors();
    } else if (command.starts_with("cat ")) {
      has_read = true;
      RunningProgram cat = Shell(command);
      EXPECT_EQ(cat.WaitForEnd(), 0);
      EXPECT_EQ(cat.Output(), "one hundred bolts\n");
    } else if (command.find("--user") == std::string::npos) {
      ExpectDone(Shell(command), command);
    } else if (manager != nullptr) {
      ExpectDone(manager->Run({kShell, "-ec",
                               WithKiv("cd " + folder_.path().string() + "; " +
                                       command)}),
                 command);
      // What a reader does in between.
      if (command.ends_with("-start")) {
        ExpectDone(Shell("kiv queue send -s hello orders 'and nuts'"), "send");
        EXPECT_TRUE(Eventually([] {
          return ReadTestFile("hello/out/messages.txt") ==
                 "one hundred bolts\nand nuts\n";
        }));
      }
    }
  }
  EXPECT_TRUE(has_read);
  if (manager == nullptr)
    GTEST_SKIP() << "all but the service: no service manager: " << reason;
}

}  // namespace
}  // namespace kiv::testing
