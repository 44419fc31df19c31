#include "port/file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "port/test_folder.h"

namespace kiv::port {
namespace {

namespace fs = std::filesystem;

class PortFile : public testing::Test {
 protected:
  static mode_t Mode(const char* name) {
    struct stat status {};
    ::stat(name, &status);
    return status.st_mode & 07777;
  }
  static std::size_t Entries() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("."), fs::directory_iterator()));
  }

  TestFolder folder_;
};

// A disk with room for files of so many bytes.
class SmallDisk {
 public:
  explicit SmallDisk(rlim_t file_size_bytes)
      : handler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{file_size_bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
  }
  ~SmallDisk() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(PortFile, ErrorsAreTheCallingThreads) {
  EXPECT_FALSE(DeleteFileA("missing"));
  EXPECT_EQ(LastError(), ENOENT);
  std::thread([] { EXPECT_EQ(LastError(), 0); }).join();
  EXPECT_EQ(ErrorText(99999), "Error 99999");
}

TEST_F(PortFile, RemoveTreeTakesEveryNameAndFollowsNoLink) {
  fs::create_directories("outside/kept");
  fs::create_directories("top/\xF0\x9F\x98\x80/\xFF");
  WriteTestFile("top/\xF0\x9F\x98\x80/\xFF/a\\b");
  fs::create_directory_symlink("../outside", "top/link");
  fs::create_directory_symlink("outside", "link");
  ASSERT_EQ(::mkfifo("top/pipe", 0600), 0);
  EXPECT_EQ(RemoveTree("link\\"), 1U) << "a separator behind it asks nothing";
  EXPECT_EQ(RemoveTree("top\\"), 6U);
  EXPECT_FALSE(fs::exists("top"));
  EXPECT_FALSE(fs::exists(fs::symlink_status("link")));
  EXPECT_TRUE(fs::is_directory("outside/kept"));
}

TEST_F(PortFile, RemoveTreeGoesDeeperThanPathsAndDescriptorsReach) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  constexpr unsigned kDepth = 3000;
  for (unsigned i = 0; i < kDepth; ++i) {
    ASSERT_EQ(::mkdir("d", 0700), 0);
    ASSERT_EQ(::chdir("d"), 0);
  }
  fs::current_path(folder_.path());
  const rlimit few{64, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &few);
  EXPECT_EQ(RemoveTree("d"), kDepth);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(Entries(), 0U);
}

TEST_F(PortFile, AUserIsToldWhatHeMayNot) {
  fs::create_directories("top/locked/empty");
  WriteTestFile("top/locked/file");
  WriteTestFile("top/other");
  WriteTestFile("file", "old");
  fs::permissions("file", fs::perms(0444));
  for (const char* name : {".", "top"}) fs::permissions(name, fs::perms(0777));
  fs::permissions("top/locked", fs::perms(0555));
  const auto as_a_user = [] {
    if (::geteuid() == 0 && ::setuid(65534) != 0) std::exit(3);
    if (RemoveTree("top") != 5 || LastError() != EACCES) std::exit(2);
    std::exit(!ReplaceFileText("file", "new") && LastError() == EACCES ? 0 : 1);
  };
  EXPECT_EXIT(as_a_user(), testing::ExitedWithCode(0), "");
  EXPECT_TRUE(fs::exists("top/locked/file"));
  EXPECT_FALSE(fs::exists("top/other"));
  EXPECT_EQ(ReadTestFile("file"), "old");
  fs::permissions("top/locked", fs::perms(0700));
}

TEST_F(PortFile, CopyKeepsModeAndTime) {
  WriteTestFile("from", std::string(300000, 'x') + "end");
  ::chmod("from", 0640);
  const timespec times[] = {{1000, 0}, {1000000, 5000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, "from", times, 0), 0);
  fs::create_symlink("from", "link");
  ASSERT_TRUE(CopyFileA("link", "to"));
  EXPECT_EQ(ReadTestFile("to"), ReadTestFile("from"));
  EXPECT_EQ(Mode("to"), 0640U);
  EXPECT_EQ(fs::last_write_time("to"), fs::last_write_time("from"));
  EXPECT_FALSE(fs::is_symlink("to"));
  // A file that claims to be empty.
  ASSERT_TRUE(CopyFileA("/proc/self/status", "status"));
  EXPECT_THAT(ReadTestFile("status"), testing::HasSubstr("Name:"));
}

TEST_F(PortFile, CopyLeavesNothingBehindWhenItFails) {
  WriteTestFile("from", std::string(100000, 'x'));
  fs::create_directory("folder");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  EXPECT_FALSE(CopyFileA("folder", "to"));
  EXPECT_EQ(LastError(), EISDIR);
  EXPECT_FALSE(CopyFileA("pipe", "to")) << "nor waits for a writer";
  {
    const SmallDisk disk(5000);
    EXPECT_FALSE(CopyFileA("from", "to"));
    EXPECT_EQ(LastError(), EFBIG);
  }
  fs::create_symlink("elsewhere", "dangling");
  EXPECT_FALSE(CopyFileA("from", "dangling")) << "a link is in the way";
  EXPECT_EQ(LastError(), EEXIST);
  EXPECT_FALSE(fs::exists("to"));
  EXPECT_FALSE(fs::exists("elsewhere"));
}

TEST_F(PortFile, MoveReplacesNothing) {
  fs::create_directory("folder");
  fs::create_directory("empty");
  EXPECT_FALSE(MoveFileA("folder", "empty"));
  EXPECT_EQ(LastError(), EEXIST);
  EXPECT_FALSE(MoveFileA("folder", "folder/below"));
  EXPECT_TRUE(MoveFileA("folder", "empty\\inside"));
  EXPECT_TRUE(fs::is_directory("empty/inside"));
}

TEST_F(PortFile, MoveCopiesFilesAndLinksAcrossFileSystems) {
  struct stat here {};
  struct stat there {};
  ASSERT_EQ(::stat(".", &here), 0);
  if (::stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev ||
      ::access("/dev/shm", W_OK) != 0)
    GTEST_SKIP() << "one file system only";
  const std::string target = "/dev/shm/kiv-move-" + std::to_string(::getpid());
  WriteTestFile("from", "text");
  ::chmod("from", 0604);
  ASSERT_TRUE(MoveFileA("from", target));
  EXPECT_EQ(Mode(target.c_str()), 0604U);
  EXPECT_FALSE(fs::exists("from"));
  fs::create_symlink("nowhere", "link");
  EXPECT_FALSE(MoveFileA("link", target));
  EXPECT_EQ(ReadTestFile(target), "text");
  EXPECT_TRUE(DeleteFileA(target));
  EXPECT_TRUE(MoveFileA("link", target));
  EXPECT_EQ(fs::read_symlink(target), "nowhere");
  EXPECT_TRUE(DeleteFileA(target));
  fs::create_directory("folder");
  EXPECT_FALSE(MoveFileA("folder", target));
  EXPECT_EQ(LastError(), EXDEV);
}

TEST_F(PortFile, ReplaceKeepsModeAndLink) {
  ASSERT_TRUE(ReplaceFileText("new", "text", 0600));
  EXPECT_EQ(Mode("new"), 0600U);
  ::chmod("new", 0640);
  fs::create_symlink("new", "link");
  ASSERT_TRUE(ReplaceFileText("link", "other", 0600));
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(ReadTestFile("new"), "other");
  EXPECT_EQ(Mode("new"), 0640U);
  ASSERT_TRUE(ReplaceFileText("new", ""));
  EXPECT_EQ(ReadTestFile("new"), "");
  EXPECT_EQ(Entries(), 2U);
}

TEST_F(PortFile, ReplaceLeavesTheOldFileWhenItFails) {
  WriteTestFile("file", "old");
  fs::create_directory("folder");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  {
    const SmallDisk disk(1000);
    EXPECT_FALSE(ReplaceFileText("file", std::string(2000, 'x')));
    EXPECT_EQ(LastError(), EFBIG);
  }
  EXPECT_EQ(ReadTestFile("file"), "old");
  for (const char* name : {"folder", "folder\\", "pipe", "missing\\file"})
    EXPECT_FALSE(ReplaceFileText(name, "x")) << name;
  EXPECT_EQ(LastError(), ENOENT);
  EXPECT_FALSE(ReplaceFileText("/dev/full", "x"));
  EXPECT_EQ(LastError(), ENOSPC);
  EXPECT_TRUE(fs::is_character_file("/dev/full")) << "a device stays one";
  EXPECT_EQ(Entries(), 3U) << "a temporary file was left";
}

TEST_F(PortFile, AppendIsWholeOrTakenBack) {
  const auto file = AppendFile::Open("log");
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->Append("first\n"));
  {
    const SmallDisk disk(10);
    EXPECT_FALSE(file->Append("second\n"));
    EXPECT_EQ(LastError(), ENOSPC);
    EXPECT_EQ(ReadTestFile("log"), "first\n");
    EXPECT_TRUE(file->Append("2nd\n"));
    EXPECT_FALSE(file->Append("x"));
    EXPECT_EQ(LastError(), EFBIG);
  }
  EXPECT_TRUE(file->Append("third\n"));
  EXPECT_EQ(ReadTestFile("log"), "first\n2nd\nthird\n");
}

TEST_F(PortFile, AppendNeverWaits) {
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  EXPECT_FALSE(AppendFile::Open("pipe"));
  EXPECT_EQ(LastError(), ENXIO);
  EXPECT_FALSE(AppendFile::Open("."));
  const auto full = AppendFile::Open("/dev/full");
  ASSERT_TRUE(full);
  EXPECT_FALSE(full->Append("x"));
  EXPECT_EQ(LastError(), ENOSPC);
}

}  // namespace
}  // namespace kiv::port
