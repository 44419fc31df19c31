#include "kiv/mq/config.h"

#include <gtest/gtest.h>

#include <string>

#include "kiv/dom.h"
#include "kiv/mq/com_queue.h"
#include "kiv/mq/com_queue_reader.h"
#include "kiv/mq/factory.h"
#include "kiv/mq/serial_queue_reader.h"
#include "testing/service_folder.h"
#include "util/runtime.h"

namespace kiv::mq {
namespace {

using testing::ServiceFolder;
using testing::TestConfig;

constexpr char kGood[] =
    "<q type='com' name='COM1' processor='dll://p:F' reader='x'/>";

class QueueFile : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  std::string PathInMessages() const {
    return "'" + (service_.path() / "conf/queue.xml").string() + "'";
  }

  const ServiceFolder service_;
};

TEST_F(QueueFile, MayBeMissingOrAFolder) {
  TestConfig config;
  EXPECT_EQ(config.GetConfigPath().string(),
            (service_.path() / "conf/queue.xml").string());
  EXPECT_TRUE(config.IsLoaded());
  EXPECT_TRUE(config.StartListen());
  EXPECT_TRUE(
      service_.log.Has("[\xD0\xC5\xCF\xA2] mq: Config::Load Info: "
                       "the config file " +
                       PathInMessages() + " can not found"));
  std::filesystem::create_directory("../conf/queue.xml");
  EXPECT_TRUE(config.Load());
  EXPECT_EQ(service_.log.Count("can not found"), 2);
}

TEST_F(QueueFile, MayHoldNoQueues) {
  service_.WriteQueueFile("<service/>");
  EXPECT_TRUE(TestConfig().IsLoaded());
  EXPECT_TRUE(service_.log.Has("Config::Load Info: parser config file " +
                               PathInMessages() +
                               " failed, can not found queues element"));
  service_.WriteQueues(" <!-- none --> ");
  EXPECT_TRUE(TestConfig().IsLoaded());
  EXPECT_TRUE(service_.log.Has("Config::Load Info: parser config file " +
                               PathInMessages() +
                               " , can not found queue sub element"));
}

struct BadQueue {
  const char* name;
  const char* element;
  // Behind the configuration file's path stands " 1 queue failed".
  const char* message;
};

class BadQueueElement : public QueueFile,
                        public ::testing::WithParamInterface<BadQueue> {};

TEST_P(BadQueueElement, IsNamedByItsIndexAndStopsNoOther) {
  service_.WriteQueues(std::string(kGood) + GetParam().element + kGood);
  const TestConfig config;
  EXPECT_TRUE(config.IsLoaded());
  EXPECT_EQ(config.Queues().size(), 2u);
  EXPECT_TRUE(service_.log.Has(
      "[\xD0\xC5\xCF\xA2] mq: " + std::string(GetParam().message) + " " +
      PathInMessages() + " 1 queue failed"))
      << service_.log.Text();
}

constexpr char kCreateFailed[] = "Config::Load Info: Config::CreateConfig";
constexpr char kReaderFailed[] = "Config::Load Info: LoadReader";
constexpr char kInitFailed[] = "Config::Load Failed: parser config file";

#define PROCESSOR "processor='dll://p:F'"
INSTANTIATE_TEST_SUITE_P(
    Element, BadQueueElement,
    ::testing::Values(
        BadQueue{"TypeInUpperCase", "<q type='COM' name='COM1' " PROCESSOR "/>",
                 kCreateFailed},
        BadQueue{"NoType", "<q name='COM1' " PROCESSOR "/>", kCreateFailed},
        BadQueue{"NoReader", "<q type='msmq' name='a' " PROCESSOR "/>",
                 kReaderFailed},
        BadQueue{"OtherReader",
                 "<q type='msmq' name='a' reader='Serial' " PROCESSOR "/>",
                 kReaderFailed},
        BadQueue{"NoName", "<q type='com' " PROCESSOR "/>", kInitFailed},
        BadQueue{"EmptyName", "<q type='com' name='' " PROCESSOR "/>",
                 kInitFailed},
        BadQueue{"NoProcessor", "<q type='com' name='COM1'/>", kInitFailed},
        BadQueue{"TextForDurations",
                 "<q type='com' name='COM1' " PROCESSOR
                 "><duration>8:00-9:00</duration></q>",
                 kInitFailed}),
    [](const auto& test) { return test.param.name; });

TEST_F(QueueFile, SaysWhatIsWrongWithAQueueBesideItsIndex) {
  service_.WriteQueues("<q type='MSMQ'/><q type='com' name='COM1'/>");
  const TestConfig config;
  EXPECT_TRUE(service_.log.Has(
      "[\xB4\xED\xCE\xF3] mq: Factory::CreateConfig Failed: Invalid queue "
      "type 'MSMQ'"));
  EXPECT_TRUE(service_.log.Has(
      "[\xB4\xED\xCE\xF3] mq: QueueConfig::Init Error: parser config file "
      "queue failed, invalid properties"));
}

TEST_F(QueueFile, GivesEveryQueueItsReader) {
  service_.WriteQueues(
      "<a type='com' name='COM1' processor='p' reader='realtime'/>"
      "<b type='msmq' name='b' processor='p' reader='serial' interval='5'/>"
      "<c type='msmq' name='c' processor='p' reader='serial'/>"
      "<d type='msmq' name='d' processor='p' reader='realtime'/>");
  const TestConfig config;
  ASSERT_EQ(config.Queues().size(), 4u);
  const auto reader = [&config](int i) {
    return config.Queues()[i]->GetQueueReader();
  };
  EXPECT_NE(std::dynamic_pointer_cast<ComQueueReader>(reader(0)), nullptr);
  const auto polled = std::dynamic_pointer_cast<SerialQueueReader>(reader(1));
  ASSERT_NE(polled, nullptr);
  EXPECT_EQ(polled->Interval(), 5);
  EXPECT_EQ(polled->GetConfig(), config.Queues()[1].get());
  EXPECT_EQ(std::dynamic_pointer_cast<SerialQueueReader>(reader(2))->Interval(),
            60);
  EXPECT_NE(std::dynamic_pointer_cast<RealTimeQueueReader>(reader(3)), nullptr);
}

TEST_F(QueueFile, GivesASerialPortItsSettings) {
  service_.WriteQueues(
      "<a type='com' name='1' processor='p'/>"
      "<b type='com' name='2' processor='p' BaudRate='9600' DataLength='7' "
      "Parity='even' StopBits='2' EvChar=';' WaitMilliseconds='250' "
      "PackageSize='16'/>"
      "<c type='com' name='3' processor='p' BaudRate='-1' Parity='x' "
      "EvChar='cr'/>"
      "<d type='com' name='4' processor='p' Parity='O' EvChar='&#10;'/>"
      "<e type='com' name='5' processor='p' Parity='space' EvChar='CR'/>"
      "<f type='com' name='6' processor='p' Parity='m' EvChar='Cr'/>");
  const TestConfig config;
  ASSERT_EQ(config.Queues().size(), 6u);
  using Settings = std::vector<int>;
  const Settings expected[] = {
      {19200, 8, 'N', 1, '\r', 5000, 0}, {9600, 7, 'E', 2, ';', 250, 16},
      {19200, 8, 'N', 1, '\r', 5000, 0}, {19200, 8, 'O', 1, '\n', 5000, 0},
      {19200, 8, 'S', 1, '\r', 5000, 0}, {19200, 8, 'M', 1, 'C', 5000, 0}};
  for (std::size_t i = 0; i < 6; ++i) {
    const auto com =
        std::dynamic_pointer_cast<ComQueueConfig>(config.Queues()[i]);
    EXPECT_EQ((Settings{com->BaudRate(), com->DataLength(), com->Parity(),
                        com->StopBits(), com->EvChar(), com->WaitMilliseconds(),
                        com->PackageSize()}),
              expected[i])
        << i;
  }
}

struct RangeCase {
  const char* name;
  const char* durations;
  const char* times;  // "from-to" in seconds of the day, a blank behind each
};

class DailyTimes : public QueueFile,
                   public ::testing::WithParamInterface<RangeCase> {};

TEST_P(DailyTimes, AreReadAsFarAsTheyParse) {
  service_.WriteQueues("<q type='com' name='1' processor='p'>" +
                       std::string(GetParam().durations) + "</q>");
  const TestConfig config;
  ASSERT_EQ(config.Queues().size(), 1u);
  std::string times;
  for (const DateTimeDuration& time : config.Queues()[0]->GetDuration())
    times += std::to_string(time.GetStart().Ticks() / 10'000'000) + "-" +
             std::to_string(time.GetStop().Ticks() / 10'000'000) + " ";
  EXPECT_EQ(times, GetParam().times);
}

#define DURATION(ranges) "<duration>" ranges "</duration>"
#define RANGE(from, to) "<x from='" from "' to='" to "'/>"
INSTANTIATE_TEST_SUITE_P(
    Duration, DailyTimes,
    ::testing::Values(
        RangeCase{"None", "", ""}, RangeCase{"Empty", "<duration/>", ""},
        RangeCase{"Blank", DURATION(" \n "), ""},
        RangeCase{"Two",
                  DURATION(RANGE("00:00:10", "00:01:00")
                               RANGE("01:00:00", "02:00:00")),
                  "10-60 3600-7200 "},
        RangeCase{"OnlyTheFirstElement",
                  "<duration/>" DURATION(RANGE("00:00:10", "00:01:00")), ""},
        RangeCase{"Swapped", DURATION(RANGE("00:01:00", "00:00:10")), "10-60 "},
        RangeCase{
            "BadOnesAreSkipped",
            "<duration><x from='24:00:00' to='00:00:10'/><x from='0:0:1'/>"
            "<x to='0:0:1'/><x from='' to='0:0:1'/><x from='now' to='0:0:9'/>"
            "<x from='0:0:1' to='0:0:9'/></duration>",
            "1-9 "},
        // Seven characters of "01:00:30" say 01:00:3.
        RangeCase{"ToIsCutToTheLengthOfFrom",
                  DURATION(RANGE("0:00:10", "01:00:30")), "10-3603 "},
        RangeCase{"ToMayBeShorter", DURATION(RANGE("00:00:10", "0:1:0")),
                  "10-60 "},
        RangeCase{"WithoutSeconds", DURATION(RANGE("8:00", "18:00")), ""}),
    [](const auto& test) { return test.param.name; });

TEST(QueueObjects, AreMadeForTheTwoKindsAndForElements) {
  for (const char* const kind : {"msmq", "com"})
    EXPECT_NE(Factory::CreateQueueInfoObject(kind), nullptr) << kind;
  for (const char* const kind : {"COM", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(Factory::CreateQueueInfoObject(kind), nullptr);
  DomElement none;
  EXPECT_EQ(Factory::CreateConfig(none), nullptr);
  EXPECT_EQ(Factory::LoadReader(none, nullptr), nullptr);
}

TEST(PortName, GivesTheIndexOfItsNumber) {
  const std::pair<const char*, int> names[] = {{nullptr, -1},
                                               {"", -1},
                                               {"gate", -1},
                                               {"COM3", 2},
                                               {"3", 2},
                                               {"COM12", 11},
                                               {"line 2 of 4", 1},
                                               {"COM0", -1},
                                               {"COM2147483648", -1},
                                               {"COM99999999999999999999", -1}};
  for (const auto& [name, index] : names)
    EXPECT_EQ(ComQueueInfo::PortIndex(name), index) << (name ? name : "null");
  ComQueueInfo info;
  EXPECT_NE(info.Open("/dev/ttyUSB0", 1, 0), nullptr);
  EXPECT_NE(info.Open("COM40", 1, 0), nullptr);
  EXPECT_EQ(info.Open("gate", 1, 0), nullptr);
  EXPECT_EQ(info.Open(nullptr, 1, 0), nullptr);
  EXPECT_FALSE(info.Create("gate", nullptr, false));
}

}  // namespace
}  // namespace kiv::mq
