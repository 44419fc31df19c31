// Any pattern on any text: a first line of flags, one of the pattern, the text
// in the rest. The pattern is refused with its code or compiles; a search ends,
// and the pieces between and in the matches are the text.
#include <algorithm>
#include <string>
#include <string_view>

#include "input_of_fuzz.h"
#include "util/utf8.h"
#include "xdb/xquery/functions/pattern.h"
#include "xdb/xquery/values/error.h"

namespace kiv::fuzz {

using namespace kiv::xdb::xq;

std::string_view TakeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

void SearchAll(Pattern& pattern, std::string_view text) {
  std::string together;
  pattern.Search(text);
  bool is_found = false;
  while (pattern.Next()) {
    is_found = true;
    pattern.AppendBetween(together);
    pattern.AppendGroup(0, together);
    std::string group;
    pattern.AppendGroup(pattern.group_count(), group);
  }
  pattern.AppendBetween(together);
  Expect(together == text);
  Expect(pattern.IsIn(text) == is_found);
}

void Run(std::string_view input) {
  if (!IsUtf8(input)) return;
  const std::string_view flags = TakeLine(input);
  const std::string_view source = TakeLine(input);
  MatchLimits limits;
  limits.milliseconds = 20;
  try {
    Pattern pattern(source, flags, limits);
    // As replace and tokenize have it.
    if (!pattern.MatchesEmptyText()) SearchAll(pattern, input);
  } catch (const Error& error) {
    Expect(error.code() == "FORX0001" || error.code() == "FORX0002" ||
           error.code() == "XPDY0130");
  }
}

}  // namespace kiv::fuzz
