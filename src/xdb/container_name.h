#ifndef XDB_CONTAINER_NAME_H_
#define XDB_CONTAINER_NAME_H_

#include <string>

// Names of containers, which may be any text, and their files. Local encoding;
// files in the system's form.
namespace kiv::xdb {

inline constexpr char kContainerSuffix[] = ".xdb";

// False for a name that has no file: an empty one, or one that begins as an
// encoded name does.
bool FileOfContainer(const std::string& name, std::string& file);

// "" for a hexadecimal name that cannot be decoded.
std::string ContainerOfFile(const std::string& file);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_NAME_H_
