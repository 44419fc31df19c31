#ifndef PORT_FILE_SYSTEM_KIND_H_
#define PORT_FILE_SYSTEM_KIND_H_

#include <cstddef>
#include <string>

namespace kiv::port {

// "NFS" and so on for a file system that others change too, so that this
// system does not hear of every change; "" for all others, and when the folder
// is not there. Native path text.
std::string NetworkFileSystem(const std::string& path);

// How many folders a user's programs may watch, as the system is set; 0 when it
// does not say. Where it is set.
std::size_t WatchLimit();
extern const char* const kWatchLimitFile;

// The folder itself and those below it, without following links; counting ends
// behind `most`.
std::size_t CountFolders(const std::string& path, std::size_t most);

}  // namespace kiv::port

#endif  // PORT_FILE_SYSTEM_KIND_H_
