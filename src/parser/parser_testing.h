#ifndef PARSER_PARSER_TESTING_H_
#define PARSER_PARSER_TESTING_H_

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "port/test_folder.h"
#include "testing/test_log.h"

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
  std::string Text() const { return log_.Text(); }

  // Whether an error entry of the parser with exactly this message is there.
  bool Has(std::string_view message) const {
    return log_.Has("[\xB4\xED\xCE\xF3] parser: " +  // 错误
                    std::string(message) + "\r\n");
  }

 private:
  TestFolder folder_;
  testing::TestLog log_{folder_.path()};
};

}  // namespace kiv::parser

#endif  // PARSER_PARSER_TESTING_H_
