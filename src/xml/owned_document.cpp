#include "xml/owned_document.h"

#include <stdexcept>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

#include "kiv/encoding.h"
#include "xml/document_bytes.h"
#include "xml/guarded_parser.h"
#include "xml/xerces_access.h"
#include "xml/xml_guard.h"

namespace kiv {
namespace {

using xercesc::DOMNode;

bool IsCharacterData(const DOMNode& node) {
  const auto type = node.getNodeType();
  return type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE;
}

DOMNode* ChildAt(const DOMNode& parent, std::uint32_t number) {
  bool is_in_run = false;
  for (DOMNode* child = parent.getFirstChild(); child != nullptr;
       child = child->getNextSibling()) {
    const bool is_text = IsCharacterData(*child);
    if (is_text && is_in_run) continue;
    is_in_run = is_text;
    if (number-- == 0) return child;
  }
  return nullptr;
}

std::string Reason(const DocumentRefused& refused) {
  if (refused.line == 0) return refused.reason;
  return "line " + std::to_string(refused.line) + ", column " +
         std::to_string(refused.column) + ": " + refused.reason;
}

}  // namespace

void ReadOwnedDocument(std::string_view bytes, DomDocument& out) {
  RequirePlatform("ReadOwnedDocument");
  GuardedPlainParser parser;
  parser.setDoNamespaces(true);
  parser.setLoadExternalDTD(false);
  parser.setLoadSchema(false);
  parser.setDisableDefaultEntityResolution(true);
  try {
    CheckBytes(bytes);
    const xercesc::MemBufInputSource source(
        reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(),
        u"document");
    parser.parse(source);
  } catch (const DocumentRefused& refused) {
    throw std::runtime_error(Reason(refused));
  }
  XercesAccess::Own(out, parser.adoptDocument());
}

DomNode NodeAt(const DomDocument& document,
               const std::vector<std::uint32_t>& steps) {
  DOMNode* node = XercesAccess::Document(document);
  for (const std::uint32_t number : steps) {
    if (node == nullptr) break;
    node = ChildAt(*node, number);
  }
  DomNode out;
  XercesAccess::Set(out, node);
  return out;
}

DomNode AttributeAt(const DomNode& element, const std::string& uri,
                    const std::string& name) {
  DomNode out;
  const xercesc::DOMElement* const owner = XercesAccess::Element(element);
  if (owner == nullptr) return out;
  const auto wide_uri = utf8ToWstring(uri.c_str(), 0);
  const auto wide_name = utf8ToWstring(name.c_str(), 0);
  XercesAccess::Set(
      out, owner->getAttributeNodeNS(uri.empty() ? nullptr : wide_uri.get(),
                                     wide_name.get()));
  return out;
}

}  // namespace kiv
