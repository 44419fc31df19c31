#ifndef XDB_XQUERY_FUNCTIONS_PATTERN_H_
#define XDB_XQUERY_FUNCTIONS_PATTERN_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kiv::xdb::xq {

// How long one search may go on: a pattern can take a time that doubles with
// every character. Past a limit: Error XPDY0130.
struct MatchLimits {
  std::int32_t milliseconds = 2000;  // about; 0: without end
  std::int32_t stack_bytes = 64 << 20;
  // Asked every few thousand steps; false ends the search. May throw nothing.
  bool (*may_go_on)(const void* argument) = nullptr;
  const void* argument = nullptr;
};

// A compiled regular expression and the search that it is at. Of one thread.
class Pattern {
 public:
  // FORX0001, FORX0002.
  Pattern(std::string_view pattern, std::string_view flags,
          const MatchLimits& limits = {});
  ~Pattern();
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  int group_count() const { return group_count_; }

  bool IsIn(std::string_view text);
  bool MatchesEmptyText();

  // Next goes from match to match, none overlapping another, in a text that
  // stays where it is until Next was false. Not for a pattern that matches the
  // empty text: it need not come to an end.
  void Search(std::string_view text);
  bool Next();
  // What lies between the match before and this one; after the last, the rest.
  void AppendBetween(std::string& text) const;
  // Group 0 is the whole match. Nothing for a group that took no part.
  void AppendGroup(int group, std::string& text) const;

 private:
  struct Compiled;

  bool NextLiteral();
  bool NextByPattern();
  void AppendUnits(std::int32_t begin, std::int32_t end,
                   std::string& text) const;

  int group_count_ = 0;
  std::optional<std::string> literal_;
  std::unique_ptr<Compiled> compiled_;  // null for a literal
  std::optional<bool> matches_empty_;

  std::string_view text_;
  bool is_ascii_ = true;  // then a unit is a byte of text_
  // In units of UTF-16; for a literal in bytes.
  std::size_t match_before_end_ = 0;
  std::size_t match_begin_ = 0;
  std::size_t match_end_ = 0;
};

// The patterns that an execution used last.
class PatternCache {
 public:
  explicit PatternCache(const MatchLimits& limits = {}) : limits_(limits) {}

  // Valid until the next call.
  Pattern& Of(std::string_view pattern, std::string_view flags);

 private:
  struct Entry {
    std::string pattern;
    std::string flags;
    std::unique_ptr<Pattern> compiled;
  };
  static constexpr std::size_t kMaxEntries = 32;

  const MatchLimits limits_;
  std::vector<Entry> entries_;  // the last used first
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_PATTERN_H_
