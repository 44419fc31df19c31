#include "kiv/ice_helper.h"

#include <Ice/Ice.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "port/environment.h"
#include "port/test_folder.h"
#include "remote/service_interface.h"
#include "testing/test_log.h"

namespace kiv {
namespace {

TEST(IceHelperText, IsBuiltFromServerEndpointAndIdentity) {
  const struct {
    const char* server;
    const char* endpoint;
    const char* identity;
    int port;
    const char* expected;  // "untouched": refused
  } rows[] = {{"Host1:10001", "tcp", "Svc", 0, "Svc:tcp -h host1 -p 10001"},
              {"127.0.0.1:9000", "tcp", "Svc", 0, "Svc:tcp -p 9000"},
              {".", "tcp", "Svc", 1, "Svc:tcp -p 1"},
              {"LOCALHOST:5", "tcp", "Svc", 1, "Svc:tcp -p 5"},
              {nullptr, "tcp", "Svc", 7, "Svc:tcp -p 7"},
              {":8", "tcp", "Svc", 7, "Svc:tcp -p 8"},
              {" H : 12 ", " ssl ", " Svc\t", 7, "Svc:ssl -h h -p 12"},

              {"h:1:2", "tcp", "Svc", 7, "Svc:tcp -h h -p 1:2"},
              // 丄: its second byte may look like a letter, and is none.
              {"\x81\x41:1", "tcp", "Svc", 0, "Svc:tcp -h \x81\x41 -p 1"},
              {"h", "tcp", "Svc", 0, "untouched"},
              {"h:", "tcp", "Svc", -1, "untouched"},
              {"h:1", " ", "Svc", 1, "untouched"},
              {"h:1", "tcp", nullptr, 1, "untouched"}};
  for (const auto& [server, endpoint, identity, port, expected] : rows) {
    std::string proxy = "untouched";
    EXPECT_EQ(IceHelper::ServerProxyToIceProxy(server, endpoint, identity, port,
                                               proxy),
              std::string("untouched") != expected);
    EXPECT_EQ(proxy, expected);
  }
}

class IceHelperTest : public ::testing::Test {
 protected:
  const TestFolder folder_;
  const kiv::testing::TestLog log_;
};

// One that somebody else did write: its type and an empty name.
TEST_F(IceHelperTest, KnowsAFlatTreeAndRefusesToReadIt) {
  Ice::Communicator* const communicator = IceHelper::CreateCommunicator();
  EXPECT_TRUE(
      communicator->getValueFactoryManager()->find("::kiv::server::FlatTree"));
  constexpr char kTree[] =
      "\x2F\0\0\0\1\0\xFF\xFF\xFF\xFF\1\1\0\0\0\0\x17::kiv::server::FlatTree"
      "\6\0\0\0\0\0";
  const Ice::ByteSeq bytes(std::begin(kTree), std::end(kTree));
  Ice::InputStream in(communicator, Ice::Encoding_1_0, bytes);
  in.startEncapsulation();
  server::FlatTreePtr tree;
  in.read(tree);
  try {
    in.readPendingValues();
    ADD_FAILURE() << "it was read";
  } catch (const Ice::MarshalException& refusal) {
    EXPECT_EQ(
        refusal.reason,
        "type kiv::server::FlatTree was not generated with stream support");
  }
  IceHelper::DeleteCommunicator(communicator);
}

TEST_F(IceHelperTest, TakesPropertiesFromTheFileThatIceConfigNames) {
  WriteTestFile("ice.cfg", "Some.Property=value\n");
  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", "ice.cfg"));
  Ice::Communicator* const communicator = IceHelper::CreateCommunicator();
  ASSERT_NE(communicator, nullptr);
  const Ice::PropertiesPtr properties = communicator->getProperties();
  EXPECT_EQ(properties->getProperty("Some.Property"), "value");
  EXPECT_EQ(properties->getProperty("Ice.ProgramName"), "Brimvale");
  communicator->getLogger()->error("said by Ice");
  IceHelper::DeleteCommunicator(communicator);
  EXPECT_TRUE(log_.Has("] rmt: Ice: said by Ice")) << log_.Text();

  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", "missing.cfg"));
  EXPECT_EQ(IceHelper::CreateCommunicator(), nullptr);
  EXPECT_TRUE(log_.Has("IceHelper::CreateCommunicator Failed: missing.cfg: "))
      << log_.Text();
  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", ""));
}

// Threads and descriptors of the process.
std::vector<std::ptrdiff_t> Footprint() {
  using Entries = std::filesystem::directory_iterator;
  return {std::distance(Entries("/proc/self/task"), Entries()),
          std::distance(Entries("/proc/self/fd"), Entries())};
}

TEST_F(IceHelperTest, CreatesAndDestroysHundredsWithoutGrowth) {
  auto before = Footprint();
  for (int i = 0; i < 300; ++i) {
    IceHelper::DeleteCommunicator(IceHelper::CreateCommunicator());
    if (i == 10) before = Footprint();
  }
  EXPECT_EQ(Footprint(), before);
}

}  // namespace
}  // namespace kiv
