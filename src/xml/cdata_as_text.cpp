#include "xml/cdata_as_text.h"

#include <algorithm>
#include <string_view>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMText.hpp>

#include "kiv/wide.h"
#include "util/utf8.h"
#include "xml/dom_tree.h"

namespace kiv {
namespace {

using xercesc::DOMNode;

bool HasSurrogate(std::u16string_view text) {
  return std::any_of(text.begin(), text.end(), IsHighSurrogate);
}

}  // namespace

CdataAsText::CdataAsText(const DOMNode& top) {
  std::vector<DOMNode*> sections;
  Walk(top, [&](const DOMNode& node, unsigned) {
    if (node.getNodeType() == DOMNode::CDATA_SECTION_NODE &&
        HasSurrogate(node.getNodeValue()))
      sections.push_back(const_cast<DOMNode*>(&node));
    return true;
  });
  exchanges_.reserve(sections.size());
  for (DOMNode* section : sections) {
    DOMNode* text =
        section->getOwnerDocument()->createTextNode(section->getNodeValue());
    section->getParentNode()->replaceChild(text, section);
    exchanges_.push_back({section, text});
  }
}

CdataAsText::~CdataAsText() {
  for (const Exchange& exchange : exchanges_) {
    exchange.text->getParentNode()->replaceChild(exchange.section,
                                                 exchange.text);
    exchange.text->release();
  }
}

}  // namespace kiv
