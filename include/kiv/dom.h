#ifndef KIV_DOM_H_
#define KIV_DOM_H_

#include <sstream>

#include "kiv/dom_document.h"
#include "kiv/dom_element.h"
#include "kiv/dom_node.h"
#include "kiv/dom_parser.h"
#include "kiv/export.h"

// XML documents. All classes need GlobalInit.
//
//   kiv::DomParser parser;
//   kiv::DomDocument document;
//   kiv::DomElement root;
//   if (!parser.parseURI("../conf/queue.xml", document)) return false;
//   if (!document.GetDocumentElement(root)) return false;
//
// Text is narrow, in the local encoding; null counts as empty. Nothing throws.
// One instance belongs to one thread at a time; distinct parsers and the
// documents of distinct parsers may be used on distinct threads.
namespace kiv {

// Appends the text with ", &, < and > written as &quot; &amp; &lt; &gt;. The
// apostrophe stays.
KIV_API void XmlTransString(const char* text, std::stringstream& out);

}  // namespace kiv

#endif  // KIV_DOM_H_
