// What may lie in a watched folder beside ordinary files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "testing/eventually.h"
#include "testing/file_queue_folder.h"

namespace kiv {
namespace {

using testing::Eventually;
using testing::FileQueueTest;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario12OddFiles : public FileQueueTest {
 protected:
  // Everything before it has been looked at by then.
  void WaitForLast() {
    folder_.Put("last", "last");
    ASSERT_TRUE(Eventually([&] {
      const auto messages = folder_.processor.Messages();
      return !messages.empty() && messages.back() == "last";
    }));
  }
  bool IsLeftAlone(const std::string& name, const std::string& kind) const {
    return folder_.Has(name) &&
           folder_.service.log.Count("file '" + name +
                                     "' of directory 'in' is left where it is: "
                                     "it is " +
                                     kind) == 1;
  }
};

TEST_F(Scenario12OddFiles, ThatAreNoFilesAreNeitherFollowedNorWaitedFor) {
  fs::create_directory("../elsewhere");
  WriteTestFile("../elsewhere/secret", "secret");
  const auto make = [&](const std::string& prefix) {
    fs::create_symlink("/etc/shadow", folder_.in() / (prefix + "shadow"));
    fs::create_directory_symlink(folder_.service.path() / "elsewhere",
                                 folder_.in() / (prefix + "folder"));
    ASSERT_EQ(::mkfifo((folder_.in() / (prefix + "pipe")).c_str(), 0600), 0);
  };
  make("old-");
  Start();
  make("new-");
  fs::create_symlink("/etc/shadow", "../moved");
  fs::rename("../moved", folder_.in() / "moved");
  // A writer that closes a pipe is heard of like any other.
  const int reader = ::open((folder_.in() / "new-pipe").c_str(),
                            O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const int writer = ::open((folder_.in() / "new-pipe").c_str(),
                            O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_GE(writer, 0);
  ::close(writer);
  ::close(reader);
  WaitForLast();
  EXPECT_EQ(folder_.Messages(), Names{"last"});
  for (const std::string prefix : {"old-", "new-"}) {
    const auto is_told = [&](const std::string& name, const std::string& kind) {
      return Eventually([&] { return IsLeftAlone(prefix + name, kind); });
    };
    EXPECT_TRUE(is_told("shadow", "a symbolic link"));
    EXPECT_TRUE(is_told("folder", "a symbolic link"));
    EXPECT_TRUE(is_told("pipe", "a pipe")) << folder_.service.log.Text();
  }
  EXPECT_TRUE(IsLeftAlone("moved", "a symbolic link"));
  EXPECT_TRUE(fs::exists("../elsewhere/secret"));
}

TEST_F(Scenario12OddFiles, ThatAreDevicesAreNotOpened) {
  // The null device, under another name.
  if (::mknod((folder_.in() / "device").c_str(), S_IFCHR | 0600,
              makedev(1, 3)) != 0)
    GTEST_SKIP() << "a device needs the right to make one";
  Start();
  WaitForLast();
  EXPECT_TRUE(IsLeftAlone("device", "a device"));
}

TEST_F(Scenario12OddFiles, ThatAreHardLinksLoseTheirOwnNameOnly) {
  WriteTestFile("../one", "one");
  WriteTestFile("../two", "two");
  fs::create_hard_link("../one", folder_.in() / "old");
  Start();
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  fs::create_hard_link("../two", folder_.in() / "new");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  ASSERT_TRUE(Eventually([&] { return folder_.Files().empty(); }));
  EXPECT_EQ(folder_.processor.Messages(), (Names{"one", "two"}));
  EXPECT_EQ(ReadTestFile("../one"), "one");
  EXPECT_EQ(ReadTestFile("../two"), "two");
}

TEST_F(Scenario12OddFiles, OfNoBytesAndOfTooMany) {
  const fs::path huge = folder_.in() / "huge";
  WriteTestFile(huge);
  fs::resize_file(huge, 5ULL << 30);
  Start();
  ASSERT_TRUE(Eventually([&] { return folder_.Has(".failed/huge.reason"); }));
  folder_.Put("empty", "");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_EQ(folder_.processor.Messages(), Names{""});
  EXPECT_TRUE(folder_.WaitForText(
      ".failed/huge.reason",
      "it has 5368709120 bytes, and a processor takes 2147483647 at most\n"));
  EXPECT_EQ(fs::file_size(folder_.in() / ".failed/huge"), 5ULL << 30);
}

TEST_F(Scenario12OddFiles, OfOddNames) {
  const Names names{"line\nfeed",
                    "bad\xFF\xFE bytes",
                    "back\\slash",
                    "\xF0\x9F\x98\x80",
                    std::string(255, 'n'),
                    "\xE8\xAE\xA2",
                    "x.reason",
                    "x"};
  folder_.processor.answer = [](std::string_view message, void*) {
    return message != "fails";
  };
  Start();
  for (const std::string& name : names) folder_.Put(name, name);
  ASSERT_TRUE(folder_.processor.WaitForMessages(names.size()));
  Names expected = names;
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(folder_.Messages(), expected);
  // The reason of one is no reason to lose another.
  folder_.Put("x.reason", "fails");
  folder_.Put("x", "fails");
  folder_.Put("line\nfeed", "fails");
  ASSERT_TRUE(folder_.processor.WaitForMessages(names.size() + 3));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/x.reason"), "fails");
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/x"), "fails");
  EXPECT_EQ(folder_.Files().size(), 6u);
  EXPECT_TRUE(folder_.service.log.Has("file 'line\\nfeed' of directory"))
      << folder_.service.log.Text();
}

// Whoever may write in the folder must not lead a host out of it.
TEST_F(Scenario12OddFiles, BehindAFolderThatBecameALinkAreNotTouched) {
  fs::create_directories("../elsewhere");
  WriteTestFile("../elsewhere/secret", "secret");
  std::atomic<bool> holds{true};
  folder_.processor.answer = [&](std::string_view, void*) {
    holds.wait(true);
    return true;
  };
  fs::create_directory(folder_.in() / "sub");
  Start();
  folder_.Put("first", "first");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  folder_.Put("sub/secret", "bait");
  fs::rename(folder_.in() / "sub", "../sub");
  fs::create_directory_symlink("../elsewhere", folder_.in() / "sub");
  holds = false;
  holds.notify_all();
  WaitForLast();
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.processor.Messages(), (Names{"first", "last"}));
  EXPECT_EQ(ReadTestFile("../elsewhere/secret"), "secret");
}

TEST_F(Scenario12OddFiles, OnAnotherFileSystemAreLeftWithALine) {
  const fs::path other = folder_.in() / "other";
  fs::create_directory(other);
  if (::mount("tmpfs", other.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "another file system needs the right to mount one";
  Start();
  folder_.Put("other/file", "x");
  WaitForLast();
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_TRUE(folder_.Has("other/file"));
  EXPECT_EQ(folder_.service.log.Count(
                "it lies on another file system than the watched folder"),
            1)
      << folder_.service.log.Text();
  ::umount(other.c_str());
}

}  // namespace
}  // namespace kiv
