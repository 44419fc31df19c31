#include "xml_equality.h"

#include <algorithm>
#include <map>
#include <memory>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>

namespace xquery_cases {
namespace {

using xercesc::DOMNode;

std::string Utf8(const XMLCh* text) {
  if (text == nullptr) return "";
  const xercesc::TranscodeToStr bytes(text, "UTF-8");
  return {reinterpret_cast<const char*>(bytes.str()),
          static_cast<std::size_t>(bytes.length())};
}

using Scope = std::map<std::string, std::string>;

struct NodeText {
  DOMNode* node = nullptr;  // null for characters
  std::string characters;
};

// Neighbours of text as one.
std::vector<NodeText> ChildrenOf(const DOMNode& parent) {
  std::vector<NodeText> children;
  for (DOMNode* child = parent.getFirstChild(); child != nullptr;
       child = child->getNextSibling()) {
    const auto type = child->getNodeType();
    if (type != DOMNode::TEXT_NODE && type != DOMNode::CDATA_SECTION_NODE) {
      children.push_back({child, ""});
      continue;
    }
    if (children.empty() || children.back().node != nullptr) {
      children.push_back({});
    }
    children.back().characters += Utf8(child->getNodeValue());
  }
  return children;
}

bool IsDeclaration(const DOMNode& attribute) {
  return Utf8(attribute.getNamespaceURI()) == "http://www.w3.org/2000/xmlns/";
}

class Comparison {
 public:
  explicit Comparison(bool ignore_prefixes)
      : ignore_prefixes_(ignore_prefixes) {}

  std::string Children(const DOMNode& left, const DOMNode& right,
                       const Scope& left_scope, const Scope& right_scope) {
    const std::vector<NodeText> lefts = ChildrenOf(left);
    const std::vector<NodeText> rights = ChildrenOf(right);
    for (std::size_t i = 0; i < std::min(lefts.size(), rights.size()); ++i) {
      std::string difference =
          Child(lefts[i], rights[i], left_scope, right_scope);
      if (!difference.empty()) return difference;
    }
    if (lefts.size() == rights.size()) return "";
    return std::to_string(lefts.size()) + " children against " +
           std::to_string(rights.size());
  }

 private:
  std::string Child(const NodeText& left, const NodeText& right,
                    const Scope& left_scope, const Scope& right_scope) {
    if (left.node == nullptr || right.node == nullptr) {
      return left.node == right.node && left.characters == right.characters
                 ? ""
                 : "text";
    }
    if (left.node->getNodeType() != right.node->getNodeType()) return "kinds";
    if (left.node->getNodeType() == DOMNode::ELEMENT_NODE) {
      return Element(*left.node, *right.node, left_scope, right_scope);
    }
    // A comment, or an instruction, whose name is its target.
    return Utf8(left.node->getNodeName()) == Utf8(right.node->getNodeName()) &&
                   Utf8(left.node->getNodeValue()) ==
                       Utf8(right.node->getNodeValue())
               ? ""
               : "a comment or an instruction";
  }

  std::string Element(const DOMNode& left, const DOMNode& right,
                      Scope left_scope, Scope right_scope) {
    const std::string name = NameOf(left);
    if (name != NameOf(right)) return name + " against " + NameOf(right);
    if (AttributesOf(left, left_scope) != AttributesOf(right, right_scope)) {
      return "attributes of " + name;
    }
    if (!ignore_prefixes_ && left_scope != right_scope) {
      return "namespaces of " + name;
    }
    return Children(left, right, left_scope, right_scope);
  }

  std::string NameOf(const DOMNode& node) const {
    return "{" + Utf8(node.getNamespaceURI()) + "}" +
           Utf8(ignore_prefixes_ ? node.getLocalName() : node.getNodeName());
  }

  std::map<std::string, std::string> AttributesOf(const DOMNode& element,
                                                  Scope& scope) const {
    std::map<std::string, std::string> result;
    const xercesc::DOMNamedNodeMap& attributes = *element.getAttributes();
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
      const DOMNode& attribute = *attributes.item(i);
      const std::string value = Utf8(attribute.getNodeValue());
      if (!IsDeclaration(attribute)) {
        result[NameOf(attribute)] = value;
        continue;
      }
      const std::string prefix = attribute.getPrefix() == nullptr
                                     ? ""
                                     : Utf8(attribute.getLocalName());
      if (value.empty()) {
        scope.erase(prefix);
      } else {
        scope[prefix] = value;
      }
    }
    return result;
  }

  bool ignore_prefixes_;
};

class ThrowingHandler : public xercesc::ErrorHandler {
 public:
  void warning(const xercesc::SAXParseException&) override {}
  void error(const xercesc::SAXParseException& fault) override { throw fault; }
  void fatalError(const xercesc::SAXParseException& fault) override {
    throw fault;
  }
  void resetErrors() override {}
};

// Empty when it is no XML, and then `fault` says why.
std::unique_ptr<xercesc::XercesDOMParser> Parsed(const std::string& text,
                                                 std::string& fault) {
  std::string content = text;
  if (content.starts_with("\xEF\xBB\xBF")) content.erase(0, 3);
  if (content.starts_with("<?xml ")) content.erase(0, content.find("?>") + 2);
  const std::string document = "<all>" + content + "</all>";
  auto parser = std::make_unique<xercesc::XercesDOMParser>();
  ThrowingHandler handler;
  parser->setErrorHandler(&handler);
  parser->setDoNamespaces(true);
  parser->setCreateEntityReferenceNodes(false);
  xercesc::MemBufInputSource source(
      reinterpret_cast<const XMLByte*>(document.data()), document.size(),
      "result");
  static const XMLCh kUtf8[] = {'U', 'T', 'F', '-', '8', 0};
  source.setEncoding(kUtf8);
  try {
    parser->parse(source);
  } catch (const xercesc::SAXParseException& error) {
    fault = Utf8(error.getMessage());
    return nullptr;
  }
  parser->setErrorHandler(nullptr);
  return parser;
}

}  // namespace

std::string XmlDifference(const std::string& expected, const std::string& found,
                          bool ignore_prefixes) {
  if (expected == found) return "";
  static const bool is_started = [] {
    xercesc::XMLPlatformUtils::Initialize();
    return true;
  }();
  static_cast<void>(is_started);
  std::string fault;
  const auto left = Parsed(expected, fault);
  if (left == nullptr) return "what is expected is no XML: " + fault;
  const auto right = Parsed(found, fault);
  if (right == nullptr) return "no XML: " + fault;
  return Comparison(ignore_prefixes)
      .Children(*left->getDocument()->getDocumentElement(),
                *right->getDocument()->getDocumentElement(), {}, {});
}

}  // namespace xquery_cases
