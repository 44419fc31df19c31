#include "kiv/dom_document.h"

#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>

#include "xml/xerces_access.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {

using xercesc::DOMDocument;

bool DomDocument::Initialize(void* document, const DomParser* parser) {
  document_ = document;
  parser_ = parser;
  owned_.reset();
  if (document != nullptr && parser == nullptr) {
    owned_.reset(document, [](void* owned) {
      // What the platform made dies with it at the latest.
      if (PlatformIsUp()) static_cast<DOMDocument*>(owned)->release();
    });
  }
  return IsValid();
}

bool DomDocument::CreateDocument(DomDocument& doc) {
  RequirePlatform("DomDocument::CreateDocument");
  return Guarded("DomDocument::CreateDocument", [&] {
    auto* implementation =
        xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
    return doc.Initialize(
        implementation ? implementation->createDocument() : nullptr, nullptr);
  });
}

bool DomDocument::CreateElement(const char* name, DomElement& out) {
  DOMDocument* document = XercesAccess::Document(*this);
  if (document == nullptr || name == nullptr || *name == '\0') return false;
  return Guarded("DomDocument::CreateElement", [&] {
    return XercesAccess::Set(
        out, document->createElement(CheckedName(WideText(name))));
  });
}

bool DomDocument::CreateDocumentElement(const char* name, DomElement& out) {
  if (!CreateElement(name, out)) return false;
  Guarded("DomDocument::CreateDocumentElement", [&] {
    return XercesAccess::Document(*this)->appendChild(
               XercesAccess::Node(out)) != nullptr;
  });
  return true;
}

bool DomDocument::GetDocumentElement(DomElement& out) const {
  const DOMDocument* document = XercesAccess::Document(*this);
  return XercesAccess::Set(out,
                           document ? document->getDocumentElement() : nullptr);
}

bool DomDocument::GetDocumentContent(DomDocumentContent& content,
                                     const char* encoding) const {
  return content._GetDocument(*this, encoding);
}

}  // namespace kiv
