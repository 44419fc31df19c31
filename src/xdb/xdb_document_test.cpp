#include "kiv/xdb_document.h"

#include "kiv/dom.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

using ::testing::HasSubstr;

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";  // 订单

class XDbDocumentTest : public XDbTest {
 protected:
  XDbDocumentTest() { EXPECT_TRUE(XDbAccess::Bind(document_, *session_, {})); }
  std::string Content() const {
    std::string content;
    EXPECT_TRUE(document_.getContent(content));
    return content;
  }

  XDbDocument document_;  // hides the parsed one
};

TEST_F(XDbDocumentTest, KeepsNameAndBytes) {
  EXPECT_TRUE(document_.SetName(kOrderGb));
  EXPECT_EQ(document_.GetName(), kOrderGb);
  EXPECT_FALSE(document_.SetName("\x81"));
  ExpectLogged("XDbDocument::SetName: Inner call exception :the name ");
  EXPECT_EQ(document_.GetName(), kOrderGb);
  const std::string bytes("no \0 xml\xFF", 9);
  EXPECT_TRUE(document_.setContent(bytes));
  EXPECT_EQ(Content(), bytes);
}

TEST_F(XDbDocumentTest, TakesATreeAsGb2312) {
  const std::string part = std::string("<b>") + kOrderGb + "</b>";
  const DomElement root = Parse("<a>" + part + "</a>");
  EXPECT_TRUE(document_.setContent(XmlTest::document_));
  EXPECT_THAT(Content(), HasSubstr("encoding=\"GB2312\""));
  EXPECT_THAT(Content(), HasSubstr(part));
  DomElement child;
  ASSERT_TRUE(root.GetFirstChildElement("b", child));
  EXPECT_TRUE(document_.setContent(child));
  EXPECT_EQ(Content(), "<?xml version=\"1.0\" encoding=\"GB2312\" ?>" + part);
  // Without a message.
  child = DomElement();
  DomDocument none;
  EXPECT_FALSE(document_.setContent(none) || document_.setContent(child));
  EXPECT_EQ(LogText(), "");
}

TEST_F(XDbDocumentTest, SaysWhenATreeCannotBeWritten) {
  DomDocument deep;
  ASSERT_TRUE(DomDocument::CreateDocument(deep));
  DomElement root = MakeDeep(deep, DomParser::MaxDepth() + 1);
  document_.setContent("<kept/>");
  // "XDbDocument::setContent 失败：无法取得文档内容。"
  const std::string message =
      "Xml: XDbDocument::setContent \xCA\xA7\xB0\xDC\xA3\xBA\xCE\xDE\xB7\xA8"
      "\xC8\xA1\xB5\xC3\xCE\xC4\xB5\xB5\xC4\xDA\xC8\xDD\xA1\xA3";
  EXPECT_FALSE(document_.setContent(deep));
  EXPECT_THAT(LogText(), HasSubstr(message));
  EXPECT_FALSE(document_.setContent(root));
  EXPECT_EQ(Content(), "<kept/>");
}

TEST_F(XDbDocumentTest, IsATreeThatOutlivesIt) {
  DomDocument tree;
  {
    XDbDocument fetched;
    ASSERT_TRUE(XDbAccess::Bind(fetched, *session_, {}));
    fetched.setContent(
        std::string("<?xml version='1.0' encoding='GB2312'?><a x='") +
        kOrderGb + "'/>");
    EXPECT_TRUE(fetched.asDocument(tree));
  }
  DomElement root;
  ASSERT_TRUE(tree.GetDocumentElement(root));
  EXPECT_EQ(root.Attribute("x"), kOrderGb);
}

TEST_F(XDbDocumentTest, IsANodeUntilAnotherTreeIsAskedFor) {
  document_.setContent("<a><b/></a>");
  DomNode node;
  ASSERT_TRUE(document_.asNode(node));
  EXPECT_EQ(node.GetNodeType(), DomNode::DOCUMENT_NODE);
  DomDocument same;
  ASSERT_TRUE(document_.asDocument(same));
  DomNode root;
  ASSERT_TRUE(node.GetFirstChild(root));
  DomElement same_root, child;
  ASSERT_TRUE(same.GetDocumentElement(same_root));
  EXPECT_TRUE(same_root.IsSameNode(root));

  // An edited part of it as the new content: its handles stay good.
  ASSERT_TRUE(same_root.GetFirstChildElement("b", child));
  same = DomDocument();
  ASSERT_TRUE(child.SetAttribute("k", "1"));
  ASSERT_TRUE(document_.setContent(child));
  EXPECT_EQ(child.Attribute("k"), "1");
  ASSERT_TRUE(document_.asNode(node));
  ASSERT_TRUE(node.GetFirstChild(root));
  EXPECT_EQ(root.GetNodeName(), "b");
}

TEST_F(XDbDocumentTest, IsNoTreeWithoutReadableContent) {
  DomDocument tree;
  DomNode node;
  EXPECT_FALSE(document_.asDocument(tree));
  EXPECT_FALSE(document_.asNode(node));
  EXPECT_EQ(LogText(), "");
  document_.setContent("<a><b></a>");
  EXPECT_FALSE(document_.asDocument(tree));
  ExpectLogged(
      "XDbDocument::asDocument: Inner call exception :line 1, column ");
  EXPECT_FALSE(document_.asNode(node));
  ExpectLogged("XDbDocument::asNode: Inner call exception :line 1, ");
  document_.setContent("<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a>&e;</a>");
  EXPECT_FALSE(document_.asDocument(tree));
  EXPECT_FALSE(tree.IsValid());
}

}  // namespace
}  // namespace kiv::xdb
