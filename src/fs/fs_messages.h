#ifndef FS_FS_MESSAGES_H_
#define FS_FS_MESSAGES_H_

#include <string>
#include <string_view>

// What paths write to the standard error stream, in the local encoding.
namespace kiv::message {

std::string InvalidName(std::string_view name, std::string_view source);
std::string InvalidPathSyntax(std::string_view source);

}  // namespace kiv::message

#endif  // FS_FS_MESSAGES_H_
