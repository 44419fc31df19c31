#ifndef UTIL_LOG_TIME_H_
#define UTIL_LOG_TIME_H_

#include <cstddef>
#include <ctime>
#include <string_view>

namespace kiv {

namespace port {
class Clock;
}

// One reading of the clock, as the log writes it: the name of the day's file
// and the time stamp. Both come from the same second, so an entry cannot be
// stamped before midnight and land in the file of the day after. Converted to
// local time again only when the second has changed.
class LogTime {
 public:
  void Read();

  // "20051103.txt"; "log.txt" when the second has no local form.
  std::string_view FileName() const { return {name_, name_size_}; }
  // "2005-11-03 14:03:59 " or "14:03:59 "; "" when there is no local form.
  std::string_view Stamp(bool time_only) const {
    const std::size_t skip = time_only ? date_size_ : 0;
    return {stamp_ + skip, stamp_size_ - skip};
  }

 private:
  void Convert(const port::Clock& clock, std::time_t second);

  const port::Clock* clock_ = nullptr;  // that gave the second below
  std::time_t second_ = 0;
  // Room for any int in each field.
  char name_[48] = "";
  char stamp_[80] = "";
  std::size_t name_size_ = 0;
  std::size_t stamp_size_ = 0;
  std::size_t date_size_ = 0;
};

}  // namespace kiv

#endif  // UTIL_LOG_TIME_H_
