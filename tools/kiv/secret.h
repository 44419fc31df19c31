#ifndef TOOLS_KIV_SECRET_H_
#define TOOLS_KIV_SECRET_H_

#include <string>

// Secrets come from a file or from the terminal; an argument would show them
// to everybody on the machine.
namespace kiv_tool {

struct SecretKind {
  const char* name;
  const char* file_option;
};
inline constexpr SecretKind kPassword{"password", "--password-file"};
inline constexpr SecretKind kAccessCode{"access code", "--access-code-file"};

// The first line. False, with the reason, when there is none.
bool ReadSecretFile(const SecretKind& kind, const std::string& file,
                    std::string& secret, std::string& reason);

// Asks at the process's terminal, without echo, wherever standard input comes
// from. False, with the reason, when there is none or nothing is answered.
bool AskSecret(const SecretKind& kind, const std::string& prompt,
               std::string& secret, std::string& reason);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_SECRET_H_
