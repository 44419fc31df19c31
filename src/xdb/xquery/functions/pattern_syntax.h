#ifndef XDB_XQUERY_FUNCTIONS_PATTERN_SYNTAX_H_
#define XDB_XQUERY_FUNCTIONS_PATTERN_SYNTAX_H_

#include <optional>
#include <string>
#include <string_view>

namespace kiv::xdb::xq {

struct PatternFlags {
  bool dot_is_all = false;     // s
  bool is_multi_line = false;  // m
  bool ignores_case = false;   // i
  bool ignores_space = false;  // x

  // FORX0001 for any other letter.
  static PatternFlags FromText(std::string_view text);
};

// A pattern of the query language as ICU writes it, for UREGEX_UNIX_LINES and,
// where the flags say so, UREGEX_DOTALL; without any other flag, since cases
// are spelled out.
struct TranslatedPattern {
  std::string icu;
  int group_count = 0;
  // The text that the pattern stands for, when it is just that.
  std::optional<std::string> literal;
};

// Regular expressions as XML Schema has them, with anchors, reluctant
// quantifiers and back-references besides. FORX0002 for what is none: nothing
// of ICU's own syntax gets through.
TranslatedPattern TranslatePattern(std::string_view pattern,
                                   const PatternFlags& flags);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_PATTERN_SYNTAX_H_
