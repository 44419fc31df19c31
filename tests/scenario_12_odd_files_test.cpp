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

#include "testing/file_queue_folder.h"

namespace kiv {
namespace {

using testing::Eventually;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario12OddFiles : public testing::FileQueueTest {
 protected:
  // Everything before it has been looked at by then.
  void WaitForLast() {
    folder_.Put("last", "last");
    ASSERT_TRUE(Eventually([&] {
      const auto messages = folder_.processor.Messages();
      return !messages.empty() && messages.back() == "last";
    }));
  }
  void ExpectLeftAlone(const std::string& name, const std::string& reason) {
    EXPECT_TRUE(folder_.Has(name));
    const std::string line = "file '" + name +
                             "' of directory 'in' is left where it is: it " +
                             reason;
    EXPECT_TRUE(Eventually([&] {
      return folder_.service.log.Count(line) == 1;
    })) << line;
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
  // The null device, under another name; it needs the right to make one.
  const bool has_device = ::mknod((folder_.in() / "device").c_str(),
                                  S_IFCHR | 0600, makedev(1, 3)) == 0;
  Start();
  make("new-");
  fs::create_symlink("/etc/shadow", "../moved");
  fs::rename("../moved", folder_.in() / "moved");
  // A writer that closes a pipe is heard of like any other.
  const std::string pipe = folder_.in() / "new-pipe";
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const int writer = ::open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_GE(writer, 0);
  ::close(writer);
  ::close(reader);
  WaitForLast();
  for (const std::string prefix : {"old-", "new-"}) {
    ExpectLeftAlone(prefix + "shadow", "is a symbolic link");
    ExpectLeftAlone(prefix + "folder", "is a symbolic link");
    ExpectLeftAlone(prefix + "pipe", "is a pipe");
  }
  ExpectLeftAlone("moved", "is a symbolic link");
  if (has_device) ExpectLeftAlone("device", "is a device");
  EXPECT_EQ(folder_.Messages(), Names{"last"});
}

TEST_F(Scenario12OddFiles, ThatAreHardLinksLoseTheirOwnNameOnly) {
  WriteTestFile("../one", "one");
  Start();
  fs::create_hard_link("../one", folder_.in() / "new");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  ASSERT_TRUE(Eventually([&] { return folder_.Files().empty(); }));
  EXPECT_EQ(folder_.processor.Messages(), Names{"one"});
  EXPECT_EQ(ReadTestFile("../one"), "one");
}

TEST_F(Scenario12OddFiles, OfNoBytesAndOfTooMany) {
  const fs::path huge = folder_.in() / "huge";
  WriteTestFile(huge);
  fs::resize_file(huge, 5ULL << 30);
  Start();
  EXPECT_TRUE(folder_.WaitForText(
      ".failed/huge.reason",
      "it has 5368709120 bytes, and a processor takes 2147483647 at most\n"));
  EXPECT_EQ(fs::file_size(folder_.in() / ".failed/huge"), 5ULL << 30);
  folder_.Put("empty", "");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_EQ(folder_.processor.Messages(), Names{""});
}

TEST_F(Scenario12OddFiles, OfOddNames) {
  Names names{"back\\slash", "bad\xFF\xFE bytes", "line\nfeed",
              "x",           "x.reason",          "\xF0\x9F\x98\x80"};
  folder_.processor.answer = [](std::string_view message, void*) {
    return message != "fails";
  };
  Start();
  for (const std::string& name : names) folder_.Put(name, name);
  ASSERT_TRUE(folder_.processor.WaitForMessages(names.size()));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(folder_.Messages(), names);
  // The reason of one is no reason to lose another.
  for (const char* name : {"x.reason", "x", "line\nfeed"})
    folder_.Put(name, "fails");
  ASSERT_TRUE(Eventually([&] { return folder_.Files().size() == 6; }));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/x.reason"), "fails");
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/x"), "fails");
  EXPECT_TRUE(folder_.service.log.Has("file 'line\\nfeed' of directory"));
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
  ExpectLeftAlone("other/file",
                  "lies on another file system than the watched folder");
  EXPECT_TRUE(queue_.Stop(20000));
  ::umount(other.c_str());
}

}  // namespace
}  // namespace kiv
