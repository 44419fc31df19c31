#include "kiv/dom_parser.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

using testing::HasSubstr;

using DomParserTest = XmlTest;

TEST_F(DomParserTest, ARefusedDocumentIsFalseWithPositionAndReason) {
  const struct {
    std::string text;
    const char* position;  // as the log has it
    const char* reason;    // part of it
  } cases[] = {{"\n\n ", "line 3, char 2", ""},
               {"<a>\n <b></a>", "line 2, char 7", "'b'"},
               {"<a>&foo;</a>", "line 1, char 9", "'foo'"},
               {std::string("<a/>\0", 5), "line 1, char 5", "NUL"},
               {"<a>\n<b c='\xD6\xD0'/></a>", "line 2, char 7",
                "no other encoding is declared"},
               {"<?xml version='1.0' encoding='utf-8'?><a>\xD6\xD0</a>",
                "line 1, char 42", "UTF-8"},
               {"<!DOCTYPE a><a/>", "line 1, char 13",
                "document type declarations are refused"}};
  for (const auto& [text, position, reason] : cases) {
    SCOPED_TRACE(text);
    const std::string before = LogText();
    EXPECT_FALSE(ParseFile(text).IsValid());
    EXPECT_FALSE(document_.IsValid());
    EXPECT_FALSE(Parse(text, false).IsValid());
    const std::string log = LogText().substr(before.size());
    for (const std::string file : {"document.xml", "cssBuf"})
      EXPECT_THAT(log, HasSubstr("xml: \nFatal Error at file " + file + ", " +
                                 position));
    EXPECT_THAT(log, HasSubstr(reason));
    EXPECT_THAT(log, HasSubstr("Error occurs while parsing XML use parseMem"));

    // Neither parser is of less use afterwards.
    EXPECT_TRUE(ParseFile("<good/>").IsValid());
    EXPECT_TRUE(Parse("<good/>").IsValid());
  }
}

TEST_F(DomParserTest, ReadsWhatIsWellFormed) {
  EXPECT_TRUE(ParseFile("\xEF\xBB\xBF<a/>").IsValid());
  EXPECT_TRUE(ParseFile(std::string("\xFF\xFE<\0a\0/\0>\0", 10)).IsValid());
  std::string wide;
  for (const char c :
       std::string("<?xml version='1.0' encoding='UTF-16LE'?><a/>"))
    wide.append(1, c).append(1, '\0');
  EXPECT_TRUE(ParseFile(wide).IsValid()) << LogText();
  EXPECT_EQ(Parse("<a>&#x4E2D;</a>").GetLocalName(), "");
  EXPECT_EQ(ParseFile("<a>&lt;&#x4E2D;</a>").GetLocalName(), "a");
  // A schema that a document names is not looked at.
  WriteTestFile("a.xsd", "this would be a fault");
  EXPECT_TRUE(ParseFile("<a xmlns:x='http://www.w3.org/2001/XMLSchema-instance'"
                        " x:noNamespaceSchemaLocation='a.xsd'/>")
                  .IsValid());
  EXPECT_EQ(LogText(), "");
}

TEST_F(DomParserTest, TheTwoKindsOfDocumentsLiveApart) {
  DomDocument of_file, of_memory;
  DomElement root;
  WriteTestFile("a.xml", "<file/>");
  ASSERT_TRUE(parser_.parseMem("<memory/>", 9, of_memory));
  EXPECT_FALSE(parser_.IsValid());
  ASSERT_TRUE(parser_.parseURI("a.xml", of_file));
  EXPECT_TRUE(parser_.IsValid());
  ASSERT_TRUE(of_memory.GetDocumentElement(root));
  EXPECT_EQ(root.GetNodeName(), "memory");
  // A parse that fails leaves the other kind alone, too.
  DomDocument failed;
  EXPECT_FALSE(parser_.parseMem("<", 1, failed));
  ASSERT_TRUE(of_file.GetDocumentElement(root));
  EXPECT_EQ(root.GetNodeName(), "file");
  parser_.release();
  EXPECT_FALSE(parser_.IsValid());
  EXPECT_TRUE(parser_.parseURI("a.xml", of_file));
}

TEST_F(DomParserTest, MemoryIsReadByLength) {
  EXPECT_TRUE(parser_.parseMem("<a/><rubbish", 4, document_));
  ExpectAllFalse(parser_.parseMem("<a/>", 3, document_),
                 parser_.parseMem(nullptr, 0, document_),
                 parser_.parseMem(nullptr, 9, document_));
  EXPECT_FALSE(document_.IsValid());
}

TEST_F(DomParserTest, PathsAreWrittenEitherWay) {
  std::filesystem::create_directories("\xE4\xB8\xAD");  // 中 in UTF-8
  WriteTestFile("\xE4\xB8\xAD/a b.xml", "<a/>");
  EXPECT_TRUE(parser_.parseURI("\xD6\xD0/a b.xml", document_)) << LogText();
  EXPECT_TRUE(parser_.parseURI(".\\\xD6\xD0\\a b.xml", document_));
  EXPECT_TRUE(parser_.parseURI(
      (folder_.path().string() + "/\xD6\xD0/a b.xml").c_str(), document_));
  DomElement root;
  std::string base;
  ASSERT_TRUE(document_.GetDocumentElement(root));
  EXPECT_TRUE(root.GetBaseURI(base));
  EXPECT_EQ(base, "file://" + folder_.path().string() + "/\xD6\xD0/a b.xml");
  EXPECT_FALSE(parser_.parseURI("", document_));
  EXPECT_FALSE(parser_.parseURI(nullptr, document_));
  EXPECT_TRUE(document_.GetDocumentElement(root));
  // A foreign name cannot fake an entry of the log.
  EXPECT_FALSE(parser_.parseURI("a\r\nb.xml", document_));
  EXPECT_FALSE(document_.IsValid());
  EXPECT_THAT(LogText(), HasSubstr("'a\\r\\nb.xml'"));
}

TEST_F(DomParserTest, NestingIsRefusedBeyondTheLimit) {
  for (const unsigned levels : {1'000U, 1'001U}) {
    EXPECT_EQ(ParseFile(NestedText(levels)).IsValid(), levels == 1'000);
    EXPECT_EQ(Parse(NestedText(levels)).IsValid(), levels == 1'000);
  }
  EXPECT_THAT(LogText(), HasSubstr("nested deeper than 1000 levels"));
  // Empty elements end their own level.
  std::string wide = "<r>";
  for (int i = 0; i < 2'000; ++i) wide += "<a/><b></b>";
  EXPECT_TRUE(ParseFile(wide + "</r>").IsValid());
  EXPECT_TRUE(Parse(wide + "</r>").IsValid());
}

TEST_F(DomParserTest, LimitsCanBeSet) {
  DomParser::SetMaxDepth(3);
  DomParser::SetMaxBytes(40);
  EXPECT_TRUE(ParseFile(NestedText(3)).IsValid());
  EXPECT_FALSE(ParseFile(NestedText(4)).IsValid());
  const std::string most = "<a>" + std::string(33, 'x') + "</a>";
  EXPECT_TRUE(ParseFile(most).IsValid());
  EXPECT_FALSE(ParseFile(most + " ").IsValid());
  EXPECT_FALSE(Parse(most + " ", false).IsValid());
  EXPECT_THAT(LogText(), HasSubstr("the document has more than 40 bytes"));
  DomParser::SetMaxDepth(1'000'000);
  EXPECT_EQ(DomParser::MaxDepth(), 10'000U);
  DomParser::SetMaxBytes(std::size_t{64} << 20);
  // The deepest that can be set can be walked, too.
  EXPECT_TRUE(ParseFile(NestedText(10'000)).IsValid());
  DomElement root;
  DomNode copy;
  ASSERT_TRUE(document_.GetDocumentElement(root));
  EXPECT_TRUE(root.CloneNode(true, copy) && copy.IsEqualNode(root));
  EXPECT_TRUE(document_.SaveAs("deep.xml"));
  copy.Normalize();
  DomParser::SetMaxDepth(1'000);
}

TEST_F(DomParserTest, DistinctParsersServeDistinctThreads) {
  WriteTestFile("shared.xml", "<r a='1'><b>text</b></r>");
  std::vector<std::thread> threads;
  std::atomic<int> good = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&good, i] {
      const std::string name = "own" + std::to_string(i) + ".xml";
      DomParser parser;
      DomDocument document;
      DomElement root;
      for (int k = 0; k < 50; ++k) {
        if (!parser.parseURI("shared.xml", document) ||
            !document.GetDocumentElement(root) ||
            !root.SetAttribute("own", i) || !document.SaveAs(name.c_str()) ||
            !parser.parseURI(name.c_str(), document) ||
            !document.GetDocumentElement(root))
          return;
        good += root.AttributeInt("own", -1) == i ? 1 : 0;
        parser.parseMem("<broken", 7, document);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 200);
}

TEST(DomParserDeathTest, EndsTheProcessBeforeGlobalInit) {
  const TestFolder folder;
  WriteTestFile("a.xml", "<a/>");
  DomDocument document;
  EXPECT_EXIT(DomParser().parseURI("a.xml", document),
              testing::ExitedWithCode(1), "");
  std::string log;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator("Logfiles"))
    if (entry.is_regular_file()) log += ReadTestFile(entry.path());
  // [严重错误] Xml: DomParser::Initialize 失败：…
  EXPECT_THAT(log, HasSubstr("[\xD1\xCF\xD6\xD8\xB4\xED\xCE\xF3] Xml: "
                             "DomParser::Initialize \xCA\xA7\xB0\xDC\xA3\xBA"));
  // …。请检查是否正确调用了 kiv::GlobalInit 函数。
  EXPECT_THAT(log,
              HasSubstr("\xA1\xA3\xC7\xEB\xBC\xEC\xB2\xE9\xCA\xC7\xB7\xF1\xD5"
                        "\xFD\xC8\xB7\xB5\xF7\xD3\xC3\xC1\xCB kiv::GlobalInit "
                        "\xBA\xAF\xCA\xFD\xA1\xA3"));
  EXPECT_EXIT(DomDocument::CreateDocument(document), testing::ExitedWithCode(1),
              "");
}

TEST(XmlTransString, EscapesFourCharacters) {
  std::stringstream out;
  XmlTransString("a'b<c", out);
  XmlTransString(nullptr, out);
  XmlTransString("", out);
  XmlTransString("\"&> \xD6\xD0", out);
  EXPECT_EQ(out.str(), "a'b&lt;c&quot;&amp;&gt; \xD6\xD0");
}

}  // namespace
}  // namespace kiv
