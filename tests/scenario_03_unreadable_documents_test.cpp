// Documents that cannot be read, or would take too much to: false with a named
// reason, and nothing overflows.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "gtest/gtest.h"
#include "kiv/dom.h"
#include "kiv/startup.h"
#include "port/test_folder.h"
#include "testing/test_log.h"
#include "testing/xml_probe.h"

namespace kiv {
namespace {

using std::chrono::steady_clock;

std::string Repeated(const std::string& part, int count) {
  std::string text;
  text.reserve(part.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) text += part;
  return text;
}

class Scenario03UnreadableDocument : public ::testing::Test {
 protected:
  Scenario03UnreadableDocument() { GlobalInit(); }
  ~Scenario03UnreadableDocument() override {
    parser_.release();
    document_ = DomDocument();
    GlobalUninit();
  }

  bool Reads(const std::string& name) {
    return parser_.parseURI(name.c_str(), document_);
  }
  bool ReadsText(const std::string& text) {
    WriteTestFile("document.xml", text);
    const bool of_file = Reads("document.xml");
    const bool of_memory = parser_.parseMem(
        text.data(), static_cast<unsigned>(text.size()), document_);
    EXPECT_EQ(of_file, of_memory);
    return of_file;
  }

  const TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path()};
  DomParser parser_;
  DomDocument document_;
};

TEST_F(Scenario03UnreadableDocument, NestsTwoHundredThousandLevels) {
  const int levels = 200'000;
  EXPECT_FALSE(ReadsText(Repeated("<a>", levels) + Repeated("</a>", levels)));
  EXPECT_FALSE(ReadsText(Repeated("<a>", levels)));
  EXPECT_EQ(log_.Count("line 1, char 3004"), 4) << log_.Text();
  EXPECT_EQ(log_.Count("elements are nested deeper than 1000 levels"), 4);
}

TEST_F(Scenario03UnreadableDocument, WasBuiltTwoHundredThousandLevelsDeep) {
  DomElement root;
  DomElement lowest;
  DomNode copy;
  DomDocumentContent content;
  ASSERT_TRUE(DomDocument::CreateDocument(document_));
  ASSERT_TRUE(document_.CreateDocumentElement("a", root));
  lowest = root;
  for (int i = 1; i < 200'000; ++i) {
    DomElement child;
    ASSERT_TRUE(lowest.CreateElement("a", child));
    lowest = child;
  }
  EXPECT_FALSE(root.CloneNode(true, copy));
  EXPECT_FALSE(document_.GetDocumentContent(content, "UTF-8"));
  EXPECT_FALSE(document_.SaveAs("deep.xml"));
  EXPECT_FALSE(std::filesystem::exists("deep.xml"));
  EXPECT_EQ(log_.Count("elements are nested deeper than 1000 levels"), 3)
      << log_.Text();
}

TEST_F(Scenario03UnreadableDocument, HasAnAttributeOfOneGibibyte) {
  constexpr std::size_t kGibibyte = std::size_t{1} << 30;
  WriteTestFile("large.xml", "<a x=\"");
  std::filesystem::resize_file("large.xml", kGibibyte);
  void* memory = ::mmap(nullptr, kGibibyte, PROT_READ,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);

  kiv::testing::ResetPeakMemory();
  const long before_kib = kiv::testing::PeakMemoryKiB();
  const auto start = steady_clock::now();
  EXPECT_FALSE(Reads("large.xml"));
  EXPECT_FALSE(
      parser_.parseMem(static_cast<const char*>(memory), kGibibyte, document_));
  EXPECT_LT(steady_clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_LT(kiv::testing::PeakMemoryKiB() - before_kib, 10 * 1024);
  EXPECT_EQ(log_.Count("the document has more than 67108864 bytes"), 2)
      << log_.Text();
  ::munmap(memory, kGibibyte);
}

// Building an element takes the square of its attributes' number.
TEST_F(Scenario03UnreadableDocument, HasAHundredThousandAttributes) {
  std::string text = "<a";
  for (int i = 0; i < 100'000; ++i) text += " a" + std::to_string(i) + "=''";
  const auto start = steady_clock::now();
  EXPECT_FALSE(ReadsText(text + "/>"));
  EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(log_.Count("an element has more than 1000 attributes"), 2);
}

TEST_F(Scenario03UnreadableDocument, HoldsBytesThatAreNoText) {
  EXPECT_FALSE(ReadsText(std::string("<a>\n <b\0/></a>", 14)));
  EXPECT_EQ(log_.Count("line 2, char 4\n  Message: a NUL byte"), 2);
  EXPECT_FALSE(ReadsText("<a>\n <b/>\x1A</a>"));
  EXPECT_EQ(log_.Count("line 2, char 7\n  Message: invalid character"), 2)
      << log_.Text();
  EXPECT_FALSE(ReadsText("<?xml version='1.0' encoding='KLINGON'?><a/>"));
  EXPECT_EQ(log_.Count("'KLINGON' encoding"), 2) << log_.Text();
  EXPECT_FALSE(ReadsText(""));
  EXPECT_EQ(log_.Count("line 1, char 1\n  Message: the document is empty"), 2);
}

TEST_F(Scenario03UnreadableDocument, IsNoFile) {
  std::filesystem::create_directory("folder");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  const auto start = steady_clock::now();
  for (const char* name : {"folder", "pipe", "/dev/zero"}) {
    EXPECT_FALSE(Reads(name));
    EXPECT_TRUE(log_.Has("Error during parsing: '" + std::string(name) +
                         "'\nException message is:  \nthis is no regular "
                         "file\n"))
        << log_.Text();
  }
  EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_FALSE(Reads("missing/document.xml"));
  EXPECT_TRUE(
      log_.Has("'missing/document.xml'\nException message is:  \nNo "
               "such file or directory\n"))
      << log_.Text();
}

TEST_F(Scenario03UnreadableDocument, MayNotBeRead) {
  constexpr uid_t kNobody = 65534;
  WriteTestFile("closed.xml", "<a/>");
  ASSERT_EQ(::chmod("closed.xml", 0), 0);
  ASSERT_EQ(::chmod(".", 0777), 0);
  const int status = kiv::testing::InChild([&] {
    // Root may read everything.
    if (::getuid() == 0 && ::setuid(kNobody) != 0) ::_exit(2);
    const bool reads = Reads("closed.xml");
    Log::Instance().Flush();
    ::_exit(reads ? 1 : 0);
  });
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  std::string text;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator("Logfiles"))
    if (entry.is_regular_file()) text += ReadTestFile(entry.path());
  EXPECT_NE(text.find("'closed.xml'\nException message is:  \nPermission "
                      "denied\n"),
            std::string::npos)
      << text;
}

}  // namespace
}  // namespace kiv
