#ifndef XML_DOM_TREE_H_
#define XML_DOM_TREE_H_

#include <xercesc/dom/DOMNode.hpp>

#include "kiv/wide.h"

// Walks that need no stack for the levels they go through. The XML library's
// own walks call themselves a level, and a tree built by a program may have any
// number of those.
namespace kiv {

// Calls enter(node, depth) for every node in document order, `top` with depth
// 0, until it gives false.
template <class Enter>
void Walk(const xercesc::DOMNode& top, Enter enter) {
  const xercesc::DOMNode* node = &top;
  unsigned depth = 0;
  while (enter(*node, depth)) {
    if (const xercesc::DOMNode* child = node->getFirstChild()) {
      node = child;
      ++depth;
      continue;
    }
    while (node != &top && node->getNextSibling() == nullptr) {
      node = node->getParentNode();
      --depth;
    }
    if (node == &top) return;
    node = node->getNextSibling();
  }
}

// Whether elements are nested deeper than `levels`, `top` included.
bool IsDeeperThan(const xercesc::DOMNode& top, unsigned levels);

// Whether the node hangs below more than `levels` others.
bool HangsDeeperThan(const xercesc::DOMNode& node, unsigned levels);

// The text and CDATA below the node; its value when it is one that has a value.
WideString TextContent(const xercesc::DOMNode& top);

// IsDeeperThan the limit of all documents; logs it then.
bool IsTooDeep(const xercesc::DOMNode& top, const char* operation);

}  // namespace kiv

#endif  // XML_DOM_TREE_H_
