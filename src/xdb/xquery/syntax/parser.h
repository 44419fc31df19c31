#ifndef XDB_XQUERY_SYNTAX_PARSER_H_
#define XDB_XQUERY_SYNTAX_PARSER_H_

#include <cstddef>
#include <string_view>

#include "xdb/xquery/syntax/ast.h"

namespace kiv::xdb::xq {

struct ParseLimits {
  // How deep expressions may lie in each other; so deep is the tree at most.
  // The parser needs about 2 KB of stack for each.
  std::size_t max_depth = 1000;
};

// Reads a main module of XQuery 1.0 (second edition). The text is UTF-8, with
// or without a byte order mark; CR LF and CR are line ends as LF is, and
// characters and names are those of XML 1.0 (fifth edition for names).
//
// Throws Error, and gives every code that needs no name resolved:
//
//   XPST0003  the text does not follow the grammar
//   XQST0009  a schema import
//   XQST0016  a module import or a library module
//   XQST0022  a namespace attribute with an enclosed expression
//   XQST0031  a version other than 1.0
//   XQST0032, 0038, 0055, 0065, 0066, 0067, 0068, 0069
//             a setting of the prolog made twice
//   XQST0057, 0088  an import or a library module without a namespace
//   XQST0071  a namespace attribute twice in one element
//   XQST0075  validate
//   XQST0087  an encoding name that is none
//   XQST0090  a character reference to what is no character
//   XPDY0130  deeper than the limit
//
// Everything about prefixes, names, types, URIs and values is left to the
// compiler: XPST0008, 0017, 0051, 0080, 0081, XQST0033, 0034, 0039, 0040, 0045,
// 0046, 0047, 0048, 0049, 0054, 0060, 0070, 0076, 0079, 0085, 0089, FOAR0002.
ast::Module Parse(std::string_view query, const ParseLimits& limits = {});

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_SYNTAX_PARSER_H_
