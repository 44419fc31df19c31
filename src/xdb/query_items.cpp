#include "xdb/query_items.h"

#include <algorithm>
#include <string>
#include <utility>

#include "xdb/atomic_value.h"
#include "xdb/query_documents.h"
#include "xdb/tree/tree_text.h"
#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/run/serializer.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb {
namespace {

// A number or a text of any type, which it keeps for when it becomes the value
// of a variable.
class TypedValue final : public QueryValue {
 public:
  explicit TypedValue(const xq::Item& item)
      : type_(item.type()), text_(xq::TextOf(item)) {
    if (xq::IsNumeric(type_)) number_ = xq::ToDouble(item);
  }

  Kind kind() const override {
    return xq::IsNumeric(type_) ? Kind::Number : Kind::String;
  }
  std::string AsString() const override { return text_; }
  double AsNumber() const override {
    return kind() == Kind::Number ? number_ : NumberOfText(text_);
  }
  bool AsBoolean() const override {
    return kind() == Kind::Number ? MakeNumber(number_)->AsBoolean()
                                  : !text_.empty();
  }
  bool Equals(const QueryValue& other) const override {
    if (other.kind() != kind()) return false;
    return kind() == Kind::Number ? other.AsNumber() == number_
                                  : other.AsString() == text_;
  }

  xq::Item ToItem() const {
    // The namespace of a name is not in its text.
    if (type_ == xq::Type::QName || type_ == xq::Type::Notation)
      return xq::Item::OfText(text_);
    return xq::FromText(text_, type_);
  }

 private:
  const xq::Type type_;
  const std::string text_;
  double number_ = 0;
};

class NodeValue : public QueryValue {
 public:
  Kind kind() const final { return Kind::Node; }
  double AsNumber() const final { return NumberOfText(AsString()); }
  bool AsBoolean() const final { return true; }

  virtual xq::Item ToItem() const = 0;
};

std::string Written(const Tree& tree, NodeId node) {
  std::string text;
  xq::Serializer serializer(text);
  if (tree.kind(node) == NodeKind::Attribute)
    serializer.WriteAttribute(tree, node);
  else
    serializer.WriteNode(tree, node);
  return text;
}

// Whether what is written of it is a document.
bool IsDocument(const Tree& tree, NodeId node) {
  if (tree.kind(node) == NodeKind::Element) return true;
  if (tree.kind(node) != NodeKind::Document) return false;
  int elements = 0;
  for (NodeId child = tree.FirstChild(node); child < tree.End(node);
       child = tree.End(child)) {
    if (tree.kind(child) == NodeKind::Text) return false;
    if (tree.kind(child) == NodeKind::Element) ++elements;
  }
  return elements == 1;
}

xq::Item ItemOf(const std::shared_ptr<const Tree>& tree,
                const std::shared_ptr<const xq::TreeOrigin>& origin,
                NodeId node) {
  auto* held = xq::Counted::Make<xq::HeldTree>(0, tree, 0, origin);
  xq::Item item = xq::Item::OfNode(held, node);
  held->Drop();
  return item;
}

// The numbers of a node and of those around it among the children.
std::vector<std::uint32_t> StepsTo(const Tree& tree, NodeId node) {
  std::vector<std::uint32_t> steps;
  while (node != 0) {
    const NodeId parent = tree[node].parent;
    std::uint32_t step = 0;
    for (NodeId child = tree.FirstChild(parent); child != node;
         child = tree.End(child)) {
      ++step;
    }
    steps.push_back(step);
    node = parent;
  }
  // An element that is the root lies in the document that it is written as.
  if (tree.kind(0) != NodeKind::Document) steps.push_back(0);
  std::reverse(steps.begin(), steps.end());
  return steps;
}

class LiveNode final : public NodeValue {
 public:
  explicit LiveNode(const xq::Item& item)
      : tree_(item.held_tree()->shared_tree()),
        origin_(item.held_tree()->origin()),
        node_(item.node()) {}

  std::string AsString() const override { return tree_->StringValue(node_); }
  std::string AsXml() const override { return Written(*tree_, node_); }
  bool Equals(const QueryValue& other) const override;
  NodePlace Place() const override;
  xq::Item ToItem() const override { return ItemOf(tree_, origin_, node_); }

 private:
  const StoredOrigin* stored() const {
    return dynamic_cast<const StoredOrigin*>(origin_.get());
  }
  std::shared_ptr<const StoredDocument> Document() const;

  const std::shared_ptr<const Tree> tree_;
  const std::shared_ptr<const xq::TreeOrigin> origin_;
  const NodeId node_;
};

// Two queries may each have read the document.
bool LiveNode::Equals(const QueryValue& other) const {
  const auto* node = dynamic_cast<const LiveNode*>(&other);
  if (node == nullptr || node->node_ != node_) return false;
  if (node->tree_ == tree_) return true;
  const StoredOrigin* const here = stored();
  const StoredOrigin* const there = node->stored();
  return here != nullptr && there != nullptr &&
         here->container_file == there->container_file &&
         here->document_uri == there->document_uri &&
         tree_->bytes() == node->tree_->bytes();
}

std::shared_ptr<const StoredDocument> LiveNode::Document() const {
  auto document = std::make_shared<StoredDocument>();
  const StoredOrigin* const origin = stored();
  if (origin != nullptr) {
    document->name = origin->name;
    document->content = TreeText(tree_->bytes(), tree_->dictionary());
    document->container_file = origin->container_file;
    document->stored_name = origin->name;
  } else if (IsDocument(*tree_, 0)) {
    document->content = Written(*tree_, 0);
  } else {
    return nullptr;
  }
  return document;
}

NodePlace LiveNode::Place() const {
  NodePlace place;
  place.document = Document();
  if (place.document == nullptr) return place;
  NodeId node = node_;
  if (tree_->kind(node) == NodeKind::Attribute) {
    place.is_attribute = true;
    place.attribute_uri = tree_->name(node).uri;
    place.attribute_name = tree_->name(node).local;
    node = (*tree_)[node].parent;
  }
  place.steps = StepsTo(*tree_, node);
  return place;
}

class DeadNode final : public NodeValue {
 public:
  explicit DeadNode(const xq::Item& item)
      : text_(item.tree().StringValue(item.node())) {
    const Tree& tree = item.tree();
    std::string written = Written(tree, item.node());
    if (!IsDocument(tree, item.node())) {
      fragment_ = std::move(written);
      return;
    }
    auto document = std::make_shared<StoredDocument>();
    document->content = std::move(written);
    document_ = std::move(document);
    is_element_ = tree.kind(item.node()) == NodeKind::Element;
  }

  std::string AsString() const override { return text_; }
  std::string AsXml() const override {
    if (document_ == nullptr) return fragment_;
    return document_->content;
  }
  bool Equals(const QueryValue& other) const override { return this == &other; }
  NodePlace Place() const override {
    NodePlace place;
    place.document = document_;
    if (is_element_) place.steps = {0};
    return place;
  }
  xq::Item ToItem() const override {
    throw xq::Error("XPTY0004", "a dead node is no value for a variable");
  }

 private:
  const std::string text_;
  std::shared_ptr<const StoredDocument> document_;
  std::string fragment_;  // of what is no document
  bool is_element_ = false;
};

}  // namespace

std::string QueryValue::AsXml() const {
  std::string xml;
  xq::Serializer(xml).Write(xq::Item::OfText(AsString()));
  return xml;
}

std::shared_ptr<const QueryValue> ValueOfItem(const xq::Item& item,
                                              bool is_dead) {
  if (item.IsNode()) {
    if (is_dead) return std::make_shared<DeadNode>(item);
    return std::make_shared<LiveNode>(item);
  }
  switch (item.type()) {
    case xq::Type::String:
      return MakeString(std::string(item.AsText()));
    case xq::Type::Double:
      return MakeNumber(item.AsDouble());
    case xq::Type::Boolean:
      return MakeBoolean(item.AsBoolean());
    default:
      return std::make_shared<TypedValue>(item);
  }
}

xq::Sequence ItemsOfValue(const QueryValue& value) {
  if (const auto* typed = dynamic_cast<const TypedValue*>(&value))
    return {typed->ToItem()};
  switch (value.kind()) {
    case QueryValue::Kind::Boolean:
      return {xq::Item::OfBoolean(value.AsBoolean())};
    case QueryValue::Kind::Number:
      return {xq::Item::OfDouble(value.AsNumber())};
    case QueryValue::Kind::String:
      return {xq::Item::OfText(value.AsString())};
    case QueryValue::Kind::Node:
      break;
  }
  const auto* node = dynamic_cast<const NodeValue*>(&value);
  if (node == nullptr)
    throw xq::Error("XPTY0004", "the node belongs to no query");
  return {node->ToItem()};
}

}  // namespace kiv::xdb
