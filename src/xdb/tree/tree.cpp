#include "xdb/tree/tree.h"

#include <algorithm>

#include "xdb/tree/tokens.h"
#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
namespace {

// A place with this bit is an index of joined_.
constexpr std::uint32_t kJoined = 1U << 31;

}  // namespace

// Fills a tree with what the tokens say.
class TreeDecoder {
 public:
  explicit TreeDecoder(Tree& tree) : tree_(tree), nodes_(tree.nodes_) {}

  void Read() {
    if (tree_.bytes_.size() >= kJoined) ThrowDamaged("it is too large");
    StoredBytes bytes(tree_.bytes_);
    tree_.head_ = TakeHead(bytes);
    nodes_.reserve(tree_.head_.node_count);
    Add(NodeKind::Document, 0, 0);
    TokenReader reader(bytes.Rest(), bytes.Position(), *tree_.dictionary_,
                       *this);
    if (reader.Read() != tree_.head_.node_count)
      ThrowDamaged("the number of nodes is wrong");
    nodes_.front().size = tree_.head_.node_count;
  }

  void Start(const NamedToken& named) {
    AddNamed(NodeKind::Element, named, named.path_id);
    parent_ = named.node;
  }
  void Empty(const NamedToken& named) {
    AddNamed(NodeKind::Element, named, named.path_id);
  }
  void Leaf(const NamedToken& named, const TextToken& text) {
    AddNamed(NodeKind::Element, named, named.path_id);
    nodes_.back().size = 2;
    nodes_.push_back({Word(NodeKind::Text, 0), 1, named.node,
                      static_cast<std::uint32_t>(text.place)});
  }
  void Attribute(const NamedToken& named, const TextToken&) {
    AddNamed(NodeKind::Attribute, named, named.place);
  }
  void Namespace(std::uint32_t, std::string_view, std::string_view,
                 std::size_t place) {
    Add(NodeKind::Namespace, 0, place);
  }
  void Text(std::uint32_t node, const TextToken& text, bool is_joined) {
    if (node == 0) return;
    if (is_joined)
      Join(text.text);
    else
      Add(NodeKind::Text, 0, text.place);
  }
  void CData(std::uint32_t node, const TextToken& text, bool is_joined) {
    Text(node, text, is_joined);
  }
  void Comment(std::uint32_t, const TextToken& text) {
    Add(NodeKind::Comment, 0, text.place);
  }
  void Instruction(std::uint32_t, std::string_view, std::string_view,
                   std::size_t place) {
    Add(NodeKind::Instruction, 0, place);
  }
  void End(const NamedToken& named, std::uint32_t next_node) {
    Node& element = nodes_[named.node];
    element.size = next_node - named.node;
    parent_ = element.parent;
  }

 private:
  static std::uint32_t Word(NodeKind kind, NameId name) {
    return static_cast<std::uint32_t>(kind) | name << 4;
  }

  void Add(NodeKind kind, NameId name, std::size_t place) {
    // The tokens may hold more nodes than the head said.
    if (nodes_.size() > tree_.head_.node_count)
      ThrowDamaged("the number of nodes is wrong");
    nodes_.push_back(
        {Word(kind, name), 1, parent_, static_cast<std::uint32_t>(place)});
  }

  void AddNamed(NodeKind kind, const NamedToken& named, std::size_t place) {
    Add(kind, named.path->name, place);
    if (named.has_prefix())
      tree_.prefixes_.emplace_back(named.node, named.prefix());
  }

  void Join(std::string_view more) {
    Node& node = nodes_.back();
    if ((node.place & kJoined) == 0) {
      const std::string_view first = tree_.value(tree_.node_count() - 1);
      node.place = kJoined | static_cast<std::uint32_t>(tree_.joined_.size());
      tree_.joined_.emplace_back(first);
    }
    tree_.joined_.back() += more;
  }

  Tree& tree_;
  std::vector<Node>& nodes_;
  NodeId parent_ = 0;
};

Tree::Tree(std::shared_ptr<const Dictionary> dictionary,
           std::shared_ptr<const void> keeper, std::string_view bytes)
    : dictionary_(std::move(dictionary)),
      keeper_(std::move(keeper)),
      bytes_(bytes) {
  TreeDecoder(*this).Read();
}

NodeId Tree::FirstChild(NodeId node) const {
  const NodeId end = End(node);
  NodeId child = node + 1;
  while (child != end && (kind(child) == NodeKind::Attribute ||
                          kind(child) == NodeKind::Namespace))
    ++child;
  return child;
}

PathId Tree::path(NodeId node) const {
  if (kind(node) != NodeKind::Attribute) return nodes_[node].place;
  StoredBytes bytes(bytes_.substr(nodes_[node].place));
  return static_cast<PathId>((bytes.Varint() - kFirstPath) / 4);
}

std::string_view Tree::prefix(NodeId node) const {
  const auto found = std::lower_bound(
      prefixes_.begin(), prefixes_.end(), node,
      [](const auto& entry, NodeId wanted) { return entry.first < wanted; });
  if (found != prefixes_.end() && found->first == node) return found->second;
  return name(node).prefix;
}

std::string_view Tree::value(NodeId node) const {
  const std::uint32_t place = nodes_[node].place;
  switch (kind(node)) {
    case NodeKind::Document:
    case NodeKind::Element:
      return {};
    case NodeKind::Text:
    case NodeKind::Comment: {
      if ((place & kJoined) != 0) return joined_[place & ~kJoined];
      return StoredBytes(bytes_.substr(place)).Sized();
    }
    case NodeKind::Attribute: {
      StoredBytes bytes(bytes_.substr(place));
      bytes.Varint();
      return bytes.Sized();
    }
    case NodeKind::Namespace:
    case NodeKind::Instruction: {
      StoredBytes bytes(bytes_.substr(place));
      bytes.Sized();
      return bytes.Sized();
    }
  }
  return {};
}

std::string_view Tree::target(NodeId node) const {
  if (kind(node) != NodeKind::Namespace && kind(node) != NodeKind::Instruction)
    return {};
  return StoredBytes(bytes_.substr(nodes_[node].place)).Sized();
}

std::string Tree::StringValue(NodeId node) const {
  if (kind(node) != NodeKind::Element && kind(node) != NodeKind::Document)
    return std::string(value(node));
  std::string text;
  for (NodeId i = node + 1; i != End(node); ++i)
    if (kind(i) == NodeKind::Text) text += value(i);
  return text;
}

std::span<const NodeId> Tree::ElementsNamed(NameId name) const {
  std::call_once(has_lists_,
                 [this] { lists_ = std::make_unique<NameLists>(nodes_); });
  return lists_->Find(static_cast<std::uint32_t>(NodeKind::Element) | name
                                                                          << 4);
}

std::size_t Tree::MemoryBytes() const {
  std::size_t bytes = sizeof(Tree) + bytes_.size() +
                      nodes_.capacity() * sizeof(Node) +
                      prefixes_.capacity() * sizeof(prefixes_.front());
  for (const std::string& text : joined_)
    bytes += sizeof(std::string) + text.size();
  if (node_count() >= kNodesForLists) bytes += node_count() * sizeof(NodeId);
  return bytes;
}

}  // namespace kiv::xdb
