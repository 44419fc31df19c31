#ifndef XDB_XQUERY_VALUES_CALENDAR_TEXT_H_
#define XDB_XQUERY_VALUES_CALENDAR_TEXT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "xdb/xquery/values/calendar.h"

// Parts of the texts of dates, times and durations.
namespace kiv::xdb::xq {

// Reads from the front of a text.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool IsAtEnd() const { return rest_.empty(); }
  char Peek() const { return rest_.empty() ? '\0' : rest_.front(); }
  bool Skip(char c) {
    if (Peek() != c || rest_.empty()) return false;
    rest_.remove_prefix(1);
    return true;
  }
  std::string_view Digits() {
    std::size_t count = 0;
    while (count < rest_.size() && rest_[count] >= '0' && rest_[count] <= '9')
      ++count;
    const std::string_view digits = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return digits;
  }
  bool TwoDigits(int least, int most, int& value) {
    if (rest_.size() < 2 || !IsDigit(rest_[0]) || !IsDigit(rest_[1]))
      return false;
    value = (rest_[0] - '0') * 10 + (rest_[1] - '0');
    rest_.remove_prefix(2);
    return value >= least && value <= most;
  }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view rest_;
};

// Saturates, far above anything that is allowed.
inline constexpr Int128 kTooLarge = Int128{10'000'000'000} * 10'000'000'000;

inline Int128 NumberOf(std::string_view digits) {
  Int128 number = 0;
  for (const char c : digits)
    number = std::min(number * 10 + (c - '0'), kTooLarge);
  return number;
}

// The digits behind a point as attoseconds.
inline std::int64_t FractionOf(std::string_view digits) {
  std::int64_t fraction = 0, unit = kAttoseconds;
  for (const char c : digits.substr(0, 18)) {
    unit /= 10;
    fraction += (c - '0') * unit;
  }
  return fraction;
}

inline void AppendPadded(std::uint64_t number, std::size_t width,
                         std::string& text) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) text.append(width - digits.size(), '0');
  text += digits;
}

inline void AppendFraction(std::int64_t attoseconds, std::string& text) {
  if (attoseconds == 0) return;
  text += '.';
  AppendPadded(static_cast<std::uint64_t>(attoseconds), 18, text);
  text.erase(text.find_last_not_of('0') + 1);
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_CALENDAR_TEXT_H_
