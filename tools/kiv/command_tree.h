#ifndef TOOLS_KIV_COMMAND_TREE_H_
#define TOOLS_KIV_COMMAND_TREE_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kiv_tool {

// A command as its --help tells it, read from the program itself: what is made
// of it (man pages, completion) knows every command, whoever added it.
struct CommandTree {
  struct Option {
    std::vector<std::string> names;  // "-f", "--file"; of an argument none
    std::string argument;            // "FILE"; empty for a flag
    std::string description;
    std::string choices;   // "xml, plain"; empty when anything may stand there
    std::string fallback;  // what it is when nothing is said
    bool is_positional = false;
    bool is_required = false;
    bool may_repeat = false;
  };

  std::string name;
  std::string description;
  std::string footer;
  std::vector<Option> options;
  std::vector<CommandTree> commands;
};

CommandTree ReadCommandTree(const CLI::App& app);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_COMMAND_TREE_H_
