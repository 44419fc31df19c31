#ifndef TOOLS_KIV_PASSWORD_H_
#define TOOLS_KIV_PASSWORD_H_

#include <string>

// Passwords come from a file or from the terminal; an argument would show them
// to everybody on the machine.
namespace kiv_tool {

// The first line. False, with the reason, when there is none.
bool ReadPasswordFile(const std::string& file, std::string& password,
                      std::string& reason);

// Asks at the process's terminal, without echo, wherever standard input comes
// from. False, with the reason, when there is none or nothing is answered.
bool AskPassword(const std::string& prompt, std::string& password,
                 std::string& reason);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_PASSWORD_H_
