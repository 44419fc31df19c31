#ifndef TESTING_TEST_LOG_H_
#define TESTING_TEST_LOG_H_

#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

#include "kiv/log.h"
#include "port/test_folder.h"

namespace kiv::testing {

// The process's log below its current directory, for as long as this lives.
// Made and destroyed while no other thread logs; may be read meanwhile.
class TestLog {
 public:
  explicit TestLog(const std::filesystem::path& current_directory =
                       std::filesystem::current_path())
      : folder_(current_directory / "Logfiles" / "System") {
    Log::Instance().Close();
  }
  ~TestLog() { Log::Instance().Close(); }
  TestLog(const TestLog&) = delete;
  TestLog& operator=(const TestLog&) = delete;

  // Of every day.
  std::string Text() const {
    Log::Instance().LockedFlush();
    std::string text;
    std::error_code missing;
    for (const auto& entry :
         std::filesystem::directory_iterator(folder_, missing)) {
      text += ReadTestFile(entry.path());
    }
    return text;
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

 private:
  const std::filesystem::path folder_;
};

}  // namespace kiv::testing

#endif  // TESTING_TEST_LOG_H_
