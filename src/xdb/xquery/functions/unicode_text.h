#ifndef XDB_XQUERY_FUNCTIONS_UNICODE_TEXT_H_
#define XDB_XQUERY_FUNCTIONS_UNICODE_TEXT_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What needs the tables of Unicode; texts in UTF-8.
namespace kiv::xdb::xq {

// By the full mappings, of no language: one character may become several.
std::string UpperCased(std::string_view text);
std::string LowerCased(std::string_view text);

enum class NormalForm { Nfc, Nfd, Nfkc, Nfkd };
std::string Normalized(std::string_view text, NormalForm form);

struct CharacterRange {
  char32_t first;
  char32_t last;
};
// The range with whatever differs from one of it in case alone.
std::vector<CharacterRange> WithCaseVariants(CharacterRange range);

// The characters of the block that patterns call by that name, such as
// "Latin-1Supplement"; none when there is no such block.
std::optional<CharacterRange> BlockNamed(std::string_view name);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_UNICODE_TEXT_H_
