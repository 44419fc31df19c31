#ifndef BENCH_FOLDER_H_
#define BENCH_FOLDER_H_

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace bench {

// A new folder in `parent`, removed at the end. /tmp may be memory: what is to
// lie on a disk is put where the program runs.
class Folder {
 public:
  explicit Folder(const std::filesystem::path& parent) {
    std::string name = (parent / "kiv_bench_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
    path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace bench

#endif  // BENCH_FOLDER_H_
