#include "xdb/xquery/run/node_writer.h"

#include <algorithm>

namespace kiv::xdb::xq {
namespace {

bool IsUsed(const Tree& tree, NodeId element, std::string_view prefix) {
  if (tree.prefix(element) == prefix) return true;
  for (NodeId i = element + 1; i != tree.FirstChild(element); ++i) {
    if (tree.kind(i) == NodeKind::Attribute && !prefix.empty() &&
        tree.prefix(i) == prefix) {
      return true;
    }
  }
  return false;
}

}  // namespace

NodeWriter::NodeWriter(Execution& run, std::string base_uri)
    : run_(run), assembler_(run.dictionary()), base_uri_(std::move(base_uri)) {}

const std::string* NodeWriter::FindAmong(std::size_t count,
                                         std::string_view prefix) const {
  for (std::size_t i = count; i != 0; --i)
    if (scope_[i - 1].first == prefix) return &scope_[i - 1].second;
  return nullptr;
}

bool NodeWriter::IsDeclaredHere(const std::string& prefix) const {
  for (std::size_t i = levels_.back().scope_size; i != scope_.size(); ++i)
    if (scope_[i].first == prefix) return true;
  return false;
}

void NodeWriter::Declare(const std::string& prefix, const std::string& uri) {
  if (prefix == "xml") return;
  own_.push_back(prefix);
  const std::string* known = Find(prefix);
  if (known != nullptr ? *known == uri : uri.empty()) return;
  scope_.emplace_back(prefix, uri);
}

void NodeWriter::Count() {
  run_.Tick();
  charge_.GrowTo(assembler_.MemoryBytes() + attribute_bytes_);
}

void NodeWriter::StartDocument() {
  assembler_.StartDocument();
  levels_.push_back({scope_.size(), scope_.size(), true});
}

void NodeWriter::StartElement(const QName& name) {
  Flush();
  Count();
  const std::size_t inherited = std::exchange(is_nested_, false)
                                    ? levels_.back().inherited
                                    : scope_.size();
  levels_.push_back({scope_.size(), inherited, false});
  pending_ = name;
}

void NodeWriter::DeclareNamespace(const std::string& prefix,
                                  const std::string& uri) {
  Declare(prefix, uri);
}

void NodeWriter::Attribute(const QName& name, std::string_view value) {
  if (!pending_) {
    if (levels_.empty()) {
      assembler_.Attribute(name.prefix, name.uri, name.local, value);
      return;
    }
    if (levels_.back().is_document)
      throw Error("XPTY0004", "an attribute in a document");
    throw Error("XQTY0024", "an attribute behind other content");
  }
  for (const PendingAttribute& other : attributes_) {
    if (other.name == name) {
      throw Error("XQDY0025", "the attribute " + name.local + " twice");
    }
  }
  attributes_.push_back({name, std::string(value)});
  attribute_bytes_ += sizeof(PendingAttribute) + value.size();
  Count();
}

// The prefix under which the URI of an attribute's name is in scope.
std::string NodeWriter::PrefixFor(const QName& name) {
  if (name.uri == kXmlNamespace) return "xml";
  const std::string* known = Find(name.prefix);
  if (!name.prefix.empty() && known != nullptr && *known == name.uri)
    return name.prefix;
  if (!name.prefix.empty() && !IsDeclaredHere(name.prefix)) {
    Declare(name.prefix, name.uri);
    return name.prefix;
  }
  for (auto entry = scope_.rbegin(); entry != scope_.rend(); ++entry) {
    if (entry->second == name.uri && !entry->first.empty() &&
        Find(entry->first) == &entry->second) {
      return entry->first;
    }
  }
  for (int i = 0;; ++i) {
    std::string made = "ns" + std::to_string(i);
    if (Find(made) != nullptr) continue;
    Declare(made, name.uri);
    return made;
  }
}

// All that is not inherited, and that neither the element nor its attributes
// declare or use.
void NodeWriter::TakeOutOfScope(const QName& name) {
  const Level& level = levels_.back();
  for (std::size_t i = level.inherited; i != level.scope_size; ++i) {
    const std::string prefix = scope_[i].first;
    bool is_kept = IsDeclaredHere(prefix) || name.prefix == prefix ||
                   std::find(own_.begin(), own_.end(), prefix) != own_.end();
    for (const PendingAttribute& attribute : attributes_)
      is_kept = is_kept || (!prefix.empty() && attribute.name.prefix == prefix);
    if (is_kept) continue;
    const std::string* inherited = FindAmong(level.inherited, prefix);
    const std::string uri = inherited != nullptr ? *inherited : "";
    if (*Find(prefix) != uri) scope_.emplace_back(prefix, uri);
  }
}

void NodeWriter::Flush() {
  if (!pending_) return;
  QName name = *std::move(pending_);
  pending_.reset();
  const std::string* bound = Find(name.prefix);
  const bool is_bound =
      bound != nullptr ? *bound == name.uri : name.uri.empty();
  if (!is_bound && name.prefix != "xml") {
    if (IsDeclaredHere(name.prefix) && !name.uri.empty())
      name.prefix = PrefixFor({"", name.uri, name.local});
    else
      scope_.emplace_back(name.prefix, name.uri);
  }
  for (PendingAttribute& attribute : attributes_) {
    if (!attribute.name.uri.empty())
      attribute.name.prefix = PrefixFor(attribute.name);
    else
      attribute.name.prefix.clear();
  }
  TakeOutOfScope(name);
  own_.clear();
  assembler_.StartElement(name.prefix, name.uri, name.local);
  for (std::size_t i = levels_.back().scope_size; i != scope_.size(); ++i)
    assembler_.Namespace(scope_[i].first, scope_[i].second);
  for (const PendingAttribute& attribute : attributes_) {
    assembler_.Attribute(attribute.name.prefix, attribute.name.uri,
                         attribute.name.local, attribute.value);
  }
  attributes_.clear();
  attribute_bytes_ = 0;
}

void NodeWriter::Text(std::string_view text) {
  if (text.empty()) return;
  Flush();
  assembler_.Text(text);
  Count();
}

void NodeWriter::Comment(std::string_view text) {
  Flush();
  assembler_.Comment(text);
  Count();
}

void NodeWriter::Instruction(std::string_view target,
                             std::string_view content) {
  Flush();
  assembler_.Instruction(target, content);
  Count();
}

void NodeWriter::End() {
  Flush();
  assembler_.End();
  scope_.resize(levels_.back().scope_size);
  levels_.pop_back();
}

void NodeWriter::OnlyText(std::string_view text) {
  assembler_.Text(text);
  assembler_.KeepEmptyText();
}

void NodeWriter::Copy(const Item& node, const CopyModes& modes) {
  const Tree& tree = node.tree();
  if (tree.kind(node.node()) != NodeKind::Document)
    return CopyNode(tree, node.node(), modes);
  for (NodeId child = tree.FirstChild(node.node());
       child < tree.End(node.node()); child = tree.End(child)) {
    CopyNode(tree, child, modes);
  }
}

void NodeWriter::CopyNode(const Tree& tree, NodeId node,
                          const CopyModes& modes) {
  switch (tree.kind(node)) {
    case NodeKind::Element:
      return CopyElement(tree, node, modes);
    case NodeKind::Attribute: {
      const Name& name = tree.name(node);
      return Attribute({std::string(tree.prefix(node)), name.uri, name.local},
                       tree.value(node));
    }
    case NodeKind::Text:
      return Text(tree.value(node));
    case NodeKind::Comment:
      return Comment(tree.value(node));
    case NodeKind::Instruction:
      return Instruction(tree.target(node), tree.value(node));
    default:
      return;
  }
}

void NodeWriter::CopyNamespaces(const Tree& tree, NodeId node,
                                const CopyModes& modes) {
  if (!modes.inherit) InheritNothing();
  for (const auto& [prefix, uri] : NamespacesOf(tree, node))
    if (modes.preserve || IsUsed(tree, node, prefix)) Declare(prefix, uri);
}

// Of an element inside the one that is copied, which inherits from around that
// one: the first `outer` entries of the scope.
void NodeWriter::CopyInnerNamespaces(const Tree& tree, NodeId node,
                                     const CopyModes& modes,
                                     std::size_t outer) {
  if (!modes.inherit) outer = 0;
  if (!modes.preserve) levels_.back().inherited = outer;
  for (NodeId i = node + 1;
       i < tree.End(node) && tree.kind(i) == NodeKind::Namespace; ++i) {
    const std::string prefix(tree.target(i));
    const bool is_used = IsUsed(tree, node, prefix);
    if (!modes.preserve && !is_used) continue;
    const std::string* uri = FindAmong(outer, prefix);
    if (is_used || uri == nullptr || !tree.value(i).empty())
      Declare(prefix, std::string(tree.value(i)));
    else
      Declare(prefix, std::string(*uri));
  }
}

// By a stack of its own, for elements may lie deeper than the native one can
// bear.
void NodeWriter::CopyElement(const Tree& tree, NodeId node,
                             const CopyModes& modes) {
  std::vector<NodeId> ends;
  const NodeId end = tree.End(node);
  std::size_t outer = 0;
  for (NodeId i = node; i != end;) {
    for (; !ends.empty() && ends.back() == i; ends.pop_back()) End();
    if (tree.kind(i) != NodeKind::Element) {
      if (tree.kind(i) != NodeKind::Namespace) CopyNode(tree, i, modes);
      ++i;
      continue;
    }
    const Name& name = tree.name(i);
    StartElement({std::string(tree.prefix(i)), name.uri, name.local});
    if (i == node) {
      outer = levels_.back().scope_size;
      CopyNamespaces(tree, i, modes);
    } else {
      CopyInnerNamespaces(tree, i, modes, outer);
    }
    ends.push_back(tree.End(i));
    ++i;
  }
  for (; !ends.empty(); ends.pop_back()) End();
}

Item NodeWriter::Take() {
  auto origin = std::make_shared<TreeOrigin>();
  origin->base_uri = base_uri_;
  return run_.HoldNew(assembler_.Take(), std::move(origin));
}

}  // namespace kiv::xdb::xq
