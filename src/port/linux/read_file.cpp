#include "port/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

constexpr std::size_t kBlock = 65536;

FileRead Failed() {
  Fail();
  return FileRead::Failed;
}

}  // namespace

FileRead ReadFileText(const std::string& path, std::size_t max_bytes,
                      std::string& out) {
  // Not blocking: opening a pipe would wait for a writer.
  const Descriptor file(Retry([&] {
    return ::open(SystemPath(path).c_str(),
                  O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  }));
  struct stat status;
  if (!file.is_open() || ::fstat(file.get(), &status) != 0) return Failed();
  if (!S_ISREG(status.st_mode)) return FileRead::NotRegular;
  const auto expected = static_cast<std::size_t>(status.st_size);
  if (expected > max_bytes) return FileRead::TooLarge;

  // The size is only a hint: the file may grow meanwhile, and files of the
  // system's own say 0. One byte more shows the end, or that it is too long.
  std::string text(expected + 1, '\0');
  std::size_t size = 0;
  for (;;) {
    if (size == text.size())
      text.resize(std::min(size + std::max(size, kBlock), max_bytes + 1));
    const ssize_t count = Retry([&] {
      return ::read(file.get(), text.data() + size, text.size() - size);
    });
    if (count < 0) return Failed();
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
    if (size > max_bytes) return FileRead::TooLarge;
  }
  text.resize(size);
  out = std::move(text);
  return FileRead::Whole;
}

}  // namespace kiv::port
