#ifndef TESTING_TEST_LOG_H_
#define TESTING_TEST_LOG_H_

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "kiv/log.h"

namespace kiv::testing {

// The process's log, below the current directory for as long as this lives.
class TestLog {
 public:
  TestLog() { Log::Instance().Close(); }
  ~TestLog() { Log::Instance().Close(); }
  TestLog(const TestLog&) = delete;
  TestLog& operator=(const TestLog&) = delete;

  std::string Text() const {
    Log::Instance().Flush();
    std::string path = Log::Instance().FilePath();
    std::replace(path.begin(), path.end(), '\\', '/');
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  int Count(std::string_view part) const {
    const std::string text = Text();
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size()))
      ++count;
    return count;
  }
  bool Has(std::string_view part) const { return Count(part) > 0; }
};

}  // namespace kiv::testing

#endif  // TESTING_TEST_LOG_H_
