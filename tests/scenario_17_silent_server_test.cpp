// Database servers that take a connection and say nothing.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "port/test_folder.h"
#include "testing/listener.h"
#include "testing/postgres_server.h"
#include "testing/test_log.h"

namespace kiv::testing {
namespace {

struct SilentServer {
  const char* name;
  bool needs_postgres;
  // Up to and behind the port.
  const char* before;
  const char* behind;
  const char* reason;
};

class Scenario17SilentServer : public ::testing::TestWithParam<SilentServer> {};

TEST_P(Scenario17SilentServer, IsGivenUpInTime) {
  const SilentServer& server = GetParam();
  if (server.needs_postgres && !PostgresServer::IsInstalled())
    GTEST_SKIP() << PostgresServer::kWhyNot;
  GlobalInit();
  {
    const TestFolder folder;
    const TestLog log(folder.path());
    const Listener listener;
    const auto store = store::Factory().CreateConnection(
        server.before + std::to_string(listener.Port()) + server.behind +
        ";Connect Timeout=2");
    ASSERT_NE(store, nullptr) << log.Text();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(store->Open("", ""));
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(8));
    EXPECT_TRUE(log.Has("AdoConnection::Open Failed: ")) << log.Text();
    EXPECT_TRUE(log.Has(server.reason)) << log.Text();
    EXPECT_FALSE(log.Has("Geheim"));
  }
  GlobalUninit();
}

INSTANTIATE_TEST_SUITE_P(
    Servers, Scenario17SilentServer,
    ::testing::Values(
        SilentServer{"SqlServer", false,
                     "ado::Provider=SQLOLEDB;Data Source=127.0.0.1,",
                     ";Initial Catalog=d;User ID=u;Password=Geheim", "HYT00"},
        SilentServer{"Postgres", true,
                     "ado:ado:Driver=PostgreSQL Unicode;Server=127.0.0.1;Port=",
                     ";Database=d;UID=u;PWD=Geheim", "08001"}),
    [](const auto& given) { return std::string(given.param.name); });

}  // namespace
}  // namespace kiv::testing
