#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"
#include "kiv/startup.h"
#include "standard_streams.h"

namespace {

// CLI11 hands a command's footer down to the commands below it that have none.
void DropInheritedFooters(CLI::App& app) {
  for (CLI::App* const inner : app.get_subcommands({})) {
    DropInheritedFooters(*inner);
    if (inner->get_footer() == app.get_footer()) inner->footer("");
  }
}

int Run(int argc, char** argv) {
  CLI::App program{
      "Runs and looks after message-queue services, record stores, XML "
      "databases and remote services on kivcorelib10.",
      "kiv"};
  program.require_subcommand(1);
  program.footer(
      "Exit codes: 0 done, 1 failed, 2 wrong usage. Colour only on a "
      "terminal,\n"
      "and not when NO_COLOR is set.\n"
      "kiv COMMAND --help tells more of a command.");

  int exit_code = 0;
  kiv_tool::AddHost(program, exit_code);
  kiv_tool::AddCheckConfig(program, exit_code);
  kiv_tool::AddQueue(program, exit_code);
  kiv_tool::AddLog(program, exit_code);
  kiv_tool::AddSchema(program, exit_code);
  kiv_tool::AddStore(program, exit_code);
  kiv_tool::AddXdb(program, exit_code);
  kiv_tool::AddRemote(program, exit_code);
  kiv_tool::AddInit(program, exit_code);
  kiv_tool::AddManual(program, exit_code);
  DropInheritedFooters(program);

  try {
    std::vector<std::string> words = kiv_tool::HostWords(argc, argv);
    // As CLI11 wants them: the last one in front, the program's name left out.
    std::reverse(words.begin(), words.end());
    words.pop_back();
    program.parse(words);
  } catch (const CLI::ParseError& error) {
    return kiv_tool::TellParseError(program, error);
  }
  return exit_code;
}

}  // namespace

int main(int argc, char** argv) {
  kiv_tool::OccupyStandardStreams();
  kiv::GlobalInit();
  int exit_code = 1;
  try {
    exit_code = Run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "kiv: " << error.what() << '\n';
  }
  kiv::GlobalUninit();
  return exit_code;
}
