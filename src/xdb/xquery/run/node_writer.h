#ifndef XDB_XQUERY_RUN_NODE_WRITER_H_
#define XDB_XQUERY_RUN_NODE_WRITER_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/tree/tree_assembler.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/nodes.h"

namespace kiv::xdb::xq {

struct CopyModes {
  bool preserve = true;
  bool inherit = true;
};

// Makes one tree of what constructors say: gives names their namespaces, copies
// nodes, joins texts, and refuses what may not be where it is.
class NodeWriter {
 public:
  NodeWriter(Execution& run, std::string base_uri);

  void StartDocument();
  void StartElement(const QName& name);
  // The next element is no copy, as what an enclosed expression gives is: what
  // came into scope with the elements around it by being used is not in scope
  // of it.
  void NestNext() { is_nested_ = true; }
  // Of the element that was started last, before anything else of it.
  void DeclareNamespace(const std::string& prefix, const std::string& uri);
  // What is in scope around it and not of its own is not in scope of it.
  void InheritNothing() { levels_.back().inherited = 0; }
  // XQDY0025 for a name twice; XQTY0024, or XPTY0004 in a document, behind
  // other content.
  void Attribute(const QName& name, std::string_view value);
  void Text(std::string_view text);
  void Comment(std::string_view text);
  void Instruction(std::string_view target, std::string_view content);
  void End();

  // A copy of the node and all that is in it; documents give their children.
  void Copy(const Item& node, const CopyModes& modes);

  // A tree of one text node, which may be empty.
  void OnlyText(std::string_view text);

  Item Take();

 private:
  struct PendingAttribute {
    QName name;
    std::string value;
  };
  struct Level {
    std::size_t scope_size;
    // So many entries of the scope around it are in scope of it as well.
    std::size_t inherited;
    bool is_document;
  };

  const std::string* Find(std::string_view prefix) const {
    return FindAmong(scope_.size(), prefix);
  }
  // In the first so many entries of the scope.
  const std::string* FindAmong(std::size_t count,
                               std::string_view prefix) const;
  bool IsDeclaredHere(const std::string& prefix) const;
  void Declare(const std::string& prefix, const std::string& uri);
  std::string PrefixFor(const QName& name);
  void TakeOutOfScope(const QName& name);
  // Writes out the element that waits for its attributes.
  void Flush();
  // Whatever is made passes here.
  void Count();
  void CopyElement(const Tree& tree, NodeId node, const CopyModes& modes);
  void CopyNamespaces(const Tree& tree, NodeId node, const CopyModes& modes);
  void CopyInnerNamespaces(const Tree& tree, NodeId node,
                           const CopyModes& modes, std::size_t outer);
  void CopyNode(const Tree& tree, NodeId node, const CopyModes& modes);

  Execution& run_;
  TreeAssembler assembler_;
  MemoryCharge charge_;
  const std::string base_uri_;
  // Declarations in force, the inner ones last.
  std::vector<std::pair<std::string, std::string>> scope_;
  std::vector<Level> levels_;
  std::optional<QName> pending_;
  // Prefixes of the declarations of its own, known ones as well.
  std::vector<std::string> own_;
  bool is_nested_ = false;
  std::vector<PendingAttribute> attributes_;
  std::size_t attribute_bytes_ = 0;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_NODE_WRITER_H_
