#ifndef XDB_TREE_TREE_BUILDER_H_
#define XDB_TREE_TREE_BUILDER_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/tree/dictionary.h"
#include "xdb/tree/stored_tree.h"
#include "xml/xml_events.h"

namespace kiv::xdb {

// Where a builder finds the paths of its elements and attributes.
class PathSource {
 public:
  struct Found {
    PathId path = kDocumentPath;
    bool is_other_prefix = false;  // than that of the path's name
  };

  virtual ~PathSource() = default;
  virtual Found Child(PathId parent, PathKind kind, const XmlName& name) = 0;
};

// A dictionary that takes what it lacks.
class GrowingPaths final : public PathSource {
 public:
  explicit GrowingPaths(Dictionary& dictionary) : dictionary_(dictionary) {}
  Found Child(PathId parent, PathKind kind, const XmlName& name) override;

 private:
  Dictionary& dictionary_;
};

// Makes the stored form of a tree of the events of a document, or of calls as
// these: one root, every element ended.
class TreeBuilder final : public XmlEvents {
 public:
  explicit TreeBuilder(PathSource& paths) : paths_(paths) {}

  void Declaration(std::string_view version, std::string_view encoding,
                   XmlStandalone standalone) override;
  void StartElement(const XmlName& name,
                    std::span<const XmlNamespace> namespaces,
                    std::span<const XmlAttribute> attributes) override;
  void EndElement() override;
  void Text(std::string_view text) override;
  void CData(std::string_view text) override;
  void Comment(std::string_view text) override;
  void ProcessingInstruction(std::string_view target,
                             std::string_view content) override;

  // Appends the tree to `out`, and begins anew.
  void TakeTree(std::string& out);

 private:
  PathId Begin(PathKind kind, const XmlName& name);
  void EndText();
  void ForgetTexts();

  PathSource& paths_;
  TreeHead head_;
  std::string encoding_;
  std::string tokens_;
  std::vector<PathId> open_;
  std::uint32_t node_count_ = 1;  // the document
  // Where the token of the element begins that has nothing in it yet.
  std::size_t bare_start_ = kNone;
  std::string text_;
  bool is_in_text_ = false;

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TREE_BUILDER_H_
