#ifndef TOOLS_KIV_MANUAL_H_
#define TOOLS_KIV_MANUAL_H_

#include <map>
#include <string>

#include "command_tree.h"

namespace kiv_tool {

// Pages for man, under their file names: kiv.1 for the program and one for
// each of its commands, kiv-host.1, with what is below that as sections.
std::map<std::string, std::string> ManualPages(const CommandTree& program);

// A script for bash that completes commands, options and file names. zsh takes
// it by way of bashcompinit.
std::string CompletionScript(const CommandTree& program);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_MANUAL_H_
