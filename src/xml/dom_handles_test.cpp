// Every operation on a handle that holds nothing, and on one that holds the
// wrong kind of node.
#include <functional>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

using DomHandles = XmlTest;

template <class... Reads>
void ExpectEmptied(Reads... reads) {
  for (const auto& read : {std::function<bool(std::string&)>(reads)...}) {
    std::string text = "before";
    EXPECT_FALSE(read(text));
    EXPECT_EQ(text, "");
  }
}

void ExpectNothingOfNode(DomNode& node) {
  DomNode out, other;
  ExpectAllFalse(node.IsValid(), node.GetNodeType() != 0,
                 node.GetFirstChild(out), node.GetNextSibling(out),
                 node.GetParentNode(out), node.HasChild(), node.HasAttributes(),
                 node.CloneNode(true, out), node.AppendChild(other),
                 node.InsertBefore(out, other), node.RemoveChild(other),
                 node.ReplaceChild(out, other), node.IsSameNode(other),
                 node.IsEqualNode(other), node.SetNodeValue("x"));
  node.Normalize();
  EXPECT_EQ(node.GetNodeName() + node.GetLocalName(), "");
  ExpectEmptied([&](auto& text) { return node.GetNodeName(text); },
                [&](auto& text) { return node.GetNodeValue(text); },
                [&](auto& text) { return node.GetTextContent(text); },
                [&](auto& text) { return node.GetPrefix(text); },
                [&](auto& text) { return node.GetNamespaceURI(text); },
                [&](auto& text) { return node.GetBaseURI(text); },
                [&](auto& text) { return node.GetLocalName(text); });
}

void ExpectNothingOfElement(DomElement& element) {
  DomElement out;
  DomNodeList live;
  DomNodeList2 list;
  DomDocumentContent content;
  ExpectAllFalse(
      element.HasAttribute("a"), element.RemoveAttribute("a"),
      element.SetAttribute("a", "b"),
      element.SetAttribute(std::string("a"), std::string("b")),
      element.SetAttribute("a", 1), element.SetXmlSchemaNs(),
      element.Children(live), element.GetElementsByTagName("*", live),
      element.GetFirstChildElement("a", out), element.ChildElementCount() != 0,
      element.ChildElementList("a", list), element.ChildElementList(list),
      element.RemoveChildElements("a"), element.CreateElement("a", out),
      element.GetOrCreateElement("a", out), element.SetTextContent("x"),
      element.GetElementContent(content, "GB2312"));
  EXPECT_FALSE(live.IsValid() || out.IsValid());
  EXPECT_STREQ(content.GetContent(), "");
  EXPECT_EQ(element.Attribute("a") + element.LocalAttribute("a"), "");
  EXPECT_TRUE(element.AttributeBool("a", true));
  EXPECT_EQ(element.AttributeInt("a", 7), 7);
  ExpectEmptied(
      [&](auto& text) { return element.Attribute("a", text); },
      [&](auto& text) { return element.getAttribute("a", text) != 0; },
      [&](auto& text) { return element.LocalAttribute("a", text); },
      [&](auto& text) { return element.AttributeNS("u", "a", text); },
      [&](auto& text) { return element.AttributeCurNS("a", text); },
      [&](auto& text) { return element.GetTagName(text); },
      [&](auto& text) { return element.GetTextChildValue(text); },
      [&](auto& text) { return element.GetTrimTextChildValue(text); });
}

TEST_F(DomHandles, ThatHoldNothingGiveNothing) {
  DomNode node;
  ExpectNothingOfNode(node);
  DomElement element;
  ExpectNothingOfNode(element);
  ExpectNothingOfElement(element);

  DomNodeList live;
  DomNodeList2 list;
  list.erase(0);
  DomDocument document;
  DomDocumentContent content;
  ExpectAllFalse(live.GetLength() != 0, live.item(0, node),
                 list.GetLength() != 0, list.item(0, node), document.IsValid(),
                 document.CreateElement("a", element),
                 document.CreateDocumentElement("a", element),
                 document.GetDocumentElement(element),
                 document.GetDocumentContent(content, "GB2312"),
                 content._GetDocument(document, nullptr),
                 content._GetElement(element, nullptr));
  EXPECT_STREQ(content.GetContent(), "");
}

TEST_F(DomHandles, NullArgumentsAreRefusedOrEmpty) {
  DomElement root = Parse("<r><a/></r>");
  DomElement none;
  ExpectAllFalse(root.AppendChild(none), root.InsertBefore(none, none),
                 root.ReplaceChild(none, none), root.RemoveChild(none),
                 root.IsSameNode(none), root.IsEqualNode(none),
                 root.SetAttribute(nullptr, "x"),
                 root.CreateElement(nullptr, none),
                 document_.CreateElement("", none));
  EXPECT_EQ(root.Attribute(nullptr), "");
  EXPECT_FALSE(root.Initialize(nullptr));
  EXPECT_FALSE(root.IsValid());
}

TEST_F(DomHandles, AnElementHandleOnAnotherNodeIsNoElement) {
  DomElement handle;
  ASSERT_TRUE(Parse("<r>text</r>").GetFirstChild(handle));
  EXPECT_EQ(handle.GetNodeType(), DomNode::TEXT_NODE);
  ExpectNothingOfElement(handle);
}

}  // namespace
}  // namespace kiv
