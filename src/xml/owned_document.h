#ifndef XML_OWNED_DOCUMENT_H_
#define XML_OWNED_DOCUMENT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/dom_document.h"
#include "kiv/dom_node.h"

namespace kiv {

// Reads a document, with namespaces, under the limits of DomParser. It belongs
// to the handle and its copies. Throws std::runtime_error, with the place and
// the reason in the local encoding, for a document that is refused.
void ReadOwnedDocument(std::string_view bytes, DomDocument& out);

// The node that lies so many children in at every level, none for the document
// node. A run of text and CDATA sections counts as one child and is found as
// its first node. Invalid when there is none.
DomNode NodeAt(const DomDocument& document,
               const std::vector<std::uint32_t>& steps);
// The attribute of an element; the name, without prefix, and the URI in UTF-8.
DomNode AttributeAt(const DomNode& element, const std::string& uri,
                    const std::string& name);

}  // namespace kiv

#endif  // XML_OWNED_DOCUMENT_H_
