#include "kiv/dom_parser.h"

#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

#include "xml/xml_testing.h"

namespace kiv {
namespace {

constexpr const char* kUnsorted = "Error occurs while parsing XML use parseMem";

struct RefusedCase {
  const char* name;
  std::string text;
  const char* position;  // as the log has it
  const char* reason;    // part of it
};

class RefusedDocument : public XmlTest,
                        public testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedDocument, IsFalseWithPositionAndReason) {
  const RefusedCase& refused = GetParam();
  EXPECT_FALSE(ParseFile(refused.text).IsValid());
  EXPECT_FALSE(document_.IsValid());
  std::string log = LogText();
  EXPECT_NE(log.find("xml: \nFatal Error at file document.xml, " +
                     std::string(refused.position)),
            std::string::npos)
      << log;
  EXPECT_NE(log.find(refused.reason), std::string::npos) << log;

  EXPECT_FALSE(Parse(refused.text, false).IsValid());
  log = LogText();
  EXPECT_NE(log.find("xml: \nFatal Error at file cssBuf, " +
                     std::string(refused.position)),
            std::string::npos)
      << log;
  EXPECT_NE(log.find(kUnsorted), std::string::npos);

  // Neither parser is of less use afterwards.
  EXPECT_TRUE(ParseFile("<good/>").IsValid());
  EXPECT_TRUE(Parse("<good/>").IsValid());
}

INSTANTIATE_TEST_SUITE_P(
    Document, RefusedDocument,
    testing::Values(
        RefusedCase{"Empty", "", "line 1, char 1", "empty"},
        RefusedCase{"OnlyBlanks", "\n\n ", "line 3, char 2", ""},
        RefusedCase{"NoMarkup", "hello", "line 1, char 1", ""},
        RefusedCase{"Truncated", "<a>\n<b", "line 2, char 3", ""},
        RefusedCase{"Unclosed", "<a>\n <b></a>", "line 2, char 7", "'b'"},
        RefusedCase{"TwoRoots", "<a/>\n<b/>", "line 2, char 1", ""},
        RefusedCase{"TwiceTheAttribute", "<a x='1' x='2'/>", "line 1, char 1",
                    "'x'"},
        RefusedCase{"UnknownEntity", "<a>&foo;</a>", "line 1, char 9", "'foo'"},
        RefusedCase{"Nul", std::string("<a>\n\0</a>", 9), "line 2, char 1",
                    "NUL"},
        RefusedCase{"NulAtTheEnd", std::string("<a/>\0", 5), "line 1, char 5",
                    "NUL"},
        RefusedCase{"ControlZ", "<a>\x1A</a>", "line 1, char 5", "0x1A"},
        RefusedCase{"ControlZAtTheEnd", "<a/>\x1A", "line 1, char 5", ""},
        RefusedCase{"UnknownEncoding",
                    "<?xml version='1.0' encoding='KLINGON'?><a/>",
                    "line 1, char 41", "KLINGON"},
        RefusedCase{"Gb2312WithoutSaying", "<a>\n<b c='\xD6\xD0'/></a>",
                    "line 2, char 7", "no other encoding is declared"},
        RefusedCase{"NotTheUtf8ItSays",
                    "<?xml version='1.0' encoding='utf-8'?><a>\xD6\xD0</a>",
                    "line 1, char 42", "UTF-8"},
        RefusedCase{"DocumentType", "<!DOCTYPE a><a/>", "line 1, char 13",
                    "document type declarations are refused"}),
    [](const auto& row) { return row.param.name; });

class DomParserTest : public XmlTest {};

TEST_F(DomParserTest, ReadsWhatIsWellFormed) {
  EXPECT_TRUE(ParseFile("\xEF\xBB\xBF<a/>").IsValid());
  EXPECT_TRUE(ParseFile(std::string("\xFF\xFE<\0a\0/\0>\0", 10)).IsValid());
  std::string wide;
  for (const char c :
       std::string("<?xml version='1.0' encoding='UTF-16LE'?><a/>"))
    wide.append(1, c).append(1, '\0');
  EXPECT_TRUE(ParseFile(wide).IsValid()) << LogText();
  EXPECT_TRUE(ParseFile("<a>&lt;&#x4E2D;</a>").IsValid());
  EXPECT_EQ(Parse("<a>&#x4E2D;</a>").GetLocalName(), "");
  EXPECT_EQ(ParseFile("<a/>").GetLocalName(), "a");
  EXPECT_EQ(LogText(), "");
}

TEST_F(DomParserTest, SchemasThatADocumentNamesAreNotLookedAt) {
  WriteTestFile("a.xsd", "this would be a fault");
  EXPECT_TRUE(ParseFile("<a xmlns:x='http://www.w3.org/2001/XMLSchema-instance'"
                        " x:noNamespaceSchemaLocation='a.xsd'/>")
                  .IsValid());
  EXPECT_EQ(LogText(), "");
}

TEST_F(DomParserTest, TheTwoKindsOfDocumentsLiveApart) {
  DomDocument of_file;
  DomDocument of_memory;
  WriteTestFile("a.xml", "<file/>");
  ASSERT_FALSE(parser_.IsValid());
  ASSERT_TRUE(parser_.parseMem("<memory/>", 9, of_memory));
  EXPECT_FALSE(parser_.IsValid());
  ASSERT_TRUE(parser_.parseURI("a.xml", of_file));
  EXPECT_TRUE(parser_.IsValid());
  DomElement root;
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
  EXPECT_FALSE(parser_.parseMem("<a/>", 3, document_));
  EXPECT_FALSE(parser_.parseMem(nullptr, 0, document_));
  EXPECT_FALSE(parser_.parseMem(nullptr, 9, document_));
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
  DomDocument before = document_;
  EXPECT_FALSE(parser_.parseURI("", document_));
  EXPECT_FALSE(parser_.parseURI(nullptr, document_));
  EXPECT_TRUE(document_.GetDocumentElement(root));
  EXPECT_FALSE(parser_.parseURI("a/b.xml/.", document_));
  EXPECT_FALSE(document_.IsValid());
}

TEST_F(DomParserTest, NestingIsRefusedBeyondTheLimit) {
  EXPECT_TRUE(ParseFile(NestedText(1'000)).IsValid());
  EXPECT_TRUE(Parse(NestedText(1'000)).IsValid());
  EXPECT_FALSE(ParseFile(NestedText(1'001)).IsValid());
  EXPECT_FALSE(Parse(NestedText(1'001)).IsValid());
  EXPECT_NE(LogText().find("nested deeper than 1000 levels"),
            std::string::npos);
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
  EXPECT_TRUE(ParseFile("<a>" + std::string(33, 'x') + "</a>").IsValid());
  EXPECT_FALSE(ParseFile("<a>" + std::string(34, 'x') + "</a>").IsValid());
  EXPECT_FALSE(Parse("<a>" + std::string(34, 'x') + "</a>", false).IsValid());
  EXPECT_NE(LogText().find("the document has more than 40 bytes"),
            std::string::npos);
  DomParser::SetMaxDepth(1'000'000);
  EXPECT_EQ(DomParser::MaxDepth(), 10'000U);
  DomParser::SetMaxBytes(std::size_t{64} << 20);
  // The deepest that can be set can be walked, too.
  EXPECT_TRUE(ParseFile(NestedText(10'000)).IsValid());
  DomElement root;
  DomNode copy;
  ASSERT_TRUE(document_.GetDocumentElement(root));
  EXPECT_TRUE(root.CloneNode(true, copy));
  EXPECT_TRUE(copy.IsEqualNode(root));
  EXPECT_TRUE(document_.SaveAs("deep.xml"));
  copy.Normalize();
  DomParser::SetMaxDepth(1'000);
}

TEST_F(DomParserTest, AnElementHasAThousandAttributesAtMost) {
  const auto with = [](int count) {
    std::string text = "<a";
    for (int i = 0; i < count; ++i) text += " a" + std::to_string(i) + "=''";
    return text + "/>";
  };
  EXPECT_TRUE(ParseFile(with(1'000)).IsValid());
  EXPECT_FALSE(ParseFile(with(1'001)).IsValid());
  EXPECT_FALSE(Parse(with(100'000)).IsValid());
}

TEST_F(DomParserTest, FilesThatAreNoneAreNamedWithTheReason) {
  std::filesystem::create_directory("folder");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  for (const std::string name : {"missing.xml", "folder", "pipe"}) {
    EXPECT_FALSE(parser_.parseURI(name.c_str(), document_));
    EXPECT_NE(LogText().find("xml: \nError during parsing: '" + name +
                             "'\nException message is:  \n"),
              std::string::npos)
        << LogText();
  }
  EXPECT_NE(LogText().find("this is no regular file\n"), std::string::npos);
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

TEST_F(DomParserTest, ForeignNamesCannotFakeALogEntry) {
  EXPECT_FALSE(parser_.parseURI("a\r\nb.xml", document_));
  EXPECT_FALSE(ParseFile("<a>&x;</a>").IsValid());
  EXPECT_NE(LogText().find("'a\\r\\nb.xml'"), std::string::npos) << LogText();
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
  EXPECT_NE(log.find("[\xD1\xCF\xD6\xD8\xB4\xED\xCE\xF3] Xml: "
                     "DomParser::Initialize \xCA\xA7\xB0\xDC\xA3\xBA"),
            std::string::npos)
      << log;
  // …。请检查是否正确调用了 kiv::GlobalInit 函数。
  EXPECT_NE(
      log.find("\xA1\xA3\xC7\xEB\xBC\xEC\xB2\xE9\xCA\xC7\xB7\xF1\xD5\xFD\xC8"
               "\xB7\xB5\xF7\xD3\xC3\xC1\xCB kiv::GlobalInit \xBA\xAF\xCA\xFD"
               "\xA1\xA3"),
      std::string::npos)
      << log;
  EXPECT_EXIT(DomParser().parseMem("<a/>", 4, document),
              testing::ExitedWithCode(1), "");
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
