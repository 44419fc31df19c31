#include "port/file_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

class LinuxFileReader : public FileReader {
 public:
  explicit LinuxFileReader(Descriptor file) : file_(std::move(file)) {}

  bool Read(void* out, std::size_t room, std::size_t& size_bytes) override {
    const ssize_t got = Retry([&] { return ::read(file_.get(), out, room); });
    if (got < 0) return Fail();
    size_bytes = static_cast<std::size_t>(got);
    return true;
  }

 private:
  Descriptor file_;
};

}  // namespace

std::unique_ptr<FileReader> FileReader::Open(const std::string& path) {
  // Not blocking: opening a pipe would wait for a writer.
  Descriptor file(Retry([&] {
    return ::open(SystemPath(path).c_str(),
                  O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  }));
  struct stat status;
  if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
    Fail();
    return nullptr;
  }
  // The system opens a folder and refuses only the reading.
  if (S_ISDIR(status.st_mode)) {
    Fail(EISDIR);
    return nullptr;
  }
  // A pipe or a device may never end.
  if (!S_ISREG(status.st_mode)) {
    Fail(EINVAL);
    return nullptr;
  }
  return std::make_unique<LinuxFileReader>(std::move(file));
}

}  // namespace kiv::port
