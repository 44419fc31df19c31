#include "kiv/dom_element.h"

#include "kiv/dom_document.h"
#include "kiv/strings.h"
#include "util/cp936.h"
#include "xml/xerces_access.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

using xercesc::DOMElement;

constexpr const char* kSchemaNamespace = "http://www.w3.org/2001/XMLSchema";

bool NotEmpty(const XMLCh* text, std::string& value) {
  AssignLocal(text, value);
  return !value.empty();
}

bool SetText(DOMElement* element, const char* name, const WideText& value) {
  if (element == nullptr) return false;
  return Guarded("DomElement::SetAttribute", [&] {
    element->setAttribute(CheckedName(WideText(name)), CheckedText(value));
    return true;
  });
}

void DropPrefix(std::string& value) {
  const std::size_t colon = value.find(':');
  if (colon != std::string::npos) value.erase(0, colon + 1);
}

}  // namespace

bool DomElement::Attribute(const char* name, std::string& value) const {
  const DOMElement* element = XercesAccess::Element(*this);
  return NotEmpty(
      element ? element->getAttribute(WideText(name).get()) : nullptr, value);
}

std::string DomElement::Attribute(const char* name) const {
  std::string value;
  Attribute(name, value);
  return value;
}

int DomElement::getAttribute(const char* name, std::string& value) const {
  return Attribute(name, value) ? 1 : 0;
}

bool DomElement::LocalAttribute(const char* name, std::string& value) const {
  Attribute(name, value);
  DropPrefix(value);
  return !value.empty();
}

std::string DomElement::LocalAttribute(const char* name) const {
  std::string value;
  LocalAttribute(name, value);
  return value;
}

bool DomElement::AttributeNS(const char* namespaceURI, const char* localName,
                             std::string& value) const {
  const DOMElement* element = XercesAccess::Element(*this);
  return NotEmpty(element
                      ? element->getAttributeNS(WideText(namespaceURI).get(),
                                                WideText(localName).get())
                      : nullptr,
                  value);
}

bool DomElement::AttributeCurNS(const char* localName,
                                std::string& value) const {
  const DOMElement* element = XercesAccess::Element(*this);
  return NotEmpty(element ? element->getAttributeNS(element->getNamespaceURI(),
                                                    WideText(localName).get())
                          : nullptr,
                  value);
}

bool DomElement::AttributeBool(const char* name, bool defaultValue) const {
  std::string value;
  return Attribute(name, value) ? ToBoolean(value.c_str(), defaultValue)
                                : defaultValue;
}

int DomElement::AttributeInt(const char* name, int defaultValue) const {
  std::string value;
  return Attribute(name, value) ? ToInt(value.c_str(), defaultValue)
                                : defaultValue;
}

bool DomElement::HasAttribute(const char* name) const {
  const DOMElement* element = XercesAccess::Element(*this);
  return element != nullptr && element->hasAttribute(WideText(name).get());
}

bool DomElement::RemoveAttribute(const char* name) {
  DOMElement* element = XercesAccess::Element(*this);
  if (element == nullptr) return false;
  return Guarded("DomElement::RemoveAttribute", [&] {
    element->removeAttribute(WideText(name).get());
    return true;
  });
}

bool DomElement::SetAttribute(const char* name, const char* value) {
  return SetText(XercesAccess::Element(*this), name, WideText(value));
}

bool DomElement::SetAttribute(const std::string& name,
                              const std::string& value) {
  // By length: a NUL inside the value is refused instead of ending it.
  return SetText(XercesAccess::Element(*this), name.c_str(),
                 WideText(std::string_view(value)));
}

bool DomElement::SetAttribute(const char* name, int value) {
  return SetAttribute(name, std::to_string(value).c_str());
}

bool DomElement::SetXmlSchemaNs() {
  return SetAttribute("xmlns:xsd", kSchemaNamespace);
}

bool DomElement::GetTagName(std::string& name) const {
  const DOMElement* element = XercesAccess::Element(*this);
  return AssignLocal(element ? element->getTagName() : nullptr, name);
}

bool DomElement::GetTextChildValue(std::string& value) const {
  const DOMElement* element = XercesAccess::Element(*this);
  const xercesc::DOMNode* child = element ? element->getFirstChild() : nullptr;
  AssignLocal(child ? child->getNodeValue() : nullptr, value);
  return child != nullptr;
}

bool DomElement::GetTrimTextChildValue(std::string& value) const {
  if (!GetTextChildValue(value)) return false;
  trim(value);
  return true;
}

bool DomElement::GetElementContent(DomDocumentContent& content,
                                   const char* encoding) const {
  return content._GetElement(*this, encoding);
}

}  // namespace kiv
