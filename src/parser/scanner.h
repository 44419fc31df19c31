#ifndef PARSER_SCANNER_H_
#define PARSER_SCANNER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/gb_text.h"

namespace kiv::parser {

// A place in a text that readers move forward. It stands at the beginning of a
// character, never behind the end; a null text is an empty one.
class Scanner {
 public:
  Scanner(const char* text, const char* end)
      : rest_(text != nullptr && end != nullptr && text < end
                  ? std::string_view(text, static_cast<std::size_t>(end - text))
                  : std::string_view()),
        size_(rest_.size()) {}

  bool AtEnd() const { return rest_.empty(); }
  std::string_view Rest() const { return rest_; }
  unsigned Consumed() const {
    return static_cast<unsigned>(size_ - rest_.size());
  }

  std::string_view Take(std::size_t size) {
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::string_view TakeAll() { return Take(rest_.size()); }

  // Whether the next character is there and is the ASCII character `c`, which
  // is then taken.
  bool TakeChar(char c) {
    if (!NextIs(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool NextIs(char c) const { return !rest_.empty() && rest_.front() == c; }

  // How many there were.
  unsigned SkipBlanks() {
    std::size_t count = 0;
    while (count < rest_.size() && IsAsciiSpace(rest_[count])) ++count;
    rest_.remove_prefix(count);
    return static_cast<unsigned>(count);
  }

  // Characters as long as `belongs(character)` holds, each given as its one or
  // two bytes.
  template <class Belongs>
  std::string_view TakeWhile(Belongs belongs) {
    std::size_t size = 0;
    while (size < rest_.size()) {
      const std::size_t next = CharacterSize(rest_, size);
      if (!belongs(rest_.substr(size, next))) break;
      size += next;
    }
    return Take(size);
  }

  // Up to the ASCII character `c` or to the end.
  std::string_view TakeTo(char c) { return Take(FindAscii(rest_, c)); }

  std::string_view TakeLetters(unsigned max_count) {
    std::size_t count = 0;
    while (count < max_count && count < rest_.size() &&
           IsAsciiAlpha(rest_[count])) {
      ++count;
    }
    return Take(count);
  }

  // The value wraps at 64 bits. Returns how many digits were taken, at most
  // `max_digits`, or any number when that is 0.
  unsigned TakeDigits(unsigned max_digits, std::uint64_t& value) {
    value = 0;
    unsigned count = 0;
    while (count < rest_.size() && (max_digits == 0 || count < max_digits) &&
           IsAsciiDigit(rest_[count])) {
      value = value * 10 + static_cast<std::uint64_t>(rest_[count] - '0');
      ++count;
    }
    rest_.remove_prefix(count);
    return count;
  }

 private:
  std::string_view rest_;
  std::size_t size_;
};

// Without the blanks at its end.
inline std::string_view DropTrailingBlanks(std::string_view span) {
  while (!span.empty() && IsAsciiSpace(span.back())) span.remove_suffix(1);
  return span;
}

// A NUL in `start` never matches: it ended texts before their lengths were
// carried along.
inline bool StartsWith(std::string_view text, std::string_view start,
                       bool ignore_case) {
  if (start.find('\0') != std::string_view::npos) return false;
  return ignore_case ? StartsWithIgnoreCase(text, start)
                     : text.starts_with(start);
}

// Characters up to a word delimiter: the blank, the tab, ASCII punctuation
// other than "_", and NUL. Nothing is skipped before.
std::string_view TakeWord(Scanner& scanner);

}  // namespace kiv::parser

#endif  // PARSER_SCANNER_H_
