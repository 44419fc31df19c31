// The children of an element: found by local name, listed, made.
#include <string_view>
#include <xercesc/dom/DOMText.hpp>

#include "kiv/dom_element.h"
#include "xml/xerces_access.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

DOMElement* NextElement(DOMNode* node) {
  while (node != nullptr && node->getNodeType() != DOMNode::ELEMENT_NODE)
    node = node->getNextSibling();
  return static_cast<DOMElement*>(node);
}

// Calls visit(child) for every child element whose local name is `name`, every
// one for an empty name, until it gives false.
template <class Visit>
void VisitChildren(const DomElement& parent, const char* name, Visit visit) {
  const DOMElement* element = XercesAccess::Element(parent);
  if (element == nullptr) return;
  // Converted once; the children's names are compared as they are.
  const WideText wanted(name);
  for (DOMElement* child = NextElement(element->getFirstChild());
       child != nullptr; child = NextElement(child->getNextSibling())) {
    if (!wanted.view().empty() &&
        LocalName(child->getNodeName()) != wanted.view())
      continue;
    if (!visit(child)) return;
  }
}

DOMNode* FirstTextChild(const DOMElement& element) {
  DOMNode* child = element.getFirstChild();
  while (child != nullptr && child->getNodeType() != DOMNode::TEXT_NODE)
    child = child->getNextSibling();
  return child;
}

}  // namespace

bool DomElement::Children(DomNodeList& list) const {
  const DOMElement* element = XercesAccess::Element(*this);
  if (element == nullptr || !element->hasChildNodes()) return false;
  XercesAccess::Set(list, element->getChildNodes());
  return true;
}

bool DomElement::GetElementsByTagName(const char* name,
                                      DomNodeList& list) const {
  const DOMElement* element = XercesAccess::Element(*this);
  if (element == nullptr || name == nullptr || *name == '\0') return false;
  return Guarded("DomElement::GetElementsByTagName", [&] {
    xercesc::DOMNodeList* found =
        element->getElementsByTagName(WideText(name).get());
    if (found == nullptr || found->item(0) == nullptr) return false;
    XercesAccess::Set(list, found);
    return true;
  });
}

bool DomElement::GetFirstChildElement(const char* name, DomElement& out,
                                      const char* attributeName,
                                      const char* attributeValue) const {
  const WideText attribute(attributeName);
  const WideText value(attributeValue);
  DOMElement* found = nullptr;
  VisitChildren(*this, name, [&](DOMElement* child) {
    if (attribute.view().empty() ||
        child->getAttribute(attribute.get()) == value.view())
      found = child;
    return found == nullptr;
  });
  return found != nullptr && XercesAccess::Set(out, found);
}

unsigned DomElement::ChildElementCount(const char* name) const {
  unsigned count = 0;
  VisitChildren(*this, name, [&](DOMElement*) {
    ++count;
    return true;
  });
  return count;
}

bool DomElement::ChildElementList(const char* name, DomNodeList2& list) const {
  list.clear();
  list.reserve(ChildElementCount(name));
  VisitChildren(*this, name, [&](DOMElement* child) {
    list.push_back(static_cast<const DOMNode*>(child));
    return true;
  });
  return list.IsValid();
}

bool DomElement::ChildElementList(DomNodeList2& list) const {
  return ChildElementList(nullptr, list);
}

bool DomElement::RemoveChildElements(const char* name) {
  DomNodeList2 list;
  if (!ChildElementList(name, list)) return false;
  DomNode child;
  for (unsigned i = 0; list.item(i, child); ++i) RemoveChild(child);
  return true;
}

bool DomElement::CreateElement(const char* name, DomElement& out) {
  DOMElement* element = XercesAccess::Element(*this);
  if (element == nullptr || name == nullptr || *name == '\0') return false;
  return Guarded("DomElement::CreateElement", [&] {
    DOMElement* child =
        element->getOwnerDocument()->createElement(CheckedName(WideText(name)));
    element->appendChild(child);
    return XercesAccess::Set(out, child);
  });
}

bool DomElement::GetOrCreateElement(const char* name, DomElement& out) {
  return GetFirstChildElement(name, out) || CreateElement(name, out);
}

bool DomElement::SetTextContent(const char* text) {
  DOMElement* element = XercesAccess::Element(*this);
  if (element == nullptr) return false;
  return Guarded("DomElement::SetTextContent", [&] {
    const WideText value(text);
    const WideChar* checked = CheckedText(value);
    if (DOMNode* child = FirstTextChild(*element))
      child->setNodeValue(checked);
    else
      element->appendChild(
          element->getOwnerDocument()->createTextNode(checked));
    return true;
  });
}

}  // namespace kiv
