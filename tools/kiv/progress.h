#ifndef TOOLS_KIV_PROGRESS_H_
#define TOOLS_KIV_PROGRESS_H_

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>
#include <utility>

namespace kiv_tool {

// How far a long command is, for who watches it: "4711 sent".
class Progress {
 public:
  explicit Progress(std::string what) : what_(std::move(what)) {}

  void Show(unsigned long long done) {
    const auto now = Clock::now();
    if (!is_watched_ || now < next_) return;
    next_ = now + std::chrono::milliseconds(200);
    std::cerr << "\r\033[K" << done << ' ' << what_ << std::flush;
    is_shown_ = true;
  }
  void Clear() {
    if (is_shown_) std::cerr << "\r\033[K" << std::flush;
    is_shown_ = false;
  }

 private:
  using Clock = std::chrono::steady_clock;
  const std::string what_;
  const bool is_watched_ = isatty(STDERR_FILENO) == 1;
  // What takes no second needs no report.
  Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
  bool is_shown_ = false;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_PROGRESS_H_
