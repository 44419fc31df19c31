#ifndef XML_XERCES_ACCESS_H_
#define XML_XERCES_ACCESS_H_

#include <type_traits>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/dom/DOMNodeList.hpp>

#include "kiv/dom_document.h"
#include "kiv/dom_element.h"
#include "kiv/dom_node.h"
#include "kiv/wide.h"

namespace kiv {

static_assert(std::is_same_v<XMLCh, WideChar>,
              "XML text is handed on without a copy");

// The one place that knows what the handles' opaque pointers are: a DOMNode*, a
// DOMNodeList*, a DOMDocument*. Null for an invalid handle.
struct XercesAccess {
  static xercesc::DOMNode* Node(const DomNode& handle) {
    return static_cast<xercesc::DOMNode*>(handle.node_);
  }

  // Null also when the handle holds another kind of node.
  static xercesc::DOMElement* Element(const DomNode& handle) {
    return ElementOf(Node(handle));
  }

  static xercesc::DOMElement* ElementOf(xercesc::DOMNode* node) {
    if (node == nullptr ||
        node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE)
      return nullptr;
    return static_cast<xercesc::DOMElement*>(node);
  }

  static xercesc::DOMDocument* Document(const DomDocument& handle) {
    return static_cast<xercesc::DOMDocument*>(handle.document_);
  }

  static xercesc::DOMNodeList* List(const DomNodeList& handle) {
    return static_cast<xercesc::DOMNodeList*>(handle.list_);
  }

  // Returns whether the handle is valid now.
  static bool Set(DomNode& handle, xercesc::DOMNode* node) {
    handle.node_ = node;
    return node != nullptr;
  }
  // The handle and its copies own the document from now on.
  static bool Own(DomDocument& handle, xercesc::DOMDocument* document) {
    return handle.Initialize(document, nullptr);
  }
  static void Set(DomNodeList& handle, xercesc::DOMNodeList* list) {
    handle.list_ = list;
  }
};

}  // namespace kiv

#endif  // XML_XERCES_ACCESS_H_
