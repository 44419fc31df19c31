// Remote services that are not there, silent, something else, or end in the
// middle: a neutral result in time, each with a text of its own.

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <string>

#include "testing/listener.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr int kTimeoutMs = 1'000;
constexpr char kAnyPort[] = "tcp -h 127.0.0.1 -p 0";

class Scenario20Remote : public RemoteTest {
 protected:
  // Makes a call that must fail and says how long it took.
  static Clock::duration Fail(RemoteProxy* proxy) {
    const auto start = Clock::now();
    EXPECT_EQ(rmt_max_message_size(proxy), 0);
    return Clock::now() - start;
  }
  static std::string Place(int port) {
    return "127.0.0.1:" + std::to_string(port);
  }

  const RemoteClient client_;
};

TEST_F(Scenario20Remote, AClosedPortIsRefusedAtOnce) {
  const int port = Listener().Port();
  EXPECT_LT(Fail(client_.Proxy(port, kTimeoutMs)), seconds(1));
  EXPECT_EQ(rmt_last_error_code(), RMT_REFUSED);
  EXPECT_EQ(rmt_last_error(), Place(port) + ": connection refused");
  EXPECT_EQ(log_.Count("rmt_max_message_size Failed: " + Place(port) +
                       ": connection refused"),
            1)
      << log_.Text();
}

TEST_F(Scenario20Remote, ASilentListenerIsGivenUpInTime) {
  const Listener listener;
  const auto start = Clock::now();
  {
    const RemoteClient client;
    RemoteProxy* const proxy = client.Proxy(listener.Port(), kTimeoutMs);
    const auto taken = Fail(proxy);
    EXPECT_GE(taken, std::chrono::milliseconds(900));
    EXPECT_LT(taken, seconds(2));
    EXPECT_EQ(rmt_last_error_code(), RMT_NO_ANSWER);
    EXPECT_EQ(rmt_last_error(), Place(listener.Port()) + ": no answer in 1 s");
  }
  // Nor does the end of the communicator wait for it.
  EXPECT_LT(Clock::now() - start, seconds(3));
}

TEST_F(Scenario20Remote, TheTimeoutIsThatOfTheElementOrTenSeconds) {
  const Listener listener;
  RemoteProjectProxy result{};
  auto start = Clock::now();
  EXPECT_FALSE(rmt_get_project_proxy(client_.List(), "localhost",
                                     listener.Port(), "Svc", "", "", 1, 0,
                                     &result));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(9'900));
  EXPECT_LT(Clock::now() - start, seconds(15)) << "not doubled";
  EXPECT_TRUE(std::string(rmt_last_error()).ends_with(": no answer in 10 s"));
  WriteTestFile("../conf/client.xml",
                "<config><services><service name='a' ip='127.0.0.1' port='" +
                    std::to_string(listener.Port()) +
                    "' svc='Svc' timeout='1'/></services></config>");
  start = Clock::now();
  EXPECT_FALSE(rmt_get_named_proxy(RemoteClient().List(), "a", &result));
  EXPECT_LT(Clock::now() - start, seconds(2));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_ANSWER);
}

TEST_F(Scenario20Remote, AnHttpServerIsNoIceServer) {
  const Listener listener("HTTP/1.1 400 Bad Request\r\nServer: any\r\n\r\n");
  EXPECT_LT(Fail(client_.Proxy(listener.Port(), kTimeoutMs)), seconds(2));
  EXPECT_EQ(rmt_last_error_code(), RMT_NOT_ICE);
  EXPECT_TRUE(std::string(rmt_last_error())
                  .starts_with(Place(listener.Port()) + ": not an Ice server"))
      << rmt_last_error();
}

TEST_F(Scenario20Remote, AServerKilledInMidCallIsNoticedAndFoundAgain) {
  auto servant = std::make_unique<RemoteServant>();
  const int port = servant->Port();
  const RemoteClient observer;
  RemoteProxy* const proxy = client_.Proxy(port);
  Command(proxy, "seconds 60");
  auto code = std::async(std::launch::async, [&] {
    Fail(proxy);
    return rmt_last_error_code();
  });
  EXPECT_TRUE(Eventually([&] {
    return Command(observer.Proxy(port), "count MaxMessageSize") == "1";
  }));
  const auto start = Clock::now();
  servant->Kill();
  EXPECT_EQ(code.get(), RMT_LOST);
  EXPECT_LT(Clock::now() - start, seconds(2));
  EXPECT_TRUE(log_.Has("the connection was lost before the answer came"))
      << log_.Text();

  servant = std::make_unique<RemoteServant>("tcp -h 127.0.0.1 -p " +
                                            std::to_string(port));
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576) << rmt_last_error();
}

TEST_F(Scenario20Remote, OnlyShutdownIsSentAgain) {
  const RemoteServant servant;
  RemoteProxy* const proxy = client_.Proxy(servant.Port());
  Command(proxy, "lose 1");
  Fail(proxy);
  EXPECT_EQ(rmt_last_error_code(), RMT_LOST);
  EXPECT_EQ(Command(proxy, "count MaxMessageSize"), "1");
  Command(proxy, "lose 1");
  EXPECT_TRUE(rmt_shutdown(proxy)) << rmt_last_error();
  EXPECT_EQ(Command(proxy, "count shutdown"), "2");
}

TEST_F(Scenario20Remote, AnAnswerOfAHundredMegabytesIsRefused) {
  const RemoteServant servant(kAnyPort, {"Ice.MessageSizeMax=0"});
  RemoteProxy* const proxy = client_.Proxy(servant.Port());
  EXPECT_TRUE(Command(proxy, "bytes 104857600").starts_with('-'));
  EXPECT_EQ(rmt_last_error_code(), RMT_TOO_LARGE) << rmt_last_error();
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576) << "the next call fails";
}

TEST_F(Scenario20Remote, AnOldServerLacksOperationsButSpeaksEncodingOneZero) {
  WriteTestFile("Old.ice",
                "module kiv { module server { struct VersionInfo { string a; "
                "string b; int c; int d; int e; }\n"
                "interface ServiceBase { int MaxMessageSize(); "
                "bool SendCommand(string command, out string reply); } } }");
  const RemoteServant servant(kAnyPort, {"Ice.Default.EncodingVersion=1.0"},
                              std::filesystem::current_path(), "Old.ice");
  RemoteProxy* const proxy = client_.Proxy(servant.Port());
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576);
  EXPECT_EQ(Command(proxy, "encoding"), "1.0");
  EXPECT_EQ(rmt_get_project_id(proxy, "a", "b"), nullptr);
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_OPERATION);
  EXPECT_EQ(rmt_last_error(),
            Place(servant.Port()) +
                ": the server does not know the operation 'GetProjectId3'");
}

TEST_F(Scenario20Remote, WhatGoesWrongInTheServerHasTextsOfItsOwn) {
  const RemoteServant servant;
  RemoteProxy* const proxy = client_.Proxy(servant.Port());
  EXPECT_TRUE(Command(proxy, "fail")
                  .starts_with("-" + Place(servant.Port()) +
                               ": the server failed in the operation: "))
      << rmt_last_error();
  EXPECT_EQ(rmt_last_error_code(), RMT_SERVER_FAILED);
  EXPECT_TRUE(rmt_ping(proxy));
  EXPECT_FALSE(rmt_ping(rmt_get_proxy(client_.List(), "127.0.0.1",
                                      servant.Port(), "Nobody", 0, 0)));
  EXPECT_EQ(rmt_last_error(),
            Place(servant.Port()) + ": the server has no object 'Nobody'");
}

}  // namespace
}  // namespace kiv::testing
