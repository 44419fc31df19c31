#ifndef PORT_NATIVE_PATH_H_
#define PORT_NATIVE_PATH_H_

#include <string>

namespace kiv::port {

// The library hands out and takes paths as Windows writes them, "\" between the
// names, in the local encoding. Here they meet the system's own form: on Linux
// "/" and UTF-8.

// Accepts both separators and a long-path prefix (\\?\), which is dropped.
std::string SystemPath(const std::string& native_gb);

// Local encoding, separators as they are. A character that the local encoding
// lacks becomes "?".
std::string LocalPath(const std::string& system_path);

}  // namespace kiv::port

#endif  // PORT_NATIVE_PATH_H_
