// Saving is cut short by a full disk or by the end of the process: the file is
// the old one or the new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "gmock/gmock.h"
#include "xml/xml_testing.h"

namespace kiv {
namespace {

class Scenario05Save : public XmlTest {
 protected:
  static DomDocument Made(int version, int records) {
    DomDocument document;
    DomElement root;
    EXPECT_TRUE(DomDocument::CreateDocument(document));
    EXPECT_TRUE(document.CreateDocumentElement("records", root));
    for (int i = 0; i < records; ++i) {
      DomElement record;
      EXPECT_TRUE(root.CreateElement("record", record));
      record.SetAttribute("version", version);
      record.SetTextContent("\xD6\xD0\xCE\xC4");
    }
    return document;
  }
  // What the file then says.
  static std::string Saved(const DomDocument& document, const char* name) {
    EXPECT_TRUE(document.SaveAs(name));
    return ReadTestFile(name);
  }
};

TEST_F(Scenario05Save, KilledAtAnyPointLeavesAWholeFile) {
  constexpr int kKills = 60;
  const DomDocument documents[2] = {Made(0, 2'000), Made(1, 2'000)};
  const std::string second = Saved(documents[1], "client.xml");
  const auto start = std::chrono::steady_clock::now();
  const std::string first = Saved(documents[0], "client.xml");
  const auto one_save = std::chrono::steady_clock::now() - start;

  // Some of them before the first save of a child ends, most of them later.
  std::mt19937 random(20051103);
  std::uniform_int_distribution<long> delay_us(
      0, 4 * one_save / std::chrono::microseconds(1));
  int times_first = 0;
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
    const std::string text = ReadTestFile("client.xml");
    ASSERT_TRUE(text == first || text == second) << "kill " << kill;
    times_first += text == first ? 1 : 0;
  }
  // Both were met: the kills did not all come before the first save.
  EXPECT_GT(times_first, 0);
  EXPECT_LT(times_first, kKills);
}

TEST_F(Scenario05Save, OnAFullDiskKeepsTheOldFile) {
  std::filesystem::create_directory("disk");
  if (::mount("tmpfs", "disk", "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "no disk can be mounted here";
  constexpr const char* kFile = "disk/client.xml";
  const std::string old = Saved(Made(0, 10), kFile);
  EXPECT_FALSE(Made(1, 5'000).SaveAs(kFile));
  EXPECT_EQ(ReadTestFile(kFile), old);
  EXPECT_THAT(LogText(),
              testing::ContainsRegex("Tarnwick: .*No space left on device"));
  // What was begun is gone, and with room the next save succeeds.
  EXPECT_TRUE(std::filesystem::remove(kFile));
  EXPECT_TRUE(std::filesystem::is_empty("disk"));
  EXPECT_NE(Saved(Made(2, 20), kFile), "");
  ::umount("disk");
}

}  // namespace
}  // namespace kiv
