// Any bytes as a document: parsed by both parsers, walked, written, and what
// was written parses again to the same tree.
#include <cstring>
#include <string>

#include "input_of_fuzz.h"
#include "kiv/dom.h"

namespace kiv::fuzz {

void WalkElement(const DomElement& element, int depth) {
  Expect(depth <= static_cast<int>(DomParser::MaxDepth()));
  std::string value;
  element.Attribute("a", value);
  element.LocalAttribute("type", value);
  element.AttributeCurNS("a", value);
  element.AttributeInt("n", 7);
  element.AttributeBool("b", true);
  element.GetTextContent(value);
  element.GetTrimTextChildValue(value);
  element.GetBaseURI(value);
  Expect(element.GetTagName(value) && !value.empty());

  DomNodeList2 children;
  Expect(element.ChildElementList(children) ==
         (element.ChildElementCount() > 0));
  DomElement child;
  for (unsigned i = 0; children.item(i, child); ++i) {
    DomElement found;
    const std::string name = child.GetNodeName();
    const std::string local = name.substr(name.find(':') + 1);
    // A character that the local encoding lacks is "?", which no name holds.
    Expect(local.find('?') != std::string::npos ||
           (child.LocalNameEqualTo(local.c_str()) &&
            element.GetFirstChildElement(local.c_str(), found)));
    WalkElement(child, depth + 1);
  }
}

bool ParseRoot(DomParser& parser, std::string_view text, DomDocument& document,
               DomElement& root) {
  if (!parser.parseMem(text.data(), static_cast<unsigned>(text.size()),
                       document))
    return false;
  Expect(document.GetDocumentElement(root));
  return true;
}

void Reread(const DomDocument& document, const DomElement& root,
            const char* encoding) {
  DomDocumentContent content;
  // False for what the encoding lacks in a name or a comment.
  if (!document.GetDocumentContent(content, encoding)) return;
  DomParser parser;
  DomDocument again;
  DomElement again_root;
  Expect(ParseRoot(parser, content.GetContent(), again, again_root));
  std::string before;
  std::string after;
  root.GetTextContent(before);
  again_root.GetTextContent(after);
  Expect(before == after);
}

void Run(std::string_view input) {
  Session::Next();
  DomParser parser;
  DomDocument document;
  DomElement root;
  if (!ParseRoot(parser, input, document, root)) return;
  WalkElement(root, 1);
  DomNode copy;
  Expect(root.CloneNode(true, copy) && copy.IsEqualNode(root));
  Reread(document, root, "UTF-8");
  Reread(document, root, "GB2312");
}

}  // namespace kiv::fuzz
