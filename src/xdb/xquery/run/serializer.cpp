#include "xdb/xquery/run/serializer.h"

#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {

void Serializer::Write(const Item& item) {
  if (item.IsNode()) {
    is_behind_value_ = false;
    return WriteNode(item.tree(), item.node());
  }
  std::string text(is_behind_value_ ? " " : "");
  AppendTextOf(item, text);
  WriteText(text, false);
  is_behind_value_ = true;
}

void Serializer::WriteNode(const Tree& tree, NodeId node) {
  switch (tree.kind(node)) {
    case NodeKind::Document:
      for (NodeId child = tree.FirstChild(node); child < tree.End(node);
           child = tree.End(child)) {
        WriteNode(tree, child);
      }
      return;
    case NodeKind::Element:
      return WriteElement(tree, node);
    case NodeKind::Attribute:
      throw Error("SENR0001", "an attribute outside of an element");
    case NodeKind::Namespace:
      return;
    case NodeKind::Text:
      return WriteText(tree.value(node), false);
    case NodeKind::Comment:
      out_.append("<!--").append(tree.value(node)).append("-->");
      return;
    case NodeKind::Instruction:
      out_.append("<?").append(tree.target(node));
      if (!tree.value(node).empty()) out_.append(" ").append(tree.value(node));
      out_.append("?>");
      return;
  }
}

// By a stack of its own, however deep elements lie.
void Serializer::WriteElement(const Tree& tree, NodeId element) {
  std::vector<NodeId> open;
  const NodeId end = tree.End(element);
  for (NodeId node = element; node != end;) {
    for (; !open.empty() && tree.End(open.back()) == node; open.pop_back())
      EndElement(tree, open.back());
    if (tree.kind(node) != NodeKind::Element) {
      WriteNode(tree, node);
      ++node;
      continue;
    }
    const NodeId content = StartElement(tree, node, node == element);
    if (content == tree.End(node)) {
      out_ += "/>";
      scope_.resize(scope_sizes_.back());
      scope_sizes_.pop_back();
    } else {
      out_ += '>';
      open.push_back(node);
    }
    node = content;
  }
  for (; !open.empty(); open.pop_back()) EndElement(tree, open.back());
}

NodeId Serializer::StartElement(const Tree& tree, NodeId element, bool is_top) {
  scope_sizes_.push_back(scope_.size());
  out_ += '<';
  WriteName(tree, element);
  WriteNamespaces(tree, element, is_top);
  const NodeId content = tree.FirstChild(element);
  for (NodeId i = element + 1; i != content; ++i) {
    if (tree.kind(i) != NodeKind::Attribute) continue;
    out_ += ' ';
    WriteAttribute(tree, i);
  }
  return content;
}

void Serializer::WriteAttribute(const Tree& tree, NodeId attribute) {
  WriteName(tree, attribute);
  out_ += "=\"";
  WriteText(tree.value(attribute), true);
  out_ += '"';
}

void Serializer::EndElement(const Tree& tree, NodeId element) {
  out_ += "</";
  WriteName(tree, element);
  out_ += '>';
  scope_.resize(scope_sizes_.back());
  scope_sizes_.pop_back();
}

void Serializer::WriteNamespaces(const Tree& tree, NodeId element,
                                 bool is_top) {
  if (is_top) {
    for (const auto& [prefix, uri] : NamespacesOf(tree, element))
      Declare(prefix, uri);
  } else {
    for (NodeId i = element + 1;
         i < tree.End(element) && tree.kind(i) == NodeKind::Namespace; ++i) {
      Declare(std::string(tree.target(i)), std::string(tree.value(i)));
    }
  }
}

// A prefix can be taken out of scope in the tree, but not in what is written.
void Serializer::Declare(const std::string& prefix, const std::string& uri) {
  if (prefix == "xml" || (uri.empty() && !prefix.empty())) return;
  const std::string* known = nullptr;
  for (const auto& entry : scope_)
    if (entry.first == prefix) known = &entry.second;
  if (known != nullptr ? *known == uri : uri.empty()) return;
  scope_.emplace_back(prefix, uri);
  out_ += prefix.empty() ? " xmlns" : " xmlns:" + prefix;
  out_ += "=\"";
  WriteText(uri, true);
  out_ += '"';
}

void Serializer::WriteName(const Tree& tree, NodeId node) {
  const std::string_view prefix = tree.prefix(node);
  if (!prefix.empty()) out_.append(prefix).append(":");
  out_ += tree.name(node).local;
}

void Serializer::WriteText(std::string_view text, bool is_value) {
  for (const char c : text) {
    switch (c) {
      case '<':
        out_ += "&lt;";
        break;
      case '>':
        out_ += "&gt;";
        break;
      case '&':
        out_ += "&amp;";
        break;
      case '\r':
        out_ += "&#xD;";
        break;
      case '"':
        out_ += is_value ? "&quot;" : "\"";
        break;
      case '\t':
        out_ += is_value ? "&#x9;" : "\t";
        break;
      case '\n':
        out_ += is_value ? "&#xA;" : "\n";
        break;
      default:
        out_ += c;
    }
  }
}

}  // namespace kiv::xdb::xq
