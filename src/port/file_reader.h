#ifndef PORT_FILE_READER_H_
#define PORT_FILE_READER_H_

#include <cstddef>
#include <memory>
#include <string>

namespace kiv::port {

// CreateFile and ReadFile: a file read from its beginning to its end. `path` is
// native text (native_path.h); interrupted calls are retried.
class FileReader {
 public:
  // Null on failure, also for what is no regular file; LastError() of
  // port/file.h has the system's code.
  static std::unique_ptr<FileReader> Open(const std::string& path);
  virtual ~FileReader() = default;
  // Up to `room` bytes; `size_bytes` is 0 at the end. False when the system
  // cannot read.
  virtual bool Read(void* out, std::size_t room, std::size_t& size_bytes) = 0;
};

}  // namespace kiv::port

#endif  // PORT_FILE_READER_H_
