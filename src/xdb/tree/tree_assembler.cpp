#include "xdb/tree/tree_assembler.h"

#include "xdb/tree/tokens.h"
#include "xdb/tree/tree_error.h"
#include "xdb/tree/varint.h"

namespace kiv::xdb {

TreeAssembler::TreeAssembler(std::shared_ptr<Dictionary> dictionary)
    : dictionary_(std::move(dictionary)), tree_(new Tree(dictionary_)) {}

void TreeAssembler::Add(NodeKind kind, NameId name, std::size_t place) {
  // The highest bit of a place means something else.
  if (place >= 1U << 31 || tree_->nodes_.size() >= 1U << 31)
    throw TreeError("a tree in memory is too large");
  tree_->nodes_.push_back({static_cast<std::uint32_t>(kind) | name << 4, 1,
                           open_.empty() ? 0 : open_.back(),
                           static_cast<std::uint32_t>(place)});
}

NameId TreeAssembler::NameOf(std::string_view prefix, std::string_view uri,
                             std::string_view local) {
  const auto known = dictionary_->FindName(uri, local);
  const NameId id = known ? *known : dictionary_->AddName(prefix, uri, local);
  if (dictionary_->name(id).prefix != prefix) {
    prefixes_.push_back({tree_->node_count(), bytes_.size(), prefix.size()});
    bytes_ += prefix;
  }
  return id;
}

void TreeAssembler::EndText() {
  if (text_.empty()) return;
  const std::size_t place = bytes_.size();
  AppendSized(bytes_, text_);
  text_.clear();
  Add(NodeKind::Text, 0, place);
}

void TreeAssembler::KeepEmptyText() {
  if (!text_.empty()) return;
  const std::size_t place = bytes_.size();
  AppendSized(bytes_, {});
  Add(NodeKind::Text, 0, place);
}

void TreeAssembler::StartDocument() {
  Add(NodeKind::Document, 0, 0);
  open_.push_back(tree_->node_count() - 1);
}

void TreeAssembler::StartElement(std::string_view prefix, std::string_view uri,
                                 std::string_view local) {
  EndText();
  Add(NodeKind::Element, NameOf(prefix, uri, local), kDocumentPath);
  open_.push_back(tree_->node_count() - 1);
}

void TreeAssembler::Namespace(std::string_view prefix, std::string_view uri) {
  const std::size_t place = bytes_.size();
  AppendSized(bytes_, prefix);
  AppendSized(bytes_, uri);
  Add(NodeKind::Namespace, 0, place);
}

void TreeAssembler::Attribute(std::string_view prefix, std::string_view uri,
                              std::string_view local, std::string_view value) {
  const NameId name = NameOf(prefix, uri, local);
  const std::size_t place = bytes_.size();
  AppendVarint(bytes_, kFirstPath);
  AppendSized(bytes_, value);
  Add(NodeKind::Attribute, name, place);
}

void TreeAssembler::Comment(std::string_view text) {
  EndText();
  const std::size_t place = bytes_.size();
  AppendSized(bytes_, text);
  Add(NodeKind::Comment, 0, place);
}

void TreeAssembler::Instruction(std::string_view target,
                                std::string_view content) {
  EndText();
  const std::size_t place = bytes_.size();
  AppendSized(bytes_, target);
  AppendSized(bytes_, content);
  Add(NodeKind::Instruction, 0, place);
}

void TreeAssembler::End() {
  EndText();
  const NodeId node = open_.back();
  open_.pop_back();
  tree_->nodes_[node].size = tree_->node_count() - node;
}

std::shared_ptr<const Tree> TreeAssembler::Take() {
  EndText();
  auto bytes = std::make_shared<const std::string>(std::move(bytes_));
  tree_->bytes_ = *bytes;
  tree_->prefixes_.reserve(prefixes_.size());
  for (const OtherPrefix& other : prefixes_) {
    tree_->prefixes_.emplace_back(
        other.node, tree_->bytes_.substr(other.place, other.size));
  }
  tree_->keeper_ = std::move(bytes);
  tree_->nodes_.shrink_to_fit();
  return std::move(tree_);
}

}  // namespace kiv::xdb
