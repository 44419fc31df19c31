// A document that would have the parser read other files, call a server or fill
// the memory is refused before it does.
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "kiv/dom.h"
#include "kiv/startup.h"
#include "port/test_folder.h"
#include "testing/test_log.h"
#include "testing/xml_probe.h"

namespace kiv {
namespace {

struct Hostile {
  const char* name;
  std::string text;
};

std::string EntityBomb() {
  std::string text = "<?xml version='1.0'?>\n<!DOCTYPE r [<!ENTITY e0 'boom'>";
  for (int i = 1; i < 30; ++i) {
    const std::string inner = "&e" + std::to_string(i - 1) + ";";
    text += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) text += inner;
    text += "'>";
  }
  return text + "]><r>&e29;</r>";
}

// One long entity, often used: no nesting that a limit would see.
std::string QuadraticBomb() {
  std::string text =
      "<!DOCTYPE r [<!ENTITY e '" + std::string(100'000, 'x') + "'>]><r>";
  for (int i = 0; i < 10'000; ++i) text += "&e;";
  return text + "</r>";
}

std::vector<Hostile> HostileDocuments() {
  return {
      {"FileEntity",
       "<!DOCTYPE r [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><r>&e;</r>"},
      {"NetworkEntity",
       "<!DOCTYPE r [<!ENTITY e SYSTEM 'http://127.0.0.1:9/e'>]><r>&e;</r>"},
      {"ParameterEntity",
       "<!DOCTYPE r [<!ENTITY % p SYSTEM 'file:///etc/hostname'> %p;]><r/>"},
      {"ExternalSubset", "<!DOCTYPE r SYSTEM 'http://127.0.0.1:9/r.dtd'><r/>"},
      {"PublicSubset", "<!DOCTYPE r PUBLIC '-//x' '/etc/hostname'><r/>"},
      {"EntityBomb", EntityBomb()},
      {"QuadraticBomb", QuadraticBomb()},
      {"AttributeDefault",
       "<!DOCTYPE r [<!ATTLIST r type CDATA 'com'>]><r type=''/>"},
      {"PlainDocumentType", "\xEF\xBB\xBF<!DOCTYPE r><r/>"},
      {"WideDocumentType",
       std::string("\xFF\xFE<\0!\0D\0O\0C\0T\0Y\0P\0E\0 \0r\0>\0<\0r\0/\0>\0",
                   34)}};
}

// Not refused: what they ask for is not done.
std::vector<Hostile> AskingDocuments() {
  return {{"Schema",
           "<r xmlns:x='http://www.w3.org/2001/XMLSchema-instance' "
           "x:schemaLocation='urn:a http://127.0.0.1:9/a.xsd' "
           "x:noNamespaceSchemaLocation='/etc/hostname'/>"},
          {"Inclusion",
           "<r xmlns:i='http://www.w3.org/2001/XInclude'>"
           "<i:include href='/etc/hostname' parse='text'/></r>"},
          {"StyleSheet", "<?xml-stylesheet href='http://127.0.0.1:9/'?><r/>"}};
}

bool ReadAsFile(const std::string& name, DomDocument& document,
                DomParser& parser) {
  return parser.parseURI(name.c_str(), document);
}

class Scenario02HostileDocument : public ::testing::TestWithParam<Hostile> {
 protected:
  Scenario02HostileDocument() { GlobalInit(); }
  ~Scenario02HostileDocument() override { GlobalUninit(); }

  const TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path()};
};

TEST_P(Scenario02HostileDocument, IsRefusedFastAndInLittleMemory) {
  const std::string& text = GetParam().text;
  DomParser parser;
  DomDocument document;
  // What a first parse loads is not the document's.
  ASSERT_TRUE(parser.parseMem("<warm/>", 7, document));
  WriteTestFile("warm.xml", "<warm/>");
  ASSERT_TRUE(ReadAsFile("warm.xml", document, parser));

  kiv::testing::ResetPeakMemory();
  const long before_kib = kiv::testing::PeakMemoryKiB();
  const auto expect_refused = [&](const auto& read) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(read());
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::milliseconds(100));
    EXPECT_FALSE(document.IsValid());
  };
  for (const char* name : {"queue.xml", "fileq.xml", "client.xml"}) {
    WriteTestFile(name, text);
    expect_refused([&] { return ReadAsFile(name, document, parser); });
    EXPECT_TRUE(
        log_.Has("Fatal Error at file " + std::string(name) + ", line "));
  }
  expect_refused([&] {
    return parser.parseMem(text.data(), static_cast<unsigned>(text.size()),
                           document);
  });
  EXPECT_EQ(log_.Count("document type declarations are refused"), 4)
      << log_.Text();
  ASSERT_GT(before_kib, 0);
  if (!kiv::testing::kSanitized) {
    EXPECT_LT(kiv::testing::PeakMemoryKiB() - before_kib, 10 * 1024);
  }
  // The parser goes on.
  EXPECT_TRUE(ReadAsFile("warm.xml", document, parser));
}

INSTANTIATE_TEST_SUITE_P(Document, Scenario02HostileDocument,
                         ::testing::ValuesIn(HostileDocuments()),
                         [](const auto& row) { return row.param.name; });

// Runs as a traced child of the test below; between the two marks only the
// documents themselves may be opened.
constexpr const char* kBegin = "mark-begin";
constexpr const char* kEnd = "mark-end";

TEST(Scenario02Traced, DISABLED_ReadsEveryDocument) {
  const char* folder = std::getenv("KIV_TRACED_FOLDER");
  ASSERT_NE(folder, nullptr);
  std::filesystem::current_path(folder);
  GlobalInit();
  {
    DomParser parser;
    DomDocument document;
    WriteTestFile("document-warm.xml", "<warm/>");
    EXPECT_TRUE(ReadAsFile("document-warm.xml", document, parser));
    EXPECT_FALSE(parser.parseMem("<", 1, document));
    std::vector<Hostile> documents = HostileDocuments();
    const std::vector<Hostile> asking = AskingDocuments();
    documents.insert(documents.end(), asking.begin(), asking.end());
    for (const Hostile& hostile : documents)
      WriteTestFile("document-" + std::string(hostile.name), hostile.text);

    std::ifstream begin(kBegin);
    std::size_t read = 0;
    for (const Hostile& hostile : documents) {
      read +=
          ReadAsFile("document-" + std::string(hostile.name), document, parser);
      read +=
          parser.parseMem(hostile.text.data(),
                          static_cast<unsigned>(hostile.text.size()), document);
    }
    std::ifstream end(kEnd);
    EXPECT_EQ(read, 2 * asking.size());
  }
  GlobalUninit();
}

TEST(Scenario02HostileDocuments, OpenNothingButThemselves) {
  if (std::system("strace -o /dev/null true >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "strace is not there or may not trace";
  const TestFolder folder;
  const std::string command =
      "KIV_TRACED_FOLDER='" + folder.path().string() +
      "' ASAN_OPTIONS=detect_leaks=0 strace -f -qq -e "
      "trace=open,openat,openat2,creat,socket,connect,execve -o trace '" +
      std::filesystem::read_symlink("/proc/self/exe").string() +
      "' --gtest_also_run_disabled_tests "
      "--gtest_filter='Scenario02Traced.*' > child.log 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << ReadTestFile("child.log");

  std::ifstream trace("trace");
  bool is_between = false;
  int documents = 0;
  for (std::string line; std::getline(trace, line);) {
    if (line.find(kBegin) != std::string::npos) {
      is_between = true;
    } else if (line.find(kEnd) != std::string::npos) {
      is_between = false;
      EXPECT_EQ(documents, 13);
      documents = -1;
    } else if (is_between && line.find("\"document-") != std::string::npos) {
      ++documents;
    } else if (is_between && line.find("Logfiles/") == std::string::npos) {
      ADD_FAILURE() << line;
    }
  }
  EXPECT_EQ(documents, -1) << "the marks are missing";
}

}  // namespace
}  // namespace kiv
