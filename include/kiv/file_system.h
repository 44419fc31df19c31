#ifndef KIV_FILE_SYSTEM_H_
#define KIV_FILE_SYSTEM_H_

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/file_system_path.h"

namespace kiv {

// Operations on files and folders. They report failure by their result, except
// those that say they throw (std::runtime_error).
class KIV_API FileSystem {
 public:
  static bool exists(const FileSystemPath& path);
  static bool is_directory(const FileSystemPath& path);
  static bool is_file(const FileSystemPath& path);
  // A folder without entries or a file of size 0.
  static bool is_empty(const FileSystemPath& path);

  // False also when it is there already.
  static bool create_directory(const FileSystemPath& path);
  // True for an empty path and for anything that exists.
  static bool create_directories(const FileSystemPath& path);
  // True when nothing is there. A symbolic link is removed, never followed.
  static bool remove(const FileSystemPath& path);
  // How many objects were visited, the path itself included, whether or not
  // each could be removed. Links are not followed.
  static unsigned long remove_all(const FileSystemPath& path);
  static bool rename(const FileSystemPath& from, const FileSystemPath& to);
  // False when the target exists.
  static bool copy_file(const FileSystemPath& from, const FileSystemPath& to);

  // Throws when the system does not tell.
  static FileSystemPath current_path();
  // The current directory as it was on the first call. Throws as current_path.
  static const FileSystemPath& initial_path();
  // Against the current directory, at most 260 characters. Throws when that
  // fails.
  static FileSystemPath system_complete(const FileSystemPath& path);
  static FileSystemPath complete(const FileSystemPath& path,
                                 const FileSystemPath& base);

  // Depth first, folders before what comes behind them; a folder never matches.
  // Enters linked folders, each once.
  static bool find_file(const FileSystemPath& directory,
                        const std::string& name, FileSystemPath& found);

  // Puts the folder (that of the file, for a file) in front of PATH, in the
  // system's own form, unless PATH contains its text. False for an empty path
  // and for a folder that PATH would read as two.
  static bool add_path_to_env(const std::string& path);
};

// The entries of one folder, in the system's order, without "." and "..".
// Copies share their position. Opening and advancing throw std::runtime_error
// on failure.
class KIV_API Directory_Iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = FileSystemPath;
  using difference_type = std::ptrdiff_t;
  using pointer = const FileSystemPath*;
  using reference = const FileSystemPath&;

  // The path that the iterator held before it moved on.
  class KIV_API Previous {
   public:
    explicit Previous(const FileSystemPath& path) : path_(path) {}
    const FileSystemPath& operator*() const { return path_; }

   private:
    FileSystemPath path_;
  };

  Directory_Iterator() = default;
  explicit Directory_Iterator(const FileSystemPath& directory);

  const FileSystemPath& operator*() const;
  const FileSystemPath* operator->() const { return &**this; }
  Directory_Iterator& operator++();
  Previous operator++(int);
  bool operator==(const Directory_Iterator& other) const;
  bool operator!=(const Directory_Iterator& other) const {
    return !(*this == other);
  }

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace kiv

#endif  // KIV_FILE_SYSTEM_H_
