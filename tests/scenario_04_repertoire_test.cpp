// What a GB2312 document really holds is code page 936, and what that lacks is
// written as a reference: nothing is lost on the way in or out.
#include <string>

#include "gmock/gmock.h"
#include "xml/xml_testing.h"

namespace kiv {
namespace {

using testing::HasSubstr;

class Scenario04Repertoire : public XmlTest {
 protected:
  // Saves the document, and expects the file to say the same. Gives its bytes.
  std::string SavedAndRead(const DomElement& root) {
    EXPECT_TRUE(document_.SaveAs("second.xml")) << LogText();
    DomParser parser;
    DomDocument again;
    DomElement second;
    EXPECT_TRUE(parser.parseURI("second.xml", again)) << LogText();
    EXPECT_TRUE(again.GetDocumentElement(second));
    EXPECT_TRUE(second.IsEqualNode(root)) << ReadTestFile("second.xml");
    return ReadTestFile("second.xml");
  }
  std::string Utf8() const {
    DomDocumentContent content;
    EXPECT_TRUE(document_.GetDocumentContent(content, "UTF-8"));
    return content.GetContent();
  }
};

constexpr char kGb2312[] = "<?xml version='1.0' encoding='GB2312'?>";

TEST_F(Scenario04Repertoire, ReadsWhatWindowsMeansByGb2312) {
  // 镕, €, —, ·, 〇, and 丂 whose second byte looks like "@".
  const std::string text = "\xE9\x46\x80\xA1\xAA\xA1\xA4\xA9\x96\x81\x40";
  const DomElement root =
      ParseFile(kGb2312 + ("<r a='" + text + "'>" + text + "</r>"));
  std::string content;
  EXPECT_TRUE(root.GetTextContent(content));
  EXPECT_EQ(content, text);
  EXPECT_EQ(root.Attribute("a"), text);
  EXPECT_THAT(Utf8(), HasSubstr("\xE9\x95\x95\xE2\x82\xAC\xE2\x80\x94\xC2\xB7"
                                "\xE3\x80\x87\xE4\xB8\x82"));
  SavedAndRead(root);
}

TEST_F(Scenario04Repertoire, WritesWhatTheEncodingLacksAsOneReference) {
  // 😀 in text and attribute, 한 beside 中.
  EXPECT_THAT(SavedAndRead(ParseFile("<r a='\xF0\x9F\x98\x80'>\xE4\xB8\xAD"
                                     "\xED\x95\x9C\xF0\x9F\x98\x80</r>")),
              HasSubstr("a=\"&#x1F600;\">\xD6\xD0&#xD55C;&#x1F600;</r>"));
}

// Two-byte characters and references on either side of every block's border.
TEST_F(Scenario04Repertoire, IsTheSameAtEveryPlaceOfALongText) {
  std::string text;
  for (std::size_t i = 0; i < 20'000; ++i)
    text += std::string(i % 7, 'x') + "\xE9\x46" + (i % 5 ? "" : "&#x1F600;");
  EXPECT_THAT(SavedAndRead(ParseFile(kGb2312 + ("<r>" + text + "</r>"))),
              HasSubstr(text));
}

TEST_F(Scenario04Repertoire, WritesSuchACdataSectionAsText) {
  ParseFile("<r><![CDATA[<x\xF0\x9F\x98\x80y]]><a/><![CDATA[<z>]]></r>");
  ASSERT_TRUE(document_.SaveAs("second.xml"));
  EXPECT_THAT(ReadTestFile("second.xml"),
              HasSubstr("<r>&lt;x&#x1F600;y<a/><![CDATA[<z>]]></r>"));
  // In the document itself it is still one.
  EXPECT_THAT(Utf8(), HasSubstr("<![CDATA[<x\xF0\x9F\x98\x80y]]>"));
}

TEST_F(Scenario04Repertoire, RefusesToWriteWhatCannotHoldAReference) {
  WriteTestFile("kept.xml", "<kept/>");
  // 한 as a name, in a comment and in a processing instruction.
  for (const char* text :
       {"<\xED\x95\x9C/>", "<r><a \xED\x95\x9C='1'/></r>",
        "<r><!--\xED\x95\x9C--></r>", "<r><?p \xED\x95\x9C?></r>"}) {
    const std::size_t before = LogText().size();
    EXPECT_TRUE(ParseFile(text).IsValid());
    EXPECT_FALSE(document_.SaveAs("kept.xml")) << text;
    EXPECT_THAT(LogText().substr(before),
                HasSubstr("not representable in 'GB2312' encoding"));
  }
  EXPECT_EQ(ReadTestFile("kept.xml"), "<kept/>");
}

}  // namespace
}  // namespace kiv
