#include "mq/file_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kiv/strings.h"
#include "port/linux/file_error.h"
#include "testing/eventually.h"
#include "testing/file_queue_folder.h"
#include "util/runtime.h"

namespace kiv::msgq {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Names = std::vector<std::string>;

// [错误] and [信息], and the tag behind them.
constexpr char kError[] = "[\xB4\xED\xCE\xF3] msgq: ";
constexpr char kStarted[] =
    "[\xD0\xC5\xCF\xA2] queue: "
    "\xCF\xFB\xCF\xA2\xB6\xD3\xC1\xD0\xBC\xE0\xCA\xD3\xCF\xDF\xB3\xCC\xD2\xD1"
    "\xBE\xAD\xC6\xF4\xB6\xAF\xA1\xA3";

class FileQueueSettings : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  // The entries of the log under our tag, without time and category.
  std::vector<std::string> Errors() const {
    std::vector<std::string> errors;
    const std::string text = folder_.service.log.Text();
    const std::string mark = kError;
    for (std::size_t at = text.find(mark); at != text.npos;
         at = text.find(mark, at + 1)) {
      const std::size_t begin = at + mark.size();
      errors.push_back(text.substr(begin, text.find("\r\n", begin) - begin));
    }
    return errors;
  }
  // FILE and ROOT in an expected text.
  std::string InPlace(std::string text) const {
    const std::string root = folder_.service.path().string();
    string_replace(text, "FILE", (root + "/conf/fileq.xml").c_str());
    string_replace(text, "ROOT", root.c_str());
    return text;
  }
  static std::string Directory(const std::string& name,
                               const std::string& path = "../in") {
    return "<directory name='" + name + "'><path>" + path + "</path>" +
           testing::FileQueueFolder::kProcessor + "</directory>";
  }

  testing::FileQueueFolder folder_;
  FileQueue queue_;
};

// The texts are those of file_queue_messages.cpp, in bytes.
#define FAILED " \xCA\xA7\xB0\xDC: "           // 失败
#define NOT_FOUND "\xC3\xBB\xD5\xD2\xB5\xBD"   // 没找到
#define END_FAILED "\xCA\xA7\xB0\xDC\xA1\xA3"  // 失败。
#define MUST_BE                                                              \
  "\xBD\xDA\xB5\xE3\xB5\xC4\xCE\xC4\xB1\xBE\xBD\xDA\xB5\xE3\xB1\xD8\xD0\xEB" \
  "\xCA\xC7\xD2\xBB\xB8\xF6\xD3\xD0\xD0\xA7\xB5\xC4"  // 节点的文本节点必须是一个有效的
#define A_PATH "\xC2\xB7\xBE\xB6"  // 路径
constexpr char kNoSettings[] =
    "GetSettings" FAILED
    "\xD7\xB0\xD4\xD8\xC9\xE8\xD6\xC3\xD0\xC5\xCF\xA2" END_FAILED;
constexpr char kNoDirectory[] = "LoadDirectories" FAILED
                                "LoadDirectory \xB5\xDA 0 \xB8\xF6 directory "
                                "\xD7\xD3\xBD\xDA\xB5\xE3" END_FAILED;
constexpr char kNoDirectories[] =
    "LoadSettings" FAILED
    "'FILE' \xCE\xC4\xB5\xB5\xB5\xC4 directories "
    "\xBD\xDA\xB5\xE3\xB5\xF7\xD3\xC3 LoadDirectories " END_FAILED;

TEST_F(FileQueueSettings, MayBeMissing) {
  queue_.Main();
  EXPECT_EQ(queue_.DirPath("in"), "");
  EXPECT_FALSE(queue_.Start());
  // Loaded once, and told once.
  EXPECT_THAT(Errors(),
              ElementsAre(InPlace("LoadSettings" FAILED
                                  "\xB6\xD4 'FILE' " NOT_FOUND "\xA1\xA3"),
                          kNoSettings));
}

struct BadSettings {
  const char* name;
  const char* text;                 // of the file, or of its directories
  std::vector<std::string> errors;  // of the innermost level
};

class BadFileQueueSettings : public FileQueueSettings,
                             public ::testing::WithParamInterface<BadSettings> {
};

TEST_P(BadFileQueueSettings, AreToldOfLevelByLevelAndWatchNothing) {
  std::vector<std::string> expected = GetParam().errors;
  if (std::string(GetParam().text).starts_with("<directory")) {
    folder_.WriteAll(GetParam().text);
    expected.insert(expected.end(), {kNoDirectory, kNoDirectories});
  } else {
    WriteTestFile("../conf/fileq.xml", GetParam().text);
  }
  expected.push_back(kNoSettings);
  WriteTestFile("../file", "no folder");
  queue_.Main();
  for (std::string& error : expected) error = InPlace(error);
  EXPECT_EQ(Errors(), expected) << folder_.service.log.Text();
  EXPECT_TRUE(queue_.Directories().empty());
}

#define PROCESSOR "<processor>dll://../lib/p:Record</processor></directory>"
INSTANTIATE_TEST_SUITE_P(
    File, BadFileQueueSettings,
    ::testing::Values(
        BadSettings{
            "NotParsed",
            "<s><directories>",
            {"LoadSettings" FAILED "\xD7\xB0\xD4\xD8 'FILE' " END_FAILED}},
        BadSettings{
            "NoDirectories",
            "<s/>",
            {"LoadSettings" FAILED "'FILE' \xCE\xC4\xB5\xB5\xD6\xD0" NOT_FOUND
             " directories \xBD\xE1\xB5\xE3\xA1\xA3"}},
        BadSettings{"NoPath",
                    "<directory name='a'>" PROCESSOR,
                    {"LoadDirectory" FAILED "path " NOT_FOUND "\xA1\xA3"}},
        BadSettings{"EmptyPath",
                    "<directory name='a'><path/></directory>",
                    {"LoadDirectory" FAILED "path " MUST_BE A_PATH "\xA1\xA3"}},
        BadSettings{
            "PathAboveRoot",
            "<directory name='a'><path>..x</path></directory>",
            {"LoadDirectory" FAILED "path " MUST_BE A_PATH
             "\xA3\xAC\xBD\xAB\xC6\xE4\xD7\xAA\xB3\xC9\xBE\xF8\xB6\xD4" A_PATH
             "\xCA\xB1\xB3\xF6\xB4\xED\xA1\xA3..x"}},
        BadSettings{"PathIsAFile",
                    "<directory name='a'><path>../file</path></directory>",
                    {"LoadDirectory" FAILED "'ROOT/file' "
                     "\xC4\xBF\xC2\xBC\xCE\xDE\xB7\xA8\xB4\xB4\xBD\xA8\xA1"
                     "\xA3"}},
        BadSettings{"NoName",
                    "<directory><path>../in</path>" PROCESSOR,
                    {"LoadDirectory" FAILED "name "
                     "\xCA\xF4\xD0\xD4\xCE\xDE\xD0\xA7\xA1\xA3"}},
        BadSettings{"NoProcessor",
                    "<directory name='a'><path>../in</path></directory>",
                    {"LoadDirectory" FAILED "processor " NOT_FOUND "\xA1\xA3"}},
        BadSettings{"EmptyProcessor",
                    "<directory name='a'><path>../in</path><processor/>"
                    "</directory>",
                    {"LoadDirectory" FAILED "processor " MUST_BE
                     "\xB4\xA6\xC0\xED\xC6\xF7\xC3\xE8\xCA\xF6\xA1\xA3"}},
        BadSettings{"MissingLibrary",
                    "<directory name='a'><path>../in</path><processor> "
                    "dll://../lib/none:F </processor></directory>",
                    {"AddDir Failed: "
                     "\xCE\xDE\xD0\xA7\xB5\xC4\xB4\xA6\xC0\xED\xC6\xF7\xC3\xE8"
                     "\xCA\xF6\xA3\xBA'dll://../lib/none:F'",
                     "LoadDirectory" FAILED "AddDir 'ROOT/in' " END_FAILED}}),
    [](const auto& test) { return test.param.name; });

TEST_F(FileQueueSettings, OfOneBadDirectoryDisableAll) {
  folder_.WriteAll(Directory("good") + "<other/>" + Directory("") +
                   Directory("good"));
  EXPECT_EQ(queue_.DirPath("good"), "");
  EXPECT_THAT(Errors(), ::testing::Contains(HasSubstr(" 1 ")));
}

TEST_F(FileQueueSettings, HoldSixtyFourDirectories) {
  std::string directories;
  for (int i = 0; i < 64; ++i) directories += Directory(std::to_string(i));
  folder_.WriteAll(directories);
  EXPECT_EQ(queue_.Directories().size(), 64u);
  folder_.WriteAll(directories + Directory("65th"));
  EXPECT_TRUE(FileQueue().Directories().empty());
  EXPECT_EQ(Errors().at(0),
            "AddDir Failed: "
            "\xB3\xAC\xB3\xF6\xD7\xEE\xB4\xF3\xD4\xCA\xD0\xED\xB5\xC4\xC4\xBF"
            "\xC2\xBC\xCA\xFD 64");
}

TEST_F(FileQueueSettings, GiveThePathOfTheFirstOfAName) {
  folder_.WriteAll(Directory("a", " ../made/at/once ") + Directory("b") +
                   Directory("a"));
  EXPECT_EQ(queue_.DirPath("a"),
            (folder_.service.path() / "made/at/once").string());
  EXPECT_TRUE(std::filesystem::is_directory("../made/at/once"));
  EXPECT_EQ(queue_.DirPath("A"), "");
  EXPECT_EQ(queue_.DirPath(""), "");
  EXPECT_EQ(queue_.DirPath(nullptr), "");
  EXPECT_EQ(folder_.service.log.Text(), "");
}

TEST_F(FileQueueSettings, KeepAPollWithinADay) {
  const auto poll_seconds = [&](const std::string& poll) {
    folder_.Write("poll='" + poll + "'");
    DirectoryTable table;
    EXPECT_TRUE(table.Load(SettingsPath()));
    return table.Entries().at(0).poll_seconds;
  };
  EXPECT_EQ(poll_seconds("7"), 7);
  EXPECT_EQ(poll_seconds("-2147484"), 0);  // no number: digits alone are
  EXPECT_EQ(poll_seconds("2147483647"), 24 * 60 * 60);
}

using FileQueueWatch = FileQueueSettings;

TEST_F(FileQueueWatch, OnlyObservesByDefault) {
  folder_.Write("");
  folder_.Put("early", "1");
  ASSERT_TRUE(queue_.Start());
  folder_.Put("late", "123");
  ASSERT_TRUE(testing::Eventually(
      [&] { return queue_.Directories().at(0).status.messages > 0; }));
  const mq::QueueStatus status = queue_.Directories().at(0).status;
  EXPECT_EQ(status.state, mq::QueueState::Observing);
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(folder_.Files(), (Names{"early", "late"}));
  EXPECT_EQ(folder_.Messages(), Names{});
  EXPECT_TRUE(folder_.service.log.Has(kStarted));
  EXPECT_EQ(queue_.Directories().at(0).status.state, mq::QueueState::Stopped);
}

TEST_F(FileQueueWatch, TellsTheProcessorWhichFileItIs) {
  std::string seen;
  folder_.processor.answer = [&](std::string_view, void* context) {
    const auto& file = *static_cast<const FileQueueFile*>(context);
    seen = std::string(file.directory) + " " + file.name + " " +
           std::to_string(file.attempt);
    return true;
  };
  folder_.Write();
  std::filesystem::create_directory(folder_.in() / "sub");
  folder_.Put("sub/\xE8\xAE\xA2", "1");  // 订
  ASSERT_TRUE(queue_.Start());
  ASSERT_TRUE(folder_.processor.WaitForMessages(1));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_EQ(seen, "in sub/\xB6\xA9 1");
}

TEST_F(FileQueueWatch, IsStoppedAndBegunAgain) {
  folder_.Write();
  EXPECT_TRUE(queue_.Stop(0));
  for (int round = 1; round <= 3; ++round) {
    std::thread main;
    if (round == 2)
      main = std::thread([&] { queue_.Main(); });
    else
      ASSERT_TRUE(queue_.Start());
    folder_.Put("file", std::to_string(round));
    ASSERT_TRUE(folder_.processor.WaitForMessages(round));
    EXPECT_FALSE(queue_.Start());  // one at a time
    EXPECT_TRUE(queue_.Stop(20000));
    if (main.joinable()) main.join();
    // Nobody takes it now.
    folder_.Put("between", "between " + std::to_string(round));
    ++round;
    ASSERT_TRUE(queue_.Start());
    ASSERT_TRUE(folder_.processor.WaitForMessages(round));
    EXPECT_TRUE(queue_.Stop(20000));
  }
  EXPECT_FALSE(folder_.Has(".processing/lock"));
  EXPECT_TRUE(std::filesystem::is_empty(folder_.in() / ".processing"));
}

TEST_F(FileQueueWatch, DoesNotWaitForAProcessorForEver) {
  std::atomic<bool> holds{true};
  std::atomic<int> stopped_within{-1};
  folder_.processor.answer = [&](std::string_view, void*) {
    // Asked for by the processor itself, it ends behind this file.
    stopped_within = queue_.Stop(20000) ? 1 : 0;
    holds.wait(true);
    return true;
  };
  folder_.Write();
  folder_.Put("1", "1");
  ASSERT_TRUE(queue_.Start());
  ASSERT_TRUE(testing::Eventually([&] { return stopped_within == 0; }));
  EXPECT_FALSE(queue_.Stop(10));
  holds = false;
  holds.notify_all();
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_FALSE(folder_.Has("1"));
}

TEST_F(FileQueueWatch, ShowsAFolderAsFailedWhileOthersAreServed) {
  std::filesystem::create_directory("../other");
  std::string directories = Directory("in") + Directory("other", "../other");
  string_replace(directories, "<directory ", "<directory process='true' ");
  folder_.WriteAll(directories);
  // A file in the place of one of our folders.
  folder_.Put(".processing", "in the way");
  folder_.Put("file", "1");
  ASSERT_TRUE(queue_.Start());
  for (const std::size_t count : {1, 2, 3}) {
    WriteTestFile("../other/file", "1");
    ASSERT_TRUE(folder_.processor.WaitForMessages(count));
    EXPECT_EQ(queue_.Directories().at(0).status.state, mq::QueueState::Failed);
  }
  EXPECT_EQ(queue_.Directories().at(1).status.state, mq::QueueState::Reading);
  std::filesystem::remove(folder_.in() / ".processing");
  ASSERT_TRUE(folder_.processor.WaitForMessages(4));
  EXPECT_TRUE(queue_.Stop(20000));
  EXPECT_THAT(Errors(),
              ElementsAre(HasSubstr("no file of directory 'in' can be taken: "
                                    "its folders .processing")));
}

// A watch whose system fails at one call.
class FailingWatch : public port::DirectoryWatch {
 public:
  enum class Call { None, Open, Associate, Arm, Wait, Rearm };
  explicit FailingWatch(Call failing) : failing_(failing) {}
  bool OpenDirectory(const std::string&, const port::WatchOptions&,
                     std::size_t) override {
    return Answer(Call::Open);
  }
  bool Associate(std::size_t) override { return Answer(Call::Associate); }
  bool Arm(std::size_t) override {
    return Answer(has_waited_ ? Call::Rearm : Call::Arm);
  }
  Outcome Wait(int, port::DirectoryChange& change) override {
    if (!Answer(Call::Wait)) return Outcome::Failed;
    if (failing_ != Call::Rearm) return Outcome::Stopped;
    has_waited_ = true;
    change.key = 1;
    return Outcome::Change;
  }
  void Stop() override {}

 private:
  bool Answer(Call call) const {
    constexpr int kNoAccess = 13;
    return call != failing_ || port::Fail(kNoAccess);
  }
  const Call failing_;
  bool has_waited_ = false;
};

struct Failure {
  const char* name;
  FailingWatch::Call call;
  const char* error;
};

class FailingFileQueue : public FileQueueSettings,
                         public ::testing::WithParamInterface<Failure> {};

TEST_P(FailingFileQueue, EndsWithTheCallAndTheSystemsCode) {
  FileQueue queue(
      [] { return std::make_unique<FailingWatch>(GetParam().call); });
  folder_.Write("");
  queue.Main();
  EXPECT_THAT(Errors(), ElementsAre(InPlace(GetParam().error)));
  EXPECT_EQ(queue.Directories().at(0).status.state, mq::QueueState::Failed);
}

// A watch that leaves room for no thread behind it.
class GreedyWatch final : public FailingWatch {
 public:
  GreedyWatch() : FailingWatch(Call::None) {
    ::pthread_getattr_default_np(&before_);
  }
  ~GreedyWatch() override { ::pthread_setattr_default_np(&before_); }
  bool Arm(std::size_t) override {
    pthread_attr_t huge = before_;
    ::pthread_attr_setstacksize(&huge, std::size_t{1} << 47);
    return ::pthread_setattr_default_np(&huge) == 0;
  }
  // Time for a start that is told too early that all is well.
  void Stop() override {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }

 private:
  pthread_attr_t before_{};
};

TEST_F(FileQueueWatch, OfWhichThereIsNoThreadHasNotStarted) {
  FileQueue queue([] { return std::make_unique<GreedyWatch>(); });
  folder_.Write("");
  EXPECT_FALSE(queue.Start());
  EXPECT_THAT(Errors(),
              ElementsAre("WatchWorker Failed: CreateThread return FALSE. "
                          "GetLastError = 11"));
  EXPECT_EQ(queue.Directories().at(0).status.state, mq::QueueState::Failed);
  EXPECT_TRUE(queue.Stop(20000));
}

INSTANTIATE_TEST_SUITE_P(
    Call, FailingFileQueue,
    ::testing::Values(
        Failure{"Open", FailingWatch::Call::Open,
                "FileQueueMain Failed: Unable to open directory ROOT/in. "
                "GetLastError=13"},
        Failure{"Associate", FailingWatch::Call::Associate,
                "FileQueueMain Failed: CreateIoCompletionPort Failed. "
                "GetLastError=13"},
        Failure{"Arm", FailingWatch::Call::Arm,
                "WatchDirectories Failed: ReadDirectoryChangesW return FALSE. "
                "GetLastError = 13"},
        Failure{"Wait", FailingWatch::Call::Wait,
                "WatchWorker Failed: GetQueuedCompletionStatus return FALSE. "
                "GetLastError = 13"},
        Failure{"Rearm", FailingWatch::Call::Rearm,
                "WatchWorker Failed: ReadDirectoryChangesW return FALSE. "
                "GetLastError = 13"}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kiv::msgq
