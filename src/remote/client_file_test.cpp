// ../conf/client.xml through rmt_get_remote_server and rmt_set_remote_server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <chrono>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "port/lock_file.h"
#include "port/test_folder.h"
#include "rmt/rmt.h"
#include "testing/test_log.h"
#include "util/runtime.h"

namespace kiv {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

#define PROJECT_GB "\xCF\xEE\xC4\xBF"  // 项目

constexpr RemoteServiceInfo kRecord{"Host1", 10001, "Svc", PROJECT_GB " <&\"'>",
                                    "code",  10,    2};

// Programs that were built with it have them at these places.
static_assert(sizeof(RemoteServiceInfo) == 588 &&
              offsetof(RemoteServiceInfo, document_version) == 584);

int Mode(const char* path) {
  return static_cast<int>(std::filesystem::status(path).permissions());
}

class ClientFile : public ::testing::Test {
 protected:
  ClientFile() {
    StartValues();
    std::filesystem::create_directory("bin");
    std::filesystem::create_directory("conf");
    std::filesystem::current_path("bin");
  }
  ~ClientFile() override { StopValues(); }

  static void WriteText(const std::string& text) {
    WriteTestFile("../conf/client.xml", text);
  }
  static void Write(const std::string& services) {
    WriteText("<?xml version='1.0' encoding='GB2312'?><any><services>" +
              services + "</services></any>");
  }
  static std::string Text() { return ReadTestFile("../conf/client.xml"); }
  // Fills `read_`.
  bool Get(const char* name) { return rmt_get_remote_server(name, &read_); }
  static bool Set(const std::string& name,
                  const RemoteServiceInfo& record = kRecord) {
    return rmt_set_remote_server(name.c_str(), &record);
  }

  const TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path() / "bin"};
  RemoteServiceInfo read_{};
};

TEST_F(ClientFile, IsMadeByTheFirstRecordForItsOwnerAlone) {
  std::filesystem::remove("../conf");
  ASSERT_TRUE(Set(PROJECT_GB)) << rmt_last_error();
  EXPECT_EQ(Mode("../conf/client.xml"), 0600);
  EXPECT_THAT(Text(), HasSubstr("<config><services><service "));
  ASSERT_TRUE(Get(PROJECT_GB)) << rmt_last_error();
  EXPECT_EQ(std::memcmp(&read_, &kRecord, sizeof kRecord), 0);
}

TEST_F(ClientFile, KeepsWhatARecordDoesNotHave) {
  Write(
      "<!-- ours --><service name='a' ip='x' timeout='3' port='1' svc='s'/>"
      "<service name='b' ip='y' svc='t'/><other/>");
  std::filesystem::permissions("../conf/client.xml",
                               std::filesystem::perms(0644));
  RemoteServiceInfo record = kRecord;
  record.port = -5;
  ASSERT_TRUE(Set("a", record)) << rmt_last_error();
  ASSERT_TRUE(Set("c")) << rmt_last_error();
  EXPECT_EQ(Mode("../conf/client.xml"), 0600);
  for (const char* kept : {"<any>", "<!-- ours -->", "timeout=\"3\"",
                           "port=\"-5\"", "name=\"b\"", "ip=\"y\"", "<other/>"})
    EXPECT_THAT(Text(), HasSubstr(kept));
  EXPECT_THAT(Text(), Not(HasSubstr("ip=\"x\"")));
  // Numbers below zero do not come back.
  for (const char* const name : {"a", "b"})
    EXPECT_TRUE(Get(name) && read_.port == 0) << name;
}

TEST_F(ClientFile, HasAWidthForEveryTextAndKeepsTheRecordBeyondIt) {
  std::memset(&read_, 0x5A, sizeof read_);
  for (const auto& [wide, room] : {std::pair("ip", 128u),
                                   {"svc", 128},
                                   {"project_key", 256},
                                   {"access_code", 64}}) {
    const RemoteServiceInfo before = read_;
    for (const auto size : {room, room - 1}) {
      std::string text =
          "<service name='a' ip='' svc='' project_key='' access_code=''/>";
      text.insert(text.find(wide + std::string("='")) + std::strlen(wide) + 2,
                  size, 'y');
      Write(text);
      EXPECT_EQ(Get("a"), size < room) << wide;
      EXPECT_EQ(std::memcmp(&read_, &before, sizeof read_) != 0, size < room);
    }
    EXPECT_TRUE(log_.Has(std::string("'a' has an attribute '") + wide +
                         "' that is too long"));
  }
}

TEST_F(ClientFile, RefusesARecordThatIsNotThereOrNotGood) {
  Write(
      "<service name='a' svc='s'/><service name='b' ip='i'/>"
      "<service name='d' ip='' svc='s'/>");
  for (const char* name : {"a", "b", "c", ""}) EXPECT_FALSE(Get(name));
  // Open, for rmt_fix_service_info or server.cfg to fill in.
  EXPECT_TRUE(Get("d"));
  EXPECT_TRUE(log_.Has("'a' has no attribute 'ip'"));
  EXPECT_TRUE(log_.Has("there is no service 'c'"));
  // Broken behind the service.
  Write("<service name='a' ip='i' svc='s'/>\n<b></c>");
  EXPECT_FALSE(Get("a"));
  EXPECT_TRUE(
      log_.Has("rmt_get_remote_server Failed: '../conf/client.xml' "
               "cannot be read: line 2, column "));
  std::filesystem::remove("../conf/client.xml");
  EXPECT_FALSE(Get("a"));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_SERVICE);
}

TEST_F(ClientFile, HasTheFirstOfANameInTheFirstListOfServices) {
  WriteText(
      "<any><x><service name='a' ip='i' svc='s' port='1'/></x>"
      "<p:services xmlns:p='u'>"
      "<x><service name='a' ip='i' svc='s' port='2'/></x>"
      "<p:service p:name='a' name='b' ip='i' svc='s' port='3'/>"
      "<service name='a' p:ip='no' ip='i' svc='s' port='4x'/>"
      "<service name='a' ip='i' svc='s' port='5'/></p:services>"
      "<services><service name='c' ip='i' svc='s'/></services></any>");
  EXPECT_TRUE(Get("a")) << rmt_last_error();
  EXPECT_EQ(read_.port, 4);
  EXPECT_STREQ(read_.ip, "i");
  EXPECT_TRUE(Get("b"));
  EXPECT_EQ(read_.port, 3);
  EXPECT_FALSE(Get("c"));
}

TEST_F(ClientFile, StaysAsItIsOnAFullDisk) {
  if (::mount("tmpfs", "../conf", "tmpfs", 0, "size=16k") != 0)
    GTEST_SKIP() << "no disk can be mounted here";
  Write("<service name='a' ip='i' svc='s'/>");
  const std::string before = Text();
  WriteTestFile("../conf/client.xml.lock", "");
  EXPECT_THROW(WriteTestFile("../conf/full", std::string(20'000, 'x')),
               std::exception);
  EXPECT_FALSE(Set("a"));
  EXPECT_STREQ(rmt_last_error(),
               "'../conf/client.xml' cannot be written: "
               "No space left on device");
  EXPECT_EQ(Text(), before);
  ::umount("../conf");
}

TEST_F(ClientFile, TakesNoTextThatWouldComeBackChanged) {
  Write("<service name='a' ip='i' svc='s'/>");
  const std::string before = Text();
  RemoteServiceInfo record = kRecord;
  std::memset(record.svc, 'x', sizeof record.svc);
  EXPECT_FALSE(Set("a", record)) << "without an end";
  record = kRecord;
  record.ip[0] = '\x01';
  EXPECT_FALSE(Set("a", record)) << "a control byte";
  record = kRecord;
  for (const char* const name : {"", "a\xCF"}) EXPECT_FALSE(Set(name));
  // Cut in the middle of a character, as strncpy leaves it.
  std::strcpy(record.project_key, "\xCF\xEE\xC4");
  EXPECT_FALSE(Set("a", record));
  EXPECT_EQ(Text(), before);
  std::strcpy(record.project_key, " a\nb\tc\rd ");
  ASSERT_TRUE(Set("a\nb", record)) << rmt_last_error();
  ASSERT_TRUE(Get("a\nb")) << rmt_last_error();
  EXPECT_STREQ(read_.project_key, record.project_key);
}

TEST_F(ClientFile, FailsWithoutAStartInsteadOfEndingTheProgram) {
  StopValues();
  EXPECT_FALSE(Set("a"));
  EXPECT_STREQ(rmt_last_error(), "rmt_global_init was not called");
  EXPECT_FALSE(Get("a"));
  StartValues();
}

TEST_F(ClientFile, ThatCannotBeReadIsKeptBesideTheNewOne) {
  WriteText("<config><services>");
  ASSERT_TRUE(Set("a")) << rmt_last_error();
  EXPECT_TRUE(Get("a"));
  EXPECT_EQ(ReadTestFile("../conf/client.xml.unreadable"),
            "<config><services>");
  EXPECT_EQ(Mode("../conf/client.xml.unreadable"), 0600);
  std::filesystem::remove("../conf/client.xml");
  std::filesystem::create_directory("../conf/client.xml");
  EXPECT_FALSE(Set("a"));
  EXPECT_STREQ(rmt_last_error(), "'../conf/client.xml' is a folder");
  EXPECT_EQ(rmt_last_error_code(), RMT_NOT_WRITTEN);
}

TEST_F(ClientFile, LosesNoChangeOfManyThreadsAndOfAnotherProgram) {
  const auto other = port::LockFile::Open(
      std::filesystem::absolute("../conf/client.xml.lock").string(), true);
  ASSERT_TRUE(other != nullptr && other->TryLock(0));
  std::vector<std::thread> threads;
  for (char name = 'a'; name < 'i'; ++name)
    threads.emplace_back([name] {
      for (int i = 0; i < 10; ++i) Set(name + std::to_string(i));
    });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(std::filesystem::exists("../conf/client.xml"));
  other->Unlock(0);
  for (std::thread& thread : threads) thread.join();
  for (char name = 'a'; name < 'i'; ++name)
    for (int i = 0; i < 10; ++i)
      EXPECT_TRUE(Get((name + std::to_string(i)).c_str()));
}

}  // namespace
}  // namespace kiv
