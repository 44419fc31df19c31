// Connections of remote clients: how long they last, and that the end of a
// client does not wait for a server that hangs.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "port/environment.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr int kLongTimeoutMs = 60'000;

class RemoteConnections : public RemoteTest {
 protected:
  // How long the end of the client takes.
  Clock::duration End() {
    const auto start = Clock::now();
    rmt_delete_communicator(communicator_);
    return Clock::now() - start;
  }
  RemoteProxy* Proxy(int timeout_ms) const {
    return rmt_get_proxy2(list_, servant_.Address().c_str(), nullptr, "Svc", 0,
                          0, timeout_ms);
  }

  const RemoteServant servant_;
  RemoteCommunicator* const communicator_ = rmt_create_communicator();
  RemoteProxyList* const list_ = rmt_create_proxy_list(communicator_);
};

TEST_F(RemoteConnections, OfAServerThatHangsDoNotHoldUpTheEnd) {
  ASSERT_TRUE(rmt_ping(Proxy(kLongTimeoutMs))) << rmt_last_error();
  servant_.Freeze();
  rmt_delete_proxy_list(list_);
  EXPECT_LT(End(), seconds(5));
}

TEST_F(RemoteConnections, WhoseLastCallWasGivenUpDoNotHoldUpTheEnd) {
  constexpr int kTimeoutMs = 5'000;
  RemoteProxy* const proxy = Proxy(kTimeoutMs);
  ASSERT_TRUE(rmt_ping(proxy)) << rmt_last_error();
  servant_.Freeze();
  EXPECT_FALSE(rmt_ping(proxy));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_ANSWER);
  rmt_delete_proxy_list(list_);
  EXPECT_LT(End(), seconds(3));
}

TEST_F(RemoteConnections, OfCallsUnderWayEndWithTheCommunicator) {
  RemoteProxy* const proxy = Proxy(kLongTimeoutMs);
  Command(proxy, "seconds 60");
  int code = RMT_DONE;
  std::thread caller([&] {
    EXPECT_EQ(rmt_max_message_size(proxy), 0);
    code = rmt_last_error_code();
  });
  const RemoteClient observer;
  EXPECT_TRUE(Eventually([&] {
    return Command(observer.Proxy(servant_.Port()), "count MaxMessageSize") ==
           "1";
  }));
  EXPECT_LT(End(), seconds(5));
  caller.join();
  EXPECT_EQ(code, RMT_DESTROYED) << log_.Text();
  rmt_delete_proxy_list(list_);
}

// The run time takes a server without heartbeats, which the first services do
// not send, for dead in the middle of a long call.
TEST_F(RemoteConnections, LastAsLongAsTheCallWithoutHeartbeats) {
  const RemoteServant silent("tcp -h 127.0.0.1 -p 0",
                             {"Ice.ACM.Server.Heartbeat=0"});
  WriteTestFile("ice.cfg", "Ice.ACM.Client.Timeout=1\n");
  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", "ice.cfg"));
  const RemoteClient client;
  ASSERT_TRUE(port::SetEnvironmentUtf8("ICE_CONFIG", ""));
  RemoteProxy* const proxy = client.Proxy(silent.Port(), kLongTimeoutMs);
  Command(proxy, "seconds 4");
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576) << rmt_last_error();
  rmt_delete_proxy_list(list_);
  End();
}

}  // namespace
}  // namespace kiv::testing
