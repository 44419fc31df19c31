#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <system_error>

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

// A new file beside another, with that one's mode, or the usual one where there
// is none. Its name; empty, with errno, on failure.
std::string MakeBeside(const std::string& file) {
  std::string name = file + ".XXXXXX";
  const int descriptor = ::mkstemp(name.data());
  if (descriptor < 0) return {};
  const mode_t mask = ::umask(0);
  ::umask(mask);
  struct stat state {};
  const bool is_there = ::stat(file.c_str(), &state) == 0;
  const bool is_set = ::fchmod(descriptor, is_there ? state.st_mode & 07777
                                                    : 0666 & ~mask) == 0;
  const int error = errno;
  ::close(descriptor);
  if (is_set) return name;
  ::unlink(name.c_str());
  errno = error;
  return {};
}

bool Sync(const std::string& file) {
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool is_synced = ::fsync(descriptor) == 0;
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return is_synced;
}

}  // namespace

OutputFile::OutputFile(const std::string& file) : file_(file) {
  if (file_.empty()) return;
  std::error_code error;
  // What a link leads to is replaced, not the link.
  if (const fs::path target = fs::canonical(file_, error); !error)
    file_ = target.string();
  const bool is_device =
      fs::exists(file_, error) && !fs::is_regular_file(file_, error);
  errno = 0;
  if (!is_device) beside_ = MakeBeside(file_);
  if (is_device || !beside_.empty())
    stream_.open(is_device ? file_ : beside_, std::ios::binary);
  else
    stream_.setstate(std::ios::failbit);
}

OutputFile::~OutputFile() {
  std::error_code ignored;
  if (!beside_.empty()) fs::remove(beside_, ignored);
}

std::ostream& OutputFile::Stream() {
  return file_.empty() ? std::cout : stream_;
}

bool OutputFile::Finish(std::string& reason) {
  if (file_.empty()) {
    std::cout.flush();
    if (!std::cout) reason = "standard output cannot be written";
    return static_cast<bool>(std::cout);
  }
  stream_.close();
  if (!stream_ || (!beside_.empty() && !Sync(beside_))) {
    reason = file_ + " cannot be written";
    if (errno != 0) reason += std::string(": ") + std::strerror(errno);
    return false;
  }
  if (beside_.empty()) return true;
  std::error_code error;
  fs::rename(beside_, file_, error);
  if (error) reason = file_ + ": " + error.message();
  if (!error) beside_.clear();
  return !error;
}

}  // namespace kiv_tool
