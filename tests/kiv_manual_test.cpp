// What is made of the program's own help: manual pages and completion.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/running_program.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

// Its standard output; a test fails when it does.
std::string OutputOf(const std::string& program, const Words& words) {
  RunningProgram running(program, words, {});
  EXPECT_EQ(running.WaitForEnd(), 0) << running.Errors();
  EXPECT_EQ(running.Errors(), "");
  return running.Output();
}

// The commands that the program's help lists.
std::set<std::string> Commands() {
  std::istringstream help(OutputOf(KIV_PROGRAM, {"--help"}));
  std::set<std::string> commands;
  bool is_list = false;
  for (std::string line; std::getline(help, line);) {
    if (line == "Subcommands:")
      is_list = true;
    else if (is_list && line.starts_with("  ") && line[2] != ' ')
      commands.insert(line.substr(2, line.find(' ', 2) - 2));
  }
  return commands;
}

TEST(KivManual, HasAPageThatPrintsForEveryCommand) {
  const TestFolder folder;
  const std::set<std::string> commands = Commands();
  ASSERT_GT(commands.size(), 8U);
  OutputOf(KIV_PROGRAM, {"man", "pages"});
  EXPECT_EQ(std::distance(fs::directory_iterator("pages"), {}),
            static_cast<long>(commands.size()) + 1);
  for (const std::string& command : commands) {
    const std::string page = "pages/kiv-" + command + ".1";
    ASSERT_TRUE(fs::exists(page)) << page;
    if (fs::exists("/usr/bin/man")) {
      // What troff has against it would be an error.
      const std::string shown = OutputOf(
          "/usr/bin/man", {"--warnings", "--local-file", "--encoding=UTF-8",
                           folder.path().string() + "/" + page});
      EXPECT_NE(shown.find("kiv " + command), std::string::npos) << shown;
    }
  }
}

TEST(KivManual, SaysOfOptionsWhatTheirHelpSays) {
  const TestFolder folder;
  OutputOf(KIV_PROGRAM, {"man", "pages"});
  const std::string page = ReadTestFile("pages/kiv-xdb.1");
  for (const char* part :
       {"(default 1000)", "(xml, plain; default xml)",
        "cannot be\nencrypted later.\n.nf\n  kiv xdb", ".B KIV_HISTORY\n"})
    EXPECT_NE(page.find(part), std::string::npos) << part << " in " << page;
}

TEST(KivHelp, EndsWithNothingOfAnotherCommand) {
  EXPECT_EQ(OutputOf(KIV_PROGRAM, {"init", "--help"}).find("COMMAND"),
            std::string::npos);
  EXPECT_EQ(OutputOf(KIV_PROGRAM, {"queue", "list", "--help"}).find("COMMAND"),
            std::string::npos);
}

struct CompletionCase {
  const char* name;
  const char* line;  // up to the cursor, words with one blank between
  const char* offered;
};

class KivCompletion : public ::testing::TestWithParam<CompletionCase> {};

TEST_P(KivCompletion, OffersWhatMayStandThere) {
  const TestFolder folder;
  WriteTestFile("completion", OutputOf(KIV_PROGRAM, {"completion"}));
  const std::string line = GetParam().line;
  const std::string ask =
      "source ./completion; IFS=' ' read -ra COMP_WORDS <<<'" + line + "'; " +
      (line.ends_with(' ') ? "COMP_WORDS+=(''); " : "") +
      "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _kiv; echo \"${COMPREPLY[*]}\"";
  EXPECT_EQ(OutputOf("/bin/bash", {"-c", ask}),
            std::string(GetParam().offered) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Line, KivCompletion,
    ::testing::Values(
        CompletionCase{"Command", "kiv sto", "store"},
        CompletionCase{"CommandOfACommand", "kiv queue p", "peek purge"},
        CompletionCase{"BehindAnOption", "kiv xdb -d ../db ver", "verify"},
        CompletionCase{"Option", "kiv queue send --la", "--label"},
        CompletionCase{"OptionOfAGroup", "kiv host --inst", "--install"},
        CompletionCase{"OptionOnce", "kiv host --h", "--help"},
        CompletionCase{"Nothing", "kiv nonsense-", ""}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace kiv::testing
