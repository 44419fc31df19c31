// A log whose disk fills up or whose folder goes away: the program goes on, and
// every entry is either in the file or in the count of the first line behind
// the fault.
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "gmock/gmock.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kUnopenable[] = "Log::Output failed, Open() return false\n";

constexpr char kLost[] = "\xB6\xAA\xCA\xA7 ";  // 丢失

class Scenario06Log : public LogTest {
 protected:
  Scenario06Log() { log_.Open(Folder() / FileSystemPath("log"), true); }

  // The day's file leads to a device that is always full.
  void FillDisk() {
    std::filesystem::create_directories(In("log"));
    std::filesystem::remove(File());
    std::filesystem::create_symlink("/dev/full", File());
  }
  void FreeDisk() { std::filesystem::remove(File()); }
  std::filesystem::path File() const { return In("log") / kDay; }

  Log log_;
};

TEST_F(Scenario06Log, KeepsAFewEntriesUntilSpaceReturns) {
  FillDisk();
  for (const char* message : {"one", "two", "three"}) {
    Put(log_, message);
    log_.Flush();
    EXPECT_FALSE(log_.IsOK());
  }
  FreeDisk();
  Put(log_, "four");
  log_.Flush();
  EXPECT_TRUE(log_.IsOK());
  EXPECT_THAT(Lines(File()),
              ElementsAre(HasSubstr(Lost(0)), "12:00:00 one", "12:00:00 two",
                          "12:00:00 three", "12:00:00 four"));
  // The fault is over and told.
  Put(log_, "five");
  log_.Flush();
  EXPECT_EQ(Lines(File()).size(), 6U);
}

TEST_F(Scenario06Log, CountsExactlyWhatCouldNotBeKept) {
  constexpr std::size_t kEntries = 20'000;
  testing::internal::CaptureStderr();
  FillDisk();
  for (std::size_t i = 0; i < kEntries; ++i)
    Put(log_, "entry " + std::to_string(i));
  FreeDisk();
  Put(log_, "the next");
  log_.Flush();
  // The device could be opened every time: nothing to report there.
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  const auto lines = Lines(File());
  ASSERT_GE(lines.size(), 2U);
  const std::size_t kept = lines.size() - 2;
  EXPECT_GT(kept, 0U);
  EXPECT_LT(kept, kEntries / 2);
  EXPECT_THAT(lines[0], HasSubstr(Lost(kEntries - kept)));
  // What was kept is the newest, in order.
  for (std::size_t i = 0; i < kept; ++i)
    ASSERT_EQ(lines[i + 1],
              "12:00:00 entry " + std::to_string(kEntries - kept + i));
  EXPECT_EQ(lines.back(), "12:00:00 the next");
}

TEST_F(Scenario06Log, NeverLeavesHalfALineOnAFileSystemThatFills) {
  std::filesystem::create_directories(In("log"));
  if (::mount("tmpfs", In("log").c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "a file system of 64 KiB can be mounted by root only";
  constexpr std::size_t kEntries = 10'000;
  for (std::size_t i = 0; i < kEntries; ++i) {
    Put(log_, "entry " + std::to_string(i));
    if (i % 100 == 0) log_.Flush();
  }
  log_.Flush();
  EXPECT_FALSE(log_.IsOK());
  const auto before = Lines(File());
  EXPECT_FALSE(before.empty());
  EXPECT_LT(before.size(), kEntries);

  EXPECT_EQ(::mount("tmpfs", In("log").c_str(), "tmpfs", MS_REMOUNT, "size=4m"),
            0);
  Put(log_, "the next");
  log_.Close();
  const auto lines = Lines(File());
  ::umount2(In("log").c_str(), MNT_DETACH);

  ASSERT_GT(lines.size(), before.size());
  EXPECT_EQ(lines.back(), "12:00:00 the next");
  // Now and then a little fitted in, with a fault line before it.
  std::size_t accounted = 0;
  for (const std::string& line : lines) {
    EXPECT_TRUE(line.starts_with("12:00:00 ")) << line;
    const std::size_t count = line.find(kLost);
    accounted += count == std::string::npos
                     ? 1
                     : std::stoul(line.substr(count + sizeof kLost - 1));
  }
  EXPECT_EQ(accounted, kEntries + 1);
}

TEST_F(Scenario06Log, MakesAnewWhatIsRemovedOrMovedAway) {
  Put(log_, "one");
  log_.Flush();
  Put(log_, "two");
  std::filesystem::remove_all(In("log"));
  Put(log_, "three");
  log_.Flush();
  EXPECT_THAT(Lines(File()), ElementsAre("12:00:00 two", "12:00:00 three"));
  std::filesystem::rename(File(), In("moved"));
  Put(log_, "four");
  log_.Flush();
  EXPECT_THAT(Lines(In("moved")),
              ElementsAre("12:00:00 two", "12:00:00 three"));
  EXPECT_THAT(Lines(File()), ElementsAre("12:00:00 four"));
}

TEST_F(Scenario06Log, ReportsAReadOnlyFolderOncePerAttempt) {
  std::filesystem::permissions(In("log"), std::filesystem::perms(0555));
  const bool is_root = ::geteuid() == 0;
  // Root may write everywhere.
  if (is_root) {
    std::filesystem::permissions(In("."), std::filesystem::perms(0755));
    ASSERT_EQ(::seteuid(65534), 0);
  }
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) Put(log_, "refused");
  const std::string reported = testing::internal::GetCapturedStderr();
  if (is_root) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  EXPECT_EQ(reported, std::string(kUnopenable) + kUnopenable + kUnopenable);

  std::filesystem::permissions(In("log"), std::filesystem::perms(0755));
  Put(log_, "written");
  log_.Flush();
  EXPECT_THAT(Lines(File()), ElementsAre(AllOf(HasSubstr(Lost(3)),
                                               HasSubstr("] sharelib::util: ")),
                                         "12:00:00 written"));
}

}  // namespace
}  // namespace kiv
