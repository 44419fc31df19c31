// The parts of a path: where they lie, and the operations that give them out.
#include "fs/path_parts.h"

#include "kiv/file_system_path.h"

namespace kiv {
namespace {

// Whether the "/" at `position` is the root directory.
bool IsRootDirectory(std::string_view path, std::size_t position) {
  return position == 0 || (position == 2 && path[1] == ':') ||
         (IsNetworkPath(path) && position == path.find('/', 2));
}

// Of the ".", or the leaf's end.
std::size_t ExtensionPosition(std::string_view leaf) {
  const std::size_t dot = leaf.rfind('.');
  return dot == std::string_view::npos ? leaf.size() : dot;
}

}  // namespace

// The first ":" ends a root name wherever it stands, as in //server/share:.
std::size_t RootNameSize(std::string_view path) {
  const std::size_t colon = path.find(':');
  if (colon != std::string_view::npos) return colon + 1;
  if (!IsNetworkPath(path)) return 0;
  const std::size_t slash = path.find('/', 2);
  return slash == std::string_view::npos ? path.size() : slash;
}

bool HasRootDirectory(std::string_view path) {
  return path.starts_with('/') ||
         (path.size() > 2 && path[1] == ':' && path[2] == '/');
}

std::size_t RelativePosition(std::string_view path) {
  const std::size_t size = RootNameSize(path);
  const bool has_slash = size < path.size() && path[size] == '/';
  return size + (has_slash && HasRootDirectory(path) ? 1 : 0);
}

std::size_t LeafPosition(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? RootNameSize(path) : slash + 1;
}

std::size_t BranchSize(std::string_view path) {
  const std::size_t size = LeafPosition(path);
  const bool has_slash = size > 0 && path[size - 1] == '/';
  return has_slash && !IsRootDirectory(path, size - 1) ? size - 1 : size;
}

bool FileSystemPath::has_leaf() const {
  return LeafPosition(path_) < path_.size();
}

std::string FileSystemPath::leaf() const {
  return path_.substr(LeafPosition(path_));
}

std::string FileSystemPath::leaf_ext(bool) const {
  const std::string name = leaf();
  const std::size_t dot = ExtensionPosition(name);
  return dot < name.size() ? name.substr(dot + 1) : std::string();
}

std::string FileSystemPath::leaf_name_not_ext() const {
  std::string name = leaf();
  name.resize(ExtensionPosition(name));
  return name;
}

FileSystemPath FileSystemPath::branch_path() const {
  FileSystemPath branch;
  branch.Append(std::string_view(path_).substr(0, BranchSize(path_)), native);
  return branch;
}

std::string FileSystemPath::root_name() const {
  return path_.substr(0, RootNameSize(path_));
}

std::string FileSystemPath::root_directory() const {
  return HasRootDirectory(path_) ? "/" : "";
}

FileSystemPath FileSystemPath::root_path() const {
  FileSystemPath root;
  root.path_ = root_name() + root_directory();
  return root;
}

FileSystemPath FileSystemPath::relative_path() const {
  FileSystemPath relative;
  relative.path_ = path_.substr(RelativePosition(path_));
  return relative;
}

bool FileSystemPath::has_root_path() const {
  return has_root_name() || has_root_directory();
}

bool FileSystemPath::has_root_name() const { return RootNameSize(path_) > 0; }

bool FileSystemPath::has_root_directory() const {
  return HasRootDirectory(path_);
}

bool FileSystemPath::has_relative_path() const {
  return RelativePosition(path_) < path_.size();
}

bool FileSystemPath::has_branch_path() const { return BranchSize(path_) > 0; }

bool FileSystemPath::is_complete() const {
  return path_.size() >= 3 && ((path_[1] == ':' && path_[2] == '/') ||
                               path_.starts_with("//") || path_.ends_with(':'));
}

}  // namespace kiv
