// What kiv check-config tells of a fileq.xml, on real folders and libraries.
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kiv/mq/config_check.h"
#include "kiv/startup.h"
#include "testing/file_queue_folder.h"

namespace kiv::testing {
namespace {

using mq::ConfigFinding;
using Severity = mq::ConfigFinding::Severity;

class FileQueueCheck : public ::testing::Test {
 protected:
  FileQueueCheck() { GlobalInit(); }
  ~FileQueueCheck() override { GlobalUninit(); }

  // Each as "line severity name: text".
  std::vector<std::string> Check() const {
    std::vector<std::string> texts;
    for (const ConfigFinding& finding : mq::CheckFileQueue(
             FileSystemPath("../conf/fileq.xml", FileSystemPath::native)))
      texts.push_back(std::to_string(finding.line) + " " +
                      "GWF"[static_cast<int>(finding.severity)] + " " +
                      finding.queue + ": " + finding.text);
    return texts;
  }
  static bool Has(const std::vector<std::string>& texts,
                  const std::string& start, const std::string& part = "") {
    for (const std::string& text : texts)
      if (text.starts_with(start) && text.find(part) != text.npos) return true;
    return false;
  }
  std::vector<std::string> CheckDirectories(const std::string& text) const {
    folder_.WriteAll("\n" + text);
    return Check();
  }
  static std::string Directory(const std::string& attributes,
                               const std::string& path = "../in") {
    return "<directory " + attributes + "><path>" + path + "</path>" +
           FileQueueFolder::kProcessor + "</directory>\n";
  }

  FileQueueFolder folder_;
};

TEST_F(FileQueueCheck, FindsNothingAgainstADirectoryThatWorks) {
  const auto texts = CheckDirectories(Directory("name='a' process='true'"));
  EXPECT_EQ(texts,
            std::vector<std::string>{"2 G a: files in it will be processed"});
}

TEST_F(FileQueueCheck, SaysWhatIsWrongWithTheFile) {
  EXPECT_TRUE(Has(Check(), "0 F : the file is not there"));
  WriteTestFile("../conf/fileq.xml", "<s>\n<directories></s>");
  EXPECT_TRUE(Has(Check(), "2 F : the file is not read"));
  WriteTestFile("../conf/fileq.xml", "<s/>");
  EXPECT_TRUE(Has(Check(), "0 F : there is no element \"directories\""));
  EXPECT_TRUE(Has(CheckDirectories("<other/>"), "1 W : \"directories\" names"));
}

struct DirectoryCase {
  const char* name;
  const char* text;
  const char* start;
  const char* part;
};

class FileQueueCheckFinds
    : public FileQueueCheck,
      public ::testing::WithParamInterface<DirectoryCase> {};

TEST_P(FileQueueCheckFinds, TheFault) {
  std::filesystem::create_directory("../in/sub");
  std::filesystem::create_directory_symlink("in", "../same");
  WriteTestFile("../file");
  const auto texts = CheckDirectories(GetParam().text);
  EXPECT_TRUE(Has(texts, GetParam().start, GetParam().part))
      << ::testing::PrintToString(texts);
}

#define PROCESSOR "<processor>dll://../lib/p:Record</processor>"
#define DIRECTORY(attributes, inside) \
  "<directory " attributes ">" inside "</directory>"
#define WATCHING(attributes, path) \
  DIRECTORY(attributes, "<path>" path "</path>" PROCESSOR)
#define A_IN WATCHING("name='a' process='true'", "../in")
INSTANTIATE_TEST_SUITE_P(
    Directory, FileQueueCheckFinds,
    ::testing::Values(
        DirectoryCase{"OnlyObserves", WATCHING("name='a'", "../in"),
                      "2 W a:", "write process=\"true\""},
        DirectoryCase{"NoName", WATCHING("", "../in"),
                      "2 F #1:", "has no \"name\""},
        DirectoryCase{"NoPath", DIRECTORY("name='a'", PROCESSOR),
                      "2 F a:", "has no \"path\""},
        DirectoryCase{"PathIsAFile", WATCHING("name='a'", "../file"),
                      "2 F a:", "is a file"},
        DirectoryCase{"PathIsNotThere", WATCHING("name='a'", "../none"),
                      "2 W a:", "it is made when the queue starts"},
        DirectoryCase{"NoProcessor",
                      DIRECTORY("name='a'", "<path>../in</path>"),
                      "2 F a:", "has no \"processor\""},
        DirectoryCase{"MissingLibrary",
                      DIRECTORY("name='a'",
                                "<path>../in</path><processor>"
                                "dll://../lib/none:F</processor>"),
                      "2 F a:", "is not there"},
        DirectoryCase{"MissingFunction",
                      DIRECTORY("name='a'",
                                "<path>../in</path><processor>"
                                "dll://../lib/p:None</processor>"),
                      "2 F a:", "no function \"None\""},
        DirectoryCase{"WrongCase", WATCHING("name='a' Process='true'", "../in"),
                      "2 W a:", "write \"process\""},
        DirectoryCase{"NoTruth", WATCHING("name='a' process='yes'", "../in"),
                      "2 W a:", "counts as false"},
        DirectoryCase{"NoNumber", WATCHING("name='a' settle='1s'", "../in"),
                      "2 W a:", "no whole number"},
        DirectoryCase{"SameName", A_IN "\n" WATCHING("name='a'", "../lib"),
                      "3 W a:", "has the name of the directory of line 2"},
        DirectoryCase{
            "SameFolder",
            A_IN "\n" WATCHING("name='b' process='true'", "../same"),
            "3 F b:", "is the same folder as that of directory \"a\""},
        DirectoryCase{"Inside", A_IN "\n" WATCHING("name='b'", "../in/sub"),
                      "3 W b:", "lies inside directory \"a\" of line 2"},
        DirectoryCase{
            "Around",
            WATCHING("name='a' process='true'", "../in/sub") "\n" WATCHING(
                "name='b' process='true'", "../in"),
            "3 F b:", "holds directory \"a\" of line 2"},
        DirectoryCase{"OneForAll", A_IN "<directory/>",
                      "0 W :", "disables all directories"}),
    [](const auto& row) { return row.param.name; });

TEST_F(FileQueueCheck, AllowsAFolderInsideOneWithoutItsSubTree) {
  std::filesystem::create_directory("../in/sub");
  const auto texts = CheckDirectories(
      Directory("name='a' process='true' enableSubTree='false'") +
      Directory("name='b' process='true'", "../in/sub"));
  EXPECT_EQ(texts.size(), 2u) << ::testing::PrintToString(texts);
}

TEST_F(FileQueueCheck, SaysThatAFolderMayNotBeWrittenTo) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the right to be another user";
  std::filesystem::permissions(folder_.service.path(),
                               std::filesystem::perms(0755));
  folder_.WriteAll("\n" + Directory("name='a' process='true'"));
  std::vector<std::string> texts;
  std::thread([&] {
    ::setfsuid(65534);  // of this thread alone
    texts = Check();
  }).join();
  EXPECT_TRUE(Has(texts, "2 F a: folder", "may not be written to"))
      << ::testing::PrintToString(texts);
}

TEST_F(FileQueueCheck, CountsTheDirectories) {
  std::string directories;
  for (int i = 1; i <= 65; ++i) {
    const std::string n = std::to_string(i);
    std::filesystem::create_directory("../in/" + n);
    directories += Directory("name='" + n + "' process='true'", "../in/" + n);
  }
  EXPECT_TRUE(Has(CheckDirectories(directories),
                  "66 F 65: is directory 65 of at most 64"));
}

}  // namespace
}  // namespace kiv::testing
