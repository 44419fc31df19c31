#ifndef KIV_DOM_NODE_H_
#define KIV_DOM_NODE_H_

#include <string>
#include <vector>

#include "kiv/export.h"

namespace kiv {

// A handle on a node. It owns nothing: the document owns the node, also while
// the node hangs in no tree, and the node dies with the document. Copies refer
// to the same node.
//
// An operation on an invalid handle gives false, 0 or an empty text. An
// operation that the tree refuses (a second root, a child of its own child, a
// node of another document) gives false, changes nothing and is logged.
class KIV_API DomNode {
 public:
  enum NodeType {
    INVALID_NODE = 0,  // only of an invalid handle
    ELEMENT_NODE = 1,
    ATTRIBUTE_NODE = 2,
    TEXT_NODE = 3,
    CDATA_SECTION_NODE = 4,
    ENTITY_REFERENCE_NODE = 5,
    ENTITY_NODE = 6,
    PROCESSING_INSTRUCTION_NODE = 7,
    COMMENT_NODE = 8,
    DOCUMENT_NODE = 9,
    DOCUMENT_TYPE_NODE = 10,
    DOCUMENT_FRAGMENT_NODE = 11,
    NOTATION_NODE = 12
  };

  DomNode() = default;
  DomNode(const DomNode& other) = default;
  DomNode& operator=(const DomNode& other) = default;
  virtual ~DomNode() = default;

  // Takes a xercesc::DOMNode*. Returns whether it is not null.
  bool Initialize(void* node);
  bool IsValid() const { return node_ != nullptr; }

  NodeType GetNodeType() const;

  // Neighbours. `out` becomes invalid when there is none; it may be this
  // handle.
  bool GetFirstChild(DomNode& out) const;
  bool GetNextSibling(DomNode& out) const;
  bool GetParentNode(DomNode& out) const;
  bool HasChild() const;
  bool HasAttributes() const;

  // The copy belongs to the same document and hangs in no tree. False for a
  // document node, and for a deep copy of more levels than
  // DomParser::MaxDepth().
  bool CloneNode(bool deep, DomNode& out) const;

  // A node that hangs elsewhere in the document moves.
  bool AppendChild(const DomNode& child);
  // At the end when `refChild` is invalid.
  bool InsertBefore(DomNode& newChild, DomNode& refChild);
  bool ReplaceChild(DomNode& newChild, DomNode& oldChild);
  // The child stays alive, outside the tree.
  bool RemoveChild(DomNode& child);
  // Joins adjacent text nodes and drops empty ones; handles on those must not
  // be used any more. Nothing happens below more levels than
  // DomParser::MaxDepth().
  void Normalize();

  bool IsSameNode(const DomNode& other) const;
  // The same names, values, attributes and children. False for trees of more
  // levels than DomParser::MaxDepth().
  bool IsEqualNode(const DomNode& other) const;

  // Texts. `out` becomes empty, and the result false, when the node has none of
  // the kind: an element has no value.
  bool GetNodeName(std::string& out) const;
  std::string GetNodeName() const;
  bool GetNodeValue(std::string& out) const;
  // All text below the node, comments and processing instructions left out.
  bool GetTextContent(std::string& out) const;
  bool GetPrefix(std::string& out) const;
  bool GetNamespaceURI(std::string& out) const;
  bool GetBaseURI(std::string& out) const;
  // Empty for a node made by CreateElement, which knows no namespaces;
  // LocalNameEqualTo asks the node name instead.
  bool GetLocalName(std::string& out) const;
  std::string GetLocalName() const;

  // False for a character that XML cannot hold, such as a control byte. No
  // effect on a node that has no value.
  bool SetNodeValue(const char* value);

  // Whether the part behind the first ":" of the node name, or the whole name,
  // is `name`. An invalid node has the name "".
  bool LocalNameEqualTo(const char* name) const;

  // "true" and "false" in any case; the default for anything else.
  static bool ToBoolean(const char* text, bool defaultValue);
  // The digits that the text begins with. The default when it begins with
  // anything else, a sign included. Numbers too large for an int are cut to the
  // largest.
  static int ToInt(const char* text, int defaultValue);

 private:
  friend struct XercesAccess;
  void* node_ = nullptr;
};

// A handle on the live list of an element's children or descendants; lives as
// long as the document. item(i) walks from the start, GetLength() to the end:
// for long lists take DomElement::ChildElementList or GetNextSibling.
class KIV_API DomNodeList {
 public:
  bool IsValid() const { return list_ != nullptr; }
  unsigned GetLength() const;
  // False, and `out` invalid, behind the end.
  bool item(unsigned index, DomNode& out) const;

 private:
  friend struct XercesAccess;
  void* list_ = nullptr;
};

// An array of nodes, as they were when it was filled. Owns the array alone: the
// nodes die with their document.
class KIV_API DomNodeList2 {
 public:
  unsigned GetLength() const { return static_cast<unsigned>(nodes_.size()); }
  // Whether there is anything in it.
  bool IsValid() const { return !nodes_.empty(); }
  // False, and `out` untouched, behind the end.
  bool item(unsigned index, DomNode& out) const;

  void clear() { nodes_.clear(); }
  // Ignored behind the end.
  void erase(unsigned index);
  void reserve(unsigned count) { nodes_.reserve(count); }
  // A xercesc::DOMNode*.
  void push_back(const void* node);
  void push_back(const DomNode& node);

 private:
  std::vector<void*> nodes_;
};

}  // namespace kiv

#endif  // KIV_DOM_NODE_H_
