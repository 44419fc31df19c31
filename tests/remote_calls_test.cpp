// The client of remote services against a servant of another make.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

#define PROJECT_GB "\xCF\xEE\xC4\xBF"     // 项目
#define SERVICE_GB "\xB7\xFE\xCE\xF1"     // 服务
#define LABEL_GB "\xB1\xEA\xC7\xA9 \x80"  // 标签 €

// Both encodings on the servant's side.
class RemoteCalls : public RemoteTest,
                    public ::testing::WithParamInterface<const char*> {
 protected:
  RemoteCalls()
      : servant_("tcp -h 127.0.0.1 -p 0",
                 {std::string("Ice.Default.EncodingVersion=") + GetParam()}),
        proxy_(client_.Proxy(servant_.Port())) {}

  std::string Send(const std::string& command) {
    return Command(proxy_, command);
  }
  std::string Last() { return Send("last"); }

  RemoteServant servant_;
  RemoteClient client_;
  RemoteProxy* const proxy_;
};

TEST_P(RemoteCalls, CarryNumbersAndTextBothWays) {
  EXPECT_TRUE(rmt_ping(proxy_));
  EXPECT_EQ(rmt_max_message_size(proxy_), 1048576);
  for (const std::int32_t number : {kMin, -1, 0, kMax}) {
    Send("number " + std::to_string(number));
    EXPECT_EQ(rmt_max_message_size(proxy_), number);
    EXPECT_EQ(rmt_last_error_code(), RMT_DONE);
  }

  RemoteStringValue* const name = rmt_new_string_value();
  RemoteStringValue* const label = rmt_new_string_value();
  std::vector<std::int32_t> numbers(3);
  EXPECT_TRUE(rmt_get_version(proxy_, name, label, &numbers[0], &numbers[1],
                              &numbers[2]));
  EXPECT_STREQ(rmt_string_value_text(name), SERVICE_GB);
  EXPECT_STREQ(rmt_string_value_text(label), LABEL_GB);
  EXPECT_EQ(numbers, (std::vector{kMax, kMin, kMax}));
  EXPECT_TRUE(
      rmt_get_version(proxy_, nullptr, nullptr, nullptr, nullptr, nullptr));
  rmt_delete_string_value(name);
  rmt_delete_string_value(label);

  EXPECT_TRUE(rmt_is_version_compatible(proxy_, kMin, kMax, -7));
  EXPECT_EQ(Last(), "IsVersionCompatible|-2147483648|2147483647|-7");
  EXPECT_FALSE(rmt_is_version_compatible(proxy_, 11, 0, 0));
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);

  EXPECT_TRUE(rmt_reload_config(proxy_));
  Send("reloadable no");
  EXPECT_FALSE(rmt_reload_config(proxy_));
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);

  EXPECT_TRUE(rmt_shutdown(proxy_));
  EXPECT_EQ(Last(), "shutdown");
  EXPECT_FALSE(log_.Has("Failed")) << log_.Text();
}

TEST_P(RemoteCalls, CarryCommandsWhole) {
  EXPECT_EQ(Send("encoding"), "1.0");
  const std::string mixed = LABEL_GB " | \\ \" \t end " PROJECT_GB;
  for (const std::string& text : {mixed, std::string(300'000, 'x')})
    EXPECT_EQ(Send("echo " + text), text);
  EXPECT_EQ(Send("echo"), "");
  EXPECT_EQ(Send("null"), std::string("a\0b", 3));
  EXPECT_EQ(Send("no because"), "because");
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);
}

TEST_P(RemoteCalls, CarryListsOfAnyLength) {
  char** const none = rmt_get_solutions2(proxy_);
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(rmt_string_array_count(none), 0U);
  rmt_delete_string_array(none);
  Send("solutions 20000 " PROJECT_GB);
  const std::vector<std::string> solutions = Texts(rmt_get_solutions2(proxy_));
  ASSERT_EQ(solutions.size(), 20'000U);
  EXPECT_EQ(solutions[0], PROJECT_GB "0");
  EXPECT_EQ(solutions[19'999], PROJECT_GB "19999");
  Send("solutions 2 b");
  EXPECT_EQ(Texts(rmt_get_projects2(proxy_, SERVICE_GB)),
            (std::vector<std::string>{SERVICE_GB "/b0", SERVICE_GB "/b1"}));
}

TEST_P(RemoteCalls, AskForProjectIds) {
  using Query = bool (*)(RemoteProxy*, const char*, std::int32_t*);
  for (const Query query : {&rmt_query_project_id, &rmt_query_project_id2}) {
    std::int32_t id = 5;
    EXPECT_TRUE(query(proxy_, "max", &id));
    EXPECT_EQ(id, kMax);
    EXPECT_TRUE(query(proxy_, "min", &id));
    EXPECT_EQ(id, kMin);
    EXPECT_FALSE(query(proxy_, "unknown", &id));
    EXPECT_EQ(id, kMin) << "an out-parameter was touched";
    EXPECT_TRUE(query(proxy_, PROJECT_GB, nullptr));
  }
  EXPECT_EQ(Last(), "GetProjectId2|" PROJECT_GB);
  std::int32_t id = 0;
  EXPECT_TRUE(rmt_query_project_id3(proxy_, PROJECT_GB, "p", &id));
  EXPECT_EQ(id, 42);
  EXPECT_EQ(Last(), "GetProjectId3|" PROJECT_GB "|p");
  // The mixed case of the names is the protocol's.
  for (const char* name : {"GetProjectID", "GetProjectId2", "GetProjectId3"})
    EXPECT_NE(Send(std::string("count ") + name), "0") << name;
}

INSTANTIATE_TEST_SUITE_P(Servant, RemoteCalls, ::testing::Values("1.1", "1.0"),
                         [](const auto& tested) {
                           return tested.param[2] == '1' ? "Encoding11"
                                                         : "Encoding10";
                         });

class RemoteProxies : public RemoteTest {
 protected:
  RemoteServiceInfo Record(const char* ip, int port) const {
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
};

TEST_F(RemoteProxies, AreFoundByHostPortAndIdentity) {
  const int port = servant_.Port();
  RemoteProxyList* const list = client_.List();
  RemoteProxy* const proxy =
      rmt_get_proxy(list, "LOCALHOST", port, "Svc", 0, 0);
  ASSERT_NE(proxy, nullptr);
  EXPECT_EQ(rmt_get_proxy(list, " 127.0.0.1 ", port, "Svc", 0, 0), proxy);
  EXPECT_EQ(rmt_get_proxy(list, ".", port, "Svc", 0, 0), proxy);
  EXPECT_EQ(client_.Proxy(port), proxy);
  EXPECT_NE(rmt_get_proxy(list, "localhost", port + 1, "Svc", 0, 0), proxy);
  EXPECT_NE(rmt_get_proxy(list, "otherhost", port, "Svc", 0, 0), proxy);
  RemoteProxy* const other =
      rmt_get_proxy(list, "localhost", port, SERVICE_GB, 0, 0);
  EXPECT_NE(other, proxy);
  EXPECT_TRUE(rmt_ping(other)) << rmt_last_error();

  EXPECT_EQ(rmt_get_proxy_parent(proxy), list);
  EXPECT_STREQ(rmt_get_proxy_ip(proxy), "LOCALHOST");
  EXPECT_EQ(rmt_get_proxy_port(proxy), port);
  EXPECT_NE(rmt_get_proxy_inner(proxy), nullptr);
  EXPECT_EQ(rmt_get_proxy_list_parent(list), client_.Communicator());
}

TEST_F(RemoteProxies, ByNameGiveProxyAndProject) {
  const RemoteServiceInfo record = Record("localhost", servant_.Port());
  ASSERT_TRUE(rmt_set_remote_server("orders", &record)) << rmt_last_error();
  RemoteProjectProxy result{};
  ASSERT_TRUE(rmt_get_named_proxy(client_.List(), "orders", &result))
      << rmt_last_error();
  EXPECT_EQ(rmt_pid_proj(result.project_id), 42);
  EXPECT_EQ(rmt_pid_sol(result.project_id), 0);
  EXPECT_EQ(Command(result.proxy, "last"),
            "GetProjectId3|" PROJECT_GB "|secret-code");
  EXPECT_EQ(rmt_get_service_proxy(client_.List(), "orders"), result.proxy);

  // The list has one record for equal ids.
  const RemoteProjectID wanted = {0, 42};
  EXPECT_EQ(rmt_member_project_id(result.proxy, &wanted), result.project_id);
  EXPECT_EQ(
      rmt_member_project_id_by_key(result.proxy, PROJECT_GB, "secret-code"),
      result.project_id);
  EXPECT_EQ(rmt_member_project_id_by_key(result.proxy, PROJECT_GB, "x"),
            nullptr);
  const RemoteProjectID unknown = {0, 43};
  EXPECT_EQ(rmt_member_project_id(result.proxy, &unknown), nullptr);
  EXPECT_EQ(rmt_get_project_id(result.proxy, PROJECT_GB, "other"),
            result.project_id);

  EXPECT_EQ(rmt_get_project_id(result.proxy, "unknown", "secret-code"),
            nullptr);
  EXPECT_EQ(rmt_last_error_code(), RMT_ANSWERED_NO);
  EXPECT_FALSE(rmt_get_named_proxy(client_.List(), "nobody", &result));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_SERVICE);
  EXPECT_FALSE(log_.Has("secret-code")) << log_.Text();
}

TEST_F(RemoteProxies, OfAnotherVersionAreRefused) {
  RemoteServiceInfo record = Record("localhost", servant_.Port());
  RemoteProjectProxy result{};
  record.engine_version = 11;
  EXPECT_FALSE(rmt_get_proxy_from_info(client_.List(), &record, &result));
  EXPECT_EQ(result.proxy, nullptr);
  EXPECT_EQ(rmt_last_error_code(), RMT_INCOMPATIBLE);
  // rmt_get_proxy Failed: 客户端版本与服务器端版本不兼容。
  EXPECT_TRUE(log_.Has(
      "rmt_get_proxy Failed: "
      "\xBF\xCD\xBB\xA7\xB6\xCB\xB0\xE6\xB1\xBE\xD3\xEB\xB7\xFE\xCE\xF1\xC6\xF7"
      "\xB6\xCB\xB0\xE6\xB1\xBE\xB2\xBB\xBC\xE6\xC8\xDD\xA1\xA3"
      "localhost:"))
      << log_.Text();
  record.engine_version = 10;
  record.document_version = 2;
  EXPECT_TRUE(rmt_get_proxy_from_info(client_.List(), &record, &result));
}

TEST_F(RemoteProxies, WithoutAnAddressComeFromServerCfg) {
  RemoteServiceInfo record = Record("", 0);
  RemoteProjectProxy result{};
  EXPECT_FALSE(rmt_get_proxy_from_info(client_.List(), &record, &result));
  EXPECT_EQ(rmt_last_error_code(), RMT_NO_SERVICE);
  // 没指定服务IP，无法装载配置文件
  EXPECT_TRUE(log_.Has(
      "rmt_get_proxy Failed: \xC3\xBB\xD6\xB8\xB6\xA8\xB7\xFE\xCE\xF1IP\xA3\xAC"
      "\xCE\xDE\xB7\xA8\xD7\xB0\xD4\xD8\xC5\xE4\xD6\xC3\xCE\xC4\xBC\xFE"))
      << log_.Text();

  WriteTestFile("../conf/server.cfg",
                "# services\nSvc.Proxy=Svc:tcp -h "
                "127.0.0.1 -p " +
                    std::to_string(servant_.Port()) + "\n");
  ASSERT_TRUE(rmt_get_proxy_from_info(client_.List(), &record, &result))
      << rmt_last_error();
  EXPECT_TRUE(rmt_ping(result.proxy));
  EXPECT_EQ(Command(result.proxy, "encoding"), "1.0");
  // A record that leaves its address open gets it from the proxy.
  rmt_fix_service_info(result.proxy, &record);
  EXPECT_STREQ(record.ip, "127.0.0.1");
  EXPECT_EQ(record.port, servant_.Port());
  std::strcpy(record.svc, "Other");
  record.ip[0] = '\0';
  EXPECT_FALSE(rmt_get_proxy_from_info(client_.List(), &record, &result));
  EXPECT_TRUE(log_.Has("has no property 'Other.Proxy'")) << log_.Text();
}

// 构造代理字符串失败, 无法创建连接到服务器的代理对象。
#define NO_TEXT \
  "\xB9\xB9\xD4\xEC\xB4\xFA\xC0\xED\xD7\xD6\xB7\xFB\xB4\xAE\xCA\xA7\xB0\xDC"
#define NO_PROXY                                                             \
  "\xCE\xDE\xB7\xA8\xB4\xB4\xBD\xA8\xC1\xAC\xBD\xD3\xB5\xBD\xB7\xFE\xCE\xF1" \
  "\xC6\xF7\xB5\xC4\xB4\xFA\xC0\xED\xB6\xD4\xCF\xF3\xA1\xA3"

TEST_F(RemoteProxies, OfABadAddressAreRefusedWithAMessage) {
  const struct {
    const char* server;
    const char* svc;
    const char* message;
  } bad[] = {{"host", "Svc", NO_TEXT},
             {"host:1", " ", NO_TEXT},
             {"host:http", "Svc", NO_PROXY},
             {"host:70000", "Svc", NO_PROXY},
             {"host:1", "a b", NO_PROXY}};
  const auto logged = [&](const char* message) {
    return log_.Count(std::string("rmt_get_proxy Failed: ") + message);
  };
  for (const auto& [server, svc, message] : bad) {
    SCOPED_TRACE(std::string(server) + " " + svc);
    const int before = logged(message);
    EXPECT_EQ(rmt_get_proxy2(client_.List(), server, "tcp", svc, 0, 0, 0),
              nullptr);
    EXPECT_EQ(rmt_last_error_code(), RMT_BAD_PROXY) << rmt_last_error();
    EXPECT_EQ(logged(message), before + 1) << log_.Text();
  }
}

TEST_F(RemoteProxies, OfADeletedCommunicatorFailWithoutACrash) {
  RemoteCommunicator* const communicator = rmt_create_communicator();
  RemoteProxyList* const list = rmt_create_proxy_list(communicator);
  RemoteProxy* const proxy =
      rmt_get_proxy(list, "localhost", servant_.Port(), "Svc", 0, 0);
  ASSERT_TRUE(rmt_ping(proxy));
  rmt_delete_communicator(communicator);
  EXPECT_EQ(rmt_get_proxy_list_parent(list), nullptr);
  EXPECT_EQ(rmt_max_message_size(proxy), 0);
  EXPECT_EQ(rmt_last_error_code(), RMT_DESTROYED) << rmt_last_error();
  EXPECT_EQ(rmt_get_proxy(list, "localhost", 1, "Svc", 0, 0), nullptr);
  rmt_delete_proxy_list(list);
}

TEST_F(RemoteProxies, ServeAHundredClientsOfOneProcess) {
  constexpr int kClients = 100;
  constexpr int kCalls = 20;
  Command(client_.Proxy(servant_.Port()), "solutions 3 " PROJECT_GB);
  std::vector<int> good(kClients);
  std::vector<std::thread> threads;
  for (int client = 0; client < kClients; ++client) {
    threads.emplace_back([&, client] {
      const RemoteClient own;
      RemoteProxy* const proxy = own.Proxy(servant_.Port(), 60'000);
      const std::string text = "echo " PROJECT_GB + std::to_string(client);
      for (int call = 0; call < kCalls; ++call) {
        good[client] += Command(proxy, text) == text.substr(5) &&
                        Texts(rmt_get_solutions2(proxy)).size() == 3;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, std::vector<int>(kClients, kCalls)) << log_.Text();
}

TEST_F(RemoteProxies, OfOneListServeManyThreads) {
  constexpr int kThreads = 8;
  std::vector<std::thread> threads;
  std::vector<int> good(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int call = 0; call < 50; ++call) {
        RemoteProjectProxy result{};
        good[thread] +=
            rmt_get_project_proxy(
                client_.List(), "localhost", servant_.Port(), "Svc", PROJECT_GB,
                std::to_string(call).c_str(), 0, 0, &result) &&
            rmt_member_project_id(result.proxy, result.project_id) ==
                result.project_id;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, std::vector<int>(kThreads, 50)) << log_.Text();
}

}  // namespace
}  // namespace kiv::testing
