#ifndef PORT_TEST_FOLDER_H_
#define PORT_TEST_FOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// For tests.
namespace kiv {

// A fresh folder that is the current one for as long as it lives, and then goes
// with all that is in it. Paths in a test are then short and relative.
class TestFolder {
 public:
  TestFolder() : before_(std::filesystem::current_path()) {
    std::string name =
        (std::filesystem::temp_directory_path() / "kiv-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder for the test");
    path_ = std::filesystem::canonical(name);
    std::filesystem::current_path(path_);
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path before_;
  std::filesystem::path path_;
};

// Names are the system's, in UTF-8.
inline void WriteTestFile(const std::filesystem::path& name,
                          const std::string& text = "") {
  std::ofstream file(name, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write " + name.string());
}

inline std::string ReadTestFile(const std::filesystem::path& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace kiv

#endif  // PORT_TEST_FOLDER_H_
