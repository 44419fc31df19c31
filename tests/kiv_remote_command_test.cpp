// kiv remote as users run it.
#include <gtest/gtest.h>

#include <string>

#include "kiv_session.h"
#include "testing/listener.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

#define PROJECT "\xE9\xA1\xB9\xE7\x9B\xAE"  // 项目

class KivRemote : public KivSession<RemoteTest> {
 protected:
  KivRemote() : KivSession("remote") {}
};

TEST_F(KivRemote, SetsShowsAndListsServices) {
  WriteTestFile("code", "secret\nmore\n");
  Expect({{"list",
           "1: ! kiv remote: ../conf/client.xml: there is no such file; *"},
          {"set " PROJECT
           " --ip host1 --port 10001 --svc Svc --project-key " PROJECT
           " --access-code-file code --engine-version 3",
           "*"},
          {"set " PROJECT " --port 10002", ""},
          {"show " PROJECT,
           "name          " PROJECT "\naddress       host1:10002\n"
           "identity      Svc\nproject       " PROJECT
           "\naccess code   set\nversion       3.0\nendpoint      tcp\n"
           "time-out      10 s\n"},
          {"list",
           "service  address      identity  project  version  endpoint  "
           "time-out\n" PROJECT "     host1:10002  Svc       " PROJECT
           "     3.0      tcp           10 s\n"},
          {"set a --ip h", "1: ! *'a' has no identity yet: --svc says it\n"},
          {"set a --svc " + std::string(128, 'h'), "1: ! *--svc is longer *"},
          {"set a --svc \xF0\x9F\x98\x80", "1: ! *--svc is no UTF-8 text*"},
          {"list; stat -c %a ../conf/client.xml", "*\n600\n"}});
  RemoteServiceInfo record{};
  EXPECT_TRUE(rmt_get_remote_server("\xCF\xEE\xC4\xBF", &record));
  EXPECT_STREQ(record.access_code, "secret");
  // A file that only needs mending is not replaced.
  WriteTestFile("../conf/client.xml", "<config>");
  Expect({{"set a --ip h", "1: *"}});
  EXPECT_EQ(ReadTestFile("../conf/client.xml"), "<config>");
}

TEST_F(KivRemote, CallsOperationsAndPrintsWhatComesBack) {
  const RemoteServant servant;
  const std::string service = "Svc@" + servant.Address();
  Expect({{"version " + service,
           "\xE6\x9C\x8D\xE5\x8A\xA1 1048576.-2147483648.2147483647 "
           "\xE6\xA0\x87\xE7\xAD\xBE \xE2\x82\xAC\n"}});
  const char* const calls[][2] = {
      {"MaxMessageSize", "1048576\n"},
      {"SendCommand 'solutions 2 " PROJECT "'", "true\n\n"},
      {"GetSolutions", PROJECT "0\n" PROJECT "1\n"},
      {"GetProjects b", "b/" PROJECT "0\nb/" PROJECT "1\n"},
      {"SendCommand 'no \xE9\xA1\xB9'", "1: false\n\xE9\xA1\xB9\n"},
      {"IsVersionCompatible 1 -2 3", "true\n"},
      {"GetProjectID min", "true\n-2147483648\n"},
      {"GetProjectId2 nobody", "1: false\n"},
      {"GetProjectId3 " PROJECT " x", "true\n42\n"},
      {"ReloadConfig", "true\n"},
      {"shutdown", ""},
      {"getsolutions", "2: ! *no operation 'getsolutions'; kiv remote call*"},
      {"GetProjects", "2: ! kiv remote: GetProjects takes 1 parameter\n"},
      {"IsVersionCompatible 1 2 99999999999", "2: ! *three whole numbers\n"}};
  for (const auto& [words, answer] : calls)
    Expect({{"call " + service + " " + words, answer}});
}

TEST_F(KivRemote, CallsAnAddressFromAnyFolder) {
  const RemoteServant servant;
  const std::string service = "Svc@" + servant.Address();
  const TestFolder elsewhere;
  Expect({{"ping " + service, service + " answers after *"},
          {"set a@b --ip h", "1: ! kiv remote: . is no service folder*"}});
  EXPECT_FALSE(std::filesystem::exists("Logfiles"));
}

TEST_F(KivRemote, SaysHostPortAndCause) {
  const std::string closed = "127.0.0.1:" + std::to_string(Listener().Port());
  const Listener silent;
  const std::string port = std::to_string(silent.Port());
  const RemoteServant servant;
  Expect({{"ping Svc@" + closed, "1: ! kiv remote: Svc@" + closed + ": " +
                                     closed + ": connection refused\n"},
          {"ping -t 0.5 Svc@127.0.0.1:" + port,
           "1: ! *" + port + ": no answer in 0.5 s\n"},
          {"set s --ip 127.0.0.1 --svc Svc --engine-version 11 --port " +
               std::to_string(servant.Port()),
           ""},
          {"solutions s",
           "1: ! kiv remote: s: " + servant.Address() +
               ": the server is not compatible with version 11.0\n"},
          // A look at the service itself is no matter of versions.
          {"ping s", "s answers after *"},
          {"ping nobody", "1: ! *there is no service 'nobody'\n"},
          {"show nobody", "1: ! *no service 'nobody'; kiv remote list *"}});
}

}  // namespace
}  // namespace kiv::testing
