#include <string>
#include <thread>
#include <vector>

#include "kiv/dom_parser.h"
#include "xml/xml_events.h"
#include "xml/xml_testing.h"

namespace kiv {
namespace {

// Events as one text.
class EventText final : public XmlEvents {
 public:
  static std::string Of(std::string_view document) {
    EventText events;
    ReadXmlEvents(document, events);
    return events.text_;
  }

  void Declaration(std::string_view version, std::string_view encoding,
                   XmlStandalone standalone) override {
    Add({"xml ", version, " ", encoding, " ",
         standalone == XmlStandalone::Yes  ? "yes"
         : standalone == XmlStandalone::No ? "no"
                                           : "-"});
  }
  void StartElement(const XmlName& name,
                    std::span<const XmlNamespace> namespaces,
                    std::span<const XmlAttribute> attributes) override {
    Add({"<", name.prefix, "|", name.uri, "|", name.local});
    for (const XmlNamespace& declared : namespaces)
      Add({"ns ", declared.prefix, "=", declared.uri});
    for (const XmlAttribute& attribute : attributes)
      Add({"@", attribute.name.prefix, "|", attribute.name.uri, "|",
           attribute.name.local, "=", attribute.value});
  }
  void EndElement() override { Add({">"}); }
  void Text(std::string_view text) override { Add({"T ", text}); }
  void CData(std::string_view text) override { Add({"D ", text}); }
  void Comment(std::string_view text) override { Add({"C ", text}); }
  void ProcessingInstruction(std::string_view target,
                             std::string_view content) override {
    Add({"I ", target, " ", content});
  }

 private:
  void Add(std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) text_ += part;
    text_ += ";";
  }
  std::string text_;
};

class XmlEventReader : public testing::Test {
 protected:
  XmlEventReader() { StartValues(); }
  ~XmlEventReader() override { StopValues(); }

  static XmlRefusal Refusal(const std::string& document) {
    try {
      EventText::Of(document);
    } catch (const XmlRefusal& refusal) {
      return refusal;
    }
    return {"it is not refused"};
  }
};

TEST_F(XmlEventReader, TellsOfAllThatIsInADocument) {
  EXPECT_EQ(
      EventText::Of(
          "<?xml version='1.0' encoding='utf-8' standalone='yes'?>\n<!-- c -->"
          "<?p q r ?><a xmlns='u' b:c='1&#10;2' xmlns:b='v' d='x\ny'>t"
          "<![CDATA[<x>]]><![CDATA[]]>&#13;<b:e/><f xmlns=''/></a><!--z-->"),
      "xml 1.0 utf-8 yes;C  c ;I p q r ;<|u|a;ns =u;ns b=v;@b|v|c=1\n2;@||d=x "
      "y;T t;D <x>;D ;T \r;<b|v|e;>;<||f;ns =;>;>;C z;");
}

TEST_F(XmlEventReader, RefusalsSayWhereAndWhy) {
  std::string many_attributes = "<a";
  for (int i = 0; i <= 1000; ++i)
    many_attributes += " a" + std::to_string(i) + "=''";
  const struct {
    std::string document;
    unsigned line;
    const char* reason;
  } cases[] = {{"", 1, "empty"},
               {std::string("<a>\n\0</a>", 9), 2, "NUL"},
               {"<a>\xB6\xA9</a>", 1, "UTF-8"},
               {"\n<!DOCTYPE a SYSTEM 'http://x/y'><a/>", 2,
                "document type declarations are refused"},
               {"<a>\n&b;</a>", 2, "entity 'b'"},
               {"<a>\n<b>\n</a>", 3, "'b'"},
               {"<a>\n<b:c/></a>", 2, "'b'"},
               {"<xmlns:a/>", 1, "xmlns"},
               {"<a xmlns:p='u' xmlns:q='u' p:x='' q:x=''/>", 1, "x"},
               {"<a xmlns:p=''/>", 1, ""},
               {"<?xml version='1.0' encoding='x-no'?><a/>", 1, "X-NO"},
               {NestedText(1001), 1, "1000 levels"},
               {many_attributes + "/>", 1, "1000 attributes"}};
  for (const auto& [document, line, reason] : cases) {
    const XmlRefusal refusal = Refusal(document);
    EXPECT_EQ(refusal.line, line) << document;
    EXPECT_THAT(refusal.reason, testing::HasSubstr(reason)) << document;
    // And the next document is read as if nothing had happened.
    EXPECT_EQ(EventText::Of("<p:a xmlns:p='u'/>"), "<p|u|a;ns p=u;>;");
  }
  EXPECT_NO_THROW(EventText::Of(NestedText(1000)));
}

TEST_F(XmlEventReader, ReadsInSeveralThreads) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([] {
      for (int i = 0; i < 100; ++i) {
        const std::string n = std::to_string(i);
        // Enough namespaces to wear a scanner out.
        EXPECT_EQ(EventText::Of("<a xmlns='" + n + "'/>"),
                  "<|" + n + "|a;ns =" + n + ";>;");
        EXPECT_THROW(EventText::Of("<a>"), XmlRefusal);
      }
    });
  for (std::thread& thread : threads) thread.join();
}

// And then reads local text as UTF-8 again.
TEST_F(XmlEventReader, OutlivesThePlatform) {
  EventText::Of("<a/>");
  StopValues();
  EXPECT_EQ(Refusal("<a/>").reason, "the XML platform is not running");
  StartValues();
  EXPECT_EQ(EventText::Of("<?xml version='1.0' encoding='GB2312'?><\xB6\xA9 "
                          "a='\x80'>\xE9\x46</\xB6\xA9>"),
            "xml 1.0 GB2312 -;<||\xE8\xAE\xA2;@||a=\xE2\x82\xAC;T "
            "\xE9\x95\x95;>;");
}

}  // namespace
}  // namespace kiv
