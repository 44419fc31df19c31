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

}  // namespace kiv::port

#endif  // PORT_ENVIRONMENT_H_
