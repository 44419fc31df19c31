#include "kiv/dom_node.h"

#include <limits>
#include <stdexcept>
#include <string_view>

#include "kiv/dom_parser.h"
#include "util/cp936.h"
#include "util/gb_text.h"
#include "xml/dom_tree.h"
#include "xml/xerces_access.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

using xercesc::DOMNode;

// What a comment, a processing instruction or a CDATA section ends with cannot
// stand inside it; the serialiser would write it all the same.
bool EndsItself(DOMNode::NodeType type, std::u16string_view text) {
  const auto has = [text](std::u16string_view part) {
    return text.find(part) != std::u16string_view::npos;
  };
  switch (type) {
    case DOMNode::COMMENT_NODE:
      return has(u"--") || text.ends_with(u'-');
    case DOMNode::PROCESSING_INSTRUCTION_NODE:
      return has(u"?>");
    case DOMNode::CDATA_SECTION_NODE:
      return has(u"]]>");
    default:
      return false;
  }
}

// The library would take the node out of the tree.
bool IsItself(const DOMNode* node, const DOMNode* child) {
  if (node != child) return false;
  LogRefused("DomNode", "a node cannot be its own child");
  return true;
}

}  // namespace

bool DomNode::Initialize(void* node) {
  node_ = node;
  return IsValid();
}

DomNode::NodeType DomNode::GetNodeType() const {
  const DOMNode* node = XercesAccess::Node(*this);
  return node == nullptr ? INVALID_NODE
                         : static_cast<NodeType>(node->getNodeType());
}

bool DomNode::GetFirstChild(DomNode& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return XercesAccess::Set(out, node ? node->getFirstChild() : nullptr);
}

bool DomNode::GetNextSibling(DomNode& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return XercesAccess::Set(out, node ? node->getNextSibling() : nullptr);
}

bool DomNode::GetParentNode(DomNode& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return XercesAccess::Set(out, node ? node->getParentNode() : nullptr);
}

bool DomNode::HasChild() const {
  const DOMNode* node = XercesAccess::Node(*this);
  return node != nullptr && node->hasChildNodes();
}

bool DomNode::HasAttributes() const {
  const DOMNode* node = XercesAccess::Node(*this);
  return node != nullptr && node->hasAttributes();
}

bool DomNode::CloneNode(bool deep, DomNode& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  // A second document would belong to nobody.
  if (node == nullptr || node->getNodeType() == DOMNode::DOCUMENT_NODE)
    return false;
  if (deep && IsTooDeep(*node, "DomNode::CloneNode")) return false;
  return Guarded("DomNode::CloneNode",
                 [&] { return XercesAccess::Set(out, node->cloneNode(deep)); });
}

bool DomNode::AppendChild(const DomNode& child) {
  DOMNode* node = XercesAccess::Node(*this);
  DOMNode* new_child = XercesAccess::Node(child);
  if (node == nullptr || new_child == nullptr || IsItself(node, new_child))
    return false;
  return Guarded("DomNode::AppendChild",
                 [&] { return node->appendChild(new_child) != nullptr; });
}

bool DomNode::InsertBefore(DomNode& newChild, DomNode& refChild) {
  DOMNode* node = XercesAccess::Node(*this);
  DOMNode* new_child = XercesAccess::Node(newChild);
  DOMNode* ref_child = XercesAccess::Node(refChild);
  if (node == nullptr || new_child == nullptr || IsItself(node, new_child))
    return false;
  // It stands there already.
  if (new_child == ref_child) return new_child->getParentNode() == node;
  return Guarded("DomNode::InsertBefore", [&] {
    return node->insertBefore(new_child, ref_child) != nullptr;
  });
}

bool DomNode::ReplaceChild(DomNode& newChild, DomNode& oldChild) {
  DOMNode* node = XercesAccess::Node(*this);
  DOMNode* new_child = XercesAccess::Node(newChild);
  DOMNode* old_child = XercesAccess::Node(oldChild);
  if (node == nullptr || new_child == nullptr || old_child == nullptr)
    return false;
  if (IsItself(node, new_child)) return false;
  // Replaced by itself, the library would lose it.
  if (new_child == old_child) return old_child->getParentNode() == node;
  return Guarded("DomNode::ReplaceChild", [&] {
    return node->replaceChild(new_child, old_child) != nullptr;
  });
}

bool DomNode::RemoveChild(DomNode& child) {
  DOMNode* node = XercesAccess::Node(*this);
  DOMNode* old_child = XercesAccess::Node(child);
  if (node == nullptr || old_child == nullptr) return false;
  return Guarded("DomNode::RemoveChild",
                 [&] { return node->removeChild(old_child) != nullptr; });
}

void DomNode::Normalize() {
  DOMNode* node = XercesAccess::Node(*this);
  if (node == nullptr || IsTooDeep(*node, "DomNode::Normalize")) return;
  Guarded("DomNode::Normalize", [&] {
    node->normalize();
    return true;
  });
}

bool DomNode::IsSameNode(const DomNode& other) const {
  return IsValid() && node_ == other.node_;
}

bool DomNode::IsEqualNode(const DomNode& other) const {
  const DOMNode* node = XercesAccess::Node(*this);
  const DOMNode* other_node = XercesAccess::Node(other);
  if (node == nullptr || other_node == nullptr) return false;
  if (node == other_node) return true;
  if (IsTooDeep(*node, "DomNode::IsEqualNode")) return false;
  return Guarded("DomNode::IsEqualNode",
                 [&] { return node->isEqualNode(other_node); });
}

bool DomNode::GetNodeName(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return AssignLocal(node ? node->getNodeName() : nullptr, out);
}

std::string DomNode::GetNodeName() const {
  std::string name;
  GetNodeName(name);
  return name;
}

bool DomNode::GetNodeValue(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return AssignLocal(node ? node->getNodeValue() : nullptr, out);
}

bool DomNode::GetTextContent(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  if (node == nullptr || node->getNodeType() == DOMNode::DOCUMENT_NODE ||
      node->getNodeType() == DOMNode::DOCUMENT_TYPE_NODE ||
      node->getNodeType() == DOMNode::NOTATION_NODE) {
    out.clear();
    return false;
  }
  return AssignLocal(TextContent(*node).c_str(), out);
}

bool DomNode::GetPrefix(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return AssignLocal(node ? node->getPrefix() : nullptr, out);
}

bool DomNode::GetNamespaceURI(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return AssignLocal(node ? node->getNamespaceURI() : nullptr, out);
}

bool DomNode::GetBaseURI(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  out.clear();
  if (node == nullptr || HangsDeeperThan(*node, DomParser::MaxDepth()))
    return false;
  return Guarded("DomNode::GetBaseURI",
                 [&] { return AssignLocal(node->getBaseURI(), out); });
}

bool DomNode::GetLocalName(std::string& out) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return AssignLocal(node ? node->getLocalName() : nullptr, out);
}

std::string DomNode::GetLocalName() const {
  std::string name;
  GetLocalName(name);
  return name;
}

bool DomNode::SetNodeValue(const char* value) {
  DOMNode* node = XercesAccess::Node(*this);
  if (node == nullptr) return false;
  return Guarded("DomNode::SetNodeValue", [&] {
    const WideText text(value);
    if (EndsItself(node->getNodeType(), text.view()))
      throw std::invalid_argument("'" + LocalText(text.get()) +
                                  "' would end the node");
    node->setNodeValue(CheckedText(text));
    return true;
  });
}

bool DomNode::LocalNameEqualTo(const char* name) const {
  const DOMNode* node = XercesAccess::Node(*this);
  return LocalName(node ? node->getNodeName() : nullptr) ==
         WideText(name).view();
}

bool DomNode::ToBoolean(const char* text, bool defaultValue) {
  if (text == nullptr) return defaultValue;
  if (EqualIgnoreCase(text, "true")) return true;
  if (EqualIgnoreCase(text, "false")) return false;
  return defaultValue;
}

int DomNode::ToInt(const char* text, int defaultValue) {
  if (text == nullptr || !IsAsciiDigit(*text)) return defaultValue;
  constexpr int kLargest = std::numeric_limits<int>::max();
  int number = 0;
  for (; IsAsciiDigit(*text); ++text) {
    const int digit = *text - '0';
    if (number > (kLargest - digit) / 10) return kLargest;
    number = number * 10 + digit;
  }
  return number;
}

}  // namespace kiv
