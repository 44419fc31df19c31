#ifndef XDB_TREE_STORED_TREE_H_
#define XDB_TREE_STORED_TREE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "xdb/tree/varint.h"
#include "xml/xml_events.h"

namespace kiv::xdb {

// What a document says of itself before its first node.
struct TreeHead {
  bool has_declaration = false;
  bool is_version_11 = false;
  XmlStandalone standalone = XmlStandalone::Unsaid;
  std::string_view encoding;  // as declared; empty when none is
  std::uint32_t node_count = 0;
};

// A tree as bytes: the head, then the tokens.
void AppendHead(std::string& out, const TreeHead& head);
// Throws TreeError; `bytes` stands before the tokens then.
TreeHead TakeHead(StoredBytes& bytes);

// Whether a text is written as it is, neither inside an element nor a
// attribute changed. In a document of version 1.1 more characters are
// references.
bool IsPlainText(std::string_view text, bool is_version_11);
bool IsPlainValue(std::string_view text, bool is_version_11);

}  // namespace kiv::xdb

#endif  // XDB_TREE_STORED_TREE_H_
