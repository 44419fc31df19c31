#include "kiv/mq/config.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kiv/dom.h"
#include "kiv/mq/com_queue.h"
#include "kiv/mq/factory.h"
#include "kiv/mq/serial_queue_reader.h"
#include "kiv/strings.h"
#include "testing/service_folder.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using testing::TestConfig;

class QueueFile : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  // PATH in it stands for that of the file; the category is 信息.
  bool LoadSaid(std::string text) const {
    const std::string path = (service_.path() / "conf/queue.xml").string();
    string_replace(text, "PATH", ("'" + path + "'").c_str());
    return service_.log.Has("[\xD0\xC5\xCF\xA2] mq: Config::Load " + text +
                            "\r\n");
  }

  const testing::ServiceFolder service_;
};

constexpr char kError[] = "[\xB4\xED\xCE\xF3] mq: ";  // 错误

TEST_F(QueueFile, MayBeMissingOrHoldNoQueues) {
  TestConfig config;
  EXPECT_TRUE(config.IsLoaded() && config.StartListen());
  std::filesystem::create_directory("../conf/queue.xml");
  EXPECT_TRUE(config.Load());
  EXPECT_EQ(service_.log.Count("can not found"), 2);
  std::filesystem::remove("../conf/queue.xml");
  service_.WriteQueueFile("<service/>");
  EXPECT_TRUE(config.Load());
  service_.WriteQueues(" <!-- none --> ");
  EXPECT_TRUE(config.Load());
  service_.WriteQueueFile("<service>");
  EXPECT_FALSE(config.Load());
  for (const char* const text :
       {"Info: the config file PATH can not found",
        "Info: parser config file PATH failed, can not found queues element",
        "Info: parser config file PATH , can not found queue sub element"})
    EXPECT_TRUE(LoadSaid(text)) << text;
  EXPECT_TRUE(service_.log.Has(
      std::string(kError) + "Config::Load Failed: parser config file '" +
      (service_.path() / "conf/queue.xml").string() + "' failed\r\n"));
}

TEST_F(QueueFile, NamesABadQueueByItsIndexAndReadsTheOthers) {
  service_.WriteQueues(
      "<q type='com' name='1' reader='x' processor='p'/>"
      "<q type='COM' name='1' processor='p'/>"
      "<q type='msmq' name='a' processor='p'/>"
      "<q type='msmq' name='a' processor='p' reader='Serial'/>"
      "<q type='com' name='' processor='p'/><q type='com' name='1'/>"
      "<q type='com' name='1' processor='p'><duration>8:00</duration></q>"
      "<q type='com' name='2' processor='p'/>");
  const TestConfig config;
  EXPECT_EQ(config.Queues().size(), 2u);
  for (const char* const text :
       {"Info: Config::CreateConfig PATH 1", "Info: LoadReader PATH 2",
        "Info: LoadReader PATH 3", "Failed: parser config file PATH 4",
        "Failed: parser config file PATH 5",
        "Failed: parser config file PATH 6"})
    EXPECT_TRUE(LoadSaid(text + std::string(" queue failed"))) << text;
  for (const std::string text :
       {"Factory::CreateConfig Failed: Invalid queue type 'COM'\r\n",
        "QueueConfig::Init Error: parser config file queue failed, invalid "
        "properties\r\n",
        "QueueConfig::Init Error: parser config file queue failed, invalid "
        "durations\r\n"})
    EXPECT_TRUE(service_.log.Has(kError + text)) << text;
}

TEST_F(QueueFile, GivesASerialReaderItsInterval) {
  service_.WriteQueues(
      "<a type='msmq' name='a' processor='p' reader='serial' interval='5'/>"
      "<b type='msmq' name='b' processor='p' reader='serial'/>");
  const TestConfig config;
  for (const auto& [index, interval] : {std::pair(0, 5), {1, 60}}) {
    const auto reader = config.Queues().at(index)->GetQueueReader();
    EXPECT_EQ(dynamic_cast<SerialQueueReader&>(*reader).Interval(), interval);
  }
}

TEST_F(QueueFile, GivesASerialPortItsSettings) {
  using Settings = std::vector<int>;
  const std::pair<std::string, Settings> rows[] = {
      {"", {19200, 8, 'N', 1, '\r', 5000, 0}},
      {"BaudRate='9600' DataLength='7' Parity='even' StopBits='2' EvChar=';' "
       "WaitMilliseconds='250' PackageSize='16'",
       {9600, 7, 'E', 2, ';', 250, 16}},
      {"BaudRate='-1' Parity='x' EvChar='cr'",
       {19200, 8, 'N', 1, '\r', 5000, 0}},
      {"Parity='O' EvChar='&#10;'", {19200, 8, 'O', 1, '\n', 5000, 0}},
      {"Parity='space' EvChar='CR'", {19200, 8, 'S', 1, '\r', 5000, 0}},
      {"Parity='m' EvChar='Cr'", {19200, 8, 'M', 1, 'C', 5000, 0}}};
  for (const auto& [attributes, expected] : rows) {
    service_.WriteQueues("<q type='com' name='1' processor='p' " + attributes +
                         "/>");
    const TestConfig config;
    const auto& com = dynamic_cast<ComQueueConfig&>(*config.Queues().at(0));
    EXPECT_EQ((Settings{com.BaudRate(), com.DataLength(), com.Parity(),
                        com.StopBits(), com.EvChar(), com.WaitMilliseconds(),
                        com.PackageSize()}),
              expected)
        << attributes;
  }
}

#define RANGE(from, to) "<x from='" from "' to='" to "'/>"
TEST_F(QueueFile, GivesAQueueTheTimesThatParse) {
  // "from-to" in seconds of the day, a blank behind each.
  const std::pair<std::string, const char*> rows[] = {
      {" \n ", ""},
      {RANGE("00:00:10", "00:01:00") RANGE("01:00:00", "02:00:00"),
       "10-60 3600-7200 "},
      {"</duration><duration>" RANGE("0:0:1", "0:0:9"), ""},
      {RANGE("00:01:00", "00:00:10"), "10-60 "},
      // Bad ones are skipped.
      {RANGE("24:00:00", "00:00:10") "<x from='0:0:1'/><x to='0:0:1'/>" RANGE(
           "", "0:0:1") RANGE("8:00", "18:00") RANGE("0:0:1", "0:0:9"),
       "1-9 "},
      // Seven characters of "01:00:30" say 01:00:3.
      {RANGE("0:00:10", "01:00:30"), "10-3603 "},
      {RANGE("00:00:10", "0:1:0"), "10-60 "}};
  for (const auto& [text, expected] : rows) {
    service_.WriteQueues("<q type='com' name='1' processor='p'><duration>" +
                         text + "</duration></q>");
    const TestConfig config;
    std::string times;
    for (const DateTimeDuration& time : config.Queues().at(0)->GetDuration())
      times += std::to_string(time.GetStart().Ticks() / 10'000'000) + "-" +
               std::to_string(time.GetStop().Ticks() / 10'000'000) + " ";
    EXPECT_EQ(times, expected) << text;
  }
}

TEST(QueueObjects, AreNotMadeOfNothing) {
  for (const char* const kind : {"COM", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(Factory::CreateQueueInfoObject(kind), nullptr);
  DomElement none;
  EXPECT_EQ(Factory::CreateConfig(none), nullptr);
  EXPECT_EQ(Factory::LoadReader(none, nullptr), nullptr);
}

TEST(PortName, GivesTheIndexOfItsNumber) {
  EXPECT_EQ(ComQueueInfo::PortIndex("COM3"), 2);
  EXPECT_EQ(ComQueueInfo::PortIndex("line 12 of 4"), 11);
  EXPECT_EQ(ComQueueInfo::PortIndex("COM2147483647"), 2147483646);
  ComQueueInfo info;
  for (const char* const name : {static_cast<const char*>(nullptr), "", "gate",
                                 "COM0", "COM2147483648", "COM9999999999999"}) {
    EXPECT_EQ(ComQueueInfo::PortIndex(name), -1);
    EXPECT_EQ(info.Open(name, 1, 0), nullptr);
    EXPECT_FALSE(info.Create(name, nullptr, false));
  }
  for (const char* const name : {"/dev/ttyUSB0", "COM40"})
    EXPECT_NE(info.Open(name, 1, 0), nullptr);
}

}  // namespace
}  // namespace kiv::mq
