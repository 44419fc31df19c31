// kiv init, and the way that docs/five-minutes.md goes with it.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>

#include "kiv_session.h"
#include "testing/user_service_manager.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

class KivInit : public KivSession<> {
 protected:
  KivInit() : KivSession("init") {}

  // What makes a shell find kiv.
  static Words ShellWords(const std::string& line) {
    const fs::path folder = fs::path(KIV_PROGRAM).parent_path();
    return {"-ec", "PATH='" + folder.string() + "':$PATH; " + line};
  }
  static void ExpectDone(RunningProgram program) {
    EXPECT_EQ(program.WaitForEnd(), 0) << program.Output() << program.Errors();
  }
  static void Do(const std::string& line) {
    SCOPED_TRACE(line);
    ExpectDone(RunningProgram("/bin/sh", ShellWords(line), {}));
  }
  // Hosts until the file holds the text.
  static void Host(const std::string& folder, const std::string& text) {
    RunningProgram host(KIV_PROGRAM, {"host", folder}, {});
    EXPECT_TRUE(Eventually([&] {
      return ReadTestFile(folder + "/out/messages.txt") == text;
    })) << host.Errors();
    host.Send(SIGINT);
    EXPECT_EQ(host.WaitForEnd(), 0);
  }

  const TestFolder folder_;
};

TEST_F(KivInit, SaysWhatToDoNextAndThatDoesIt) {
  // A line each behind the heading, what is typed in front of the comment; the
  // last two run a host.
  EXPECT_EQ(Shell("umask 0; $KIV init \"it's mine\""), 0) << errors_;
  std::istringstream lines(output_);
  int steps = -2;
  for (std::string line; std::getline(lines, line); ++steps)
    if (steps >= 0 && steps < 3) Do(line);
  EXPECT_EQ(steps, 5);
  Host("it's mine", "hello\n");
}

TEST_F(KivInit, TouchesNothingThatIsThere) {
  fs::create_directory("full");
  WriteTestFile("full/notes", "mine");
  WriteTestFile("file");
  for (const char* name : {"full", "file", "full/notes", "''"})
    Expect({{name, "1: ! ?*"}});
  EXPECT_EQ(std::distance(fs::directory_iterator("full"), {}), 1);
  EXPECT_EQ(ReadTestFile("full/notes"), "mine");
}

TEST_F(KivInit, AndTheFirstQueueInFiveMinutesRunAsWritten) {
  std::string reason;
  const auto manager = UserServiceManager::Start(reason);
  std::istringstream page(ReadTestFile(KIV_DOCS "/five-minutes.md"));
  bool is_shell = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("```")) is_shell = line == "```sh";
    if (!is_shell || line.empty() || line.starts_with("```")) continue;
    SCOPED_TRACE(line);
    if (line == "kiv host hello") {
      Host("hello", "one hundred bolts\n");
    } else if (line.find("--user") == std::string::npos) {
      Do(line);
    } else if (manager != nullptr) {
      Words words = ShellWords("cd " + folder_.path().string() + "; " + line);
      words.insert(words.begin(), "/bin/sh");
      ExpectDone(manager->Run(words));
    }
  }
  if (manager == nullptr)
    GTEST_SKIP() << "all but the service: no service manager: " << reason;
}

}  // namespace
}  // namespace kiv::testing
