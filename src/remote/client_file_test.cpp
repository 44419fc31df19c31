// ../conf/client.xml through rmt_get_remote_server and rmt_set_remote_server.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
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

static_assert(sizeof(RemoteServiceInfo) == 588);
static_assert(offsetof(RemoteServiceInfo, document_version) == 584);

#define PROJECT_GB "\xCF\xEE\xC4\xBF"  // 项目

RemoteServiceInfo Record(const std::string& ip, int port) {
  RemoteServiceInfo record{};
  std::strncpy(record.ip, ip.c_str(), sizeof record.ip - 1);
  record.port = port;
  std::strcpy(record.svc, "Svc");
  std::strcpy(record.project_key, PROJECT_GB " <&\"'>");
  std::strcpy(record.access_code, "code");
  record.engine_version = 10;
  record.document_version = 2;
  return record;
}

int Mode(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 ? status.st_mode & 07777 : -1;
}

class ClientFile : public ::testing::Test {
 protected:
  ClientFile() {
    StartValues();
    std::filesystem::create_directory("bin");
    std::filesystem::current_path("bin");
  }
  ~ClientFile() override { StopValues(); }

  static void Write(const std::string& services) {
    std::filesystem::create_directory("../conf");
    WriteTestFile("../conf/client.xml",
                  "<?xml version='1.0' encoding='GB2312'?><any>"
                  "<services>" +
                      services + "</services></any>");
  }
  static std::string Text() { return ReadTestFile("../conf/client.xml"); }

  const TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path() / "bin"};
};

TEST_F(ClientFile, IsMadeByTheFirstRecordForItsOwnerAlone) {
  const RemoteServiceInfo record = Record("Host1", 10001);
  ASSERT_TRUE(rmt_set_remote_server(PROJECT_GB, &record)) << rmt_last_error();
  EXPECT_EQ(Mode("../conf/client.xml"), 0600);
  EXPECT_NE(Text().find("<config><services><service "), std::string::npos)
      << Text();
  RemoteServiceInfo read{};
  ASSERT_TRUE(rmt_get_remote_server(PROJECT_GB, &read)) << rmt_last_error();
  EXPECT_EQ(std::memcmp(&read, &record, sizeof read), 0);
  EXPECT_STREQ(rmt_get_config_path(), "../conf/client.xml");
}

TEST_F(ClientFile, KeepsWhatARecordDoesNotHave) {
  Write(
      "<!-- ours --><service name='a' ip='x' timeout='3' port='1' svc='s'/>"
      "<service name='b' ip='y' svc='t'/><other/>");
  std::filesystem::permissions("../conf/client.xml",
                               std::filesystem::perms(0644));
  RemoteServiceInfo record = Record("z", 7);
  ASSERT_TRUE(rmt_set_remote_server("a", &record)) << rmt_last_error();
  ASSERT_TRUE(rmt_set_remote_server("c", &record)) << rmt_last_error();
  EXPECT_EQ(Mode("../conf/client.xml"), 0600);
  for (const char* kept : {"<any>", "<!-- ours -->", "timeout=\"3\"",
                           "name=\"b\"", "ip=\"y\"", "<other/>"})
    EXPECT_NE(Text().find(kept), std::string::npos) << kept << Text();
  EXPECT_EQ(Text().find("ip=\"x\""), std::string::npos);
  // The first of two with one name is the one.
  RemoteServiceInfo read{};
  EXPECT_TRUE(rmt_get_remote_server("a", &read));
  EXPECT_EQ(read.port, 7);
  EXPECT_TRUE(rmt_get_remote_server("b", &read));
  EXPECT_EQ(read.port + read.engine_version + read.document_version, 0);
  EXPECT_STREQ(read.access_code, "");
  // Numbers below zero do not come back.
  record.port = -5;
  EXPECT_TRUE(rmt_set_remote_server("a", &record));
  EXPECT_NE(Text().find("port=\"-5\""), std::string::npos);
  EXPECT_TRUE(rmt_get_remote_server("a", &read));
  EXPECT_EQ(read.port, 0);
}

TEST_F(ClientFile, HasAWidthForEveryTextAndKeepsTheRecordBeyondIt) {
  const std::pair<const char*, std::size_t> widths[] = {
      {"ip", 128}, {"svc", 128}, {"project_key", 256}, {"access_code", 64}};
  for (const auto& [wide, room] : widths) {
    SCOPED_TRACE(wide);
    const auto write = [&, wide = wide](std::size_t size) {
      std::string element = "<service name='a'";
      for (const auto& [attribute, unused] : widths)
        element += std::string(" ") + attribute + "='" +
                   std::string(attribute == wide ? size : 1, 'y') + "'";
      Write(element + "/>");
    };
    RemoteServiceInfo record;
    std::memset(&record, 0x5A, sizeof record);
    const RemoteServiceInfo before = record;
    write(room);
    EXPECT_FALSE(rmt_get_remote_server("a", &record));
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
    EXPECT_EQ(log_.Count(std::string("'a' has an attribute '") + wide +
                         "' that is too long"),
              1)
        << log_.Text();
    write(room - 1);
    EXPECT_TRUE(rmt_get_remote_server("a", &record));
  }
}

TEST_F(ClientFile, RefusesARecordThatIsNotThereOrNotGood) {
  Write(
      "<service name='a' svc='s'/><service name='b' ip='i'/>"
      "<service name='d' ip='' svc='s'/>");
  RemoteServiceInfo record{};
  for (const char* name :
       {"a", "b", "c", "", static_cast<const char*>(nullptr)})
    EXPECT_FALSE(rmt_get_remote_server(name, &record));
  // Open, for rmt_fix_service_info or server.cfg to fill in.
  EXPECT_TRUE(rmt_get_remote_server("d", &record));
  EXPECT_FALSE(rmt_get_remote_server("a", nullptr));
  EXPECT_TRUE(log_.Has("'a' has no attribute 'ip'")) << log_.Text();
  EXPECT_TRUE(log_.Has("there is no service 'c'")) << log_.Text();

  std::filesystem::remove("../conf/client.xml");
  EXPECT_FALSE(rmt_get_remote_server("a", &record));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_SERVICE);
}

TEST_F(ClientFile, HasTheFirstOfANameInTheFirstListOfServices) {
  std::filesystem::create_directory("../conf");
  WriteTestFile("../conf/client.xml",
                "<any><x><service name='a' ip='i' svc='s' port='1'/></x>"
                "<p:services xmlns:p='u'>"
                "<x><service name='a' ip='i' svc='s' port='2'/></x>"
                "<p:service p:name='a' name='b' ip='i' svc='s' port='3'/>"
                "<service name='a' p:ip='no' ip='i' svc='s' port='4x'/>"
                "<service name='a' ip='i' svc='s' port='5'/></p:services>"
                "<services><service name='c' ip='i' svc='s'/></services>"
                "</any>");
  RemoteServiceInfo record{};
  EXPECT_TRUE(rmt_get_remote_server("a", &record)) << rmt_last_error();
  EXPECT_EQ(record.port, 4);
  EXPECT_STREQ(record.ip, "i");
  EXPECT_TRUE(rmt_get_remote_server("b", &record));
  EXPECT_EQ(record.port, 3);
  EXPECT_FALSE(rmt_get_remote_server("c", &record));
}

TEST_F(ClientFile, ThatIsBrokenBehindTheServiceIsRefusedWithTheLine) {
  Write("<service name='a' ip='i' svc='s'/>\n<b></c>");
  RemoteServiceInfo record{};
  EXPECT_FALSE(rmt_get_remote_server("a", &record));
  EXPECT_EQ(log_.Count("rmt_get_remote_server Failed: '../conf/client.xml' "
                       "cannot be read: line 2, column "),
            1)
      << log_.Text();
}

TEST_F(ClientFile, StaysAsItIsOnAFullDisk) {
  Write("<service name='a' ip='i' svc='s'/>");
  const std::string before = Text();
  if (::mount("tmpfs", "../conf", "tmpfs", 0, "size=16k") != 0)
    GTEST_SKIP() << "no disk can be mounted here";
  WriteTestFile("../conf/client.xml", before);
  WriteTestFile("../conf/client.xml.lock", "");
  EXPECT_THROW(WriteTestFile("../conf/full", std::string(20'000, 'x')),
               std::exception);
  const RemoteServiceInfo record = Record("x", 1);
  EXPECT_FALSE(rmt_set_remote_server("a", &record));
  EXPECT_EQ(rmt_last_error_code(), RMT_NOT_WRITTEN);
  EXPECT_STREQ(rmt_last_error(),
               "'../conf/client.xml' cannot be written: "
               "No space left on device");
  EXPECT_EQ(Text(), before);
  std::filesystem::remove("../conf/full");
  EXPECT_TRUE(rmt_set_remote_server("a", &record)) << rmt_last_error();
  ::umount("../conf");
}

TEST_F(ClientFile, TakesNoTextThatWouldComeBackChanged) {
  Write("<service name='a' ip='i' svc='s'/>");
  const std::string before = Text();
  RemoteServiceInfo record = Record("x", 1);
  std::memset(record.svc, 'x', sizeof record.svc);
  EXPECT_FALSE(rmt_set_remote_server("a", &record)) << "without an end";
  record = Record("\x01", 1);
  EXPECT_FALSE(rmt_set_remote_server("a", &record)) << "a control byte";
  EXPECT_EQ(rmt_last_error_code(), RMT_NOT_WRITTEN);
  record = Record("x", 1);
  // Cut in the middle of a character, as strncpy leaves it.
  std::strcpy(record.project_key, "\xCF\xEE\xC4");
  EXPECT_FALSE(rmt_set_remote_server("a", &record));
  EXPECT_EQ(rmt_last_error_code(), RMT_NOT_WRITTEN) << rmt_last_error();
  record = Record("x", 1);
  for (const char* const name : {"", "a\xCF"})
    EXPECT_FALSE(rmt_set_remote_server(name, &record));
  EXPECT_FALSE(rmt_set_remote_server("a", nullptr));
  EXPECT_EQ(Text(), before);
  std::strcpy(record.project_key, " a\nb\tc\rd ");
  ASSERT_TRUE(rmt_set_remote_server("a\nb", &record)) << rmt_last_error();
  RemoteServiceInfo read{};
  ASSERT_TRUE(rmt_get_remote_server("a\nb", &read)) << rmt_last_error();
  EXPECT_STREQ(read.project_key, record.project_key);
}

TEST_F(ClientFile, WaitsForAnotherProgramThatChangesIt) {
  std::filesystem::create_directory("../conf");
  const auto other = port::LockFile::Open(
      std::filesystem::absolute("../conf/client.xml.lock").string(), true);
  ASSERT_NE(other, nullptr);
  ASSERT_TRUE(other->TryLock(0));
  auto change = std::async(std::launch::async, [] {
    const RemoteServiceInfo record = Record("x", 1);
    return rmt_set_remote_server("a", &record);
  });
  EXPECT_EQ(change.wait_for(std::chrono::milliseconds(200)),
            std::future_status::timeout);
  EXPECT_FALSE(std::filesystem::exists("../conf/client.xml"));
  other->Unlock(0);
  EXPECT_TRUE(change.get()) << log_.Text();
}

TEST(ClientFileWithoutStart, FailsInsteadOfEndingTheProgram) {
  const TestFolder folder;
  const kiv::testing::TestLog log;
  RemoteServiceInfo record = Record("x", 1);
  EXPECT_FALSE(rmt_set_remote_server("a", &record));
  EXPECT_NE(std::string(rmt_last_error()).find("rmt_global_init"),
            std::string::npos);
  EXPECT_FALSE(rmt_get_remote_server("a", &record));
  EXPECT_TRUE(log.Has("rmt_get_remote_server Failed: ")) << log.Text();
}

TEST_F(ClientFile, ThatCannotBeReadIsKeptBesideTheNewOne) {
  std::filesystem::create_directory("../conf");
  WriteTestFile("../conf/client.xml", "<config><services>");
  const RemoteServiceInfo record = Record("x", 1);
  ASSERT_TRUE(rmt_set_remote_server("a", &record)) << rmt_last_error();
  RemoteServiceInfo read{};
  EXPECT_TRUE(rmt_get_remote_server("a", &read));
  EXPECT_EQ(ReadTestFile("../conf/client.xml.unreadable"),
            "<config><services>");
  EXPECT_EQ(Mode("../conf/client.xml.unreadable"), 0600);

  std::filesystem::remove("../conf/client.xml");
  std::filesystem::create_directory("../conf/client.xml");
  EXPECT_FALSE(rmt_set_remote_server("a", &record));
  EXPECT_STREQ(rmt_last_error(), "'../conf/client.xml' is a folder");
}

TEST_F(ClientFile, LosesNoChangeOfManyThreads) {
  constexpr int kThreads = 8;
  constexpr int kChanges = 10;
  const auto name = [](int thread, int change) {
    return std::to_string(thread) + "." + std::to_string(change);
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([=] {
      for (int change = 0; change < kChanges; ++change) {
        const RemoteServiceInfo record = Record("x", change);
        rmt_set_remote_server(name(thread, change).c_str(), &record);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  RemoteServiceInfo read{};
  for (int i = 0; i < kThreads * kChanges; ++i)
    EXPECT_TRUE(
        rmt_get_remote_server(name(i / kChanges, i % kChanges).c_str(), &read))
        << log_.Text();
}

}  // namespace
}  // namespace kiv
