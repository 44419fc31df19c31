#include "port/directory_watch.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "port/file.h"
#include "port/file_system_kind.h"
#include "port/linux/file_system_magic.h"
#include "port/test_folder.h"

namespace kiv::port {
namespace {

namespace fs = std::filesystem;

using Certainty = ChangeRecord::Certainty;
using Kind = DirectoryChange::Kind;
using Outcome = DirectoryWatch::Outcome;
using Seen = std::vector<std::string>;

constexpr int kPatienceMs = 20'000;
constexpr int kSilenceMs = 100;

class DirectoryChanges : public ::testing::Test {
 protected:
  void Watch(const fs::path& path, std::size_t key, WatchOptions options = {}) {
    fs::create_directories(path);
    ASSERT_TRUE(watch_->OpenDirectory(path.string(), options, key));
    ASSERT_TRUE(watch_->Associate(key));
    ASSERT_TRUE(watch_->Arm(key));
  }

  // "key name" of that many files, sorted; then nothing more comes.
  Seen Files(std::size_t count) {
    Seen files;
    DirectoryChange change;
    while (files.size() < count &&
           watch_->Wait(kPatienceMs, change) == Outcome::Change)
      Collect(change, files);
    while (watch_->Wait(kSilenceMs, change) == Outcome::Change)
      Collect(change, files);
    std::sort(files.begin(), files.end());
    return files;
  }

  const TestFolder folder_;
  const std::unique_ptr<DirectoryWatch> watch_ = DirectoryWatch::Open();

 private:
  static void Collect(const DirectoryChange& change, Seen& files) {
    for (const ChangeRecord& record : change.records)
      files.push_back(std::to_string(change.key) + " " + record.name);
  }
};

TEST_F(DirectoryChanges, ComeWithTheirDirectorysKeyAndTheirName) {
  Watch("one", 7);
  Watch("two", 8, {.subtree = false});
  fs::create_directories("one/a/b");
  fs::create_directories("two/a");
  EXPECT_EQ(Files(0), Seen{});
  WriteTestFile("one/file");
  WriteTestFile("one/a/b/file");
  WriteTestFile("two/file");
  WriteTestFile("two/a/unseen");
  WriteTestFile("moved");
  fs::rename("moved", "two/moved");
  EXPECT_EQ(Files(4), (Seen{"7 a/b/file", "7 file", "8 file", "8 moved"}));
}

TEST_F(DirectoryChanges, GoToEveryDirectoryThatHoldsThem) {
  fs::create_directories("outer/inner");
  Watch("outer", 1);
  Watch("outer/inner", 2);
  Watch("outer", 3, {.subtree = false});
  WriteTestFile("outer/inner/file");
  WriteTestFile("outer/file");
  EXPECT_EQ(Files(4), (Seen{"1 file", "1 inner/file", "2 file", "3 file"}));
}

TEST_F(DirectoryChanges, OfHiddenNamesAreLeftOutWhenToldTo) {
  fs::create_directories("in/.early");
  Watch("in", 1, {.skips_hidden = true});
  fs::create_directories("in/.late/sub");
  for (const char* name : {"in/.early/x", "in/.late/sub/x", "in/.x", "in/x"})
    WriteTestFile(name);
  EXPECT_EQ(Files(1), Seen{"1 x"});
}

TEST_F(DirectoryChanges, TellWhatIsThereWhenAskedTo) {
  fs::create_directories("in/sub");
  WriteTestFile("in/sub/x");
  fs::create_symlink("nowhere", "in/link");
  Watch("in", 1);
  EXPECT_EQ(Files(0), Seen{});
  Watch("in", 2, {.reports_present = true});
  DirectoryChange change;
  ASSERT_EQ(watch_->Wait(kPatienceMs, change), Outcome::Change);
  ASSERT_EQ(change.records.size(), 2u);
  EXPECT_EQ(change.records[0].certainty, Certainty::Found);
}

TEST_F(DirectoryChanges, FollowARenamedFolder) {
  fs::create_directories("in/old/below");
  Watch("in", 1);
  fs::rename("in/old", "in/new");
  EXPECT_EQ(Files(0), Seen{});
  WriteTestFile("in/new/below/x");
  EXPECT_EQ(Files(1), Seen{"1 new/below/x"});
  // Its old name may be somebody else's.
  fs::create_directories("in/old/below");
  WriteTestFile("in/old/below/x");
  WriteTestFile("in/new/below/x");
  EXPECT_EQ(Files(2), (Seen{"1 new/below/x", "1 old/below/x"}));
}

TEST_F(DirectoryChanges, OfALinkAreToldThoughNobodyClosesIt) {
  WriteTestFile("file");
  Watch("in", 1);
  fs::create_hard_link("file", "in/link");
  DirectoryChange change;
  ASSERT_EQ(watch_->Wait(kPatienceMs, change), Outcome::Change);
  ASSERT_EQ(change.records.size(), 1u);
  EXPECT_EQ(change.records[0].name, "link");
  EXPECT_EQ(change.records[0].certainty, Certainty::Created);
}

// With another one at once in its place.
TEST_F(DirectoryChanges, ComeAgainWhenTheirFolderIsBack) {
  Watch("far/up/in", 1);
  int round = 0;
  for (const char* const renamed : {"far/up/in", "far/up", "far", "far"}) {
    const std::string away = "away" + std::to_string(++round);
    fs::rename(renamed, away);
    fs::create_directories("far/up/in");
    for (const Kind expected : {Kind::Gone, Kind::Back}) {
      DirectoryChange change{};
      do {
        ASSERT_EQ(watch_->Wait(kPatienceMs, change), Outcome::Change);
      } while (change.kind == Kind::Files);
      EXPECT_EQ(change.kind, expected) << away;
    }
    WriteTestFile(away + "/not_ours");
    WriteTestFile("far/up/in/file");
    EXPECT_EQ(Files(1), Seen{"1 file"}) << away;
  }
}

TEST_F(DirectoryChanges, OfAFolderThatIsNotThereAreRefused) {
  EXPECT_FALSE(watch_->OpenDirectory("none", {}, 1));
  EXPECT_TRUE(IsNotFound(LastError()));
  WriteTestFile("file");
  EXPECT_FALSE(watch_->OpenDirectory("file", {}, 1));
}

// Nobody wakes while nothing comes: neither by a timer nor by what the folders
// were watched for.
TEST_F(DirectoryChanges, OfNoneCostNothing) {
  for (int i = 1; i <= 64; ++i)
    Watch("in" + std::to_string(i), static_cast<std::size_t>(i),
          {.skips_hidden = true, .reports_present = true});
  long switches = -1;
  Outcome last = Outcome::Change;
  DirectoryChange change;
  std::thread waiting([&] {
    const auto voluntary = [] {
      rusage usage{};
      ::getrusage(RUSAGE_THREAD, &usage);
      return usage.ru_nvcsw;
    };
    const long before = voluntary();
    while (last == Outcome::Change) last = watch_->Wait(-1, change);
    switches = voluntary() - before;
  });
  std::this_thread::sleep_for(std::chrono::seconds(2));
  watch_->Stop();
  waiting.join();
  EXPECT_LE(switches, 2);  // it went to sleep once
  EXPECT_EQ(last, Outcome::Stopped);
  EXPECT_EQ(watch_->Wait(-1, change), Outcome::Stopped);
}

TEST(FileSystemKind, KnowsThoseThatOthersChange) {
  EXPECT_STREQ(NetworkName(0x6969), "NFS");
  EXPECT_STREQ(NetworkName(0xFF534D42), "CIFS");
  // As a signed field of 32 bits gives it.
  EXPECT_STREQ(
      NetworkName(static_cast<unsigned long>(static_cast<int>(0xFE534D42))),
      "SMB");
  EXPECT_EQ(NetworkName(0xEF53), nullptr);      // ext4
  EXPECT_EQ(NetworkName(0x01021994), nullptr);  // tmpfs
}

TEST(FileSystemKind, CountsFoldersUpToALimit) {
  const TestFolder folder;
  fs::create_directories("a/b/c");
  fs::create_directories("a/.hidden");
  fs::create_directory_symlink("a", "link");
  WriteTestFile("a/file");
  EXPECT_EQ(CountFolders(".", 100), 5u);
  EXPECT_GE(CountFolders(".", 2), 3u);
  EXPECT_EQ(CountFolders("none", 100), 0u);
  EXPECT_GT(WatchLimit(), 0u);
}

}  // namespace
}  // namespace kiv::port
