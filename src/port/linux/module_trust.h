#ifndef PORT_LINUX_MODULE_TRUST_H_
#define PORT_LINUX_MODULE_TRUST_H_

#include <string>

namespace kiv::port {

// Whether root and this account alone decide what code the path leads to. The
// path is the system's own. False with the reason, in the local encoding; a
// path that leads to nothing is one. Always true under KIV_MODULE_TRUST=any.
bool IsTrustedModule(const std::string& path, std::string& reason);

}  // namespace kiv::port

#endif  // PORT_LINUX_MODULE_TRUST_H_
