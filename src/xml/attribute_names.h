#ifndef XML_ATTRIBUTE_NAMES_H_
#define XML_ATTRIBUTE_NAMES_H_

#include <xercesc/dom/DOMNode.hpp>

#include "kiv/wide.h"

namespace kiv {

// The first attribute name at or below `top` with a character that the encoding
// lacks; null when there is none or the encoding is not known.
//
// The serialiser refuses such an element name, but in an attribute's it writes
// a reference, and no parser reads that.
const WideChar* FindUnwritableAttribute(const xercesc::DOMNode& top,
                                        const WideChar* encoding);

}  // namespace kiv

#endif  // XML_ATTRIBUTE_NAMES_H_
