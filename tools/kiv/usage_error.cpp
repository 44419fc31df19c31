#include <iostream>
#include <string>
#include <vector>

#include "command.h"

namespace kiv_tool {
namespace {

constexpr int kUsageError = 2;

}  // namespace

int TellParseError(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* last = &app;
  std::string name = app.get_name();
  while (!last->get_subcommands().empty()) {
    last = last->get_subcommands().back();
    name += ' ' + last->get_name();
  }
  // CLI11 says of a command that is not there that one is missing.
  const std::vector<std::string> words = last->remaining();
  const bool lacks_command = error.get_name() == "RequiredError" &&
                             last->get_require_subcommand_min() > 0;
  if (!lacks_command || words.empty() || words.front().starts_with('-'))
    return app.exit(error) == 0 ? 0 : kUsageError;
  std::cerr << name << ": there is no command '" << words.front() << "'; "
            << name << " --help lists those there are\n";
  return kUsageError;
}

}  // namespace kiv_tool
