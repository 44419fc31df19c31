// Files that are still written, written again, gone or unreadable when they are
// to be taken.
#include <gtest/gtest.h>
#include <sys/fsuid.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "testing/file_queue_folder.h"

namespace kiv {
namespace {

using testing::Eventually;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Scenario10SlowWriter : public testing::FileQueueTest {
 protected:
  std::ofstream Writer(const std::string& name) const {
    return std::ofstream(folder_.in() / name, std::ios::app);
  }
  void PutAndWait(const std::string& name, std::size_t messages) const {
    folder_.Put(name, name);
    ASSERT_TRUE(folder_.processor.WaitForMessages(messages));
  }
};

// One file is new, the other there before the start, and both are half written.
TEST_F(Scenario10SlowWriter, HandsOverTheWholeFile) {
  std::ofstream early = Writer("early");
  early << "early begins, " << std::flush;
  Start();
  std::ofstream late = Writer("late");
  late << "late begins, " << std::flush;
  // The file is closed by another, which says nothing of its writer.
  Writer("late") << "goes on, ";
  // A third grows under a hidden name.
  folder_.Put(".grows", "half");
  std::this_thread::sleep_for(std::chrono::seconds(2));
  PutAndWait("other", 1);
  EXPECT_EQ(folder_.Files(), (Names{".grows", "early", "late"}));
  early << "ends";
  late << "ends";
  early.close();
  late.close();
  fs::rename(folder_.in() / ".grows", folder_.in() / "grown");
  ASSERT_TRUE(folder_.processor.WaitForMessages(4));
  EXPECT_EQ(folder_.Messages(), (Names{"early begins, ends", "half",
                                       "late begins, goes on, ends", "other"}));
}

TEST_F(Scenario10SlowWriter, ThatClosesAndOpensAgainIsWaitedForWhenToldTo) {
  Start("process='true' settle='500'");
  for (const char* part : {"scanned, ", "turned, ", "filed"}) {
    Writer("page") << part;
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
  }
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  PutAndWait("other", 2);
  EXPECT_EQ(folder_.processor.Messages(),
            (Names{"scanned, turned, filed", "other"}));
}

TEST_F(Scenario10SlowWriter, ThatTakesItsFileBackIsToldOfInOneLine) {
  std::atomic<bool> holds{true};
  folder_.processor.answer = [&](std::string_view, void*) {
    holds.wait(true);
    return true;
  };
  Start();
  PutAndWait("held", 1);
  const Names names{"back1", "back2", "back3"};
  for (const std::string& name : names) folder_.Put(name, "x");
  for (const std::string& name : names) fs::remove(folder_.in() / name);
  holds = false;
  holds.notify_all();
  PutAndWait("after", 2);
  EXPECT_EQ(folder_.processor.Messages(), (Names{"held", "after"}));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.service.log.Count("went away before it could be taken"), 1);
  EXPECT_TRUE(folder_.service.log.Has("'back1' of directory 'in' and 2 more"));
}

// What a processor is handed is not deleted when its writer added to it.
TEST_F(Scenario10SlowWriter, ThatWritesOnDuringTheProcessingLosesNothing) {
  folder_.processor.answer = [&](std::string_view, void*) {
    // Found where it lies now, as by a writer who kept it open for reading.
    for (const std::string& file : folder_.Files())
      if (file.ends_with("/report")) Writer(file) << ", and more";
    return true;
  };
  Start();
  folder_.Put("report", "begun");
  ASSERT_TRUE(Eventually([&] { return folder_.Has(".failed/report.reason"); }));
  EXPECT_EQ(ReadTestFile(folder_.in() / ".failed/report"), "begun, and more");
}

TEST_F(Scenario10SlowWriter, OfAnUnreadableFileFindsItInFailed) {
  // A host that is not root, for the thread that reads.
  folder_.processor.answer = [](std::string_view, void*) {
    ::setfsuid(65534);
    return true;
  };
  fs::permissions(folder_.in(), fs::perms::all);
  Start();
  PutAndWait("first", 1);
  WriteTestFile("../secret", "secret");
  fs::permissions("../secret", fs::perms::none);
  fs::rename("../secret", folder_.in() / "secret");
  EXPECT_TRUE(folder_.WaitForText(".failed/secret.reason",
                                  "it cannot be opened: Permission denied\n"));
  PutAndWait("last", 2);
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Files(),
            (Names{".failed/secret", ".failed/secret.reason"}));
  EXPECT_EQ(folder_.service.log.Count("'secret' of directory 'in' was moved to "
                                      ".failed: it cannot be opened"),
            1);
}

}  // namespace
}  // namespace kiv
