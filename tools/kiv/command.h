#ifndef TOOLS_KIV_COMMAND_H_
#define TOOLS_KIV_COMMAND_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// What every sub-command of kiv shares. A command adds itself to the program
// and leaves its exit code in `exit_code` when it has run: 0 done, 1 failed.
// Wrong usage is 2, and CLI11's doing.
namespace kiv_tool {

// The exit code for a command line that CLI11 has refused, or answered by
// itself; what is to be said is said.
int TellParseError(const CLI::App& app, const CLI::ParseError& error);

void AddHost(CLI::App& program, int& exit_code);
// The words of the command line, with kiv host's switches as its options: they
// may be written as those of services are.
std::vector<std::string> HostWords(int argc, const char* const* argv);
void AddCheckConfig(CLI::App& program, int& exit_code);
void AddQueue(CLI::App& program, int& exit_code);
void AddLog(CLI::App& program, int& exit_code);
void AddSchema(CLI::App& program, int& exit_code);
void AddStore(CLI::App& program, int& exit_code);
void AddXdb(CLI::App& program, int& exit_code);
void AddRemote(CLI::App& program, int& exit_code);
void AddInit(CLI::App& program, int& exit_code);
void AddManual(CLI::App& program, int& exit_code);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_COMMAND_H_
