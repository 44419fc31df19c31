// ../conf/client.xml through rmt_get_remote_server and rmt_set_remote_server.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

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

struct Width {
  const char* name;
  const char* attribute;
  std::size_t room;
};

class ClientFileWidth : public ClientFile,
                        public ::testing::WithParamInterface<Width> {};

TEST_P(ClientFileWidth, IsRefusedOnceExceededAndTheRecordStays) {
  const auto write = [](std::size_t size) {
    std::string element = "<service name='a'";
    for (const char* attribute : {"ip", "svc", "project_key", "access_code"})
      if (std::strcmp(attribute, GetParam().attribute) != 0)
        element += std::string(" ") + attribute + "='x'";
    Write(element + " " + GetParam().attribute + "='" + std::string(size, 'y') +
          "'/>");
  };
  RemoteServiceInfo record;
  std::memset(&record, 0x5A, sizeof record);
  const RemoteServiceInfo before = record;
  write(GetParam().room);
  EXPECT_FALSE(rmt_get_remote_server("a", &record));
  EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
  EXPECT_EQ(log_.Count(std::string("'a' has an attribute '") +
                       GetParam().attribute + "' that is too long"),
            1)
      << log_.Text();
  write(GetParam().room - 1);
  EXPECT_TRUE(rmt_get_remote_server("a", &record));
}

INSTANTIATE_TEST_SUITE_P(Text, ClientFileWidth,
                         ::testing::Values(Width{"Ip", "ip", 128},
                                           Width{"Svc", "svc", 128},
                                           Width{"Key", "project_key", 256},
                                           Width{"Code", "access_code", 64}),
                         [](const auto& tested) { return tested.param.name; });

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

TEST_F(ClientFile, IsNotChangedByARecordThatCannotBeWritten) {
  Write("<service name='a' ip='i' svc='s'/>");
  const std::string before = Text();
  RemoteServiceInfo record = Record("x", 1);
  std::memset(record.svc, 'x', sizeof record.svc);
  EXPECT_FALSE(rmt_set_remote_server("a", &record)) << "without an end";
  record = Record("\x01", 1);
  EXPECT_FALSE(rmt_set_remote_server("a", &record)) << "a control byte";
  EXPECT_EQ(rmt_last_error_code(), RMT_NOT_WRITTEN);
  record = Record("x", 1);
  EXPECT_FALSE(rmt_set_remote_server("", &record));
  EXPECT_FALSE(rmt_set_remote_server("a", nullptr));
  EXPECT_EQ(Text(), before);
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
}

TEST_F(ClientFile, LosesNoChangeOfManyThreads) {
  constexpr int kThreads = 8;
  constexpr int kChanges = 10;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int change = 0; change < kChanges; ++change) {
        const RemoteServiceInfo record = Record("x", change);
        rmt_set_remote_server(
            (std::to_string(thread) + "." + std::to_string(change)).c_str(),
            &record);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int change = 0; change < kChanges; ++change) {
      RemoteServiceInfo read{};
      EXPECT_TRUE(rmt_get_remote_server(
          (std::to_string(thread) + "." + std::to_string(change)).c_str(),
          &read))
          << log_.Text();
    }
  }
}

}  // namespace
}  // namespace kiv
