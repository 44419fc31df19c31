#ifndef KIV_DOM_ELEMENT_H_
#define KIV_DOM_ELEMENT_H_

#include <string>

#include "kiv/dom_node.h"
#include "kiv/export.h"

namespace kiv {

class DomDocumentContent;

// A handle on an element. It may hold any node, since navigation fills a
// DomNode&; its own operations then give what they give for an invalid handle.
//
// A child's name means its local name, the part behind the first ":": "element"
// finds <xsd:element>. Names and values are case-sensitive.
class KIV_API DomElement : public DomNode {
 public:
  // True only for a value that is not empty; `value` becomes empty otherwise.
  bool Attribute(const char* name, std::string& value) const;
  std::string Attribute(const char* name) const;
  int getAttribute(const char* name, std::string& value) const;

  // The value without its prefix: "int" where the attribute says "xsd:int".
  bool LocalAttribute(const char* name, std::string& value) const;
  std::string LocalAttribute(const char* name) const;

  bool AttributeNS(const char* namespaceURI, const char* localName,
                   std::string& value) const;
  // In the element's own namespace.
  bool AttributeCurNS(const char* localName, std::string& value) const;

  // The default for a missing or empty attribute and where ToBoolean or ToInt
  // would give it; a negative number gives the default.
  bool AttributeBool(const char* name, bool defaultValue) const;
  int AttributeInt(const char* name, int defaultValue) const;

  bool HasAttribute(const char* name) const;
  // True also when there was none.
  bool RemoveAttribute(const char* name);
  // False, and nothing set, for a name that is none or a character that XML
  // cannot hold, such as a control byte.
  bool SetAttribute(const char* name, const char* value);
  bool SetAttribute(const std::string& name, const std::string& value);
  bool SetAttribute(const char* name, int value);
  // Declares the prefix xsd.
  bool SetXmlSchemaNs();

  bool GetTagName(std::string& name) const;
  // Every child node. False when there is none.
  bool Children(DomNodeList& list) const;
  // Descendants, by their whole tag name; "*" finds all. False when there is
  // none.
  bool GetElementsByTagName(const char* name, DomNodeList& list) const;

  // The first child element of that name, any for an empty one, whose attribute
  // has the value; a missing attribute counts as empty, an empty attribute name
  // asks for none. `out` stays as it is when there is none.
  bool GetFirstChildElement(const char* name, DomElement& out,
                            const char* attributeName = nullptr,
                            const char* attributeValue = nullptr) const;

  // The child elements of that name; all for an empty one.
  unsigned ChildElementCount(const char* name = nullptr) const;
  // In document order. False when the list ends empty.
  bool ChildElementList(const char* name, DomNodeList2& list) const;
  bool ChildElementList(DomNodeList2& list) const;
  // False when there was none.
  bool RemoveChildElements(const char* name);

  // Appends a new last child.
  bool CreateElement(const char* name, DomElement& out);
  bool GetOrCreateElement(const char* name, DomElement& out);

  // Sets the first text child, or appends one; everything else stays. False for
  // a character that XML cannot hold, such as a control byte.
  bool SetTextContent(const char* text);
  // The value of the first child, whatever its kind: a comment's text, nothing
  // for an element. False when there is no child.
  bool GetTextChildValue(std::string& value) const;
  bool GetTrimTextChildValue(std::string& value) const;

  // DomDocumentContent::_GetElement.
  bool GetElementContent(DomDocumentContent& content,
                         const char* encoding) const;
};

}  // namespace kiv

#endif  // KIV_DOM_ELEMENT_H_
