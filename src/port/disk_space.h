#ifndef PORT_DISK_SPACE_H_
#define PORT_DISK_SPACE_H_

#include <cstdint>
#include <string>

// Room on the disk, before it is needed. Paths are native text; LastError() of
// port/file.h has the system's code.
namespace kiv::port {

// What this user may still write where the folder lies. False when the system
// does not say.
bool GetFreeBytes(const std::string& folder, std::uint64_t& bytes);

// Gives a file with holes all the blocks of its length: writing to a hole that
// is mapped into memory ends the process when the disk is full.
bool FillHoles(const std::string& path);

}  // namespace kiv::port

#endif  // PORT_DISK_SPACE_H_
