#ifndef XDB_XQUERY_RUN_SERIALIZER_H_
#define XDB_XQUERY_RUN_SERIALIZER_H_

#include <string>
#include <utility>
#include <vector>

#include "xdb/tree/tree.h"
#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

// Writes a sequence as XML in UTF-8, without a declaration and without
// indentation: nodes as they are, other items as their string values, with a
// space between two of those. SENR0001 for an attribute that is no part of an
// element.
class Serializer {
 public:
  explicit Serializer(std::string& out) : out_(out) {}

  void Write(const Item& item);
  // A node, as Write does.
  void WriteNode(const Tree& tree, NodeId node);
  // name="value", as it stands in an element.
  void WriteAttribute(const Tree& tree, NodeId attribute);

 private:
  void WriteElement(const Tree& tree, NodeId element);
  NodeId StartElement(const Tree& tree, NodeId element, bool is_top);
  void EndElement(const Tree& tree, NodeId element);
  void WriteNamespaces(const Tree& tree, NodeId element, bool is_top);
  void Declare(const std::string& prefix, const std::string& uri);
  void WriteName(const Tree& tree, NodeId node);
  void WriteText(std::string_view text, bool is_value);

  std::string& out_;
  bool is_behind_value_ = false;
  // Declarations in force, and how many there were before each open element.
  std::vector<std::pair<std::string, std::string>> scope_;
  std::vector<std::size_t> scope_sizes_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_SERIALIZER_H_
