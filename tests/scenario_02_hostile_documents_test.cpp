// A document that would have the parser read other files, call a server or fill
// the memory is refused before it does.
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
  const char* name;  // of its file
  std::string text;
  bool is_refused = true;  // or what it asks for is not done
};

std::string EntityBomb() {
  std::string text = "<!DOCTYPE r [<!ENTITY a 'boom'>";
  for (char name = 'b'; name <= 'z'; ++name) {
    text += std::string("<!ENTITY ") + name + " '";
    for (int i = 0; i < 10; ++i)
      text += '&' + std::string(1, static_cast<char>(name - 1)) + ';';
    text += "'>";
  }
  return text + "]><r>&z;</r>";
}

std::vector<Hostile> HostileDocuments() {
  return {
      {"document-file",
       "<!DOCTYPE r [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><r>&e;</r>"},
      {"document-network",
       "<!DOCTYPE r [<!ENTITY e SYSTEM 'http://127.0.0.1:9/e'>]><r>&e;</r>"},
      {"document-subset", "<!DOCTYPE r SYSTEM 'http://127.0.0.1:9/r.dtd'><r/>"},
      {"document-bomb", EntityBomb()},
      {"document-wide",
       {"\xFF\xFE<\0!\0D\0O\0C\0T\0Y\0P\0E\0 \0r\0>\0<\0r\0/\0>\0", 34}},
      {"document-schema",
       "<r xmlns:x='http://www.w3.org/2001/XMLSchema-instance' "
       "x:schemaLocation='urn:a http://127.0.0.1:9/a.xsd' "
       "x:noNamespaceSchemaLocation='/etc/hostname'/>",
       false},
      {"document-inclusion",
       "<r xmlns:i='http://www.w3.org/2001/XInclude'>"
       "<i:include href='/etc/hostname' parse='text'/></r>",
       false}};
}

// Between the two, which are not there, only the documents may be opened.
constexpr const char* kBegin = "mark-begin";
constexpr const char* kEnd = "mark-end";

TEST(Scenario02HostileDocuments, AreRefusedFastAndInLittleMemory) {
  const TestFolder folder;
  const testing::TestLog log;
  GlobalInit();
  {
    DomParser parser;
    DomDocument document;
    const auto reads = [&](const char* name) {
      return parser.parseURI(name, document);
    };
    const auto documents = HostileDocuments();
    for (const Hostile& hostile : documents)
      WriteTestFile(hostile.name, hostile.text);
    // What a first parse loads is not the document's.
    WriteTestFile("warm", "<warm/>");
    EXPECT_TRUE(reads("warm"));
    EXPECT_FALSE(parser.parseMem("<", 1, document));
    testing::ResetPeakMemory();
    const long before_kib = testing::PeakMemoryKiB();
    std::ifstream{kBegin};
    for (const auto& [name, text, is_refused] : documents) {
      const auto start = std::chrono::steady_clock::now();
      EXPECT_NE(reads(name), is_refused) << name;
      const auto size = static_cast<unsigned>(text.size());
      EXPECT_NE(parser.parseMem(text.data(), size, document), is_refused);
      EXPECT_LT(std::chrono::steady_clock::now() - start,
                std::chrono::seconds(2));
      EXPECT_EQ(log.Has("Fatal Error at file " + std::string(name) + ", line "),
                is_refused);
    }
    std::ifstream{kEnd};
    EXPECT_EQ(log.Count("document type declarations are refused"), 10);
    if (!testing::kSanitized) {
      EXPECT_LT(testing::PeakMemoryKiB() - before_kib, 10 * 1024);
    }
    EXPECT_TRUE(reads("warm")) << "the parser goes on";
  }
  GlobalUninit();
}

// The test above, traced.
TEST(Scenario02HostileDocuments, OpenNothingButThemselves) {
  if (std::system("strace -o /dev/null true >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "strace is not there or may not trace";
  const TestFolder folder;
  const std::string command =
      "ASAN_OPTIONS=detect_leaks=0 strace -f -qq -e "
      "trace=open,openat,openat2,creat,socket,connect,execve -o trace '" +
      std::filesystem::read_symlink("/proc/self/exe").string() +
      "' --gtest_filter=Scenario02HostileDocuments.AreRefused* >child.log 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << ReadTestFile("child.log");

  const std::string trace = ReadTestFile("trace");
  const std::size_t begin = trace.find(kBegin);
  const std::size_t end = trace.rfind('\n', trace.find(kEnd));
  ASSERT_LT(begin, end);
  std::istringstream between(trace.substr(begin, end - begin));
  std::string line;
  std::getline(between, line);
  std::size_t documents = 0;
  while (std::getline(between, line)) {
    if (line.find("\"document-") != line.npos)
      ++documents;
    else
      EXPECT_NE(line.find("Logfiles/"), line.npos) << line;
  }
  EXPECT_EQ(documents, HostileDocuments().size());
}

}  // namespace
}  // namespace kiv
