#include "kiv/dom_element.h"

#include <gmock/gmock.h>

#include <vector>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(DomNodeText, KnowsTwoWordsInAnyCaseAndLeadingDigits) {
  for (const bool other : {false, true}) {
    EXPECT_TRUE(DomNode::ToBoolean("TrUe", other));
    EXPECT_FALSE(DomNode::ToBoolean("FALSE", other));
    for (const char* const neither : {"yes", " true", "trueish", ""})
      EXPECT_EQ(DomNode::ToBoolean(neither, other), other) << neither;
    EXPECT_EQ(DomNode::ToBoolean(nullptr, other), other);
  }
  EXPECT_EQ(DomNode::ToInt("12abc", 7), 12);
  EXPECT_EQ(DomNode::ToInt("0", 7), 0);
  EXPECT_EQ(DomNode::ToInt("2147483647", 7), 2147483647);
  EXPECT_EQ(DomNode::ToInt("99999999999999999999", 7), 2147483647);
  for (const char* const none : {"-5", "+5", " 5", ""})
    EXPECT_EQ(DomNode::ToInt(none, 7), 7) << none;
  EXPECT_EQ(DomNode::ToInt(nullptr, 7), 7);
}

class DomElementTest : public XmlTest {
 protected:
  static std::vector<std::string> Names(const DomNodeList2& list) {
    std::vector<std::string> names;
    DomNode node;
    for (unsigned i = 0; list.item(i, node); ++i)
      names.push_back(node.GetNodeName());
    return names;
  }
  static std::string Attribute(const DomElement& element, const char* uri) {
    std::string value;
    return element.AttributeNS(uri, "x", value) ? value : "-";
  }
};

TEST_F(DomElementTest, AttributeIsTrueOnlyForAValue) {
  DomElement element = Parse(
      "<a full='x y' empty='' gb='\xD6\xD0\xCE\xC4' tail='12abc' no='FALSE'"
      " type='xsd:string' two='a:b:c' bare='xsd:'/>");
  std::string value = "before";
  EXPECT_TRUE(element.Attribute("full", value));
  EXPECT_EQ(value, "x y");
  for (const char* none : {"empty", "missing"}) {
    value = "before";
    EXPECT_FALSE(element.Attribute(none, value));
    EXPECT_EQ(value, "");
    EXPECT_EQ(element.AttributeInt(none, 7), 7);
    EXPECT_TRUE(element.AttributeBool(none, true));
    EXPECT_FALSE(element.AttributeBool(none, false));
  }
  EXPECT_EQ(element.getAttribute("gb", value), 1);
  EXPECT_EQ(value, "\xD6\xD0\xCE\xC4");  // 中文
  EXPECT_EQ(element.getAttribute("missing", value), 0);
  EXPECT_TRUE(element.HasAttribute("empty"));
  EXPECT_EQ(element.AttributeInt("tail", 7), 12);

  // The local one is without the prefix.
  EXPECT_EQ(element.LocalAttribute("type"), "string");
  EXPECT_EQ(element.LocalAttribute("two"), "b:c");
  ExpectAllFalse(element.HasAttribute("missing"), element.HasAttribute(nullptr),
                 element.AttributeBool("no", true),
                 element.LocalAttribute("bare", value),
                 element.LocalAttribute("missing", value));
}

TEST_F(DomElementTest, NamespacesAreThoseOfTheFile) {
  DomElement element = ParseFile(
      "<p:a xmlns:p='urn:one' xmlns:q='urn:two' p:x='1' q:x='2' x='3'/>");
  EXPECT_EQ(Attribute(element, "urn:two"), "2");
  EXPECT_EQ(Attribute(element, ""), "3");
  EXPECT_EQ(Attribute(element, nullptr), "3");
  EXPECT_EQ(Attribute(element, "urn:three"), "-");
  std::string value;
  EXPECT_TRUE(element.AttributeCurNS("x", value));
  EXPECT_EQ(value, "1");
  EXPECT_EQ(element.GetLocalName(), "a");
  EXPECT_TRUE(element.GetPrefix(value));
  EXPECT_EQ(value, "p");
  EXPECT_TRUE(element.GetNamespaceURI(value));
  EXPECT_EQ(value, "urn:one");
  EXPECT_TRUE(ParseFile("<a x='4'/>").AttributeCurNS("x", value));
  EXPECT_EQ(value, "4");
}

TEST_F(DomElementTest, SetAttributeWritesTextAndNumbers) {
  DomElement element = Parse("<a/>");
  EXPECT_TRUE(element.SetAttribute("text", "\xC2\xEB & <") &&
              element.SetAttribute("number", -12) &&
              element.SetAttribute("null", static_cast<const char*>(nullptr)) &&
              element.SetXmlSchemaNs());
  EXPECT_EQ(element.Attribute("text"), "\xC2\xEB & <");
  EXPECT_EQ(element.Attribute("number"), "-12");
  EXPECT_EQ(element.Attribute("xmlns:xsd"), "http://www.w3.org/2001/XMLSchema");
  EXPECT_TRUE(element.HasAttribute("null"));
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(element.RemoveAttribute("text"));
  EXPECT_FALSE(element.HasAttribute("text"));
}

TEST_F(DomElementTest, RefusesWhatNoDocumentCanHold) {
  DomElement element = Parse("<a kept='1'>text</a>");
  for (const char* name : {"", "1st", "a b", "<", "a=\"", "\xA3"}) {
    EXPECT_FALSE(element.SetAttribute(name, "x")) << name;
    DomElement child;
    EXPECT_FALSE(element.CreateElement(name, child)) << name;
  }
  ExpectAllFalse(element.SetAttribute("kept", "\x01"),
                 element.SetAttribute("kept", std::string("a\0b", 3)),
                 element.SetTextContent("\x1A"));
  EXPECT_EQ(Content(element), "<a kept=\"1\">text</a>");
  EXPECT_THAT(LogText(), HasSubstr("DomElement::SetAttribute Failed: "));
  EXPECT_THAT(LogText(), HasSubstr("'\\x1A'"));
}

TEST_F(DomElementTest, FindsAChildByLocalNameAndAttribute) {
  const DomElement root = Parse(
      "<r>text<!-- c --><xsd:element n='1'/><element n='2'/>"
      "<other n='2'/><other/></r>");
  DomElement child;
  const auto found = [&](const char* name, const char* attribute,
                         const char* value) {
    return root.GetFirstChildElement(name, child, attribute, value)
               ? child.GetNodeName() + child.Attribute("n")
               : "-";
  };
  ASSERT_TRUE(root.GetFirstChildElement("element", child));
  EXPECT_EQ(child.GetNodeName(), "xsd:element");
  EXPECT_EQ(found("element", "n", "2"), "element2");
  EXPECT_EQ(found(nullptr, "n", "2"), "element2");
  EXPECT_EQ(found("", nullptr, nullptr), "xsd:element1");
  // A missing attribute counts as empty.
  EXPECT_EQ(found("other", "n", nullptr), "other");
  EXPECT_EQ(found("other", "", "ignored"), "other2");

  EXPECT_FALSE(root.GetFirstChildElement("Element", child));
  EXPECT_FALSE(root.GetFirstChildElement("xsd:element", child));
  EXPECT_EQ(found("other", "n", "3"), "-");
  EXPECT_EQ(child.GetNodeName(), "other");
}

TEST_F(DomElementTest, ListsCountsAndRemovesChildElements) {
  DomElement root = Parse("<r>t<a/><p:b/><a/><!--c--><b/></r>");
  EXPECT_EQ(root.ChildElementCount(), 4U);
  EXPECT_EQ(root.ChildElementCount("b"), 2U);
  EXPECT_EQ(root.ChildElementCount("c"), 0U);

  DomNodeList2 list;
  list.push_back(root);
  EXPECT_TRUE(root.ChildElementList("b", list));
  EXPECT_THAT(Names(list), ElementsAre("p:b", "b"));
  EXPECT_TRUE(root.ChildElementList(list));
  EXPECT_THAT(Names(list), ElementsAre("a", "p:b", "a", "b"));
  EXPECT_FALSE(root.ChildElementList("c", list));
  EXPECT_FALSE(list.IsValid());

  EXPECT_FALSE(root.RemoveChildElements("c"));
  EXPECT_TRUE(root.RemoveChildElements("a"));
  EXPECT_EQ(Content(root), "<r>t<p:b/><!--c--><b/></r>");
  EXPECT_TRUE(root.RemoveChildElements(nullptr));
  EXPECT_EQ(Content(root), "<r>t<!--c--></r>");
}

TEST_F(DomElementTest, ListsOfTheTreeAreLive) {
  DomElement root = Parse("<r>t<a><b/></a><b/></r>");
  DomNodeList children, found;
  ASSERT_TRUE(root.Children(children));
  ASSERT_TRUE(root.GetElementsByTagName("b", found));
  DomElement added;
  DomNode last;
  ASSERT_TRUE(root.CreateElement("b", added));
  EXPECT_EQ(children.GetLength(), 4U);
  EXPECT_EQ(found.GetLength(), 3U);
  ASSERT_TRUE(found.item(2, last));
  EXPECT_TRUE(last.IsSameNode(added));
  EXPECT_FALSE(found.item(3, last));
  EXPECT_FALSE(last.IsValid());

  ExpectAllFalse(root.GetElementsByTagName("z", found),
                 root.GetElementsByTagName("", found),
                 root.GetElementsByTagName(nullptr, found),
                 added.Children(children));
}

TEST_F(DomElementTest, GetsOrCreatesAChildAndSetsTheFirstTextChild) {
  DomElement root = Parse("<r><p:a/></r>");
  DomElement child;
  ASSERT_TRUE(root.GetOrCreateElement("a", child));
  ASSERT_TRUE(root.GetOrCreateElement("b", child));
  ASSERT_TRUE(child.SetAttribute("n", 1));
  ASSERT_TRUE(root.GetOrCreateElement("b", child));
  EXPECT_EQ(Content(root), "<r><p:a/><b n=\"1\"/></r>");
  // Any child has an empty name; none is made of it.
  DomElement first;
  EXPECT_TRUE(root.GetOrCreateElement("", first));
  EXPECT_EQ(first.GetNodeName(), "p:a");
  ExpectAllFalse(child.GetOrCreateElement("", first),
                 child.GetOrCreateElement(nullptr, first));

  root = Parse("<r><a/>one<b/>two</r>");
  EXPECT_TRUE(root.SetTextContent("\xCE\xC4<"));
  EXPECT_EQ(Content(root), "<r><a/>\xCE\xC4&lt;<b/>two</r>");
  EXPECT_TRUE(root.SetTextContent(nullptr));
  EXPECT_EQ(Content(root), "<r><a/><b/>two</r>");
  // A CDATA section is no text child.
  root = Parse("<r><![CDATA[x]]></r>");
  EXPECT_TRUE(root.SetTextContent("y"));
  EXPECT_EQ(Content(root), "<r><![CDATA[x]]>y</r>");
}

TEST_F(DomElementTest, TheTextChildValueIsThatOfTheFirstChild) {
  const auto value_of = [&](const char* document) {
    std::string value = "before";
    const bool result = Parse(document).GetTextChildValue(value);
    return (result ? "true " : "false ") + value;
  };
  EXPECT_EQ(value_of("<r><!-- c -->text</r>"), "true  c ");
  EXPECT_EQ(value_of("<r><a>deep</a>text</r>"), "true ");
  EXPECT_EQ(value_of("<r/>"), "false ");

  std::string value = "before";
  EXPECT_TRUE(Parse("<r>\n\t x y \r\n</r>").GetTrimTextChildValue(value));
  EXPECT_EQ(value, "x y");
}

TEST_F(DomElementTest, LongNamesAndValuesAreWhole) {
  for (const std::size_t size : {127U, 128U, 129U, 5000U}) {
    const std::string name(size, 'n');
    std::string value;
    while (value.size() < size) value += "\xC0\xCB|x";
    DomElement root = Parse("<r/>");
    DomElement child;
    ASSERT_TRUE(root.CreateElement(name.c_str(), child)) << size;
    ASSERT_TRUE(child.SetAttribute(name.c_str(), value.c_str())) << size;
    EXPECT_EQ(child.GetNodeName(), name) << size;
    EXPECT_EQ(child.Attribute(name.c_str()), value) << size;
    EXPECT_TRUE(child.LocalNameEqualTo(name.c_str())) << size;
  }
}

}  // namespace
}  // namespace kiv
