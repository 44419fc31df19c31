#ifndef UTIL_LOG_TEST_FIXTURE_H_
#define UTIL_LOG_TEST_FIXTURE_H_

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "kiv/log.h"
#include "port/clock.h"

// For the tests of the log, here and across layers.
namespace kiv {

// Stands still until it is moved; its local time is UTC.
class HandClock : public port::Clock {
 public:
  static constexpr std::time_t kNoon = 1131019200;  // 2005-11-03 12:00:00

  long long UnixTicks() const override { return UnixSecond() * 10'000'000LL; }
  std::time_t UnixSecond() const override {
    return second_.fetch_add(advance_each_reading);
  }
  bool LocalTime(std::time_t second, std::tm& out) const override {
    // gmtime's result is shared by all threads.
    const std::lock_guard lock(mutex_);
    if (!has_local_time) return false;
    out = *std::gmtime(&second);
    return true;
  }

  void Set(std::time_t second) { second_ = second; }
  void Move(std::time_t seconds) { second_ += seconds; }

  bool has_local_time = true;
  std::time_t advance_each_reading = 0;

 private:
  mutable std::atomic<std::time_t> second_ = kNoon;
  mutable std::mutex mutex_;
};

// A fresh folder, which is also the current directory, and a clock.
class LogTest : public testing::Test {
 protected:
  static constexpr const char* kDay = "20051103.txt";
  static constexpr const char* kNextDay = "20051104.txt";

  LogTest() {
    std::string name =
        (std::filesystem::temp_directory_path() / "kiv_log_XXXXXX").string();
    folder_ = ::mkdtemp(name.data());
    std::filesystem::current_path(folder_);
  }
  ~LogTest() override {
    std::filesystem::current_path(before_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  FileSystemPath Folder() const { return FileSystemPath(folder_.string()); }
  std::filesystem::path In(const std::string& name) const {
    return folder_ / name;
  }

  // "" when there is no such file.
  std::string Text(const std::filesystem::path& file) const {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  // Every line without its CR LF; what lacks one is marked.
  std::vector<std::string> Lines(const std::filesystem::path& file) const {
    const std::string text = Text(file);
    std::vector<std::string> lines;
    for (std::size_t pos = 0; pos < text.size();) {
      const std::size_t end = text.find("\r\n", pos);
      if (end == std::string::npos) {
        lines.push_back("TORN: " + text.substr(pos));
        break;
      }
      lines.push_back(text.substr(pos, end - pos));
      pos = end + 2;
    }
    return lines;
  }

  static void Put(Log& log, const std::string& message, bool daily = true) {
    log.Output(message.c_str(), "", "", FileSystemPath(), daily);
  }
  // The fault line's bytes for a count: 丢失 N 条
  static std::string Lost(unsigned long long count) {
    return "\xB6\xAA\xCA\xA7 " + std::to_string(count) + " \xCC\xF5";
  }

  HandClock clock_;

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  std::filesystem::path folder_;
  port::ClockOverride override_{clock_};
};

}  // namespace kiv

#endif  // UTIL_LOG_TEST_FIXTURE_H_
