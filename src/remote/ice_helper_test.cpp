#include "kiv/ice_helper.h"

#include <Ice/Ice.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "port/environment.h"
#include "port/test_folder.h"
#include "remote/service_interface.h"
#include "testing/test_log.h"

namespace kiv {
namespace {

struct ProxyText {
  const char* name;
  const char* server;
  const char* endpoint;
  const char* identity;
  int port;
  const char* expected;  // null: refused
};

class IceHelperText : public ::testing::TestWithParam<ProxyText> {};

TEST_P(IceHelperText, IsBuiltFromServerEndpointAndIdentity) {
  const ProxyText& given = GetParam();
  std::string proxy = "untouched";
  EXPECT_EQ(IceHelper::ServerProxyToIceProxy(given.server, given.endpoint,
                                             given.identity, given.port, proxy),
            given.expected != nullptr);
  EXPECT_EQ(proxy, given.expected != nullptr ? given.expected : "untouched");
}

INSTANTIATE_TEST_SUITE_P(
    Server, IceHelperText,
    ::testing::Values(
        ProxyText{"HostAndPort", "Host1:10001", "tcp", "Svc", 0,
                  "Svc:tcp -h host1 -p 10001"},
        ProxyText{"LocalHost", "localhost", "tcp", "Svc", 10000,
                  "Svc:tcp -p 10000"},
        ProxyText{"LoopbackAddress", "127.0.0.1:9000", "tcp", "Svc", 0,
                  "Svc:tcp -p 9000"},
        ProxyText{"Dot", ".", "tcp", "Svc", 1, "Svc:tcp -p 1"},
        ProxyText{"UpperLocalHost", "LOCALHOST:5", "tcp", "Svc", 1,
                  "Svc:tcp -p 5"},
        ProxyText{"NoHost", nullptr, "tcp", "Svc", 7, "Svc:tcp -p 7"},
        ProxyText{"PortAlone", ":8", "tcp", "Svc", 7, "Svc:tcp -p 8"},
        ProxyText{"Blanks", " H : 12 ", " ssl ", " Svc\t", 7,
                  "Svc:ssl -h h -p 12"},
        ProxyText{"ColonAtTheEnd", "h: ", "tcp", "Svc", 7, "Svc:tcp -h h -p 7"},
        ProxyText{"TwoColons", "h:1:2", "tcp", "Svc", 7, "Svc:tcp -h h -p 1:2"},
        // 服务: a second byte may look like a letter, and is none.
        ProxyText{"ChineseHost", "\xB7\xFE\xCE\xF1\x81\x41:1", "tcp", "Svc", 0,
                  "Svc:tcp -h \xB7\xFE\xCE\xF1\x81\x41 -p 1"},
        ProxyText{"NoPort", "h", "tcp", "Svc", 0, nullptr},
        ProxyText{"NegativePort", "h", "tcp", "Svc", -1, nullptr},
        ProxyText{"ColonWithoutPort", "h:", "tcp", "Svc", 0, nullptr},
        ProxyText{"NoEndpoint", "h:1", " ", "Svc", 1, nullptr},
        ProxyText{"NullIdentity", "h:1", "tcp", nullptr, 1, nullptr}),
    [](const auto& tested) { return tested.param.name; });

class IceHelperTest : public ::testing::Test {
 protected:
  const TestFolder folder_;
  const kiv::testing::TestLog log_;
};

TEST_F(IceHelperTest, KnowsFlatTreeAndRefusesToStreamIt) {
  constexpr char kReason[] =
      "type kiv::server::FlatTree was not generated with stream support";
  Ice::Communicator* const communicator = IceHelper::CreateCommunicator();
  ASSERT_NE(communicator, nullptr);
  EXPECT_EQ(server::FlatTree::ice_staticId(), "::kiv::server::FlatTree");
  EXPECT_EQ(server::ServiceBase::ice_staticId(), "::kiv::server::ServiceBase");
  const Ice::ValueFactoryPtr factory =
      communicator->getValueFactoryManager()->find("::kiv::server::FlatTree");
  ASSERT_TRUE(factory);
  const auto tree = server::FlatTreePtr::dynamicCast(
      factory->create("::kiv::server::FlatTree"));
  ASSERT_TRUE(tree);

  const auto reason_of = [](const auto& call) -> std::string {
    try {
      call();
    } catch (const Ice::MarshalException& exception) {
      return exception.reason;
    }
    return "none";
  };
  for (const Ice::EncodingVersion& encoding :
       {Ice::Encoding_1_0, Ice::Encoding_1_1})
    EXPECT_EQ(reason_of([&] {
                Ice::OutputStream out(communicator, encoding);
                out.startEncapsulation();
                out.write(tree);
                out.writePendingValues();
              }),
              kReason);

  // A tree that somebody else did write: its type and an empty name.
  Ice::OutputStream foreign(communicator, Ice::Encoding_1_0);
  foreign.startEncapsulation();
  foreign.write(-1);
  foreign.writeSize(1);
  foreign.write(1);
  foreign.write(false);
  foreign.write(std::string("::kiv::server::FlatTree"));
  foreign.write(4 + 2);
  foreign.write(std::string());
  foreign.writeSize(0);
  foreign.writeSize(0);
  foreign.endEncapsulation();
  Ice::ByteSeq bytes;
  foreign.finished(bytes);
  EXPECT_EQ(reason_of([&] {
              Ice::InputStream in(communicator, Ice::Encoding_1_0, bytes);
              in.startEncapsulation();
              server::FlatTreePtr read;
              in.read(read);
              in.readPendingValues();
            }),
            kReason);
  IceHelper::DeleteCommunicator(communicator);
}

TEST_F(IceHelperTest, TakesPropertiesFromTheFileThatIceConfigNames) {
  WriteTestFile("ice.cfg", "Some.Property=value\n");
  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", "ice.cfg"));
  Ice::Communicator* const communicator = IceHelper::CreateCommunicator();
  ASSERT_NE(communicator, nullptr);
  EXPECT_EQ(communicator->getProperties()->getProperty("Some.Property"),
            "value");
  EXPECT_EQ(communicator->getProperties()->getProperty("Ice.ProgramName"),
            "Brimvale");
  communicator->getLogger()->error("said by Ice");
  IceHelper::DeleteCommunicator(communicator);
  EXPECT_TRUE(log_.Has("] rmt: Ice: said by Ice")) << log_.Text();

  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", "missing.cfg"));
  EXPECT_EQ(IceHelper::CreateCommunicator(), nullptr);
  EXPECT_TRUE(log_.Has("IceHelper::CreateCommunicator Failed: missing.cfg: "))
      << log_.Text();
  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", ""));
  IceHelper::DeleteCommunicator(nullptr);
}

// Threads, descriptors and memory of the process.
struct Footprint {
  std::size_t threads = 0;
  std::size_t descriptors = 0;
  std::size_t resident_kb = 0;

  static Footprint Now() {
    using Entries = std::filesystem::directory_iterator;
    Footprint now;
    now.threads = static_cast<std::size_t>(
        std::distance(Entries("/proc/self/task"), Entries()));
    now.descriptors = static_cast<std::size_t>(
        std::distance(Entries("/proc/self/fd"), Entries()));
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
      if (word == "VmRSS:") status >> now.resident_kb;
    return now;
  }
};

TEST_F(IceHelperTest, CreatesAndDestroysAThousandWithoutGrowth) {
  const auto create_and_destroy = [](int count) {
    for (int i = 0; i < count; ++i)
      IceHelper::DeleteCommunicator(IceHelper::CreateCommunicator());
  };
  create_and_destroy(100);
  const Footprint before = Footprint::Now();
  create_and_destroy(1'000);
  const Footprint after = Footprint::Now();
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.descriptors, before.descriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // Less than a kilobyte each.
  EXPECT_LT(after.resident_kb, before.resident_kb + 1'000);
#endif
}

}  // namespace
}  // namespace kiv
