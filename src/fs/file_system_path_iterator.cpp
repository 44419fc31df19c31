// position_ is where the current element begins; at the end it is the size of
// the text. Elements lie in the text as they are, so that the text alone says
// where the neighbours are.
#include <string_view>

#include "fs/path_parts.h"
#include "kiv/file_system_path.h"

namespace kiv {
namespace {

// Where the element that begins at `position` ends.
std::size_t ElementEnd(std::string_view path, std::size_t position) {
  if (position == 0 && RootNameSize(path) > 0) return RootNameSize(path);
  const std::size_t first_name = RelativePosition(path);
  if (position < first_name) return first_name;
  const std::size_t slash = path.find('/', position);
  return slash == std::string_view::npos ? path.size() : slash;
}

std::size_t NextElement(std::string_view path, std::size_t position) {
  std::size_t next = ElementEnd(path, position);
  const std::size_t first_name = RelativePosition(path);
  if (next < first_name) return next;
  while (next < path.size() && path[next] == '/') ++next;
  return next;
}

std::size_t PreviousElement(std::string_view path, std::size_t position) {
  const std::size_t first_name = RelativePosition(path);
  std::size_t end = position;
  while (end > first_name && path[end - 1] == '/') --end;
  if (end > first_name) {
    const std::size_t slash = path.rfind('/', end - 1);
    return slash == std::string_view::npos || slash < first_name ? first_name
                                                                 : slash + 1;
  }
  // The root directory is the "/" before the first name, the root name all
  // that is before it.
  const std::size_t root_name = RootNameSize(path);
  return position > root_name && first_name > root_name ? root_name : 0;
}

}  // namespace

FileSystemPathIterator::FileSystemPathIterator(const FileSystemPath& path,
                                               std::size_t position)
    : path_(path), position_(position) {
  ReadElement();
}

void FileSystemPathIterator::ReadElement() {
  const std::string& text = path_.string();
  element_.assign(text, position_, ElementEnd(text, position_) - position_);
}

FileSystemPathIterator& FileSystemPathIterator::operator++() {
  if (position_ < path_.string().size()) {
    position_ = NextElement(path_.string(), position_);
    ReadElement();
  }
  return *this;
}

FileSystemPathIterator FileSystemPathIterator::operator++(int) {
  FileSystemPathIterator before = *this;
  ++*this;
  return before;
}

FileSystemPathIterator& FileSystemPathIterator::operator--() {
  if (position_ > 0) {
    position_ = PreviousElement(path_.string(), position_);
    ReadElement();
  }
  return *this;
}

FileSystemPathIterator FileSystemPathIterator::operator--(int) {
  FileSystemPathIterator before = *this;
  --*this;
  return before;
}

bool FileSystemPathIterator::operator==(
    const FileSystemPathIterator& other) const {
  return position_ == other.position_ && path_.string() == other.path_.string();
}

FileSystemPathIterator FileSystemPath::begin() const { return {*this, 0}; }

FileSystemPathIterator FileSystemPath::end() const {
  return {*this, path_.size()};
}

}  // namespace kiv
