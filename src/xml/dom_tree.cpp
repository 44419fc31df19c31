#include "xml/dom_tree.h"

#include <string>

#include "kiv/dom_parser.h"
#include "xml/xml_guard.h"

namespace kiv {

using xercesc::DOMNode;

bool IsDeeperThan(const DOMNode& top, unsigned levels) {
  // A document or fragment is no level.
  const unsigned own = top.getNodeType() == DOMNode::ELEMENT_NODE ? 1 : 0;
  bool is_deeper = false;
  Walk(top, [&](const DOMNode& node, unsigned depth) {
    is_deeper =
        depth + own > levels && node.getNodeType() == DOMNode::ELEMENT_NODE;
    return !is_deeper;
  });
  return is_deeper;
}

bool HangsDeeperThan(const DOMNode& node, unsigned levels) {
  const DOMNode* parent = node.getParentNode();
  for (unsigned count = 0; parent != nullptr; ++count) {
    if (count > levels) return true;
    parent = parent->getParentNode();
  }
  return false;
}

WideString TextContent(const DOMNode& top) {
  WideString content;
  Walk(top, [&](const DOMNode& node, unsigned depth) {
    switch (node.getNodeType()) {
      case DOMNode::COMMENT_NODE:
      case DOMNode::PROCESSING_INSTRUCTION_NODE:
        if (depth > 0) break;
        [[fallthrough]];
      case DOMNode::TEXT_NODE:
      case DOMNode::CDATA_SECTION_NODE:
        if (const XMLCh* value = node.getNodeValue()) content += value;
        break;
      default:
        break;
    }
    return true;
  });
  return content;
}

bool IsTooDeep(const DOMNode& top, const char* operation) {
  const unsigned levels = DomParser::MaxDepth();
  if (!IsDeeperThan(top, levels)) return false;
  LogRefused(operation, "elements are nested deeper than " +
                            std::to_string(levels) + " levels");
  return true;
}

}  // namespace kiv
