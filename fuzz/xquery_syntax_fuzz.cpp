// Any text as a query: a tree or an error at a known place, never more. What is
// parsed can be walked, and it lies no deeper than the limit allows.
#include <algorithm>
#include <string>
#include <string_view>

#include "input_of_fuzz.h"
#include "xdb/xquery/syntax/parser.h"
#include "xdb/xquery/syntax/syntax_testing.h"

namespace kiv::fuzz {

using namespace kiv::xdb::xq;

// The code of the refusal, or the tree.
std::string Outcome(std::string_view query, const ParseLimits& limits) {
  try {
    const ast::Module module = Parse(query, limits);
    std::string text = ast::Show(module.body);
    for (const auto& variable : module.prolog.variables)
      text += ast::Show(variable.value);
    for (const auto& function : module.prolog.functions)
      text += ast::Show(function.body);
    return text;
  } catch (const Error& error) {
    Expect(error.code().size() == 8 && error.position().IsKnown());
    const auto lines = static_cast<std::size_t>(
        std::count_if(query.begin(), query.end(),
                      [](char c) { return c == '\n' || c == '\r'; }));
    Expect(error.position().line <= lines + 1 &&
           error.position().column <= query.size() + 1);
    return error.code();
  }
}

void Run(std::string_view input) {
  const std::string outcome = Outcome(input, {});
  ParseLimits narrow;
  narrow.max_depth = 8;
  const std::string shallow = Outcome(input, narrow);
  Expect(shallow == outcome || shallow == "XPDY0130");
  // White space and a comment behind a query change nothing.
  if (!outcome.starts_with("X"))
    Expect(Outcome(std::string(input) + "\n(: :)", {}) == outcome);
}

}  // namespace kiv::fuzz
