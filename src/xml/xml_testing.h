#ifndef XML_XML_TESTING_H_
#define XML_XML_TESTING_H_

#include <algorithm>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kiv/dom.h"
#include "kiv/log.h"
#include "port/test_folder.h"
#include "util/runtime.h"

// For tests.
namespace kiv {

// Calls of which not one gives or does anything: null, 0 or false.
template <class... Answers>
void ExpectAllFalse(Answers... answers) {
  EXPECT_THAT((std::vector<bool>{static_cast<bool>(answers)...}),
              ::testing::Each(false));
}

// The XML platform, a fresh current folder, and the library's log in it.
class XmlTest : public ::testing::Test {
 protected:
  XmlTest() {
    StartValues();
    Log::Instance().Close();
  }
  ~XmlTest() override {
    Log::Instance().Close();
    document_ = DomDocument();
    parser_.release();
    StopValues();
  }

  // The root of a document that lives as long as the test or until the next
  // call; invalid when it is refused. "\xB8..." is GB2312.
  DomElement Parse(const std::string& text, bool gb2312 = true) {
    const std::string whole =
        gb2312 ? "<?xml version='1.0' encoding='GB2312'?>" + text : text;
    DomElement root;
    if (parser_.parseMem(whole.data(), static_cast<unsigned>(whole.size()),
                         document_))
      document_.GetDocumentElement(root);
    return root;
  }

  // As Parse, with namespaces, which parseURI knows.
  DomElement ParseFile(const std::string& text) {
    WriteTestFile("document.xml", text);
    DomElement root;
    if (parser_.parseURI("document.xml", document_))
      document_.GetDocumentElement(root);
    return root;
  }

  // An element as it is written; "(none)" when it cannot be.
  static std::string Content(const DomElement& element,
                             const char* encoding = nullptr) {
    DomDocumentContent content;
    return element.GetElementContent(content, encoding) ? content.GetContent()
                                                        : "(none)";
  }

  // What the log has said since the test began.
  static std::string LogText() {
    Log::Instance().Flush();
    std::string path = Log::Instance().FilePath();
    std::replace(path.begin(), path.end(), '\\', '/');
    return ReadTestFile(path);
  }

  TestFolder folder_;
  DomParser parser_;
  DomDocument document_;
};

// An element with so many levels below it, itself included.
inline DomElement MakeDeep(DomDocument& document, unsigned levels) {
  DomElement root;
  document.CreateDocumentElement("level", root);
  DomElement lowest = root;
  for (unsigned i = 1; i < levels; ++i) {
    DomElement child;
    lowest.CreateElement("level", child);
    lowest = child;
  }
  return root;
}

inline std::string NestedText(unsigned levels) {
  std::string text;
  for (unsigned i = 0; i < levels; ++i) text += "<a>";
  for (unsigned i = 0; i < levels; ++i) text += "</a>";
  return text;
}

}  // namespace kiv

#endif  // XML_XML_TESTING_H_
