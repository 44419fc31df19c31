// Any text as a query: a tree or an error at a known place, never more. What is
// parsed can be walked, and it lies no deeper than the limit allows.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/xquery/syntax/parser.h"
#include "xdb/xquery/syntax/syntax_testing.h"

namespace {

using kiv::xdb::xq::Error;
using kiv::xdb::xq::Parse;
using kiv::xdb::xq::ParseLimits;
namespace ast = kiv::xdb::xq::ast;

void Require(bool holds) {
  if (!holds) std::abort();
}

// The code of the refusal, or the tree.
std::string Outcome(std::string_view query, const ParseLimits& limits) {
  try {
    const ast::Module module = Parse(query, limits);
    std::string text = ast::Show(module.body);
    for (const auto& variable : module.prolog.variables) {
      text += ast::Show(variable.value);
    }
    for (const auto& function : module.prolog.functions) {
      text += ast::Show(function.body);
    }
    return text;
  } catch (const Error& error) {
    Require(error.code().size() == 8 && error.position().IsKnown());
    const auto lines = static_cast<std::size_t>(
        std::count_if(query.begin(), query.end(),
                      [](char c) { return c == '\n' || c == '\r'; }));
    Require(error.position().line <= lines + 1 &&
            error.position().column <= query.size() + 1);
    return error.code();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  // In a block of exactly its size, so that a step behind it is seen.
  const std::vector<char> block(bytes, bytes + size);
  const std::string_view query(block.data(), block.size());
  const std::string outcome = Outcome(query, {});
  ParseLimits narrow;
  narrow.max_depth = 8;
  const std::string shallow = Outcome(query, narrow);
  Require(shallow == outcome || shallow == "XPDY0130");
  // White space and a comment behind a query change nothing.
  if (!outcome.starts_with("X")) {
    Require(Outcome(std::string(query) + "\n(: :)", {}) == outcome);
  }
  return 0;
}
