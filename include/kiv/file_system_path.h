#ifndef KIV_FILE_SYSTEM_PATH_H_
#define KIV_FILE_SYSTEM_PATH_H_

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

#include "kiv/export.h"
#include "kiv/wide.h"

namespace kiv {

class Directory_Iterator;
class FileSystemPathIterator;

// A path in canonical generic form: an optional root name ("c:", "//server"),
// an optional root directory "/", then names with single "/" between them, ".."
// folded away where a name before it can take it up. Local encoding: a second
// byte that looks like "\" or "|" is part of its character.
//
// Constructors never throw: a path with a fault holds what was built before it,
// and a line on standard error says what was wrong. Who needs certainty builds
// with m_path_append and looks at its result.
class KIV_API FileSystemPath {
 public:
  // Which input is accepted. The constructors that take it use the native
  // grammar whatever value is passed.
  enum PathFormat { portable, native };
  using source_context = PathFormat;
  using iterator = FileSystemPathIterator;

  FileSystemPath() = default;

  // Portable grammar: "/" separates, and every name is checked. It must not be
  // "." or hold a control character or one of <>:"/\|*?, or begin or end with a
  // blank. Null counts as "".
  FileSystemPath(const char* path);
  FileSystemPath(const std::string& path);
  FileSystemPath(const WideChar* path);
  FileSystemPath(const WideString& path);
  FileSystemPath(const wchar_t* path);
  FileSystemPath(const std::wstring& path);

  // Native grammar: "/" and "\" separate, and no name is checked.
  FileSystemPath(const char* path, PathFormat format);
  FileSystemPath(const std::string& path, PathFormat format);
  FileSystemPath(const WideChar* path, PathFormat format);
  FileSystemPath(const WideString& path, PathFormat format);
  FileSystemPath(const wchar_t* path, PathFormat format);
  FileSystemPath(const std::wstring& path, PathFormat format);

  // False at the first fault; what was appended before it stays.
  bool m_path_append(const std::string& source, source_context format);
  // Native grammar. Null takes the leaf away.
  void m_replace_leaf(const char* leaf);
  FileSystemPath& operator/=(const FileSystemPath& other);
  FileSystemPath operator/(const FileSystemPath& other) const;

  const std::string& string() const { return path_; }
  // The same text with "\" for "/", on every platform. The operations on files
  // take it.
  std::string native_file_string() const;
  std::string native_directory_string() const;

  bool empty() const { return path_.empty(); }
  bool has_leaf() const;
  // Behind the last "/", or behind the root name's ":" when there is no "/".
  std::string leaf() const;
  // Behind the leaf's last "."; the flag is accepted and not consulted.
  std::string leaf_ext(bool flag = false) const;
  std::string leaf_name_not_ext() const;
  // What is before the leaf, without a "/" at its end unless that is the root
  // directory; "/" and "c:/" are their own branch.
  FileSystemPath branch_path() const;

  std::string root_name() const;
  std::string root_directory() const;
  FileSystemPath root_path() const;
  FileSystemPath relative_path() const;
  bool has_root_path() const;
  bool has_root_name() const;
  bool has_root_directory() const;
  bool has_relative_path() const;
  bool has_branch_path() const;
  // At least three characters, with "x:/" or "//" in front or ":" at the end.
  // A path such as /srv/x is not complete in this sense.
  bool is_complete() const;

  // The root name, the root directory, then each name.
  FileSystemPathIterator begin() const;
  FileSystemPathIterator end() const;

 private:
  friend class Directory_Iterator;
  bool Append(std::string_view source, PathFormat format);

  std::string path_;
};

// Walks the elements of a path, of which it holds a copy. Going on at either
// end stays there.
class KIV_API FileSystemPathIterator {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = std::string;
  using difference_type = std::ptrdiff_t;
  using pointer = const std::string*;
  using reference = std::string;

  FileSystemPathIterator() = default;

  // A copy: what stepped there, as std::reverse_iterator, may be gone at once.
  std::string operator*() const { return element_; }
  const std::string* operator->() const { return &element_; }
  FileSystemPathIterator& operator++();
  FileSystemPathIterator operator++(int);
  FileSystemPathIterator& operator--();
  FileSystemPathIterator operator--(int);
  bool operator==(const FileSystemPathIterator& other) const;
  bool operator!=(const FileSystemPathIterator& other) const {
    return !(*this == other);
  }

 private:
  friend class FileSystemPath;
  FileSystemPathIterator(const FileSystemPath& path, std::size_t position);
  void ReadElement();

  FileSystemPath path_;
  std::size_t position_ = 0;
  std::string element_;
};

}  // namespace kiv

#endif  // KIV_FILE_SYSTEM_PATH_H_
