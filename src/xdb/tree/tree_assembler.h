#ifndef XDB_TREE_TREE_ASSEMBLER_H_
#define XDB_TREE_TREE_ASSEMBLER_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/tree/tree.h"

namespace kiv::xdb {

// Makes a tree in memory, node by node in document order, without a stored
// form. Its root may be any node, and a document may hold any number of
// elements and texts. Its elements have no paths, and bytes() is not a stored
// tree.
class TreeAssembler {
 public:
  explicit TreeAssembler(std::shared_ptr<Dictionary> dictionary);

  void StartDocument();
  void StartElement(std::string_view prefix, std::string_view uri,
                    std::string_view local);
  // Directly behind their element, namespaces first.
  void Namespace(std::string_view prefix, std::string_view uri);
  void Attribute(std::string_view prefix, std::string_view uri,
                 std::string_view local, std::string_view value);
  // Adjacent texts become one node, an empty one none. KeepEmptyText makes a
  // node all the same.
  void Text(std::string_view text) { text_ += text; }
  void KeepEmptyText();
  void Comment(std::string_view text);
  void Instruction(std::string_view target, std::string_view content);
  // Of the element or document that was started last.
  void End();

  std::shared_ptr<const Tree> Take();

  // Bytes of memory by now, roughly.
  std::size_t MemoryBytes() const {
    return bytes_.capacity() + text_.capacity() +
           tree_->nodes_.capacity() * sizeof(Node) +
           prefixes_.capacity() * sizeof(OtherPrefix);
  }

 private:
  // Where the bytes of a prefix will lie is known when they stop moving.
  struct OtherPrefix {
    NodeId node;
    std::size_t place;
    std::size_t size;
  };

  void Add(NodeKind kind, NameId name, std::size_t place);
  NameId NameOf(std::string_view prefix, std::string_view uri,
                std::string_view local);
  void EndText();

  std::shared_ptr<Dictionary> dictionary_;
  std::shared_ptr<Tree> tree_;
  std::string bytes_;
  std::string text_;
  std::vector<NodeId> open_;
  std::vector<OtherPrefix> prefixes_;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TREE_ASSEMBLER_H_
