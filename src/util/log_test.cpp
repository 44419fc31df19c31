#include "kiv/log.h"

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "gmock/gmock.h"
#include "util/log_entry.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kUnopenable[] = "Log::Output failed, Open() return false\n";

// What stderr is told while the entry is put.
std::string Complaint(Log& log, const char* message) {
  testing::internal::CaptureStderr();
  log.Output(message, "", "", FileSystemPath(), true);
  return testing::internal::GetCapturedStderr();
}

class OpenLog : public LogTest {
 protected:
  OpenLog() { log_.Open(Folder(), true); }
  std::vector<std::string> Written() {
    log_.Flush();
    return Lines(In(kDay));
  }

  Log log_;
  const FileSystemPath none_;
};

TEST_F(OpenLog, PutsStampCategoryAndSourceBeforeTheMessage) {
  log_.Output("text", "sharelib::util", "\xB4\xED\xCE\xF3", none_, true);
  log_.Output("text", nullptr, nullptr, none_, true);
  log_.Output("text", "", "c", none_, true);
  log_.Output("text", "mq", "", none_, false);
  EXPECT_THAT(Written(), ElementsAre("12:00:00 [\xB4\xED\xCE\xF3] "
                                     "sharelib::util: text",
                                     "12:00:00 text", "12:00:00 [c] text",
                                     "2005-11-03 12:00:00 mq: text"));
  clock_.has_local_time = false;
  Log undated;
  ASSERT_TRUE(undated.Open(Folder(), true));
  undated.Output("text", "s", "c", none_, false);
  undated.Flush();
  EXPECT_EQ(Text(In("log.txt")), "[c] s: text\r\n");
}

TEST_F(LogTest, OpensTheDefaultFolderOnTheFirstEntryAndNotBefore) {
  Log log;
  const FileSystemPath none;
  log.Output(static_cast<const char*>(nullptr), "s", "c", none, true);
  log.Output(u"", u"s", u"c", none, true);
  log.Trace("text", "s", "c", none, true);
  EXPECT_FALSE(std::filesystem::exists(In("Logfiles")));
  EXPECT_FALSE(log.IsOK());
  EXPECT_EQ(log.FilePath(), "");

  Put(log, "first");
  EXPECT_TRUE(log.IsOK());
  const FileSystemPath file("Logfiles/System/20051103.txt");
  const std::string path = (Folder() / file).native_file_string();
  EXPECT_EQ(log.FilePath(), path);
  EXPECT_EQ(log.FilePathU(), WideString(path.begin(), path.end()));
  // Collected, not written an entry.
  EXPECT_EQ(Text(In(file.string())), "");
  log.Flush();
  EXPECT_EQ(Text(In(file.string())), "12:00:00 first\r\n");
}

TEST_F(LogTest, TakesTheFolderOfAnExplicitFileOrOfTheFirstEntry) {
  Log log;
  ASSERT_TRUE(log.Open(Folder() / FileSystemPath("x/app.log"), false));
  EXPECT_THAT(log.FilePath(), testing::EndsWith("\\x\\app.log"));
  Put(log, "one");
  log.Close();
  EXPECT_EQ(Text(In("x/20051103.txt")), "12:00:00 one\r\n");
  log.Output("one", "", "", Folder() / FileSystemPath("named"), true);
  // No longer asked for: the log is open.
  log.Output("two", "", "", Folder() / FileSystemPath("other"), true);
  log.Close();
  EXPECT_THAT(Lines(In("named/20051103.txt")),
              ElementsAre("12:00:00 one", "12:00:00 two"));
}

TEST_F(OpenLog, AppendsAfterOfflineAndForgetsItsFolderOnClose) {
  Put(log_, "one");
  log_.Offline();
  EXPECT_FALSE(log_.IsOK());
  EXPECT_NE(log_.FilePath(), "");
  Put(log_, "two");
  log_.Close();
  EXPECT_EQ(log_.FilePath(), "");
  EXPECT_THAT(Lines(In(kDay)), ElementsAre("12:00:00 one", "12:00:00 two"));
}

TEST_F(OpenLog, StampsAndFilesAnEntryByOneReadingOfTheClock) {
  clock_.Set(HandClock::kNoon + 12 * 3600 - 20);
  clock_.advance_each_reading = 1;
  for (int i = 0; i < 40; ++i) Put(log_, "x", false);
  for (const std::string& line : Written())
    EXPECT_EQ(line.substr(0, 10), "2005-11-03");
  EXPECT_EQ(Lines(In(kNextDay)).at(0), "2005-11-04 00:00:00 x");
}

TEST_F(OpenLog, AddsExceptionsAndComFailuresAndConvertsTexts) {
  const _com_error failed(static_cast<HRESULT>(0x80004005));
  log_.Output("m", std::runtime_error("why\n"), "", "", none_, true);
  log_.Output("m", failed, "", "", none_, true);
  // 源 in the information
  log_.Output("m", _com_error(1, {u"\u6E90", std::nullopt}), "", "", none_,
              true);
  log_.Output("m", _com_error(1, {u"src", u"text"}), "", "", none_, true);
  log_.Output(u"\u6E90", u"s", u"\u6E90", none_, true);
  log_.OutputUTF8("\xE6\xBA\x90", "s", nullptr, none_, true);
  EXPECT_THAT(Written(),
              ElementsAre(
                  // C++ 异常：
                  "12:00:00 m C++ \xD2\xEC\xB3\xA3\xA3\xBAwhy\\n",
                  // HRESULT 错误:
                  "12:00:00 m HRESULT \xB4\xED\xCE\xF3: -2147467259",
                  "12:00:00 m 1 \xD4\xB4 ", "12:00:00 m 1 src text",
                  "12:00:00 [\xD4\xB4] s: \xD4\xB4", "12:00:00 s: \xD4\xB4"));
}

TEST_F(OpenLog, DropsSilentlyWhenTheChangeOfFilesFails) {
  Put(log_, "one");
  std::filesystem::create_directory(In(kNextDay));
  clock_.Move(12 * 3600);
  EXPECT_EQ(Complaint(log_, "two"), "");
  EXPECT_EQ(Complaint(log_, "three"), kUnopenable);
  EXPECT_THAT(Lines(In(kDay)), ElementsAre("12:00:00 one"));
  std::filesystem::remove(In(kNextDay));
  Put(log_, "four");
  log_.Flush();
  EXPECT_THAT(Lines(In(kNextDay)),
              ElementsAre(HasSubstr(Lost(2)), "00:00:00 four"));
}

TEST_F(OpenLog, KeepsAnEntryLargerThanTheBufferWhole) {
  const std::string large(300 * 1024, 'x');
  Put(log_, "before");
  Put(log_, large);
  EXPECT_THAT(Written(), ElementsAre("12:00:00 before", "12:00:00 " + large));
}

// In processes of their own: each ends while its threads are at it.
TEST_F(LogTest, EndsWithTheProcessWhileThreadsStillWrite) {
  // Started anew, not forked: the thread sanitizer loses sight of a lock that
  // a child makes anew. Each has its own fixture, in a folder below this one's.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  constexpr int kProcesses = 10;
  const std::filesystem::path temporary =
      std::filesystem::temp_directory_path();
  ::setenv("TMPDIR", In("").c_str(), 1);
  for (int process = 0; process < kProcesses; ++process) {
    EXPECT_EXIT(
        {
          Log::Instance().Open(Folder(), true);
          std::atomic<int> written = 0;
          for (int i = 0; i < 4; ++i)
            std::thread([&written] {
              for (;; ++written) Put(Log::Instance(), "late");
            }).detach();
          while (written < 100) std::this_thread::yield();
          std::exit(0);
        },
        testing::ExitedWithCode(0), "");
  }
  ::setenv("TMPDIR", temporary.c_str(), 1);

  int logs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(In(""))) {
    const std::vector<std::string> lines = Lines(entry.path() / kDay);
    EXPECT_GE(lines.size(), 100U);
    for (const std::string& line : lines) ASSERT_EQ(line, "12:00:00 late");
    ++logs;
  }
  EXPECT_EQ(logs, kProcesses);
}

// Layouts of a host program.
class HostLog : public Log {
 public:
  std::string file_name = "host.txt";
  void (*before)(HostLog&, std::ostream&) = nullptr;

  // As an entry of the layout's own.
  void Nested(const char* message) {
    Output(message, "", "", FileSystemPath(), true);
  }

 protected:
  void BuildFilename(std::string& name) const override { name = file_name; }
  void BuildOutput(const char* message, const char* source,
                   const char* category, bool time_only,
                   std::ostream& out) override {
    if (std::string_view(message) == "special") before(*this, out);
    Log::BuildOutput(message, source, category, time_only, out);
  }
};

class LogDerived : public LogTest {
 protected:
  LogDerived() { log_.Open(Folder(), true); }
  std::vector<std::string> WriteThree() {
    Put(log_, "one");
    Put(log_, "special");
    Put(log_, "three");
    log_.Flush();
    return Lines(In("host.txt"));
  }
  HostLog log_;
};

TEST_F(LogDerived, MayLogInTheMiddleOfAnEntry) {
  // Seen by outermost entries only: the others belong to them.
  clock_.advance_each_reading = 1;
  log_.before = [](HostLog& log, std::ostream& out) {
    out << "begun ";
    log.before = [](HostLog& inner, std::ostream& inner_out) {
      inner_out << "inner ";
      inner.Nested("deepest");
    };
    log.Nested("special");
    log.Flush();
    out << "ended ";
  };
  EXPECT_THAT(
      WriteThree(),
      ElementsAre("12:00:00 one", "12:00:01 deepest", "inner 12:00:01 special",
                  "begun ended 12:00:01 special", "12:00:02 three"));
}

TEST_F(LogDerived, MayChangeFilesInTheMiddleOfAnEntry) {
  log_.before = [](HostLog& log, std::ostream& out) {
    out << "begun ";
    log.file_name = "other.txt";
    log.Nested("nested");
  };
  EXPECT_THAT(WriteThree(), ElementsAre("12:00:00 one"));
  EXPECT_THAT(Lines(In("other.txt")),
              ElementsAre("12:00:00 nested", "begun 12:00:00 special", _));
}

TEST_F(LogDerived, LeavesNoPartOfAnEntryThatFails) {
  log_.before = [](HostLog&, std::ostream& out) {
    out << "half";
    throw std::runtime_error("no layout");
  };
  EXPECT_THAT(WriteThree(), ElementsAre(HasSubstr(Lost(1)), "12:00:00 one",
                                        "12:00:00 three"));

  log_.before = [](HostLog&, std::ostream& out) {
    out << "half";
    out.setstate(std::ios::failbit);
  };
  EXPECT_THAT(WriteThree(), ElementsAre(_, _, _, HasSubstr(Lost(1)),
                                        "12:00:00 one", "12:00:00 three"));
}

TEST_F(LogDerived, FlushesWhenItsLayoutFlushesAndGetsTextsThatAreShown) {
  log_.before = [](HostLog&, std::ostream& out) { out << std::flush; };
  Put(log_, "special");
  EXPECT_THAT(Lines(In("host.txt")), ElementsAre("12:00:00 special"));
  log_.Output("a\r\nb", "s\n", "\x1B", FileSystemPath(), true);
  log_.Flush();
  EXPECT_EQ(Lines(In("host.txt")).back(), "12:00:00 [\\x1B] s\\n: a\\r\\nb");
}

TEST_F(LogTest, CannotBeOpenedWithoutACurrentDirectory) {
  std::filesystem::create_directory(In("gone"));
  std::filesystem::current_path(In("gone"));
  std::filesystem::remove(In("gone"));
  EXPECT_FALSE(Log().Open());
}

TEST_F(LogTest, LibraryMessagesKeepTheirLineBreaksAndCategory) {
  Log::Instance().Open(Folder(), true);
  LogError("xml", "two\r\nlines");
  LogFatal("mq", "x");
  LogInformation("mq", "x");
  LogPlain("mq", "x");
  Log::Instance().Flush();
  EXPECT_EQ(Text(In(kDay)),
            "12:00:00 [\xB4\xED\xCE\xF3] xml: two\r\nlines\r\n"
            "12:00:00 [\xD1\xCF\xD6\xD8\xB4\xED\xCE\xF3] mq: x\r\n"
            "12:00:00 [\xD0\xC5\xCF\xA2] mq: x\r\n"
            "12:00:00 mq: x\r\n");
  Log::Instance().Close();
}

}  // namespace
}  // namespace kiv
