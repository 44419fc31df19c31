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

TEST_F(QueueFile, LiesInConfBesideTheCurrentDirectory) {
  const TestConfig config(false);
  EXPECT_EQ(config.GetConfigPath().string(),
            (service_.path() / "conf/queue.xml").string());
}

TEST_F(QueueFile, MayBeMissingOrAFolder) {
  TestConfig config;
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

INSTANTIATE_TEST_SUITE_P(
    Element, BadQueueElement,
    ::testing::Values(
        BadQueue{"TypeInUpperCase",
                 "<q type='COM' name='COM1' "
                 "processor='dll://p:F'/>",
                 kCreateFailed},
        BadQueue{"NoType", "<q name='COM1' processor='dll://p:F'/>",
                 kCreateFailed},
        BadQueue{"NoReader",
                 "<q type='msmq' name='a' "
                 "processor='dll://p:F'/>",
                 kReaderFailed},
        BadQueue{"OtherReader",
                 "<q type='msmq' name='a' reader='Serial' "
                 "processor='dll://p:F'/>",
                 kReaderFailed},
        BadQueue{"NoName", "<q type='com' processor='dll://p:F'/>",
                 kInitFailed},
        BadQueue{"EmptyName",
                 "<q type='com' name='' "
                 "processor='dll://p:F'/>",
                 kInitFailed},
        BadQueue{"NoProcessor", "<q type='com' name='COM1'/>", kInitFailed},
        BadQueue{"TextForDurations",
                 "<q type='com' name='COM1' "
                 "processor='dll://p:F'><duration>8:00-9:00</duration></q>",
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
  const auto com = [&config](int i) {
    return std::dynamic_pointer_cast<ComQueueConfig>(config.Queues()[i]);
  };
  EXPECT_EQ(com(0)->BaudRate(), 19200);
  EXPECT_EQ(com(0)->DataLength(), 8);
  EXPECT_EQ(com(0)->Parity(), 'N');
  EXPECT_EQ(com(0)->StopBits(), 1);
  EXPECT_EQ(com(0)->EvChar(), '\r');
  EXPECT_EQ(com(0)->WaitMilliseconds(), 5000);
  EXPECT_EQ(com(0)->PackageSize(), 0);
  EXPECT_EQ(com(1)->BaudRate(), 9600);
  EXPECT_EQ(com(1)->DataLength(), 7);
  EXPECT_EQ(com(1)->Parity(), 'E');
  EXPECT_EQ(com(1)->StopBits(), 2);
  EXPECT_EQ(com(1)->EvChar(), ';');
  EXPECT_EQ(com(1)->WaitMilliseconds(), 250);
  EXPECT_EQ(com(1)->PackageSize(), 16);
  EXPECT_EQ(com(2)->BaudRate(), 19200);
  EXPECT_EQ(com(2)->Parity(), 'N');
  EXPECT_EQ(com(2)->EvChar(), '\r');
  EXPECT_EQ(com(3)->Parity(), 'O');
  EXPECT_EQ(com(3)->EvChar(), '\n');
  EXPECT_EQ(com(4)->Parity(), 'S');
  EXPECT_EQ(com(4)->EvChar(), '\r');
  EXPECT_EQ(com(5)->Parity(), 'M');
  EXPECT_EQ(com(5)->EvChar(), 'C');
}

struct RangeCase {
  const char* name;
  const char* durations;
  std::vector<std::string> times;  // "from-to" in seconds of the day
};

class DailyTimes : public QueueFile,
                   public ::testing::WithParamInterface<RangeCase> {};

TEST_P(DailyTimes, AreReadAsFarAsTheyParse) {
  service_.WriteQueues("<q type='com' name='1' processor='p'>" +
                       std::string(GetParam().durations) + "</q>");
  const TestConfig config;
  ASSERT_EQ(config.Queues().size(), 1u);
  std::vector<std::string> times;
  for (const DateTimeDuration& time : config.Queues()[0]->GetDuration())
    times.push_back(std::to_string(time.GetStart().Ticks() / 10'000'000) + "-" +
                    std::to_string(time.GetStop().Ticks() / 10'000'000));
  EXPECT_EQ(times, GetParam().times);
}

INSTANTIATE_TEST_SUITE_P(
    Duration, DailyTimes,
    ::testing::Values(
        RangeCase{"None", "", {}}, RangeCase{"Empty", "<duration/>", {}},
        RangeCase{"Blank", "<duration> \n </duration>", {}},
        RangeCase{"Two",
                  "<duration><x from='00:00:10' to='00:01:00'/><y "
                  "from='01:00:00' to='02:00:00'/></duration>",
                  {"10-60", "3600-7200"}},
        RangeCase{"OnlyTheFirstElement",
                  "<duration/><duration><x from='00:00:10' "
                  "to='00:01:00'/></duration>",
                  {}},
        RangeCase{"Swapped",
                  "<duration><x from='00:01:00' to='00:00:10'/></duration>",
                  {"10-60"}},
        RangeCase{
            "BadOnesAreSkipped",
            "<duration><x from='24:00:00' to='00:00:10'/><x from='0:0:1'/>"
            "<x to='0:0:1'/><x from='' to='0:0:1'/><x from='now' "
            "to='0:0:9'/><x from='0:0:1' to='0:0:9'/></duration>",
            {"1-9"}},
        // Seven characters of "01:00:30" say 01:00:3.
        RangeCase{"ToIsCutToTheLengthOfFrom",
                  "<duration><x from='0:00:10' to='01:00:30'/></duration>",
                  {"10-3603"}},
        RangeCase{"ToMayBeShorter",
                  "<duration><x from='00:00:10' to='0:1:0'/></duration>",
                  {"10-60"}},
        RangeCase{"WithoutSeconds",
                  "<duration><x from='8:00' to='18:00'/></duration>",
                  {}}),
    [](const auto& test) { return test.param.name; });

TEST(QueueInfoObject, ExistsForTheTwoKinds) {
  EXPECT_NE(Factory::CreateQueueInfoObject("msmq"), nullptr);
  EXPECT_NE(Factory::CreateQueueInfoObject("com"), nullptr);
  EXPECT_EQ(Factory::CreateQueueInfoObject("COM"), nullptr);
  EXPECT_EQ(Factory::CreateQueueInfoObject(""), nullptr);
  EXPECT_EQ(Factory::CreateQueueInfoObject(nullptr), nullptr);
}

TEST(QueueObjects, RefuseAnElementThatIsNone) {
  DomElement none;
  EXPECT_EQ(Factory::CreateConfig(none), nullptr);
  EXPECT_EQ(Factory::LoadReader(none, nullptr), nullptr);
}

TEST(PortName, GivesTheIndexOfItsNumber) {
  EXPECT_EQ(ComQueueInfo::PortIndex(nullptr), -1);
  EXPECT_EQ(ComQueueInfo::PortIndex(""), -1);
  EXPECT_EQ(ComQueueInfo::PortIndex("gate"), -1);
  EXPECT_EQ(ComQueueInfo::PortIndex("COM3"), 2);
  EXPECT_EQ(ComQueueInfo::PortIndex("3"), 2);
  EXPECT_EQ(ComQueueInfo::PortIndex("COM12"), 11);
  EXPECT_EQ(ComQueueInfo::PortIndex("line 2 of 4"), 1);
  EXPECT_EQ(ComQueueInfo::PortIndex("COM0"), -1);
  EXPECT_EQ(ComQueueInfo::PortIndex("COM2147483648"), -1);
  EXPECT_EQ(ComQueueInfo::PortIndex("COM99999999999999999999"), -1);
  ComQueueInfo info;
  EXPECT_NE(info.Open("/dev/ttyUSB0", 1, 0), nullptr);
  EXPECT_NE(info.Open("COM40", 1, 0), nullptr);
  EXPECT_EQ(info.Open("gate", 1, 0), nullptr);
  EXPECT_EQ(info.Open(nullptr, 1, 0), nullptr);
  EXPECT_FALSE(info.Create("gate", nullptr, false));
}

}  // namespace
}  // namespace kiv::mq
