#include "kiv/dom_node.h"

#include <gmock/gmock.h>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

class DomNodeTest : public XmlTest {
 protected:
  std::string Tree() const {
    DomElement root;
    document_.GetDocumentElement(root);
    return Content(root);
  }
};

TEST_F(DomNodeTest, WalksToItsNeighboursAndListsThem) {
  const DomElement root = Parse("<r>t<a/><!--c--></r>");
  DomNode node;
  ASSERT_TRUE(root.GetFirstChild(node));
  EXPECT_EQ(node.GetNodeType(), DomNode::TEXT_NODE);
  ASSERT_TRUE(node.GetNextSibling(node));
  EXPECT_EQ(node.GetNodeType(), DomNode::ELEMENT_NODE);
  EXPECT_FALSE(node.HasChild());
  ASSERT_TRUE(node.GetNextSibling(node));
  EXPECT_EQ(node.GetNodeType(), DomNode::COMMENT_NODE);
  DomNode parent;
  ASSERT_TRUE(node.GetParentNode(parent));
  EXPECT_TRUE(parent.IsSameNode(root));
  ASSERT_TRUE(parent.GetParentNode(parent));
  EXPECT_EQ(parent.GetNodeType(), DomNode::DOCUMENT_NODE);
  EXPECT_FALSE(parent.GetParentNode(parent));
  EXPECT_FALSE(node.GetNextSibling(node));
  EXPECT_FALSE(node.IsValid());

  const DomElement three = Parse("<r><a/><b/><c/></r>");
  DomNodeList2 list;
  three.ChildElementList(list);
  list.erase(3);
  list.erase(0);
  EXPECT_EQ(list.GetLength(), 2U);
  ASSERT_TRUE(list.item(0, node));
  EXPECT_FALSE(list.item(2, node));
  EXPECT_EQ(node.GetNodeName(), "b");
  list.push_back(three);
  ASSERT_TRUE(list.item(2, node));
  EXPECT_TRUE(node.IsSameNode(three));
  list.clear();
  EXPECT_FALSE(list.IsValid());
}

TEST_F(DomNodeTest, ComparesTheLocalPartOfItsName) {
  constexpr struct {
    const char* document;
    const char* name;
    bool is_equal;
  } kRows[] = {{"<a:b/>", "b", true},
               {"<a:b/>", "a:b", false},
               {"<a:b/>", "B", false},
               {"<b/>", nullptr, false},
               {"<a:b:c/>", "b:c", true},
               {"<\xC3\xFB/>", "\xC3\xFB", true},
               {"", "", true},
               {"", nullptr, true},
               {"", "b", false}};
  for (const auto& [document, name, is_equal] : kRows)
    EXPECT_EQ(Parse(document).LocalNameEqualTo(name), is_equal) << document;
}

TEST_F(DomNodeTest, TextsTellWhetherThereIsOne) {
  const DomElement root =
      Parse("<r>one<a>\xB6\xFE<!--c--><?p i?></a><![CDATA[<3>]]></r>");
  std::string text = "before";
  EXPECT_FALSE(root.GetNodeValue(text));
  EXPECT_EQ(text, "");
  EXPECT_TRUE(root.GetTextContent(text));
  EXPECT_EQ(text, "one\xB6\xFE<3>");
  DomNode node;
  root.GetFirstChild(node);
  EXPECT_TRUE(node.GetNodeValue(text));
  EXPECT_EQ(text + node.GetNodeName(), "one#text");
  root.GetParentNode(node);
  EXPECT_FALSE(node.GetTextContent(text));
}

TEST_F(DomNodeTest, ChangesTheTree) {
  DomElement root = Parse("<r><a/><b/><c/></r>");
  DomElement a, b, c, none;
  root.GetFirstChildElement("a", a);
  root.GetFirstChildElement("b", b);
  root.GetFirstChildElement("c", c);
  EXPECT_TRUE(root.AppendChild(a));
  EXPECT_EQ(Tree(), "<r><b/><c/><a/></r>");
  EXPECT_TRUE(root.InsertBefore(a, c));
  EXPECT_TRUE(root.InsertBefore(a, a));
  EXPECT_EQ(Tree(), "<r><b/><a/><c/></r>");
  EXPECT_TRUE(root.InsertBefore(b, none));
  EXPECT_EQ(Tree(), "<r><a/><c/><b/></r>");
  EXPECT_TRUE(root.ReplaceChild(b, a));
  EXPECT_TRUE(root.ReplaceChild(b, b));
  EXPECT_EQ(Tree(), "<r><b/><c/></r>");
  EXPECT_TRUE(root.RemoveChild(b));
  EXPECT_TRUE(b.SetAttribute("alive", "1"));
  EXPECT_TRUE(b.AppendChild(c));
  EXPECT_TRUE(root.AppendChild(b));
  EXPECT_EQ(Tree(), "<r><b alive=\"1\"><c/></b></r>");

  root = Parse("<r>a<b/>c</r>");
  root.RemoveChildElements("b");
  DomNodeList children;
  root.Children(children);
  ASSERT_EQ(children.GetLength(), 2U);
  root.Normalize();
  EXPECT_EQ(children.GetLength(), 1U);
}

TEST_F(DomNodeTest, RefusesWhatWouldBreakTheTree) {
  DomElement root = Parse("<r><a><b/></a></r>");
  DomElement a, b, stranger;
  DomNode tree;
  root.GetFirstChildElement("a", a);
  a.GetFirstChildElement("b", b);
  root.GetParentNode(tree);
  DomDocument other;
  ASSERT_TRUE(DomDocument::CreateDocument(other));
  ASSERT_TRUE(other.CreateElement("x", stranger));
  ExpectAllFalse(
      b.AppendChild(root), b.AppendChild(b), b.InsertBefore(b, stranger),
      a.ReplaceChild(a, b), root.AppendChild(stranger), root.InsertBefore(a, b),
      root.ReplaceChild(a, stranger), root.RemoveChild(b), tree.AppendChild(b));
  EXPECT_EQ(Tree(), "<r><a><b/></a></r>");
  EXPECT_THAT(LogText(), testing::HasSubstr("DomNode::AppendChild Failed: "));
}

TEST_F(DomNodeTest, CopiesShallowAndDeep) {
  DomElement root = Parse("<r x='1'><a>t</a></r>");
  DomNode copy, parent;
  ASSERT_TRUE(root.CloneNode(true, copy));
  EXPECT_TRUE(copy.IsEqualNode(root));
  EXPECT_FALSE(copy.IsSameNode(root));
  EXPECT_FALSE(copy.GetParentNode(parent));
  ASSERT_TRUE(root.CloneNode(false, copy));
  EXPECT_FALSE(copy.HasChild());
  EXPECT_TRUE(copy.HasAttributes());
  EXPECT_FALSE(copy.IsEqualNode(root));
  root.GetParentNode(parent);
  EXPECT_FALSE(parent.CloneNode(true, copy));
}

TEST_F(DomNodeTest, ValuesCannotEndTheNodeThatHoldsThem) {
  DomElement root = Parse("<r>t<!--c--><?p i?><![CDATA[d]]></r>");
  DomNode node;
  root.GetFirstChild(node);
  EXPECT_TRUE(node.SetNodeValue("]]> -- ?>"));
  node.GetNextSibling(node);
  EXPECT_FALSE(node.SetNodeValue("a--b") || node.SetNodeValue("a-"));
  EXPECT_TRUE(node.SetNodeValue("a-b"));
  node.GetNextSibling(node);
  EXPECT_FALSE(node.SetNodeValue("a?>"));
  node.GetNextSibling(node);
  EXPECT_FALSE(node.SetNodeValue("a]]>") || node.SetNodeValue("\x02"));
  EXPECT_EQ(Tree(), "<r>]]&gt; -- ?&gt;<!--a-b--><?p i?><![CDATA[d]]></r>");
}

TEST_F(DomNodeTest, DeepTreesAreCopiedAndComparedToTheLimitOnly) {
  ASSERT_TRUE(DomDocument::CreateDocument(document_));
  DomElement root = MakeDeep(document_, DomParser::MaxDepth());
  DomNode copy;
  ASSERT_TRUE(root.CloneNode(true, copy));
  EXPECT_TRUE(root.IsEqualNode(copy));

  DomDocument deeper;
  ASSERT_TRUE(DomDocument::CreateDocument(deeper));
  root = MakeDeep(deeper, 200'000);  // more than a recursion has stack for
  DomElement lowest = root;
  for (DomElement next = root; next.GetFirstChild(next);) lowest = next;
  ASSERT_TRUE(lowest.SetTextContent("bottom"));
  EXPECT_FALSE(root.CloneNode(true, copy));
  EXPECT_TRUE(root.CloneNode(false, copy));
  EXPECT_FALSE(root.IsEqualNode(copy));
  root.Normalize();
  std::string text;
  EXPECT_FALSE(lowest.GetBaseURI(text));
  EXPECT_TRUE(root.GetTextContent(text));
  EXPECT_EQ(text, "bottom");
  DomNodeList found;
  EXPECT_TRUE(root.GetElementsByTagName("level", found));
  EXPECT_EQ(found.GetLength(), 199'999U);
  EXPECT_THAT(LogText(),
              testing::HasSubstr("DomNode::CloneNode Failed: elements are "
                                 "nested deeper than 1000 levels"));
}

}  // namespace
}  // namespace kiv
