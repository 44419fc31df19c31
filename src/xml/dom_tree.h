#ifndef XML_DOM_TREE_H_
#define XML_DOM_TREE_H_

#include <xercesc/dom/DOMNode.hpp>

#include "kiv/wide.h"

// Walks that need no stack for the levels they go through. The XML library's
// own walks call themselves a level, and a tree built by a program may have any
// number of those.
namespace kiv {

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
