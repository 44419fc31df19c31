#ifndef PORT_READ_FILE_H_
#define PORT_READ_FILE_H_

#include <cstddef>
#include <string>

namespace kiv::port {

enum class FileRead {
  Whole,
  Failed,      // LastError() has the system's code
  NotRegular,  // a folder, a pipe, a device
  TooLarge
};

// Reads a whole file, a native path as in port/file.h. Never waits for another
// process, and takes no memory for a file of more than `max_bytes`. `out` is
// touched only by success.
FileRead ReadFileText(const std::string& path, std::size_t max_bytes,
                      std::string& out);

}  // namespace kiv::port

#endif  // PORT_READ_FILE_H_
