#ifndef TOOLS_KIV_SERVICE_COMMAND_H_
#define TOOLS_KIV_SERVICE_COMMAND_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "service_folder.h"

namespace kiv_tool {

// Makes bin/ the current folder. Nothing, and `reason` filled, when there is no
// such folder.
std::optional<ServiceFolder> EnterServiceFolder(const std::string& folder,
                                                std::string& reason);

// Adds a sub-command that works in a service: `run` is called with bin/ as the
// current folder and gives the exit code, which is 1 without it when there is
// no such folder.
void AddServiceCommand(CLI::App& program, const char* name,
                       const char* description,
                       int (*run)(const ServiceFolder& service),
                       int& exit_code);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_SERVICE_COMMAND_H_
