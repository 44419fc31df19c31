#ifndef REMOTE_REMOTE_MESSAGES_H_
#define REMOTE_REMOTE_MESSAGES_H_

#include <string>

// What the making of a proxy says when it fails. The reason, in English,
// follows the fixed text; values in it have gone through Shown.
namespace kiv::remote::message {

std::string ProxyTextFailed(const std::string& reason);
std::string NoAddressNorFile(const std::string& reason);
std::string ProxyNotMade(const std::string& reason);
std::string VersionsDiffer(const std::string& reason);

}  // namespace kiv::remote::message

#endif  // REMOTE_REMOTE_MESSAGES_H_
