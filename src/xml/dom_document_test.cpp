#include "kiv/dom_document.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

using testing::HasSubstr;

class DomDocumentTest : public XmlTest {
 protected:
  DomElement MakeRoot() {
    DomElement root;
    EXPECT_TRUE(DomDocument::CreateDocument(document_));
    EXPECT_TRUE(document_.CreateDocumentElement("r", root));
    return root;
  }
};

TEST_F(DomDocumentTest,
       MadeByUsLivesAsLongAsACopyOfItsHandleAndTakesUpOneRoot) {
  MakeRoot();
  const DomDocument kept = document_;
  DomElement root, second;
  // Made anew: the handle lets go of the first document, the copy does not.
  ASSERT_TRUE(DomDocument::CreateDocument(document_));
  EXPECT_FALSE(document_.GetDocumentElement(root));
  ASSERT_TRUE(kept.GetDocumentElement(root));
  EXPECT_EQ(root.GetNodeName(), "r");

  EXPECT_FALSE(document_.CreateDocumentElement("1", root));
  ASSERT_TRUE(document_.CreateDocumentElement("root", root));
  // The element is there all the same, outside the tree.
  EXPECT_TRUE(document_.CreateDocumentElement("second", second));
  EXPECT_TRUE(root.AppendChild(second));
  EXPECT_EQ(Content(root), "<root><second/></root>");
}

TEST_F(DomDocumentTest, AnElementDeclaresTheEncodingAsTheCallerWroteIt) {
  DomElement root = Parse("<r>\xD6\xD0</r>");  // 中
  EXPECT_EQ(Content(root, "GB2312"),
            "<?xml version=\"1.0\" encoding=\"GB2312\" ?><r>\xD6\xD0</r>");
  EXPECT_EQ(Content(root, "utf-8"),
            "<?xml version=\"1.0\" encoding=\"utf-8\" ?><r>\xE4\xB8\xAD</r>");
  EXPECT_EQ(Content(root, "US-ASCII"),
            "<?xml version=\"1.0\" encoding=\"US-ASCII\" ?><r>&#x4E2D;</r>");
  // Without one, that of the document is meant and nothing is declared.
  EXPECT_EQ(Content(root, ""), "<r>\xD6\xD0</r>");
}

TEST_F(DomDocumentTest, UnknownEncodingsGiveNoContent) {
  DomElement root = Parse("<r/>");
  for (const std::string& unknown :
       {std::string(500, 'x'), std::string("\xD6\xD0")})
    EXPECT_EQ(Content(root, unknown.c_str()), "(none)");
  EXPECT_THAT(LogText(), HasSubstr("DomDocumentContent Failed: "));
  // An object that failed once is as good as new.
  DomDocumentContent content;
  EXPECT_FALSE(document_.GetDocumentContent(content, "KLINGON"));
  EXPECT_STREQ(content.GetContent(), "");
  EXPECT_TRUE(document_.GetDocumentContent(content, "UTF-8"));
  EXPECT_STRNE(content.GetContent(), "");
}

// A reader of version 1.1 makes a line feed of U+0085.
TEST_F(DomDocumentTest, Version11IsWrittenOnlyWhereNoTextIsLost) {
  for (const std::string inner :
       {"&#x85;", "<b a='&#x2028;'/>", "<!--\xC2\x85-->"}) {
    DomElement root =
        Parse("<?xml version='1.1'?><r>a" + inner + "</r>", false);
    ASSERT_TRUE(root.IsValid()) << inner;
    // Read raw, it is a line feed already.
    const bool is_lost = !inner.starts_with("<!");
    EXPECT_EQ(Content(root, "UTF-8") == "(none)", is_lost) << inner;
    EXPECT_EQ(Content(root, "UTF-16LE") == "(none)", is_lost) << inner;
    EXPECT_NE(Content(root, "GB2312"), "(none)") << inner;
  }
  EXPECT_NE(Content(Parse("<r>&#x85;</r>", false), "UTF-8"), "(none)");
}

TEST_F(DomDocumentTest, SavesWithItsFolders) {
  DomElement root = MakeRoot();
  root.SetTextContent("\xD6\xD0");
  ASSERT_TRUE(document_.SaveAs("one/two\\file.xml"));
  const std::string text = ReadTestFile("one/two/file.xml");
  EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\" encoding=\"GB2312\""))
      << text;
  EXPECT_THAT(text, HasSubstr("<r>\xD6\xD0</r>"));
  // A leading dot is the current folder.
  ASSERT_TRUE(document_.SaveAs("./three/file.xml"));
  EXPECT_EQ(ReadTestFile("three/file.xml"), text);
  const std::string whole = (folder_.path() / "four" / "file.xml").string();
  ASSERT_TRUE(document_.SaveAs(whole.c_str()));
  EXPECT_EQ(ReadTestFile(whole), text);
  EXPECT_EQ(LogText(), "");
}

TEST_F(DomDocumentTest, SavingNothingSaysSo) {
  EXPECT_FALSE(document_.SaveAs(nullptr));
  EXPECT_EQ(LogText(), "");
  EXPECT_FALSE(document_.SaveAs("file.xml"));
  // [错误] Xml: DomDocument::SaveAs 失败：无法取得文档内容。
  EXPECT_THAT(
      LogText(),
      HasSubstr("[\xB4\xED\xCE\xF3] Xml: DomDocument::SaveAs \xCA\xA7\xB0\xDC"
                "\xA3\xBA\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xCE\xC4\xB5\xB5\xC4"
                "\xDA\xC8\xDD\xA1\xA3"));
  EXPECT_FALSE(std::filesystem::exists("file.xml"));
}

TEST_F(DomDocumentTest, WhatCannotBeWrittenIsNamed) {
  std::filesystem::create_directory("folder");
  WriteTestFile("file");
  MakeRoot();
  // [错误] Tarnwick: DomDocument::SaveAs 失败：为写入而打开文件“…
  const std::string message =
      "[\xB4\xED\xCE\xF3] Tarnwick: DomDocument::SaveAs \xCA\xA7\xB0\xDC\xA3"
      "\xBA\xCE\xAA\xD0\xB4\xC8\xEB\xB6\xF8\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE"
      "\xA1\xB0";
  // … ”失败。
  const std::string end = " \xA1\xB1\xCA\xA7\xB0\xDC\xA1\xA3";
  for (const std::string path : {"folder", "file/below.xml", ""}) {
    EXPECT_FALSE(document_.SaveAs(path.c_str())) << path;
    EXPECT_THAT(LogText(), HasSubstr(message + path + end));
  }
}

TEST_F(DomDocumentTest, DeepTreesAreWrittenToTheLimitOnly) {
  ASSERT_TRUE(DomDocument::CreateDocument(document_));
  MakeDeep(document_, DomParser::MaxDepth());
  ASSERT_TRUE(document_.SaveAs("deep.xml"));
  DomDocument again;
  EXPECT_TRUE(parser_.parseURI("deep.xml", again));
  ASSERT_TRUE(DomDocument::CreateDocument(document_));
  EXPECT_EQ(Content(MakeDeep(document_, DomParser::MaxDepth() + 1)), "(none)");
}

TEST_F(DomDocumentTest, SavedTextReadsBackEqual) {
  DomElement root = MakeRoot();
  for (const char* const text :
       {"a b", "<&>\"' ]]> --", "a\r\nb\nc\rd\te", "  a  ", "\xD6\xD0\xCE\xC4",
        "\x81\x5C\x81\x7C", "\x80", "a\x7F"}) {
    SCOPED_TRACE(text);
    ASSERT_TRUE(root.SetTextContent(text));
    ASSERT_TRUE(root.SetAttribute("a", text));
    ASSERT_TRUE(document_.SaveAs("file.xml"));
    DomDocument again;
    DomElement read;
    std::string content;
    ASSERT_TRUE(parser_.parseURI("file.xml", again)) << LogText();
    ASSERT_TRUE(again.GetDocumentElement(read));
    read.GetTextContent(content);
    EXPECT_EQ(content, text);
    EXPECT_EQ(read.Attribute("a"), text);
  }
}

}  // namespace
}  // namespace kiv
