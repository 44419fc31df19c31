// Saving is cut short by a full disk or by the end of the process: the file is
// the old one or the new one.
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "gtest/gtest.h"
#include "kiv/dom.h"
#include "kiv/startup.h"
#include "port/test_folder.h"
#include "testing/test_log.h"
#include "testing/xml_probe.h"

namespace kiv {
namespace {

class Scenario05Save : public ::testing::Test {
 protected:
  Scenario05Save() { GlobalInit(); }
  ~Scenario05Save() override {
    document_ = DomDocument();
    parser_.release();
    GlobalUninit();
  }

  // One record of many holds the version, and so does the root.
  void Make(int version, int records) {
    DomElement root;
    ASSERT_TRUE(DomDocument::CreateDocument(document_));
    ASSERT_TRUE(document_.CreateDocumentElement("records", root));
    root.SetAttribute("version", version);
    for (int i = 0; i < records; ++i) {
      DomElement record;
      ASSERT_TRUE(root.CreateElement("record", record));
      record.SetAttribute("version", version);
      record.SetTextContent("\xD6\xD0\xCE\xC4");
    }
  }

  // The version that every record has; -1 for a mixture or a broken file.
  int VersionIn(const std::string& name, unsigned records) {
    DomElement root;
    DomDocument document;
    DomNodeList2 list;
    if (!parser_.parseURI(name.c_str(), document) ||
        !document.GetDocumentElement(root))
      return -1;
    root.ChildElementList(list);
    const int version = root.AttributeInt("version", -1);
    DomElement record;
    for (unsigned i = 0; list.item(i, record); ++i)
      if (record.AttributeInt("version", -2) != version) return -1;
    return list.GetLength() == records ? version : -1;
  }

  const TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path()};
  DomDocument document_;
  DomParser parser_;
};

TEST_F(Scenario05Save, KilledAtAnyPointLeavesAWholeFile) {
  constexpr int kKills = 60;
  constexpr unsigned kRecords = 2'000;
  DomDocument documents[2];
  for (int version = 0; version < 2; ++version) {
    Make(version, kRecords);
    documents[version] = document_;
  }
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(documents[0].SaveAs("client.xml"));
  const auto one_save = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);

  // Some of them before the first save of a child ends, most of them later.
  std::mt19937 random(20051103);
  std::uniform_int_distribution<long> delay_us(0, 4 * one_save.count());
  int seen[2] = {};
  for (int kill = 0; kill < kKills; ++kill) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (int version = kill % 2;; version ^= 1)
        if (!documents[version].SaveAs("client.xml")) ::_exit(1);
    }
    // The point is chance on purpose; whatever it is, the file is whole.
    std::this_thread::sleep_for(std::chrono::microseconds(delay_us(random)));
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "saving failed";
    const int version = VersionIn("client.xml", kRecords);
    ASSERT_GE(version, 0) << "kill " << kill << "\n" << log_.Text();
    ++seen[version];
  }
  // Both were met: the kills did not all come before the first save.
  EXPECT_GT(seen[0], 0);
  EXPECT_GT(seen[1], 0);
}

TEST_F(Scenario05Save, OnAFullDiskKeepsTheOldFile) {
  std::filesystem::create_directory("disk");
  if (::mount("tmpfs", "disk", "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "no disk can be mounted here";
  Make(0, 10);
  EXPECT_TRUE(document_.SaveAs("disk/client.xml"));
  Make(1, 5'000);
  EXPECT_FALSE(document_.SaveAs("disk/client.xml"));
  EXPECT_EQ(VersionIn("disk/client.xml", 10), 0);
  EXPECT_TRUE(log_.Has("Tarnwick: ")) << log_.Text();
  EXPECT_TRUE(log_.Has("No space left on device")) << log_.Text();
  int files = 0;
  for ([[maybe_unused]] const auto& entry :
       std::filesystem::directory_iterator("disk"))
    ++files;
  EXPECT_EQ(files, 1) << "what was begun is still there";
  // With room again the next save succeeds.
  Make(2, 20);
  EXPECT_TRUE(document_.SaveAs("disk/client.xml"));
  EXPECT_EQ(VersionIn("disk/client.xml", 20), 2);
  ::umount("disk");
}

TEST_F(Scenario05Save, BeyondTheAllowedFileSizeKeepsTheOldFile) {
  Make(0, 10);
  ASSERT_TRUE(document_.SaveAs("client.xml"));
  Make(1, 5'000);
  const int status = kiv::testing::InChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{16 * 1024, 16 * 1024};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) ::_exit(2);
    ::_exit(document_.SaveAs("client.xml") ? 1 : 0);
  });
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(VersionIn("client.xml", 10), 0);
}

}  // namespace
}  // namespace kiv
