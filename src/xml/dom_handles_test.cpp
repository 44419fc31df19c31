// Every operation on a handle that holds nothing, and on one that holds the
// wrong kind of node.
#include "xml/xml_testing.h"

namespace kiv {
namespace {

class DomHandles : public XmlTest {
 protected:
  // Gives false, and empties the text.
  template <class Call>
  static void Empties(Call call) {
    std::string text = "before";
    EXPECT_FALSE(call(text));
    EXPECT_EQ(text, "");
  }

  static void NodeOperationsGiveNothing(DomNode& node) {
    DomNode out;
    DomNode other;
    EXPECT_FALSE(node.IsValid());
    EXPECT_EQ(node.GetNodeType(), 0);
    EXPECT_FALSE(node.GetFirstChild(out));
    EXPECT_FALSE(node.GetNextSibling(out));
    EXPECT_FALSE(node.GetParentNode(out));
    EXPECT_FALSE(node.HasChild());
    EXPECT_FALSE(node.HasAttributes());
    EXPECT_FALSE(node.CloneNode(true, out));
    EXPECT_FALSE(node.AppendChild(other));
    EXPECT_FALSE(node.InsertBefore(out, other));
    EXPECT_FALSE(node.ReplaceChild(out, other));
    EXPECT_FALSE(node.RemoveChild(other));
    node.Normalize();
    EXPECT_FALSE(node.IsSameNode(other));
    EXPECT_FALSE(node.IsEqualNode(other));
    EXPECT_FALSE(node.SetNodeValue("x"));
    EXPECT_EQ(node.GetNodeName(), "");
    EXPECT_EQ(node.GetLocalName(), "");
    Empties([&](auto& text) { return node.GetNodeName(text); });
    Empties([&](auto& text) { return node.GetNodeValue(text); });
    Empties([&](auto& text) { return node.GetTextContent(text); });
    Empties([&](auto& text) { return node.GetPrefix(text); });
    Empties([&](auto& text) { return node.GetNamespaceURI(text); });
    Empties([&](auto& text) { return node.GetBaseURI(text); });
    Empties([&](auto& text) { return node.GetLocalName(text); });
  }

  static void ElementOperationsGiveNothing(DomElement& element) {
    DomElement out;
    DomNodeList live;
    DomNodeList2 list;
    DomDocumentContent content;
    EXPECT_EQ(element.Attribute("a"), "");
    EXPECT_EQ(element.LocalAttribute("a"), "");
    EXPECT_TRUE(element.AttributeBool("a", true));
    EXPECT_EQ(element.AttributeInt("a", 7), 7);
    EXPECT_FALSE(element.HasAttribute("a"));
    EXPECT_FALSE(element.RemoveAttribute("a"));
    EXPECT_FALSE(element.SetAttribute("a", "b"));
    EXPECT_FALSE(element.SetAttribute(std::string("a"), std::string("b")));
    EXPECT_FALSE(element.SetAttribute("a", 1));
    EXPECT_FALSE(element.SetXmlSchemaNs());
    EXPECT_FALSE(element.Children(live));
    EXPECT_FALSE(element.GetElementsByTagName("*", live));
    EXPECT_FALSE(element.GetFirstChildElement("a", out));
    EXPECT_EQ(element.ChildElementCount(), 0U);
    EXPECT_FALSE(element.ChildElementList("a", list));
    EXPECT_FALSE(element.ChildElementList(list));
    EXPECT_FALSE(element.RemoveChildElements("a"));
    EXPECT_FALSE(element.CreateElement("a", out));
    EXPECT_FALSE(element.GetOrCreateElement("a", out));
    EXPECT_FALSE(element.SetTextContent("x"));
    EXPECT_FALSE(element.GetElementContent(content, "GB2312"));
    EXPECT_STREQ(content.GetContent(), "");
    EXPECT_FALSE(live.IsValid());
    EXPECT_FALSE(out.IsValid());
    Empties([&](auto& text) { return element.Attribute("a", text); });
    Empties([&](auto& text) { return element.getAttribute("a", text) != 0; });
    Empties([&](auto& text) { return element.LocalAttribute("a", text); });
    Empties([&](auto& text) { return element.AttributeNS("u", "a", text); });
    Empties([&](auto& text) { return element.AttributeCurNS("a", text); });
    Empties([&](auto& text) { return element.GetTagName(text); });
    Empties([&](auto& text) { return element.GetTextChildValue(text); });
    Empties([&](auto& text) { return element.GetTrimTextChildValue(text); });
  }
};

TEST_F(DomHandles, ThatHoldNothingGiveNothing) {
  DomNode node;
  NodeOperationsGiveNothing(node);
  DomElement element;
  NodeOperationsGiveNothing(element);
  ElementOperationsGiveNothing(element);

  DomNodeList live;
  DomNodeList2 list;
  EXPECT_EQ(live.GetLength(), 0U);
  EXPECT_FALSE(live.item(0, node));
  EXPECT_EQ(list.GetLength(), 0U);
  EXPECT_FALSE(list.item(0, node));
  list.erase(0);

  DomDocument document;
  DomDocumentContent content;
  EXPECT_FALSE(document.IsValid());
  EXPECT_FALSE(document.CreateElement("a", element));
  EXPECT_FALSE(document.CreateDocumentElement("a", element));
  EXPECT_FALSE(document.GetDocumentElement(element));
  EXPECT_FALSE(document.GetDocumentContent(content, "GB2312"));
  EXPECT_FALSE(content._GetDocument(document, nullptr));
  EXPECT_FALSE(content._GetElement(element, nullptr));
  EXPECT_STREQ(content.GetContent(), "");
}

TEST_F(DomHandles, NullArgumentsAreRefusedOrEmpty) {
  DomElement root = Parse("<r><a/></r>");
  DomElement none;
  EXPECT_FALSE(root.AppendChild(none));
  EXPECT_FALSE(root.InsertBefore(none, none));
  EXPECT_FALSE(root.ReplaceChild(none, none));
  EXPECT_FALSE(root.RemoveChild(none));
  EXPECT_FALSE(root.IsSameNode(none));
  EXPECT_FALSE(root.IsEqualNode(none));
  EXPECT_EQ(root.Attribute(nullptr), "");
  EXPECT_FALSE(root.SetAttribute(nullptr, "x"));
  EXPECT_FALSE(root.CreateElement(nullptr, none));
  EXPECT_FALSE(document_.CreateElement("", none));
  EXPECT_FALSE(root.Initialize(nullptr));
  EXPECT_FALSE(root.IsValid());
}

TEST_F(DomHandles, AnElementHandleOnAnotherNodeIsNoElement) {
  DomElement handle;
  ASSERT_TRUE(Parse("<r>text</r>").GetFirstChild(handle));
  EXPECT_TRUE(handle.IsValid());
  EXPECT_EQ(handle.GetNodeType(), DomNode::TEXT_NODE);
  ElementOperationsGiveNothing(handle);
}

}  // namespace
}  // namespace kiv
