#ifndef PARSER_PARSER_TESTING_H_
#define PARSER_PARSER_TESTING_H_

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "kiv/log.h"
#include "port/test_folder.h"

// For the tests of this folder.
namespace kiv::parser {

// A text in a block of exactly its size, so that reading behind the end is
// caught.
class ExactText {
 public:
  explicit ExactText(std::string_view text)
      : bytes_(new char[text.size()]), size_(text.size()) {
    std::copy(text.begin(), text.end(), bytes_.get());
  }
  const char* begin() const { return bytes_.get(); }
  const char* end() const { return bytes_.get() + size_; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

// The library's log in a fresh folder for as long as this lives.
class CapturedLog {
 public:
  CapturedLog() {
    Log::g_log.Close();
    Log::g_log.Open(
        FileSystemPath(folder_.path().string(), FileSystemPath::native), true);
  }
  ~CapturedLog() { Log::g_log.Close(); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  // Everything logged so far.
  std::string Text() const {
    Log::g_log.Flush();
    std::string text;
    for (const auto& entry :
         std::filesystem::directory_iterator(folder_.path())) {
      text += ReadTestFile(entry.path());
    }
    return text;
  }

  // Whether an error entry of the parser with exactly this message is there.
  bool Has(std::string_view message) const {
    const std::string entry =
        "[\xB4\xED\xCE\xF3] parser: " + std::string(message) + "\r\n";  // 错误
    return Text().find(entry) != std::string::npos;
  }

 private:
  TestFolder folder_;
};

}  // namespace kiv::parser

#endif  // PARSER_PARSER_TESTING_H_
