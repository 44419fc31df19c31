// A log whose disk fills up or whose folder goes away: the program goes on, and
// every entry is either in the file or in the count of the first line behind
// the fault.
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>

#include "gmock/gmock.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kLost[] = "\xB6\xAA\xCA\xA7 ";  // 丢失

class Scenario06Log : public LogTest {
 protected:
  Scenario06Log() { log_.Open(Folder() / FileSystemPath("log"), true); }

  std::filesystem::path File() const { return In("log") / kDay; }
  // The first entry that goes through.
  std::vector<std::string> LinesWithNext() {
    Put(log_, "the next");
    log_.Flush();
    return Lines(File());
  }

  Log log_;
};

TEST_F(Scenario06Log, CountsExactlyWhatCouldNotBeKept) {
  constexpr std::size_t kEntries = 20'000;
  testing::internal::CaptureStderr();
  // The day's file leads to a device that is always full.
  std::filesystem::remove(File());
  std::filesystem::create_symlink("/dev/full", File());
  for (std::size_t i = 0; i < kEntries; ++i)
    Put(log_, "entry " + std::to_string(i));
  log_.Flush();
  EXPECT_FALSE(log_.IsOK());
  std::filesystem::remove(File());
  const auto lines = LinesWithNext();
  EXPECT_TRUE(log_.IsOK());
  // The device could be opened every time: nothing to report there.
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  ASSERT_GE(lines.size(), 3U);
  const std::size_t kept = lines.size() - 2;
  EXPECT_LT(kept, kEntries / 2);
  EXPECT_THAT(lines[0], HasSubstr(Lost(kEntries - kept)));
  // What was kept is the newest, in order.
  for (std::size_t i = 0; i < kept; ++i)
    ASSERT_EQ(lines[i + 1],
              "12:00:00 entry " + std::to_string(kEntries - kept + i));
  EXPECT_EQ(lines.back(), "12:00:00 the next");
  // The fault is over and told.
  EXPECT_EQ(LinesWithNext().size(), lines.size() + 1);
}

TEST_F(Scenario06Log, NeverLeavesHalfALineOnAFileSystemThatFills) {
  if (::mount("tmpfs", In("log").c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "a file system of 64 KiB can be mounted by root only";
  constexpr std::size_t kEntries = 10'000;
  for (std::size_t i = 0; i < kEntries; ++i) {
    Put(log_, "entry " + std::to_string(i));
    if (i % 100 == 0) log_.Flush();
  }
  log_.Flush();
  EXPECT_FALSE(log_.IsOK());
  EXPECT_EQ(::mount("tmpfs", In("log").c_str(), "tmpfs", MS_REMOUNT, "size=4m"),
            0);
  const auto lines = LinesWithNext();
  log_.Close();
  ::umount2(In("log").c_str(), MNT_DETACH);

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
  const auto lines = LinesWithNext();
  EXPECT_THAT(lines, ElementsAre("12:00:00 two", "12:00:00 the next"));
  std::filesystem::rename(File(), In("moved"));
  EXPECT_THAT(LinesWithNext(), ElementsAre("12:00:00 the next"));
  EXPECT_EQ(Lines(In("moved")), lines);
}

TEST_F(Scenario06Log, ReportsAReadOnlyFolderOncePerAttempt) {
  std::filesystem::permissions(In("log"), std::filesystem::perms(0555));
  std::filesystem::permissions(In("."), std::filesystem::perms(0755));
  // Root may write everywhere.
  ::setfsuid(65534);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) Put(log_, "refused");
  const std::string reported = testing::internal::GetCapturedStderr();
  ::setfsuid(::geteuid());
  EXPECT_EQ(reported,
            "Log::Output failed, Open() return false\n"
            "Log::Output failed, Open() return false\n");

  std::filesystem::permissions(In("log"), std::filesystem::perms(0755));
  EXPECT_THAT(
      LinesWithNext(),
      ElementsAre(AllOf(HasSubstr(Lost(2)), HasSubstr("] sharelib::util: ")),
                  "12:00:00 the next"));
}

}  // namespace
}  // namespace kiv
