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

TEST_F(DirectoryChanges, ComeWithTheKeyOfEveryDirectoryThatHoldsThem) {
  for (const char* name : {"one/a/b", "one/.early"})
    fs::create_directories(name);
  Watch("one", 7, {.skips_hidden = true});
  Watch("two", 8, {.subtree = false});
  Watch("one/a", 9);
  fs::create_directories("one/.late/sub");
  fs::create_directories("two/a");
  EXPECT_EQ(Files(0), Seen{});
  for (const char* name :
       {"one/file", "one/a/b/file", "one/.hidden", "one/.early/x",
        "one/.late/sub/x", "two/file", "two/a/unseen", "moved"})
    WriteTestFile(name);
  fs::rename("moved", "two/moved");
  EXPECT_EQ(Files(5),
            (Seen{"7 a/b/file", "7 file", "8 file", "8 moved", "9 b/file"}));
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

TEST(FileSystemKind, CountsFoldersUpToALimit) {
  const TestFolder folder;
  fs::create_directories("a/b/.c");
  fs::create_directory_symlink("a", "link");
  EXPECT_EQ(CountFolders(".", 100), 4u);
  EXPECT_EQ(CountFolders(".", 2), 3u);
  EXPECT_GT(WatchLimit(), 0u);
}

TEST(FileSystemKind, KnowsThoseThatOthersChange) {
  EXPECT_STREQ(NetworkName(0x6969), "NFS");
  // As a signed field of 32 bits gives it.
  EXPECT_STREQ(
      NetworkName(static_cast<unsigned long>(static_cast<int>(0xFE534D42))),
      "SMB");
  EXPECT_EQ(NetworkName(0xEF53), nullptr);  // ext4
}

}  // namespace
}  // namespace kiv::port
