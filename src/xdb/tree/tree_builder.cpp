#include "xdb/tree/tree_builder.h"

#include "xdb/tree/tokens.h"
#include "xdb/tree/tree_error.h"

namespace kiv::xdb {

PathSource::Found GrowingPaths::Child(PathId parent, PathKind kind,
                                      const XmlName& name) {
  const auto known = dictionary_.FindName(name.uri, name.local);
  const NameId id =
      known ? *known : dictionary_.AddName(name.prefix, name.uri, name.local);
  const auto path = dictionary_.FindPath(parent, kind, id);
  return {path ? *path : dictionary_.AddPath(parent, kind, id),
          dictionary_.name(id).prefix != name.prefix};
}

void TreeBuilder::Declaration(std::string_view version,
                              std::string_view encoding,
                              XmlStandalone standalone) {
  head_.has_declaration = true;
  head_.is_version_11 = version == "1.1";
  head_.standalone = standalone;
  encoding_ = encoding;
}

// Writes all of the token but its form.
PathId TreeBuilder::Begin(PathKind kind, const XmlName& name) {
  const PathId parent = open_.empty() ? kDocumentPath : open_.back();
  const PathSource::Found found = paths_.Child(parent, kind, name);
  if (found.is_other_prefix) {
    AppendVarint(tokens_, kPrefix);
    AppendSized(tokens_, name.prefix);
  }
  ++node_count_;
  return found.path;
}

void TreeBuilder::StartElement(const XmlName& name,
                               std::span<const XmlNamespace> namespaces,
                               std::span<const XmlAttribute> attributes) {
  ForgetTexts();
  const PathId path = Begin(PathKind::Element, name);
  const std::size_t start = tokens_.size();
  AppendVarint(tokens_, kFirstPath + 4 * std::uint64_t{path} + kStart);
  open_.push_back(path);
  for (const XmlNamespace& declared : namespaces) {
    AppendVarint(tokens_, kNamespace);
    AppendSized(tokens_, declared.prefix);
    AppendSized(tokens_, declared.uri);
    ++node_count_;
  }
  for (const XmlAttribute& attribute : attributes) {
    const PathId attribute_path = Begin(PathKind::Attribute, attribute.name);
    const bool is_plain = IsPlainValue(attribute.value, head_.is_version_11);
    AppendVarint(tokens_, kFirstPath + 4 * std::uint64_t{attribute_path} +
                              (is_plain ? kValue : kSpecialValue));
    AppendSized(tokens_, attribute.value);
  }
  if (namespaces.empty() && attributes.empty()) bare_start_ = start;
}

void TreeBuilder::EndElement() {
  if (open_.empty()) throw TreeError("an end without an element");
  open_.pop_back();
  if (bare_start_ == kNone) {
    ForgetTexts();
    AppendVarint(tokens_, kEnd);
    return;
  }
  // The form is in the lowest bits, so the token keeps its size.
  const auto set_form = [this](ElementForm form) {
    tokens_[bare_start_] = static_cast<char>(tokens_[bare_start_] | form);
  };
  if (text_.empty()) {
    set_form(kEmpty);
  } else {
    set_form(IsPlainText(text_, head_.is_version_11) ? kLeaf : kSpecialLeaf);
    AppendSized(tokens_, text_);
    ++node_count_;
    text_.clear();
  }
  bare_start_ = kNone;
}

void TreeBuilder::Text(std::string_view text) { text_ += text; }

// What was collected becomes a token of its own.
void TreeBuilder::EndText() {
  bare_start_ = kNone;
  if (text_.empty()) return;
  AppendVarint(tokens_,
               IsPlainText(text_, head_.is_version_11) ? kText : kSpecialText);
  AppendSized(tokens_, text_);
  text_.clear();
  if (!is_in_text_) ++node_count_;
  is_in_text_ = true;
}

void TreeBuilder::ForgetTexts() {
  EndText();
  is_in_text_ = false;
}

void TreeBuilder::CData(std::string_view text) {
  EndText();
  AppendVarint(tokens_, kCData);
  AppendSized(tokens_, text);
  if (text.empty()) return;
  if (!is_in_text_) ++node_count_;
  is_in_text_ = true;
}

void TreeBuilder::Comment(std::string_view text) {
  ForgetTexts();
  AppendVarint(tokens_, kComment);
  AppendSized(tokens_, text);
  ++node_count_;
}

void TreeBuilder::ProcessingInstruction(std::string_view target,
                                        std::string_view content) {
  ForgetTexts();
  AppendVarint(tokens_, kInstruction);
  AppendSized(tokens_, target);
  AppendSized(tokens_, content);
  ++node_count_;
}

void TreeBuilder::TakeTree(std::string& out) {
  if (!open_.empty()) throw TreeError("an element does not end");
  head_.encoding = encoding_;
  head_.node_count = node_count_;
  out.reserve(out.size() + tokens_.size() + 16);
  AppendHead(out, head_);
  out += tokens_;
  head_ = {};
  encoding_.clear();
  tokens_.clear();
  node_count_ = 1;
  text_.clear();
  is_in_text_ = false;
}

}  // namespace kiv::xdb
