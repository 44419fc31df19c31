// The client of remote services against a servant of another make, and how long
// its connections last: the end of a client waits for no server that hangs.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "port/environment.h"
#include "testing/certificate.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

#define PROJECT_GB "\xCF\xEE\xC4\xBF"     // 项目
#define SERVICE_GB "\xB7\xFE\xCE\xF1"     // 服务
#define LABEL_GB "\xB1\xEA\xC7\xA9 \x80"  // 标签 €

class RemoteCalls : public RemoteTest {
 protected:
  std::string Send(const std::string& command) {
    return Command(proxy_, command);
  }
  std::string Last() { return Send("last"); }
  int Logged(const std::string& message) const {
    return log_.Count("rmt_get_proxy Failed: " + message);
  }
  // Of the servant, under another host and port.
  static RemoteServiceInfo Record(const char* ip, int port) {
    RemoteServiceInfo record{};
    std::strcpy(record.ip, ip);
    record.port = port;
    std::strcpy(record.svc, "Svc");
    std::strcpy(record.project_key, PROJECT_GB);
    std::strcpy(record.access_code, "secret-code");
    return record;
  }

  RemoteServant servant_;
  RemoteClient client_;
  RemoteProxyList* const list_ = client_.List();
  RemoteProxy* const proxy_ = client_.Proxy(servant_.Port());
};

TEST_F(RemoteCalls, CarryNumbersAndTextBothWays) {
  Send("number 0");
  EXPECT_EQ(rmt_max_message_size(proxy_), 0);
  EXPECT_EQ(rmt_last_error_code(), RMT_DONE);
  RemoteStringValue* const name = rmt_new_string_value();
  RemoteStringValue* const label = rmt_new_string_value();
  std::int32_t numbers[3] = {};
  EXPECT_TRUE(rmt_get_version(proxy_, name, label, &numbers[0], &numbers[1],
                              &numbers[2]));
  EXPECT_STREQ(rmt_string_value_text(name), SERVICE_GB);
  EXPECT_STREQ(rmt_string_value_text(label), LABEL_GB);
  EXPECT_TRUE(numbers[0] == 0 && numbers[1] == INT32_MIN &&
              numbers[2] == INT32_MAX);
  rmt_delete_string_value(name);
  rmt_delete_string_value(label);

  EXPECT_TRUE(rmt_is_version_compatible(proxy_, INT32_MIN, INT32_MAX, -7));
  EXPECT_EQ(Last(), "IsVersionCompatible|-2147483648|2147483647|-7");
  EXPECT_TRUE(rmt_reload_config(proxy_));
  Send("reloadable no");
  EXPECT_FALSE(rmt_reload_config(proxy_));
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);
  EXPECT_TRUE(rmt_shutdown(proxy_));
  EXPECT_EQ(Last(), "shutdown");
  EXPECT_FALSE(log_.Has("Failed")) << log_.Text();
}

TEST_F(RemoteCalls, CarryCommandsWhole) {
  EXPECT_EQ(Send("encoding"), "1.0");  // as old servers want it
  const std::string mixed = LABEL_GB " | \\ \" \t end " PROJECT_GB;
  for (const std::string& text : {mixed, std::string(300'000, 'x')})
    EXPECT_EQ(Send("echo " + text), text);
  EXPECT_EQ(Send("null"), std::string("a\0b", 3));
  EXPECT_EQ(Send("no because"), "because");
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);
}

TEST_F(RemoteCalls, CarryListsOfAnyLength) {
  char** const none = rmt_get_solutions2(proxy_);
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(Texts(none).size(), 0U);
  Send("solutions 20000 " PROJECT_GB);
  const std::vector<std::string> solutions = Texts(rmt_get_solutions2(proxy_));
  ASSERT_EQ(solutions.size(), 20'000U);
  EXPECT_EQ(solutions[19'999], PROJECT_GB "19999");
  Send("solutions 2 b");
  EXPECT_EQ(Texts(rmt_get_projects2(proxy_, SERVICE_GB)),
            (std::vector<std::string>{SERVICE_GB "/b0", SERVICE_GB "/b1"}));
}

TEST_F(RemoteCalls, AskForProjectIds) {
  for (const auto query : {&rmt_query_project_id, &rmt_query_project_id2}) {
    std::int32_t id = 5;
    EXPECT_TRUE(query(proxy_, "min", &id));
    EXPECT_EQ(id, INT32_MIN);
    EXPECT_FALSE(query(proxy_, "unknown", &id));
    EXPECT_EQ(id, INT32_MIN) << "an out-parameter was touched";
    EXPECT_TRUE(query(proxy_, PROJECT_GB, nullptr));
  }
  EXPECT_EQ(Last(), "GetProjectId2|" PROJECT_GB);
  std::int32_t id = 0;
  EXPECT_TRUE(rmt_query_project_id3(proxy_, PROJECT_GB, "p", &id));
  EXPECT_EQ(id, 42);
  EXPECT_EQ(Last(), "GetProjectId3|" PROJECT_GB "|p");
  // The mixed case of the names is the protocol's.
  EXPECT_EQ(Send("count GetProjectID"), "3");
}

TEST_F(RemoteCalls, FindProxiesByHostPortAndIdentity) {
  const int port = servant_.Port();
  const auto find = [&](const char* host, int at, const char* svc = "Svc") {
    return rmt_get_proxy(list_, host, at, svc, 0, 0);
  };
  RemoteProxy* const proxy = find("LOCALHOST", port);
  ASSERT_NE(proxy, nullptr);
  EXPECT_EQ(find(" 127.0.0.1 ", port), proxy);
  EXPECT_EQ(find(".", port), proxy);
  EXPECT_EQ(proxy_, proxy);
  EXPECT_NE(find("localhost", port + 1), proxy);
  EXPECT_NE(find("otherhost", port), proxy);
  EXPECT_NE(find("localhost", port, SERVICE_GB), proxy);
  EXPECT_TRUE(rmt_ping(find("localhost", port, SERVICE_GB)));
}

TEST_F(RemoteCalls, GetProxyAndProjectByName) {
  const RemoteServiceInfo record = Record("localhost", servant_.Port());
  ASSERT_TRUE(rmt_set_remote_server("orders", &record));
  RemoteProjectProxy result{};
  ASSERT_TRUE(rmt_get_named_proxy(list_, "orders", &result));
  EXPECT_EQ(rmt_pid_proj(result.project_id), 42);
  EXPECT_EQ(Command(result.proxy, "last"),
            "GetProjectId3|" PROJECT_GB "|secret-code");
  EXPECT_EQ(rmt_get_service_proxy(list_, "orders"), result.proxy);

  // The list has one record for equal ids.
  const RemoteProjectID wanted = {0, 42};
  const RemoteProjectID unknown = {0, 43};
  EXPECT_EQ(rmt_member_project_id(result.proxy, &wanted), result.project_id);
  EXPECT_EQ(rmt_member_project_id(result.proxy, &unknown), nullptr);
  EXPECT_EQ(
      rmt_member_project_id_by_key(result.proxy, PROJECT_GB, "secret-code"),
      result.project_id);
  EXPECT_EQ(rmt_member_project_id_by_key(result.proxy, PROJECT_GB, "x"),
            nullptr);
  EXPECT_EQ(rmt_get_project_id(result.proxy, PROJECT_GB, "other"),
            result.project_id);
  EXPECT_EQ(rmt_get_project_id(result.proxy, "unknown", "secret-code"),
            nullptr);
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);
  EXPECT_FALSE(rmt_get_named_proxy(list_, "nobody", &result));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_SERVICE);
  EXPECT_FALSE(log_.Has("secret-code")) << log_.Text();
}

TEST_F(RemoteCalls, OfAnotherVersionAreRefused) {
  RemoteServiceInfo record = Record("localhost", servant_.Port());
  RemoteProjectProxy result{};
  record.engine_version = 11;
  EXPECT_FALSE(rmt_get_proxy_from_info(list_, &record, &result));
  EXPECT_EQ(result.proxy, nullptr);
  EXPECT_EQ(rmt_last_error_code(), RMT_INCOMPATIBLE);
  // rmt_get_proxy Failed: 客户端版本与服务器端版本不兼容。
  EXPECT_EQ(
      Logged("\xBF\xCD\xBB\xA7\xB6\xCB\xB0\xE6\xB1\xBE\xD3\xEB\xB7\xFE\xCE\xF1"
             "\xC6\xF7\xB6\xCB\xB0\xE6\xB1\xBE\xB2\xBB\xBC\xE6\xC8\xDD\xA1\xA3"
             "127.0.0.1:"),
      1);
  record.engine_version = 10;
  record.document_version = 2;
  EXPECT_TRUE(rmt_get_proxy_from_info(list_, &record, &result));
}

TEST_F(RemoteCalls, WithoutAnAddressGoWhereServerCfgSays) {
  RemoteServiceInfo record = Record("", 0);
  RemoteProjectProxy result{};
  EXPECT_FALSE(rmt_get_proxy_from_info(list_, &record, &result));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_SERVICE);
  // 没指定服务IP，无法装载配置文件
  EXPECT_EQ(
      Logged(
          "\xC3\xBB\xD6\xB8\xB6\xA8\xB7\xFE\xCE\xF1IP\xA3\xAC\xCE\xDE\xB7\xA8"
          "\xD7\xB0\xD4\xD8\xC5\xE4\xD6\xC3\xCE\xC4\xBC\xFE"),
      1);
  WriteTestFile("../conf/server.cfg",
                "# services\nSvc.Proxy=Svc:tcp -h 127.0.0.1 -p " +
                    std::to_string(servant_.Port()) + "\n");
  ASSERT_TRUE(rmt_get_proxy_from_info(list_, &record, &result));
  EXPECT_STREQ(rmt_get_proxy_ip(result.proxy), "127.0.0.1");
  std::strcpy(record.svc, "Other");
  EXPECT_FALSE(rmt_get_proxy_from_info(list_, &record, &result));
  EXPECT_TRUE(log_.Has("has no property 'Other.Proxy'")) << log_.Text();
}

// 构造代理字符串失败, 无法创建连接到服务器的代理对象。
#define NO_TEXT \
  "\xB9\xB9\xD4\xEC\xB4\xFA\xC0\xED\xD7\xD6\xB7\xFB\xB4\xAE\xCA\xA7\xB0\xDC"
#define NO_PROXY                                                             \
  "\xCE\xDE\xB7\xA8\xB4\xB4\xBD\xA8\xC1\xAC\xBD\xD3\xB5\xBD\xB7\xFE\xCE\xF1" \
  "\xC6\xF7\xB5\xC4\xB4\xFA\xC0\xED\xB6\xD4\xCF\xF3\xA1\xA3"

TEST_F(RemoteCalls, ToABadAddressAreRefusedWithAMessage) {
  const char* const bad[][3] = {{"host", "Svc", NO_TEXT},
                                {"host:1", " ", NO_TEXT},
                                {"host:http", "Svc", NO_PROXY},
                                {"host:1", "a b", NO_PROXY}};
  for (const auto& [server, svc, message] : bad) {
    const int before = Logged(message);
    EXPECT_EQ(rmt_get_proxy2(list_, server, "tcp", svc, 0, 0, 0), nullptr);
    EXPECT_EQ(rmt_last_error_code(), RMT_BAD_PROXY) << rmt_last_error();
    EXPECT_EQ(Logged(message), before + 1) << server << log_.Text();
  }
}

// A hundred clients of one process, who also share the proxies of one list.
TEST_F(RemoteCalls, OfManyThreadsDoNotMeet) {
  std::atomic<int> good = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 100; ++thread) {
    threads.emplace_back([&, thread] {
      const RemoteClient own;
      RemoteProxy* const proxy = own.Proxy(servant_.Port(), 60'000);
      const std::string text = "echo " PROJECT_GB + std::to_string(thread);
      for (int call = 0; call < 20; ++call) {
        RemoteProjectProxy result{};
        good += Command(proxy, text) == text.substr(5) &&
                rmt_get_proxy(list_, "h", 1 + 20 * thread + call, "s", 0, 0) &&
                rmt_get_project_proxy2(
                    list_, servant_.Address().c_str(), "tcp", "Svc", PROJECT_GB,
                    std::to_string(call).c_str(), 0, 0, 60'000, &result) &&
                rmt_member_project_id(result.proxy, result.project_id) ==
                    result.project_id;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 2'000) << log_.Text();
}

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

class RemoteConnections : public RemoteTest {
 protected:
  ~RemoteConnections() override {
    port::SetEnvironmentUtf8("ICE_CONFIG", "");
    End();
    rmt_delete_proxy_list(list_);
  }

  // How long the end of the client takes.
  Clock::duration End() {
    const auto start = Clock::now();
    rmt_delete_communicator(std::exchange(communicator_, nullptr));
    return Clock::now() - start;
  }
  RemoteProxy* Proxy(const RemoteServant& servant, int timeout_ms) const {
    return rmt_get_proxy2(list_, servant.Address().c_str(), nullptr, "Svc", 0,
                          0, timeout_ms);
  }
  // What the next communicator takes its properties from.
  static void Configure(const std::string& properties) {
    WriteTestFile("ice.cfg", properties);
    port::SetEnvironmentUtf8("ICE_CONFIG", "ice.cfg");
  }

  const RemoteServant servant_;
  RemoteCommunicator* communicator_ = rmt_create_communicator();
  RemoteProxyList* const list_ = rmt_create_proxy_list(communicator_);
};

TEST_F(RemoteConnections, OfAServerThatHangsDoNotHoldUpTheEnd) {
  // One is still in use, of the other the last call was given up.
  const RemoteServant other;
  RemoteProxy* const given_up = Proxy(other, 5'000);
  ASSERT_TRUE(rmt_ping(Proxy(servant_, 60'000)) && rmt_ping(given_up));
  servant_.Freeze();
  other.Freeze();
  EXPECT_FALSE(rmt_ping(given_up));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_ANSWER);
  EXPECT_LT(End(), seconds(4));
}

TEST_F(RemoteConnections, OfCallsUnderWayEndWithTheCommunicator) {
  RemoteProxy* const proxy = Proxy(servant_, 60'000);
  Command(proxy, "seconds 60");
  int code = RMT_DONE;
  std::thread caller([&] {
    EXPECT_EQ(rmt_max_message_size(proxy), 0);
    code = rmt_last_error_code();
  });
  const RemoteClient observer;
  RemoteProxy* const observed = observer.Proxy(servant_.Port());
  EXPECT_TRUE(Eventually(
      [&] { return Command(observed, "count MaxMessageSize") == "1"; }));
  EXPECT_LT(End(), seconds(5));
  caller.join();
  EXPECT_EQ(code, RMT_DESTROYED) << log_.Text();
  // A proxy without its communicator fails without a crash.
  EXPECT_EQ(rmt_get_proxy_list_parent(list_), nullptr);
  EXPECT_FALSE(rmt_ping(proxy));
  EXPECT_EQ(rmt_last_error_code(), RMT_DESTROYED) << rmt_last_error();
  EXPECT_EQ(rmt_get_proxy(list_, "localhost", 1, "Svc", 0, 0), nullptr);
}

// The run time takes a server without heartbeats, which the first services do
// not send, for dead in the middle of a long call.
TEST_F(RemoteConnections, LastAsLongAsTheCallWithoutHeartbeats) {
  const RemoteServant silent("tcp -h 127.0.0.1 -p 0",
                             {"Ice.ACM.Server.Heartbeat=0"});
  Configure("Ice.ACM.Client.Timeout=1\n");
  const RemoteClient client;
  RemoteProxy* const proxy = client.Proxy(silent.Port(), 60'000);
  Command(proxy, "seconds 4");
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576) << rmt_last_error();
}

#define PLUGIN "Ice.Plugin.IceSSL=IceSSL:createIceSSL"

TEST_F(RemoteConnections, WorkOverTlsWithATrustedCertificateAlone) {
  for (const char* const name : {"server", "stranger"})
    MakeCertificate(std::filesystem::absolute(name), ",IP:127.0.0.1");
  const RemoteServant servant(
      "ssl -h 127.0.0.1 -p 0",
      {PLUGIN, "IceSSL.DefaultDir=.", "IceSSL.CertFile=server.pem",
       "IceSSL.KeyFile=server.key", "IceSSL.VerifyPeer=0"});
  const std::string port = std::to_string(servant.Port());
  const auto find = [&](RemoteProxyList* list) {
    return rmt_get_proxy2(list, servant.Address().c_str(), "ssl", "Svc", 0, 0,
                          5'000);
  };
  EXPECT_FALSE(rmt_ping(find(list_)));
  EXPECT_TRUE(log_.Has("Ice.Plugin.IceSSL")) << log_.Text();

  Configure(PLUGIN "\nIceSSL.DefaultDir=.\nIceSSL.CAs=stranger.pem\n");
  const RemoteClient strange;
  EXPECT_FALSE(rmt_ping(find(strange.List())));
  EXPECT_EQ(rmt_last_error_code(), RMT_INSECURE) << rmt_last_error();
  EXPECT_TRUE(log_.Has(servant.Address() + ": TLS: ")) << log_.Text();

  Configure(PLUGIN
            "\nIceSSL.DefaultDir=.\nIceSSL.CAs=server.pem\n"
            "IceSSL.CheckCertName=1\n");
  const RemoteClient client;
  EXPECT_EQ(Command(find(client.List()), "echo safe"), "safe");
  // A named service with the endpoint of its element.
  WriteTestFile("../conf/client.xml",
                "<c><services><service name='a' ip='localhost' svc='Svc' "
                "endpoint='ssl' project_key='max' port='" +
                    port + "'/></services></c>");
  RemoteProjectProxy result{};
  EXPECT_TRUE(rmt_get_named_proxy(client.List(), "a", &result));
}

}  // namespace
}  // namespace kiv::testing
