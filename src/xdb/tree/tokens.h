#ifndef XDB_TREE_TOKENS_H_
#define XDB_TREE_TOKENS_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "xdb/tree/dictionary.h"
#include "xdb/tree/varint.h"

// The stored form of a tree: a stream of tokens in document order. A token
// begins with a varint. Below kFirstPath it is one of Token; from there on it
// is kFirstPath + 4 x path id + form: an element or attribute of that path.
// Texts are their size as a varint, then their bytes.
//
//   element   Start ... End, or in one token a leaf with its only text, or an
//             empty one
//   attribute with its value, behind Start and the namespaces
namespace kiv::xdb {

enum Token : std::uint64_t {
  kEnd = 0,
  kText = 1,         // text that is written as it is
  kSpecialText = 2,  // text with characters that are written as references
  kCData = 3,        // text: one section
  kComment = 4,      // text
  kInstruction = 5,  // target, text
  kNamespace = 6,    // prefix, uri
  kPrefix = 7,       // prefix of the next element or attribute, where it is
                     // not that of its name
  kFirstPath = 16,
};

enum ElementForm : std::uint64_t {
  kStart = 0,
  kLeaf = 1,  // text
  kEmpty = 2,
  kSpecialLeaf = 3,  // text as in kSpecialText
};

enum AttributeForm : std::uint64_t {
  kValue = 0,         // text
  kSpecialValue = 1,  // text as in kSpecialText
};

// As deep as any document may be.
inline constexpr std::size_t kMostLevels = 10'000;

struct TextToken {
  std::string_view text;
  std::size_t place = 0;  // of the text's size
  bool is_special = false;
};

// An element or attribute. Small: there is one for nearly every token.
struct NamedToken {
  const Path* path = nullptr;
  const char* prefix_bytes = nullptr;  // null: that of its name
  std::uint32_t prefix_size = 0;
  std::uint32_t node = 0;
  PathId path_id = kDocumentPath;
  std::uint32_t place = 0;  // of its path

  bool has_prefix() const { return prefix_bytes != nullptr; }
  std::string_view prefix() const { return {prefix_bytes, prefix_size}; }
};

// Reads tokens and tells `sink` of them, with the number of the node that each
// makes: nodes are numbered in document order from 0, the document. Adjacent
// texts and sections make one node.
//
// Sink: Start(named), Namespace(node, prefix, uri, place), Attribute(named,
// text), Leaf(named, text), Empty(named), Text(node, text, is_joined),
// CData(node, text, is_joined), Comment(node, text), Instruction(node, target,
// content, place), End(named, next_node). An empty section makes no node and
// has the number 0.
//
// Throws TreeError for what this library never writes.
template <class Sink>
class TokenReader {
 public:
  TokenReader(std::string_view tokens, std::size_t first_place,
              const Dictionary& dictionary, Sink& sink)
      : bytes_(tokens),
        first_place_(first_place),
        dictionary_(dictionary),
        sink_(sink) {
    levels_.reserve(16);
    levels_.emplace_back();
  }

  // The number of nodes.
  std::uint32_t Read() {
    while (!bytes_.AtEnd()) {
      const std::size_t place = Place();
      const std::uint64_t token = bytes_.Varint();
      if (token >= kFirstPath)
        ReadNamed(token - kFirstPath, place);
      else
        ReadOther(token);
    }
    if (levels_.size() != 1 || !has_root_ || prefix_.data() != nullptr)
      ThrowDamaged("the tree does not end");
    return next_node_;
  }

 private:
  std::size_t Place() const { return first_place_ + bytes_.Position(); }

  TextToken Text(bool is_special) {
    TextToken token;
    token.place = Place();
    token.text = bytes_.Sized();
    token.is_special = is_special;
    return token;
  }

  void ReadNamed(std::uint64_t number, std::size_t place) {
    if (!dictionary_.HasPath(number / 4))
      throw UnknownPath("a path is not in the dictionary");
    const auto path_id = static_cast<PathId>(number / 4);
    const NamedToken named{&dictionary_.path(path_id),
                           prefix_.data(),
                           static_cast<std::uint32_t>(prefix_.size()),
                           next_node_++,
                           path_id,
                           static_cast<std::uint32_t>(place)};
    prefix_ = {};
    if (named.path->parent != parent_)
      ThrowDamaged("a path is in the wrong place");
    if (named.path->kind == PathKind::Element)
      ReadElement(named, number % 4);
    else
      ReadAttribute(named, number % 4);
  }

  void ReadElement(const NamedToken& named, std::uint64_t form) {
    if (levels_.size() == 1) {
      if (has_root_) ThrowDamaged("there are two roots");
      has_root_ = true;
    }
    may_have_attributes_ = false;
    is_in_text_ = false;
    switch (form) {
      case kStart:
        if (levels_.size() > kMostLevels) ThrowDamaged("it is too deep");
        levels_.push_back(named);
        parent_ = named.path_id;
        may_have_attributes_ = true;
        return sink_.Start(named);
      case kEmpty:
        return sink_.Empty(named);
      default: {
        const TextToken text = Text(form == kSpecialLeaf);
        ++next_node_;
        return sink_.Leaf(named, text);
      }
    }
  }

  void ReadAttribute(const NamedToken& named, std::uint64_t form) {
    if (named.path->kind != PathKind::Attribute || !may_have_attributes_ ||
        form > kSpecialValue)
      ThrowDamaged("an attribute is in the wrong place");
    const TextToken text = Text(form == kSpecialValue);
    sink_.Attribute(named, text);
  }

  void ReadOther(std::uint64_t token) {
    if (prefix_.data() != nullptr) ThrowDamaged("a prefix belongs to nothing");
    switch (token) {
      case kEnd: {
        if (levels_.size() == 1) ThrowDamaged("an end is in the wrong place");
        const NamedToken named = levels_.back();
        levels_.pop_back();
        parent_ = levels_.back().path_id;
        EndOfText();
        return sink_.End(named, next_node_);
      }
      case kText:
      case kSpecialText:
      case kCData:
        return ReadText(token);
      case kComment: {
        EndOfText();
        const TextToken text = Text(false);
        return sink_.Comment(next_node_++, text);
      }
      case kInstruction: {
        EndOfText();
        const std::size_t target_place = Place();
        const std::string_view target = bytes_.Sized();
        const std::string_view content = bytes_.Sized();
        return sink_.Instruction(next_node_++, target, content, target_place);
      }
      case kNamespace: {
        if (!may_have_attributes_)
          ThrowDamaged("a namespace is in the wrong place");
        const std::size_t prefix_place = Place();
        const std::string_view prefix = bytes_.Sized();
        const std::string_view uri = bytes_.Sized();
        return sink_.Namespace(next_node_++, prefix, uri, prefix_place);
      }
      case kPrefix:
        prefix_ = bytes_.Sized();
        return;
      default:
        ThrowDamaged("a token has no meaning");
    }
  }

  void ReadText(std::uint64_t token) {
    if (levels_.size() == 1) ThrowDamaged("a text is outside of the root");
    may_have_attributes_ = false;
    const TextToken text = Text(token == kSpecialText);
    const bool is_joined = is_in_text_;
    std::uint32_t node = 0;
    if (!text.text.empty()) {
      node = is_joined ? next_node_ - 1 : next_node_++;
      is_in_text_ = true;
    }
    if (token == kCData)
      sink_.CData(node, text, is_joined);
    else
      sink_.Text(node, text, is_joined);
  }

  void EndOfText() {
    is_in_text_ = false;
    may_have_attributes_ = false;
  }

  StoredBytes bytes_;
  const std::size_t first_place_;
  const Dictionary& dictionary_;
  Sink& sink_;
  std::vector<NamedToken> levels_;
  PathId parent_ = kDocumentPath;  // that of the last level
  std::uint32_t next_node_ = 1;
  bool has_root_ = false;
  bool may_have_attributes_ = false;
  bool is_in_text_ = false;
  // Of the next element or attribute; without bytes, not even none, when
  // nothing is said.
  std::string_view prefix_;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TOKENS_H_
