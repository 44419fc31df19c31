#ifndef XDB_TREE_TREE_TESTING_H_
#define XDB_TREE_TREE_TESTING_H_

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "gtest/gtest.h"
#include "util/runtime.h"
#include "util/utf8.h"
#include "xdb/tree/tree.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/tree/tree_text.h"
#include "xml/xml_events.h"

// For tests.
namespace kiv::xdb {

// The XML platform for as long as the test.
class TreeTest : public testing::Test {
 protected:
  TreeTest() { StartValues(); }
  ~TreeTest() override { StopValues(); }
};

inline std::string StoredForm(std::string_view document,
                              Dictionary& dictionary) {
  GrowingPaths paths(dictionary);
  TreeBuilder builder(paths);
  ReadXmlEvents(document, builder);
  std::string bytes;
  builder.TakeTree(bytes);
  return bytes;
}

inline std::unique_ptr<Tree> TreeOf(
    std::string_view document,
    std::shared_ptr<Dictionary> dictionary = std::make_shared<Dictionary>()) {
  auto bytes =
      std::make_shared<const std::string>(StoredForm(document, *dictionary));
  return std::make_unique<Tree>(dictionary, bytes, *bytes);
}

// The canonical form of a document, made of the XML library's own tree: with
// all prefixes and declarations, adjacent text as one, nothing of the encoding.
class CanonicalForm {
 public:
  static std::string Of(std::string_view document) {
    xercesc::XercesDOMParser parser;
    parser.setDoNamespaces(true);
    parser.setCreateCommentNodes(true);
    parser.parse(xercesc::MemBufInputSource(
        reinterpret_cast<const XMLByte*>(document.data()), document.size(),
        u"document"));
    if (parser.getErrorCount() != 0)
      throw std::runtime_error("not well-formed: " + std::string(document));
    CanonicalForm form;
    form.Add(*parser.getDocument());
    form.Flush();
    return form.out_;
  }

 private:
  static std::string Utf8(const XMLCh* text) {
    return text == nullptr ? "" : Utf16ToUtf8(std::u16string_view(text));
  }

  void Flush() {
    if (!text_.empty()) out_ += "[" + text_ + "]";
    text_.clear();
  }

  void AddElement(const xercesc::DOMNode& node) {
    out_ += "<" + Utf8(node.getNodeName()) + "{" +
            Utf8(node.getNamespaceURI()) + "}";
    const xercesc::DOMNamedNodeMap& map = *node.getAttributes();
    std::vector<std::string> attributes;
    for (XMLSize_t i = 0; i < map.getLength(); ++i) {
      const xercesc::DOMNode& attribute = *map.item(i);
      attributes.push_back(" " + Utf8(attribute.getNodeName()) + "{" +
                           Utf8(attribute.getNamespaceURI()) + "}=[" +
                           Utf8(attribute.getNodeValue()) + "]");
    }
    std::sort(attributes.begin(), attributes.end());
    for (const std::string& attribute : attributes) out_ += attribute;
    out_ += ">";
  }

  void Add(const xercesc::DOMNode& node) {
    using xercesc::DOMNode;
    const auto type = node.getNodeType();
    if (type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE) {
      text_ += Utf8(node.getNodeValue());
      return;
    }
    Flush();
    if (type == DOMNode::COMMENT_NODE) {
      out_ += "<!--" + Utf8(node.getNodeValue()) + "-->";
    } else if (type == DOMNode::PROCESSING_INSTRUCTION_NODE) {
      out_ += "<?" + Utf8(node.getNodeName()) + "|" +
              Utf8(node.getNodeValue()) + "?>";
    } else {
      if (type == DOMNode::ELEMENT_NODE) AddElement(node);
      for (const DOMNode* child = node.getFirstChild(); child != nullptr;
           child = child->getNextSibling())
        Add(*child);
      Flush();
      if (type == DOMNode::ELEMENT_NODE) out_ += "</>";
    }
  }

  std::string out_;
  std::string text_;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TREE_TESTING_H_
