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

// Takes disk blocks for the file's first `size_bytes`, its holes and what it
// may grow by included: writing to a part without a block that is mapped into
// memory ends the process when the disk is full.
bool ReserveBlocks(const std::string& path, std::uint64_t size_bytes);

}  // namespace kiv::port

#endif  // PORT_DISK_SPACE_H_
