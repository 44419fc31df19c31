// Files that are still written, written again, gone or unreadable when they are
// to be taken.
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
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

constexpr auto kWritersPause = std::chrono::seconds(2);

class Scenario10SlowWriter : public FileQueueTest {};

// One file is new, the other there before the start, and both are half written.
TEST_F(Scenario10SlowWriter, HandsOverTheWholeFile) {
  std::ofstream early(folder_.in() / "early");
  early << "early begins, " << std::flush;
  Start();
  std::ofstream late(folder_.in() / "late");
  late << "late begins, " << std::flush;
  std::this_thread::sleep_for(kWritersPause);
  EXPECT_EQ(folder_.Messages(), Names{});
  EXPECT_TRUE(folder_.Has("early"));
  EXPECT_TRUE(folder_.Has("late"));
  early << "ends";
  late << "ends";
  early.close();
  late.close();
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_EQ(folder_.Messages(),
            (Names{"early begins, ends", "late begins, ends"}));
}

// The file is closed by another, which says nothing of its writer.
TEST_F(Scenario10SlowWriter, BesideAnotherIsWaitedFor) {
  Start();
  std::ofstream first(folder_.in() / "list");
  first << "begins, " << std::flush;
  std::ofstream(folder_.in() / "list", std::ios::app) << "goes on, ";
  first.seekp(0, std::ios::end);
  folder_.Put("other", "other");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  first << "ends" << std::flush;
  first.close();
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_EQ(folder_.processor.Messages(),
            (Names{"other", "begins, goes on, ends"}));
}

// By the time that the closed file's turn comes it is open again.
TEST_F(Scenario10SlowWriter, WhoIsBackBeforeItsTurnIsWaitedFor) {
  std::atomic<bool> holds{true};
  folder_.processor.answer = [&](std::string_view, void*) {
    holds.wait(true);
    return true;
  };
  Start();
  folder_.Put("held", "held");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  folder_.Put("list", "begins, ");
  std::ofstream again(folder_.in() / "list", std::ios::app);
  again << "goes on, " << std::flush;
  folder_.Put("other", "other");
  holds = false;
  holds.notify_all();
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  again << "ends";
  again.close();
  ASSERT_TRUE(folder_.processor.WaitForMessages(3));
  EXPECT_EQ(folder_.processor.Messages(),
            (Names{"held", "other", "begins, goes on, ends"}));
}

TEST_F(Scenario10SlowWriter, ThatClosesAndOpensAgainIsWaitedForWhenToldTo) {
  Start("process='true' settle='500'");
  for (const char* part : {"scanned, ", "turned, ", "filed"}) {
    std::ofstream(folder_.in() / "page", std::ios::app) << part;
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
  }
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  folder_.Put("other", "other");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_EQ(folder_.processor.Messages(),
            (Names{"scanned, turned, filed", "other"}));
}

TEST_F(Scenario10SlowWriter, ThatGrowsAFileUnderAHiddenNameIsLeftAlone) {
  Start();
  folder_.Put(".grows", "half");
  folder_.Put("first", "first");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_TRUE(folder_.Has(".grows"));
  folder_.Put(".grows", "whole");
  fs::rename(folder_.in() / ".grows", folder_.in() / "grown");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_EQ(folder_.processor.Messages(), (Names{"first", "whole"}));
}

TEST_F(Scenario10SlowWriter, ThatTakesItsFileBackIsToldOfInOneLine) {
  std::atomic<bool> holds{true};
  folder_.processor.answer = [&](std::string_view, void*) {
    holds.wait(true);
    return true;
  };
  Start();
  folder_.Put("held", "held");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  for (const char* name : {"back1", "back2", "back3"}) folder_.Put(name, "x");
  for (const char* name : {"back1", "back2", "back3"})
    fs::remove(folder_.in() / name);
  holds = false;
  holds.notify_all();
  folder_.Put("after", "after");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_EQ(folder_.processor.Messages(), (Names{"held", "after"}));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.service.log.Count("went away before it could be taken"), 1);
  EXPECT_TRUE(folder_.service.log.Has("'back1' of directory 'in' and 2 more"))
      << folder_.service.log.Text();
}

// What a processor is handed is not deleted when its writer added to it.
TEST_F(Scenario10SlowWriter, ThatWritesOnDuringTheProcessingLosesNothing) {
  folder_.processor.answer = [&](std::string_view message, void*) {
    if (message != "begun") return true;
    // Found where it lies now, as by a writer who kept it open for reading.
    for (const auto& entry :
         fs::recursive_directory_iterator(folder_.in() / ".processing"))
      if (entry.path().filename() == "report")
        std::ofstream(entry.path(), std::ios::app) << ", and more";
    return true;
  };
  Start();
  folder_.Put("report", "begun");
  ASSERT_TRUE(Eventually([&] { return folder_.Has(".failed/report.reason"); }));
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/report"), "begun, and more");
}

TEST_F(Scenario10SlowWriter, OfAnUnreadableFileFindsItInFailed) {
  // A host that is not root, for the thread that reads.
  folder_.processor.answer = [](std::string_view message, void*) {
    if (message == "drop") ::setfsuid(65534);
    return true;
  };
  fs::permissions(folder_.in(), fs::perms::all);
  Start();
  folder_.Put("first", "drop");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  WriteTestFile("../secret", "secret");
  fs::permissions("../secret", fs::perms::none);
  fs::rename("../secret", folder_.in() / "secret");
  ASSERT_TRUE(Eventually([&] { return folder_.Has(".failed/secret"); }));
  folder_.Put("last", "last");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.processor.Messages(), (Names{"drop", "last"}));
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/secret.reason"),
            "it cannot be opened: Permission denied\n");
  EXPECT_EQ(folder_.service.log.Count("'secret' of directory 'in' was moved to "
                                      ".failed: it cannot be opened"),
            1);
}

}  // namespace
}  // namespace kiv
