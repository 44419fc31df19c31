#include "kiv/file_system.h"

#include <cstdint>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "port/environment.h"
#include "port/file.h"
#include "port/native_path.h"

namespace kiv {
namespace {

// What a path that is handed out may have, in bytes.
constexpr std::size_t kMaxFullPathSize = 260;

bool ReadAttributes(const FileSystemPath& path, port::FileAttributes& out) {
  return port::GetFileAttributesA(path.native_file_string(), out);
}

bool IsNameTooLong(int error) {
  return std::error_code(error, std::system_category()) ==
         std::errc::filename_too_long;
}

// All names at once, so that a deep search holds one folder open and not one a
// level.
std::vector<FileSystemPath> Entries(const FileSystemPath& folder) {
  std::vector<FileSystemPath> entries;
  try {
    for (Directory_Iterator entry(folder); entry != Directory_Iterator();
         ++entry)
      entries.push_back(*entry);
  } catch (const std::runtime_error&) {
    // A folder that cannot be read holds nothing that could be found.
  }
  return entries;
}

class FileFinder {
 public:
  explicit FileFinder(const std::string& name) : name_(name) {}

  bool Find(const FileSystemPath& folder, FileSystemPath& found) {
    for (const FileSystemPath& entry : Entries(folder)) {
      port::FileAttributes attributes;
      if (ReadAttributes(entry, attributes) && attributes.is_directory) {
        if (Enter(attributes) && Find(entry, found)) return true;
      } else if (entry.leaf() == name_) {
        found = entry;
        return true;
      }
    }
    return false;
  }

  // False when the folder was searched before: links lead back into it.
  bool Enter(const port::FileAttributes& folder) {
    return searched_.insert({folder.device, folder.index}).second;
  }

 private:
  const std::string& name_;
  std::set<std::pair<std::uint64_t, std::uint64_t>> searched_;
};

}  // namespace

bool FileSystem::exists(const FileSystemPath& path) {
  port::FileAttributes attributes;
  return ReadAttributes(path, attributes);
}

bool FileSystem::is_directory(const FileSystemPath& path) {
  port::FileAttributes attributes;
  return ReadAttributes(path, attributes) && attributes.is_directory;
}

bool FileSystem::is_file(const FileSystemPath& path) {
  port::FileAttributes attributes;
  return ReadAttributes(path, attributes) && !attributes.is_directory;
}

bool FileSystem::is_empty(const FileSystemPath& path) {
  port::FileAttributes attributes;
  if (!ReadAttributes(path, attributes)) return false;
  if (!attributes.is_directory) return attributes.size_bytes == 0;
  const auto search = port::FileSearch::Open(path.native_directory_string());
  std::string name;
  return search && search->Next(name) == port::FileSearch::Step::End;
}

bool FileSystem::create_directory(const FileSystemPath& path) {
  return port::CreateDirectoryA(path.native_directory_string());
}

bool FileSystem::create_directories(const FileSystemPath& path) {
  if (path.empty() || exists(path)) return true;
  // Nor will it ever; and no deeper path than the system takes is walked up.
  if (IsNameTooLong(port::LastError())) return false;
  const FileSystemPath branch = path.branch_path();
  // "c:/" is its own branch.
  if (branch.string() != path.string() && !create_directories(branch))
    return false;
  // Somebody else may have made it since the look above.
  return create_directory(path) || is_directory(path);
}

bool FileSystem::remove(const FileSystemPath& path) {
  const std::string native = path.native_file_string();
  port::FileAttributes attributes;
  if (!port::GetEntryAttributesA(native, attributes))
    return port::IsNotFound(port::LastError());
  return attributes.is_directory ? port::RemoveDirectoryA(native)
                                 : port::DeleteFileA(native);
}

unsigned long FileSystem::remove_all(const FileSystemPath& path) {
  return port::RemoveTree(path.native_file_string());
}

bool FileSystem::rename(const FileSystemPath& from, const FileSystemPath& to) {
  return port::MoveFileA(from.native_file_string(), to.native_file_string());
}

bool FileSystem::copy_file(const FileSystemPath& from,
                           const FileSystemPath& to) {
  return port::CopyFileA(from.native_file_string(), to.native_file_string());
}

FileSystemPath FileSystem::current_path() {
  std::string directory;
  if (!port::GetCurrentDirectoryA(directory))
    throw std::runtime_error("FileSystem::current_path");
  return {directory, FileSystemPath::native};
}

const FileSystemPath& FileSystem::initial_path() {
  static const FileSystemPath initial = current_path();
  return initial;
}

FileSystemPath FileSystem::system_complete(const FileSystemPath& path) {
  if (path.empty()) return path;
  std::string full;
  if (!port::GetFullPathNameA(path.native_file_string(), full) ||
      full.size() > kMaxFullPathSize)
    throw std::runtime_error("FileSystem::system_complete");
  return {full, FileSystemPath::native};
}

FileSystemPath FileSystem::complete(const FileSystemPath& path,
                                    const FileSystemPath& base) {
  if (path.empty() || path.is_complete()) return path;
  if (path.has_root_directory() && !path.has_root_name())
    return FileSystemPath(base.root_name(), FileSystemPath::native) / path;
  return base / path;
}

bool FileSystem::find_file(const FileSystemPath& directory,
                           const std::string& name, FileSystemPath& found) {
  port::FileAttributes attributes;
  if (!ReadAttributes(directory, attributes)) return false;
  FileFinder finder(name);
  finder.Enter(attributes);
  return finder.Find(directory, found);
}

bool FileSystem::add_path_to_env(const std::string& path) {
  if (path.empty()) return false;
  FileSystemPath folder(path, FileSystemPath::native);
  if (is_file(folder)) folder = folder.branch_path();
  // Who searches PATH is the system, so the entry is in the system's form.
  std::string entry = port::SystemPath(folder.native_directory_string());
  const char separator = port::PathListSeparator();
  // Would be read as two folders.
  if (entry.find(separator) != std::string::npos) return false;
  std::string old;
  port::GetEnvironmentUtf8("PATH", old);
  // As text, not as an entry: a folder above one that is listed is not added.
  if (old.find(entry) != std::string::npos) return true;
  if (!old.empty()) entry.append(1, separator).append(old);
  return port::SetEnvironmentUtf8("PATH", entry);
}

}  // namespace kiv
