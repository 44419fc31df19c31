#include "kiv/dom_element.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(DomNodeText, KnowsTwoWordsInAnyCase) {
  const struct {
    const char* text;
    bool by_default;
    bool expected;
  } cases[] = {
      {"true", false, true},     {"TrUe", false, true}, {"FALSE", true, false},
      {"yes", true, true},       {"yes", false, false}, {" true", false, false},
      {"trueish", false, false}, {"", true, true},      {nullptr, true, true}};
  for (const auto& [text, by_default, expected] : cases)
    EXPECT_EQ(DomNode::ToBoolean(text, by_default), expected)
        << (text ? text : "null");
}

TEST(DomNodeText, TakesLeadingDigitsForANumber) {
  const std::pair<const char*, int> cases[] = {
      {"12", 12},
      {"0", 0},
      {"12abc", 12},
      {"3.9", 3},
      {"-5", 7},
      {"+5", 7},
      {" 5", 7},
      {"", 7},
      {nullptr, 7},
      {"2147483647", 2147483647},
      {"99999999999999999999", 2147483647}};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(DomNode::ToInt(text, 7), expected) << (text ? text : "null");
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
  static std::string Content(const DomElement& element) {
    DomDocumentContent content;
    return element.GetElementContent(content, nullptr) ? content.GetContent()
                                                       : "(none)";
  }
};

TEST_F(DomElementTest, AttributeIsTrueOnlyForAValue) {
  DomElement element = Parse(
      "<a full='x y' empty='' gb='\xD6\xD0\xCE\xC4' tail='12abc' no='FALSE'"
      " type='xsd:string' two='a:b:c' bare='xsd:'/>");
  std::string value = "before";
  const auto read = [&](const char* name) {
    value = "before";
    return element.Attribute(name, value);
  };
  EXPECT_TRUE(read("full"));
  EXPECT_EQ(value, "x y");
  for (const char* none : {"empty", "missing"}) {
    EXPECT_FALSE(read(none));
    EXPECT_EQ(value, "");
    EXPECT_EQ(element.AttributeInt(none, 7), 7);
    EXPECT_TRUE(element.AttributeBool(none, true));
    EXPECT_FALSE(element.AttributeBool(none, false));
  }
  EXPECT_EQ(element.getAttribute("gb", value), 1);
  EXPECT_EQ(value, "\xD6\xD0\xCE\xC4");  // 中文
  EXPECT_EQ(element.getAttribute("missing", value), 0);
  EXPECT_TRUE(element.HasAttribute("empty"));
  EXPECT_FALSE(element.HasAttribute("missing"));
  EXPECT_FALSE(element.HasAttribute(nullptr));
  EXPECT_EQ(element.AttributeInt("tail", 7), 12);
  EXPECT_FALSE(element.AttributeBool("no", true));

  // The local one is without the prefix.
  EXPECT_EQ(element.LocalAttribute("type"), "string");
  EXPECT_EQ(element.LocalAttribute("tail"), "12abc");
  EXPECT_EQ(element.LocalAttribute("two"), "b:c");
  value = "before";
  EXPECT_FALSE(element.LocalAttribute("bare", value));
  EXPECT_EQ(value, "");
  EXPECT_FALSE(element.LocalAttribute("missing", value));
}

TEST_F(DomElementTest, NamespacesAreThoseOfTheFile) {
  DomElement element = ParseFile(
      "<p:a xmlns:p='urn:one' xmlns:q='urn:two' p:x='1' q:x='2' x='3'/>");
  std::string value;
  EXPECT_TRUE(element.AttributeNS("urn:two", "x", value));
  EXPECT_EQ(value, "2");
  EXPECT_TRUE(element.AttributeCurNS("x", value));
  EXPECT_EQ(value, "1");
  EXPECT_TRUE(element.AttributeNS("", "x", value));
  EXPECT_EQ(value, "3");
  EXPECT_TRUE(element.AttributeNS(nullptr, "x", value));
  EXPECT_EQ(value, "3");
  EXPECT_FALSE(element.AttributeNS("urn:three", "x", value));
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
  EXPECT_TRUE(element.SetAttribute("text", "\xC2\xEB & <"));
  EXPECT_TRUE(element.SetAttribute("number", -12));
  EXPECT_TRUE(element.SetAttribute(std::string("name"), std::string("v")));
  EXPECT_TRUE(element.SetAttribute("null", static_cast<const char*>(nullptr)));
  EXPECT_TRUE(element.SetXmlSchemaNs());
  EXPECT_EQ(element.Attribute("text"), "\xC2\xEB & <");
  EXPECT_EQ(element.Attribute("number"), "-12");
  EXPECT_EQ(element.Attribute("xmlns:xsd"), "http://www.w3.org/2001/XMLSchema");
  EXPECT_TRUE(element.HasAttribute("null"));
  EXPECT_TRUE(element.RemoveAttribute("text"));
  EXPECT_TRUE(element.RemoveAttribute("text"));
  EXPECT_FALSE(element.HasAttribute("text"));
}

TEST_F(DomElementTest, RefusesWhatNoDocumentCanHold) {
  DomElement element = Parse("<a kept='1'>text</a>");
  for (const char* name : {"", "1st", "a b", "<", "a=\"", "\xA3"}) {
    EXPECT_FALSE(element.SetAttribute(name, "x")) << name;
    DomElement child;
    EXPECT_FALSE(element.CreateElement(name, child)) << name;
    EXPECT_FALSE(child.IsValid()) << name;
  }
  EXPECT_FALSE(element.SetAttribute("kept", "\x01"));
  EXPECT_FALSE(element.SetAttribute("kept", std::string("a\0b", 3)));
  EXPECT_FALSE(element.SetTextContent("\x1A"));
  EXPECT_EQ(Content(element), "<a kept=\"1\">text</a>");
  EXPECT_THAT(LogText(), HasSubstr("DomElement::SetAttribute Failed: "));
  EXPECT_THAT(LogText(), HasSubstr("'\\x1A'"));
}

TEST_F(DomElementTest, FindsAChildByLocalNameAndAttribute) {
  DomElement root = Parse(
      "<r>text<!-- c --><xsd:element n='1'/><element n='2'/>"
      "<other n='2'/><other/></r>");
  DomElement child;
  ASSERT_TRUE(root.GetFirstChildElement("element", child));
  EXPECT_EQ(child.GetNodeName(), "xsd:element");
  ASSERT_TRUE(root.GetFirstChildElement("element", child, "n", "2"));
  EXPECT_EQ(child.GetNodeName(), "element");
  ASSERT_TRUE(root.GetFirstChildElement(nullptr, child, "n", "2"));
  EXPECT_EQ(child.GetNodeName(), "element");
  ASSERT_TRUE(root.GetFirstChildElement("", child));
  EXPECT_EQ(child.GetNodeName(), "xsd:element");
  // A missing attribute counts as empty.
  ASSERT_TRUE(root.GetFirstChildElement("other", child, "n", nullptr));
  EXPECT_FALSE(child.HasAttribute("n"));
  ASSERT_TRUE(root.GetFirstChildElement("other", child, "", "ignored"));
  EXPECT_EQ(child.Attribute("n"), "2");

  const DomElement before = child;
  EXPECT_FALSE(root.GetFirstChildElement("Element", child));
  EXPECT_FALSE(root.GetFirstChildElement("xsd:element", child));
  EXPECT_FALSE(root.GetFirstChildElement("other", child, "n", "3"));
  EXPECT_TRUE(child.IsSameNode(before));
}

TEST_F(DomElementTest, ListsCountsAndRemovesChildElements) {
  DomElement root = Parse("<r>t<a/><p:b/><a/><!--c--><b/></r>");
  EXPECT_EQ(root.ChildElementCount(), 4U);
  EXPECT_EQ(root.ChildElementCount(""), 4U);
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
  DomNodeList children;
  DomNodeList found;
  ASSERT_TRUE(root.Children(children));
  EXPECT_EQ(children.GetLength(), 3U);
  ASSERT_TRUE(root.GetElementsByTagName("b", found));
  EXPECT_EQ(found.GetLength(), 2U);
  DomElement added;
  ASSERT_TRUE(root.CreateElement("b", added));
  EXPECT_EQ(children.GetLength(), 4U);
  EXPECT_EQ(found.GetLength(), 3U);
  DomNode last;
  ASSERT_TRUE(found.item(2, last));
  EXPECT_TRUE(last.IsSameNode(added));
  EXPECT_FALSE(found.item(3, last));
  EXPECT_FALSE(last.IsValid());

  EXPECT_FALSE(root.GetElementsByTagName("z", found));
  EXPECT_FALSE(root.GetElementsByTagName("", found));
  EXPECT_FALSE(root.GetElementsByTagName(nullptr, found));
  EXPECT_FALSE(added.Children(children));
}

TEST_F(DomElementTest, GetsOrCreatesAChildAndSetsTheFirstTextChild) {
  DomElement root = Parse("<r><p:a/></r>");
  DomElement child;
  ASSERT_TRUE(root.GetOrCreateElement("a", child));
  ASSERT_TRUE(root.GetOrCreateElement("b", child));
  ASSERT_TRUE(child.SetAttribute("n", 1));
  ASSERT_TRUE(root.GetOrCreateElement("b", child));
  EXPECT_EQ(child.AttributeInt("n", 0), 1);
  EXPECT_EQ(Content(root), "<r><p:a/><b n=\"1\"/></r>");
  // Any child has an empty name; none is made of it.
  DomElement first;
  EXPECT_TRUE(root.GetOrCreateElement("", first));
  EXPECT_EQ(first.GetNodeName(), "p:a");
  EXPECT_FALSE(child.GetOrCreateElement("", first));
  EXPECT_FALSE(child.GetOrCreateElement(nullptr, first));

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
  EXPECT_EQ(value_of("<r>text<a/></r>"), "true text");
  EXPECT_EQ(value_of("<r><a>deep</a>text</r>"), "true ");
  EXPECT_EQ(value_of("<r/>"), "false ");

  std::string value = "before";
  EXPECT_TRUE(Parse("<r>\n\t x y \r\n</r>").GetTrimTextChildValue(value));
  EXPECT_EQ(value, "x y");
  EXPECT_FALSE(Parse("<r/>").GetTrimTextChildValue(value));
  EXPECT_EQ(value, "");
}

TEST_F(DomElementTest, LongNamesAndValuesAreWhole) {
  for (const std::size_t size : {126U, 127U, 128U, 129U, 255U, 256U, 5000U}) {
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
    EXPECT_FALSE(child.LocalNameEqualTo((name + "x").c_str())) << size;
  }
}

}  // namespace
}  // namespace kiv
