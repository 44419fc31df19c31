#ifndef PORT_NATIVE_PATH_H_
#define PORT_NATIVE_PATH_H_

#include <string>

namespace kiv::port {

// The library hands out and takes paths as Windows writes them, "\" between the
// names, in the local encoding. Here they meet the system's own form: on Linux
// "/" and UTF-8.

// Accepts both separators and a long-path prefix (\\?\), which is dropped. A
// "\" that is the second byte of a character separates nothing. A drive has no
// meaning here: c:\x becomes c:/x, a file in a folder "c:" of the current one.
// Bytes that are no character become U+FFFD.
std::string SystemPath(const std::string& native_gb);

// Local encoding, separators as they are. What our texts cannot hold becomes
// "?": a character that the local encoding lacks, and a "\" inside a name.
std::string LocalPath(const std::string& system_path);

// Stands between the folders in PATH.
char PathListSeparator();

}  // namespace kiv::port

#endif  // PORT_NATIVE_PATH_H_
