// What a GB2312 document really holds is code page 936, and what that lacks is
// written as a reference: nothing is lost on the way in or out.
#include <string>

#include "gmock/gmock.h"
#include "kiv/dom.h"
#include "kiv/startup.h"
#include "port/test_folder.h"
#include "testing/test_log.h"

namespace kiv {
namespace {

using ::testing::HasSubstr;

constexpr const char* kGb2312 = "<?xml version='1.0' encoding='GB2312'?>";

class Scenario04Repertoire : public ::testing::Test {
 protected:
  Scenario04Repertoire() { GlobalInit(); }
  ~Scenario04Repertoire() override {
    first_.release();
    second_.release();
    GlobalUninit();
  }

  static DomElement Read(DomParser& parser, const char* name) {
    DomDocument document;
    DomElement root;
    if (parser.parseURI(name, document)) document.GetDocumentElement(root);
    return root;
  }

  // Saves what the text says, and expects the file to say the same. Gives the
  // file's bytes.
  std::string SavedAndRead(const std::string& text) {
    WriteTestFile("first.xml", text);
    DomDocument document;
    EXPECT_TRUE(first_.parseURI("first.xml", document)) << log_.Text();
    EXPECT_TRUE(document.SaveAs("second.xml")) << log_.Text();
    DomElement first;
    document.GetDocumentElement(first);
    const DomElement second = Read(second_, "second.xml");
    EXPECT_TRUE(second.IsEqualNode(first)) << ReadTestFile("second.xml");
    return ReadTestFile("second.xml");
  }

  const TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path()};
  DomParser first_;
  DomParser second_;
};

TEST_F(Scenario04Repertoire, ReadsWhatWindowsMeansByGb2312) {
  // 镕, €, —, ·, 〇, and 丂 whose second byte looks like "@".
  const std::string text = "\xE9\x46\x80\xA1\xAA\xA1\xA4\xA9\x96\x81\x40";
  WriteTestFile("file.xml", kGb2312 + ("<r a='" + text + "'>" + text + "</r>"));
  const DomElement root = Read(first_, "file.xml");
  std::string content;
  EXPECT_TRUE(root.GetTextContent(content));
  EXPECT_EQ(content, text);
  EXPECT_EQ(root.Attribute("a"), text);
  DomDocumentContent utf8;
  ASSERT_TRUE(root.GetElementContent(utf8, "UTF-8"));
  EXPECT_THAT(
      utf8.GetContent(),
      HasSubstr("\xE9\x95\x95\xE2\x82\xAC\xE2\x80\x94\xC2\xB7\xE3\x80\x87"
                "\xE4\xB8\x82"));
}

TEST_F(Scenario04Repertoire, ReadsTextThatIsSplitBetweenBlocks) {
  // Two-byte characters on either side of every block border.
  for (const char* lead : {"", "x"}) {
    std::string text = lead;
    for (int i = 0; i < 40'000; ++i) text += "\xE9\x46";
    WriteTestFile("file.xml", kGb2312 + ("<r>" + text + "</r>"));
    std::string content;
    Read(first_, "file.xml").GetTextContent(content);
    EXPECT_EQ(content, text);
    EXPECT_NE(SavedAndRead(kGb2312 + ("<r>" + text + "</r>")).find(text),
              std::string::npos);
  }
}

TEST_F(Scenario04Repertoire, WritesWhatTheEncodingLacksAsOneReference) {
  // 😀 in text and attribute, 한 beside 中.
  const std::string saved = SavedAndRead(
      "<r a='\xF0\x9F\x98\x80'>\xE4\xB8\xAD\xED\x95\x9C"
      "\xF0\x9F\x98\x80</r>");
  EXPECT_THAT(saved,
              HasSubstr("a=\"&#x1F600;\">\xD6\xD0&#xD55C;&#x1F600;</r>"));
}

TEST_F(Scenario04Repertoire, WritesSuchACdataSectionAsText) {
  WriteTestFile("first.xml",
                "<r><![CDATA[<x\xF0\x9F\x98\x80y]]><a/><![CDATA[<z>]]></r>");
  DomDocument document;
  ASSERT_TRUE(first_.parseURI("first.xml", document));
  ASSERT_TRUE(document.SaveAs("second.xml"));
  EXPECT_THAT(ReadTestFile("second.xml"),
              HasSubstr("<r>&lt;x&#x1F600;y<a/><![CDATA[<z>]]></r>"));
  // In the document itself it is still one.
  DomDocumentContent utf8;
  ASSERT_TRUE(document.GetDocumentContent(utf8, "UTF-8"));
  EXPECT_THAT(utf8.GetContent(), HasSubstr("<![CDATA[<x\xF0\x9F\x98\x80y]]>"));
}

TEST_F(Scenario04Repertoire, WritesReferencesAtEveryPlaceOfALongText) {
  std::string text = "<r>";
  for (int i = 0; i < 3'000; ++i)
    text += std::string(static_cast<std::size_t>(i % 7), 'x') +
            "\xF0\x9F\x98\x80\xE4\xB8\xAD";
  SavedAndRead(text + "</r>");
}

TEST_F(Scenario04Repertoire, RefusesToWriteWhatCannotHoldAReference) {
  WriteTestFile("kept.xml", "<kept/>");
  // 한 as a name, in a comment and in a processing instruction.
  for (const char* text :
       {"<\xED\x95\x9C/>", "<r \xED\x95\x9C='1'/>", "<r><\xED\x95\x9C/></r>",
        "<r><a \xED\x95\x9C='1'/></r>", "<r \xF0\xA0\x80\x80='1'/>",
        "<r><!--\xED\x95\x9C--></r>", "<r><?p \xED\x95\x9C?></r>"}) {
    WriteTestFile("first.xml", text);
    DomDocument document;
    ASSERT_TRUE(first_.parseURI("first.xml", document)) << text;
    EXPECT_FALSE(document.SaveAs("kept.xml")) << text;
    DomDocumentContent utf8;
    EXPECT_TRUE(document.GetDocumentContent(utf8, "UTF-8")) << text;
  }
  EXPECT_EQ(ReadTestFile("kept.xml"), "<kept/>");
  EXPECT_EQ(log_.Count("not representable in 'GB2312' encoding"), 7)
      << log_.Text();
}

}  // namespace
}  // namespace kiv
