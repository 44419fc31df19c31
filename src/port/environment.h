#ifndef PORT_ENVIRONMENT_H_
#define PORT_ENVIRONMENT_H_

#include <string>

namespace kiv::port {

// GetEnvironmentVariable and SetEnvironmentVariable, in the system's own form:
// UTF-8, where other programs did not put something else. Safe from any thread,
// as long as no other code changes the environment.

// False when the variable is not set.
bool GetEnvironmentUtf8(const std::string& name, std::string& value);
// False when the system refuses the name, such as one with "=" in it.
bool SetEnvironmentUtf8(const std::string& name, const std::string& value);

// Puts a folder, in native text, in front of a list of folders such as PATH, in
// the form that the system searches. Nothing changes when the list contains its
// text already. What the list holds beside it keeps characters that the local
// encoding lacks. False for a folder that would be read as two.
bool PrependFolderA(const std::string& name, const std::string& native_folder);

}  // namespace kiv::port

#endif  // PORT_ENVIRONMENT_H_
