// Documents that cannot be read, or would take too much to: false with a named
// reason, and nothing overflows.
#include <sys/fsuid.h>
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
  // From a file and from memory.
  void ExpectRefused(const std::string& text, const char* reason) {
    WriteTestFile("document.xml", text);
    const int before = log_.Count(reason);
    EXPECT_FALSE(Reads("document.xml"));
    EXPECT_FALSE(parser_.parseMem(
        text.data(), static_cast<unsigned>(text.size()), document_));
    EXPECT_EQ(log_.Count(reason) - before, 2) << reason << log_.Text();
  }

  const TestFolder folder_;
  const testing::TestLog log_;
  DomParser parser_;
  DomDocument document_;
};

TEST_F(Scenario03UnreadableDocument, NestsTwoHundredThousandLevels) {
  std::string text;
  for (int i = 0; i < 200'000; ++i) text += "<a>";
  ExpectRefused(text, "line 1, char 3004");
  for (int i = 0; i < 200'000; ++i) text += "</a>";
  ExpectRefused(text, "elements are nested deeper than 1000 levels");
}

TEST_F(Scenario03UnreadableDocument, WasBuiltTwoHundredThousandLevelsDeep) {
  DomElement root, lowest, child;
  DomNode copy;
  ASSERT_TRUE(DomDocument::CreateDocument(document_));
  ASSERT_TRUE(document_.CreateDocumentElement("a", root));
  lowest = root;
  for (int i = 1; i < 200'000; ++i, lowest = child)
    ASSERT_TRUE(lowest.CreateElement("a", child));
  EXPECT_FALSE(root.CloneNode(true, copy));
  EXPECT_FALSE(document_.SaveAs("deep.xml"));
  EXPECT_EQ(log_.Count("elements are nested deeper than 1000 levels"), 2)
      << log_.Text();
}

TEST_F(Scenario03UnreadableDocument, HasAnAttributeOfOneGibibyte) {
  constexpr std::size_t kGibibyte = std::size_t{1} << 30;
  WriteTestFile("large.xml", "<a x=\"");
  std::filesystem::resize_file("large.xml", kGibibyte);
  void* memory = ::mmap(nullptr, kGibibyte, PROT_READ,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);

  testing::ResetPeakMemory();
  const long before_kib = testing::PeakMemoryKiB();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(Reads("large.xml"));
  EXPECT_FALSE(
      parser_.parseMem(static_cast<const char*>(memory), kGibibyte, document_));
  EXPECT_LT(std::chrono::steady_clock::now() - start,
            std::chrono::milliseconds(100));
  EXPECT_LT(testing::PeakMemoryKiB() - before_kib, 10 * 1024);
  EXPECT_EQ(log_.Count("the document has more than 67108864 bytes"), 2);
  ::munmap(memory, kGibibyte);
}

TEST_F(Scenario03UnreadableDocument, HoldsBytesThatAreNoText) {
  ExpectRefused(std::string("<a>\n <b\0/></a>", 14),
                "line 2, char 4\n  Message: a NUL byte");
  ExpectRefused("<a>\n <b/>\x1A</a>",
                "line 2, char 7\n  Message: invalid character");
  ExpectRefused("<?xml version='1.0' encoding='KLINGON'?><a/>",
                "'KLINGON' encoding");
  ExpectRefused("", "line 1, char 1\n  Message: the document is empty");
}

TEST_F(Scenario03UnreadableDocument, IsNoFileOrMayNotBeRead) {
  std::filesystem::create_directory("folder");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  WriteTestFile("closed.xml", "<a/>");
  ASSERT_EQ(::chmod("closed.xml", 0), 0);
  ASSERT_EQ(::chmod(".", 0777), 0);
  const auto expect_refused = [&](const std::string& name, const char* reason) {
    EXPECT_FALSE(Reads(name));
    EXPECT_TRUE(log_.Has("Error during parsing: '" + name +
                         "'\nException message is:  \n" + reason + "\n"))
        << log_.Text();
  };
  for (const char* name : {"folder", "pipe", "/dev/zero"})
    expect_refused(name, "this is no regular file");
  expect_refused("missing/document.xml", "No such file or directory");
  // Root may read everything.
  ::setfsuid(65534);
  expect_refused("closed.xml", "Permission denied");
  ::setfsuid(::geteuid());
}

}  // namespace
}  // namespace kiv
