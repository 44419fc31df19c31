// kiv completion and kiv man: what is made of the program's own help.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "command.h"
#include "manual.h"

namespace kiv_tool {
namespace {

int WritePages(const CommandTree& program, const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  for (const auto& [name, text] : ManualPages(program)) {
    const std::filesystem::path file = std::filesystem::path(folder) / name;
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << text;
    if (stream.flush()) continue;
    std::cerr << "kiv man: " << file.string() << ": " << std::strerror(errno)
              << '\n';
    return 1;
  }
  return 0;
}

}  // namespace

void AddManual(CLI::App& program, int& exit_code) {
  CLI::App* const completion = program.add_subcommand(
      "completion", "Prints a script that completes kiv's words in bash");
  completion->footer(
      "  kiv completion > /usr/share/bash-completion/completions/kiv\n"
      "zsh reads it behind: autoload -U bashcompinit && bashcompinit");
  completion->callback(
      [&program] { std::cout << CompletionScript(ReadCommandTree(program)); });

  auto folder = std::make_shared<std::string>();
  CLI::App* const manual =
      program.add_subcommand("man", "Writes the manual pages into a folder");
  manual->add_option("folder", *folder, "The folder; made when it is missing")
      ->required();
  manual->callback([&program, folder, &exit_code] {
    exit_code = WritePages(ReadCommandTree(program), *folder);
  });
}

}  // namespace kiv_tool
