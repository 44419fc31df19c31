#include "port/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "port/linux/descriptor.h"
#include "port/linux/file_error.h"
#include "port/native_path.h"

namespace kiv::port {
namespace {

thread_local int last_error = 0;

FileAttributes AttributesOf(const struct stat& status) {
  FileAttributes attributes;
  attributes.is_directory = S_ISDIR(status.st_mode);
  attributes.size_bytes = static_cast<std::uint64_t>(status.st_size);
  attributes.device = status.st_dev;
  attributes.index = status.st_ino;
  return attributes;
}

// The absolute path without ".", ".." and doubled "/"; a ".." above the root
// stays there.
std::string Folded(std::string_view absolute) {
  std::string folded;
  folded.reserve(absolute.size());
  std::size_t start = 0;
  while (start < absolute.size()) {
    std::size_t end = absolute.find('/', start);
    if (end == std::string_view::npos) end = absolute.size();
    const std::string_view name = absolute.substr(start, end - start);
    start = end + 1;
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      const std::size_t parent = folded.rfind('/');
      folded.erase(parent == std::string::npos ? 0 : parent);
    } else {
      folded.append(1, '/').append(name);
    }
  }
  return folded.empty() ? "/" : folded;
}

// Fails for one that our texts cannot hold: what they hold of it leads
// elsewhere.
bool WorkingDirectory(std::string& out) {
  struct Freed {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Freed> text(::getcwd(nullptr, 0));
  if (!text) return Fail();
  // The kernel marks a folder that no path leads to with "(unreachable)".
  if (text.get()[0] != '/') return Fail(ENOENT);
  if (SystemPath(LocalPath(text.get())) != text.get()) return Fail(EILSEQ);
  out = text.get();
  return true;
}

bool IsDots(std::string_view name) { return name == "." || name == ".."; }

class LinuxFileSearch : public FileSearch {
 public:
  explicit LinuxFileSearch(DIR* folder) : folder_(folder) {}
  ~LinuxFileSearch() override { ::closedir(folder_); }
  LinuxFileSearch(const LinuxFileSearch&) = delete;
  LinuxFileSearch& operator=(const LinuxFileSearch&) = delete;

  Step Next(std::string& name) override {
    const dirent* entry = nullptr;
    do {
      errno = 0;
      entry = ::readdir(folder_);
      if (entry == nullptr) {
        if (errno == 0) return Step::End;
        Fail();
        return Step::Failed;
      }
    } while (IsDots(entry->d_name));
    name = LocalPath(entry->d_name);
    return Step::Entry;
  }

 private:
  DIR* folder_;
};

}  // namespace

void SetLastError(int error) { last_error = error; }

int LastError() { return last_error; }

bool IsNotFound(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

std::string ErrorText(int error) {
  // strerror would follow the runtime's locale into an encoding that is not
  // ours.
  const char* text = ::strerrordesc_np(error);
  return text ? text : "Error " + std::to_string(error);
}

bool GetFileAttributesA(const std::string& path, FileAttributes& out) {
  struct stat status;
  if (::stat(SystemPath(path).c_str(), &status) != 0) return Fail();
  out = AttributesOf(status);
  return true;
}

bool GetEntryAttributesA(const std::string& path, FileAttributes& out) {
  struct stat status;
  if (::lstat(SystemPath(path).c_str(), &status) != 0) return Fail();
  out = AttributesOf(status);
  return true;
}

bool CreateDirectoryA(const std::string& path) {
  return ::mkdir(SystemPath(path).c_str(), 0777) == 0 || Fail();
}

bool RemoveDirectoryA(const std::string& path) {
  return ::rmdir(SystemPath(path).c_str()) == 0 || Fail();
}

bool DeleteFileA(const std::string& path) {
  return ::unlink(SystemPath(path).c_str()) == 0 || Fail();
}

bool GetCurrentDirectoryA(std::string& out) {
  std::string directory;
  if (!WorkingDirectory(directory)) return false;
  out = LocalPath(directory);
  return true;
}

bool SetCurrentDirectoryA(const std::string& path) {
  return ::chdir(SystemPath(path).c_str()) == 0 || Fail();
}

bool GetFullPathNameA(const std::string& path, std::string& out) {
  std::string full = SystemPath(path);
  if (full.empty()) return Fail(ENOENT);
  if (full[0] != '/') {
    std::string directory;
    if (!WorkingDirectory(directory)) return false;
    full = directory + '/' + full;
  }
  out = LocalPath(Folded(full));
  return true;
}

std::unique_ptr<FileSearch> FileSearch::Open(const std::string& directory) {
  DIR* folder = ::opendir(SystemPath(directory).c_str());
  if (folder == nullptr) {
    Fail();
    return nullptr;
  }
  return std::make_unique<LinuxFileSearch>(folder);
}

}  // namespace kiv::port
