#ifndef PORT_FILE_H_
#define PORT_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// Files and folders under the names of the Windows calls. Paths are native
// text (native_path.h). False means failure; LastError() has the system's code.
// Interrupted calls are retried.
namespace kiv::port {

struct FileAttributes {
  bool is_directory = false;
  std::uint64_t size_bytes = 0;
  // Together they name the object, under whatever path it is reached.
  std::uint64_t device = 0;
  std::uint64_t index = 0;
};

// The calling thread's last failure here.
int LastError();
// In the local encoding, as "Permission denied".
std::string ErrorText(int error);

// The failure says that the path leads to nothing.
bool IsNotFound(int error);

// Follows links.
bool GetFileAttributesA(const std::string& path, FileAttributes& out);
// Of a link, the link's own: no folder, even where it leads to one.
bool GetEntryAttributesA(const std::string& path, FileAttributes& out);
bool CreateDirectoryA(const std::string& path);
// Never follow a link: they take the link's own entry.
bool RemoveDirectoryA(const std::string& path);
bool DeleteFileA(const std::string& path);
// Counts every object visited, the path itself included; 0 when nothing is
// there.
unsigned long RemoveTree(const std::string& path);
// Moves across file systems by copying. Replaces no existing target.
bool MoveFileA(const std::string& from, const std::string& to);
// Refuses an existing target. Keeps mode and modification time.
bool CopyFileA(const std::string& from, const std::string& to);
// False for a folder whose name the local encoding cannot hold.
bool GetCurrentDirectoryA(std::string& out);
bool SetCurrentDirectoryA(const std::string& path);
// Against the current directory, which it must be able to name for a path that
// is not absolute; folds "." and "..", touches no file.
bool GetFullPathNameA(const std::string& path, std::string& out);

// FindFirstFile and FindNextFile: the names in one folder, without "." and
// "..", which Linux reports anywhere in between.
class FileSearch {
 public:
  static std::unique_ptr<FileSearch> Open(const std::string& directory);
  virtual ~FileSearch() = default;
  enum class Step { Entry, End, Failed };
  // `name` in the local encoding.
  virtual Step Next(std::string& name) = 0;
};

// Writes the whole text beside the target, syncs it and renames it into place,
// keeping the target's mode (`new_file_mode` where there is none): a reader
// sees the old file or the new one.
bool ReplaceFileText(const std::string& path, std::string_view text,
                     int new_file_mode = 0644);

// A file that only grows. Every Append is one write call, whole or failed:
// after a short write the file is cut back to where it was.
class AppendFile {
 public:
  static std::unique_ptr<AppendFile> Open(const std::string& path);
  virtual ~AppendFile() = default;
  virtual bool Append(std::string_view text) = 0;
  // False when the name no longer leads to this file: it was moved or removed.
  virtual bool IsStillThere() const = 0;
};

}  // namespace kiv::port

#endif  // PORT_FILE_H_
