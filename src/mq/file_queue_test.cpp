#include "mq/file_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "kiv/strings.h"
#include "port/linux/file_error.h"
#include "testing/eventually.h"
#include "testing/file_queue_folder.h"
#include "util/runtime.h"

namespace kiv::msgq {
namespace {

using testing::Eventually;
using ::testing::StartsWith;

// [错误] and [信息], and the tag behind them.
constexpr std::string_view kError = "[\xB4\xED\xCE\xF3] msgq: ";
constexpr char kStarted[] =
    "[\xD0\xC5\xCF\xA2] queue: "
    "\xCF\xFB\xCF\xA2\xB6\xD3\xC1\xD0\xBC\xE0\xCA\xD3\xCF\xDF\xB3\xCC\xD2\xD1"
    "\xBE\xAD\xC6\xF4\xB6\xAF\xA1\xA3\r\n";

class FileQueueSettings : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  // The lines of the log under our tag that came since it was last asked, with
  // ROOT for the service's folder.
  std::string NewErrors() {
    const std::string text = folder_.service.log.Text();
    std::istringstream lines(text.substr(std::exchange(seen_, text.size())));
    std::string errors;
    for (std::string line; std::getline(lines, line);) {
      const std::size_t at = line.find(kError);
      if (at != line.npos) errors += line.substr(at + kError.size()) + "\n";
    }
    string_replace(errors, folder_.service.path().c_str(), "ROOT");
    return errors;
  }
  static std::string Directory(const std::string& name,
                               const std::string& path = "../in",
                               const std::string& attributes = "") {
    return "<directory name='" + name + "' " + attributes + "><path>" + path +
           "</path>" + testing::FileQueueFolder::kProcessor + "</directory>";
  }
  mq::QueueStatus StatusOf(std::size_t directory) {
    return queue_.Directories().at(directory).status;
  }

  testing::FileQueueFolder folder_;
  FileQueue queue_;
  std::size_t seen_ = 0;
};

// The texts are those of file_queue_messages.cpp, in bytes.
#define FAILED " \xCA\xA7\xB0\xDC: "          // 失败
#define NOT_FOUND "\xC3\xBB\xD5\xD2\xB5\xBD"  // 没找到
#define STOP "\xA1\xA3"                       // 。
#define END_FAILED "\xCA\xA7\xB0\xDC" STOP "\r\n"
#define A_PATH "\xC2\xB7\xBE\xB6"  // 路径
#define THE_FILE "'ROOT/conf/fileq.xml'"
// 节点的文本节点必须是一个有效的
#define MUST_BE                                                              \
  "\xBD\xDA\xB5\xE3\xB5\xC4\xCE\xC4\xB1\xBE\xBD\xDA\xB5\xE3\xB1\xD8\xD0\xEB" \
  "\xCA\xC7\xD2\xBB\xB8\xF6\xD3\xD0\xD0\xA7\xB5\xC4"
#define NO_SETTINGS    \
  "GetSettings" FAILED \
  "\xD7\xB0\xD4\xD8\xC9\xE8\xD6\xC3\xD0\xC5\xCF\xA2" END_FAILED

TEST_F(FileQueueSettings, ThatNameNoDirectoriesWatchNothing) {
  queue_.Main();
  EXPECT_EQ(queue_.DirPath("in"), "");
  EXPECT_FALSE(queue_.Start());
  // Loaded once, and told once.
  EXPECT_EQ(NewErrors(), "LoadSettings" FAILED "\xB6\xD4 " THE_FILE
                         " " NOT_FOUND STOP "\r\n" NO_SETTINGS);
  for (const char* const text : {"<s><directories>", "<s/>"}) {
    WriteTestFile("../conf/fileq.xml", text);
    FileQueue().Main();
  }
  EXPECT_EQ(NewErrors(),
            "LoadSettings" FAILED "\xD7\xB0\xD4\xD8 " THE_FILE
            " " END_FAILED NO_SETTINGS "LoadSettings" FAILED THE_FILE
            " \xCE\xC4\xB5\xB5\xD6\xD0" NOT_FOUND
            " directories \xBD\xE1\xB5\xE3" STOP "\r\n" NO_SETTINGS);
}

#define LOAD "LoadDirectory" FAILED
#define NO_LIBRARY "dll://../lib/none:F"
TEST_F(FileQueueSettings, OfABadDirectorySayWhatIsWrongWithIt) {
  const std::pair<std::string, std::string> rows[] = {
      {"", LOAD "path " NOT_FOUND STOP},
      {"<path/>", LOAD "path " MUST_BE A_PATH STOP},
      {"<path>..x</path>",
       LOAD "path " MUST_BE A_PATH
            "\xA3\xAC\xBD\xAB\xC6\xE4\xD7\xAA\xB3\xC9\xBE\xF8\xB6\xD4" A_PATH
            "\xCA\xB1\xB3\xF6\xB4\xED" STOP "..x"},
      {"<path>../file</path>", LOAD
       "'ROOT/file' \xC4\xBF\xC2\xBC\xCE\xDE\xB7\xA8\xB4\xB4\xBD\xA8" STOP},
      {"<path>../in</path>", LOAD "processor " NOT_FOUND STOP},
      {"<path>../in</path><processor/>", LOAD
       "processor " MUST_BE "\xB4\xA6\xC0\xED\xC6\xF7\xC3\xE8\xCA\xF6" STOP},
      {"<path>../in</path><processor> " NO_LIBRARY " </processor>",
       "AddDir Failed: \xCE\xDE\xD0\xA7\xB5\xC4\xB4\xA6\xC0\xED\xC6\xF7\xC3"
       "\xE8\xCA\xF6\xA3\xBA'" NO_LIBRARY "'\r\n" LOAD
       "AddDir 'ROOT/in' \xCA\xA7\xB0\xDC" STOP},
  };
  WriteTestFile("../file", "no folder");
  for (const auto& [inside, error] : rows) {
    folder_.WriteAll("<directory name='a'>" + inside + "</directory>");
    FileQueue queue;
    queue.Main();
    EXPECT_THAT(NewErrors(), StartsWith(error + "\r\nLoadDirectories"))
        << inside;
  }
}

TEST_F(FileQueueSettings, OfOneBadDirectoryDisableAll) {
  folder_.WriteAll(Directory("good") + "<other/>" + Directory("") +
                   Directory("good"));
  EXPECT_EQ(queue_.DirPath("good"), "");
  EXPECT_EQ(
      NewErrors(), LOAD
      "name \xCA\xF4\xD0\xD4\xCE\xDE\xD0\xA7" STOP
      "\r\n"
      "LoadDirectories" FAILED
      "LoadDirectory \xB5\xDA 1 \xB8\xF6 "
      "directory \xD7\xD3\xBD\xDA\xB5\xE3" END_FAILED
      "LoadSettings" FAILED THE_FILE
      " \xCE\xC4\xB5\xB5\xB5\xC4 "
      "directories \xBD\xDA\xB5\xE3\xB5\xF7\xD3\xC3 LoadDirectories " END_FAILED
          NO_SETTINGS);
  std::string directories;
  for (int i = 0; i < 64; ++i) directories += Directory(std::to_string(i));
  folder_.WriteAll(directories);
  EXPECT_EQ(FileQueue().Directories().size(), 64u);
  folder_.WriteAll(directories + Directory("65th"));
  EXPECT_TRUE(FileQueue().Directories().empty());
  EXPECT_THAT(NewErrors(), StartsWith("AddDir Failed: \xB3\xAC\xB3\xF6\xD7\xEE"
                                      "\xB4\xF3\xD4\xCA\xD0\xED\xB5\xC4\xC4\xBF"
                                      "\xC2\xBC\xCA\xFD 64\r\n"));
}

TEST_F(FileQueueSettings, GiveThePathOfTheFirstOfAName) {
  folder_.WriteAll(Directory("a", " ../made/at/once ") + Directory("b") +
                   Directory("a"));
  EXPECT_EQ(queue_.DirPath("a"), folder_.service.path() / "made/at/once");
  EXPECT_TRUE(std::filesystem::is_directory("../made/at/once"));
  for (const char* const none : {"A", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(queue_.DirPath(none), "");
  EXPECT_EQ(folder_.service.log.Text(), "");
}

TEST_F(FileQueueSettings, KeepAPollWithinADay) {
  folder_.Write("poll='2147483647'");
  DirectoryTable table;
  ASSERT_TRUE(table.Load(SettingsPath()));
  EXPECT_EQ(table.Entries().at(0).poll_seconds, 24 * 60 * 60);
}

using FileQueueWatch = FileQueueSettings;

TEST_F(FileQueueWatch, OnlyObservesByDefault) {
  folder_.Write("");
  folder_.Put("early", "1");
  ASSERT_TRUE(queue_.Start());
  folder_.Put("late", "123");
  ASSERT_TRUE(Eventually([&] { return StatusOf(0).messages > 0; }));
  EXPECT_EQ(StatusOf(0).state, mq::QueueState::Observing);
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Files(), (std::vector<std::string>{"early", "late"}));
  EXPECT_TRUE(folder_.Messages().empty());
  EXPECT_TRUE(folder_.service.log.Has(kStarted));
}

TEST_F(FileQueueWatch, IsStoppedAndBegunAgain) {
  folder_.Write();
  EXPECT_TRUE(queue_.Stop(0));
  for (const std::size_t round : {0, 1, 2, 3}) {
    folder_.Put("between", "taken by the next");
    EXPECT_EQ(folder_.Messages().size(), 2 * round);
    std::thread main;
    if (round == 2)
      main = std::thread([&] { queue_.Main(); });
    else
      ASSERT_TRUE(queue_.Start());
    folder_.Put("file", "1");
    ASSERT_TRUE(folder_.processor.WaitForMessages(2 * round + 2));
    EXPECT_FALSE(queue_.Start());  // one at a time
    EXPECT_TRUE(queue_.Stop(20000));
    if (main.joinable()) main.join();
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.in() / ".processing"));
}

TEST_F(FileQueueWatch, TellsAProcessorItsFileAndDoesNotWaitForItForEver) {
  std::atomic<bool> holds{true};
  std::atomic<int> stopped_within{-1};
  std::string seen;
  folder_.processor.answer = [&](std::string_view, void* context) {
    const auto& file = *static_cast<const FileQueueFile*>(context);
    seen = std::string(file.directory) + " " + file.name + " " +
           std::to_string(file.attempt);
    // Asked for by the processor itself, it ends behind this file.
    stopped_within = queue_.Stop(20000) ? 1 : 0;
    holds.wait(true);
    return true;
  };
  folder_.Write();
  std::filesystem::create_directory(folder_.in() / "sub");
  folder_.Put("sub/\xE8\xAE\xA2", "1");  // 订
  ASSERT_TRUE(queue_.Start());
  ASSERT_TRUE(Eventually([&] { return stopped_within == 0; }));
  EXPECT_FALSE(queue_.Stop(10));
  EXPECT_EQ(NewErrors(),
            "FileQueueStop Failed: a processor is still at work; the watch "
            "ends after its file\r\n");
  holds = false;
  holds.notify_all();
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_TRUE(folder_.Files().empty());
  EXPECT_EQ(seen, "in sub/\xB6\xA9 1");
}

TEST_F(FileQueueWatch, ShowsAFolderAsFailedWhileOthersAreServed) {
  std::filesystem::create_directory("../other");
  folder_.WriteAll(Directory("in", "../in", "process='true'") +
                   Directory("other", "../other", "process='true'"));
  // A file in the place of one of our folders.
  folder_.Put(".processing", "in the way");
  folder_.Put("file", "1");
  ASSERT_TRUE(queue_.Start());
  WriteTestFile("../other/file", "1");
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_EQ(StatusOf(0).state, mq::QueueState::Failed);
  EXPECT_EQ(StatusOf(1).state, mq::QueueState::Reading);
  std::filesystem::remove(folder_.in() / ".processing");
  ASSERT_TRUE(folder_.processor.WaitForMessages(2));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.service.log.Count(" can be taken: its folders "), 1);
}

// A watch whose system fails at the n-th call.
class FailingWatch final : public port::DirectoryWatch {
 public:
  explicit FailingWatch(int failing) : left_(failing) {}
  bool OpenDirectory(const std::string&, const port::WatchOptions&,
                     std::size_t) override {
    return Answer();
  }
  bool Associate(std::size_t) override { return Answer(); }
  bool Arm(std::size_t) override { return Answer(); }
  Outcome Wait(int, port::DirectoryChange& change) override {
    change.key = 1;
    return Answer() ? Outcome::Change : Outcome::Failed;
  }
  void Stop() override {}

 private:
  bool Answer() { return --left_ != 0 || port::Fail(EACCES); }
  int left_;
};

TEST_F(FileQueueWatch, EndsWithTheCallThatFailsAndTheSystemsCode) {
  folder_.Write("");
  for (int call = 0;
       const std::string error :
       {"FileQueueMain Failed: Unable to open directory ROOT/in. GetLastError=",
        "FileQueueMain Failed: CreateIoCompletionPort Failed. GetLastError=",
        "WatchDirectories Failed: ReadDirectoryChangesW return FALSE. "
        "GetLastError = ",
        "WatchWorker Failed: GetQueuedCompletionStatus return FALSE. "
        "GetLastError = ",
        "WatchWorker Failed: ReadDirectoryChangesW return FALSE. "
        "GetLastError = "}) {
    ++call;
    FileQueue queue([call] { return std::make_unique<FailingWatch>(call); });
    queue.Main();
    EXPECT_EQ(NewErrors(), error + "13\r\n");
    EXPECT_EQ(queue.Directories().at(0).status.state, mq::QueueState::Failed);
  }
  EXPECT_FALSE(
      FileQueue([] { return std::make_unique<FailingWatch>(3); }).Start());
  // And no thread.
  NewErrors();
  pthread_attr_t before;
  ::pthread_getattr_default_np(&before);
  pthread_attr_t huge = before;
  ::pthread_attr_setstacksize(&huge, std::size_t{1} << 47);
  ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
  queue_.Main();
  ::pthread_setattr_default_np(&before);
  EXPECT_EQ(NewErrors(),
            "WatchWorker Failed: CreateThread return FALSE. GetLastError = "
            "11\r\n");
  EXPECT_EQ(StatusOf(0).state, mq::QueueState::Failed);
}

}  // namespace
}  // namespace kiv::msgq
