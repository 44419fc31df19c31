#ifndef PORT_PROGRAM_H_
#define PORT_PROGRAM_H_

#include <string>
#include <vector>

// This program, its user, and other programs. Words and paths are the system's
// own here: UTF-8, "/" between folders.
namespace kiv::port {

// GetModuleFileName of the running program. Empty on failure.
std::string ProgramPath();

// CreateProcess on words[0], which PATH is searched for, and
// WaitForSingleObject: its exit code, -1 when it did not run or was killed.
// What it prints goes where ours goes.
int RunProgram(const std::vector<std::string>& words);

// Whether we may do everything.
bool IsSuperuser();
// The user's own folder of settings. Empty when there is none.
std::string SettingsFolder();
// The account that owns the file or folder. Empty when that has no name.
std::string OwnerOf(const std::string& path);
bool IsGroup(const std::string& name);

}  // namespace kiv::port

#endif  // PORT_PROGRAM_H_
