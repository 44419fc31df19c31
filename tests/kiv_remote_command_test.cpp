// kiv remote as users run it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "testing/kiv_command.h"
#include "testing/listener.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

#define PROJECT "\xE9\xA1\xB9\xE7\x9B\xAE"  // 项目

class KivRemote : public KivCommand<RemoteTest> {
 protected:
  KivRemote() : KivCommand("remote") {}

  // Its output, or what went wrong.
  std::string Answer(const Words& words) {
    const int code = Run(words);
    return code == 0 ? output_
                     : std::to_string(code) + ": " + output_ + errors_;
  }
};

TEST_F(KivRemote, SetsShowsAndListsServices) {
  EXPECT_EQ(Answer({"list"}),
            "1: kiv remote: ../conf/client.xml: there is no such file; kiv "
            "remote set makes one\n");
  WriteTestFile("code", "secret\nmore\n");
  EXPECT_EQ(Answer({"set", PROJECT, "--ip", "host1", "--port", "10001", "--svc",
                    "Svc", "--project-key", PROJECT, "--access-code-file",
                    "code", "--engine-version", "3"}),
            "");
  EXPECT_EQ(Answer({"set", PROJECT, "--port", "10002"}), "");
  EXPECT_EQ(Answer({"show", PROJECT}),
            "name          " PROJECT
            "\naddress       host1:10002\n"
            "identity      Svc\nproject       " PROJECT
            "\naccess code   set\nversion       3.0\nendpoint      tcp\n"
            "time-out      10 s\n");
  EXPECT_EQ(Answer({"list"}),
            "service  address      identity  project  version  endpoint  "
            "time-out\n" PROJECT "     host1:10002  Svc       " PROJECT
            "     3.0      tcp           10 s\n");
  struct stat status {};
  ASSERT_EQ(::stat("../conf/client.xml", &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  RemoteServiceInfo record{};
  EXPECT_TRUE(rmt_get_remote_server("\xCF\xEE\xC4\xBF", &record));
  EXPECT_STREQ(record.access_code, "secret");

  EXPECT_EQ(Answer({"show", "none"}),
            "1: kiv remote: ../conf/client.xml: there is no service 'none'; "
            "kiv remote list shows all\n");
  EXPECT_EQ(Answer({"set", "a", "--ip", std::string(128, 'h')}),
            "1: kiv remote: --ip is longer than 127 bytes\n");
  EXPECT_EQ(Answer({"set", "a", "--ip", "h"}),
            "1: kiv remote: 'a' has no identity yet: --svc says it\n");
  EXPECT_EQ(Answer({"set", "a", "--svc", "\xF0\x9F\x98\x80"}),
            "1: kiv remote: --svc is no UTF-8 text, or holds a character that "
            "GB2312 (code page 936) lacks\n");
  // A file that only needs mending is not replaced.
  WriteTestFile("../conf/client.xml", "<config>");
  EXPECT_EQ(Run({"set", "a", "--ip", "h"}), 1);
  EXPECT_EQ(ReadTestFile("../conf/client.xml"), "<config>");
}

TEST_F(KivRemote, CallsEveryOperation) {
  const RemoteServant servant;
  const std::string service = "Svc@" + servant.Address();
  EXPECT_EQ(Answer({"set", "s", "--ip", "localhost", "--port",
                    std::to_string(servant.Port()), "--svc", "Svc"}),
            "");
  EXPECT_TRUE(Answer({"ping", "s"}).starts_with("s answers after ")) << errors_;
  EXPECT_EQ(Answer({"version", service}),
            "\xE6\x9C\x8D\xE5\x8A\xA1 1048576.-2147483648.2147483647 "
            "\xE6\xA0\x87\xE7\xAD\xBE \xE2\x82\xAC\n");
  EXPECT_EQ(Answer({"call", "s", "SendCommand", "solutions 2 " PROJECT}),
            "true\n\n");
  EXPECT_EQ(Answer({"solutions", "s"}), PROJECT "0\n" PROJECT "1\n");
  EXPECT_EQ(Answer({"projects", "s", PROJECT}),
            PROJECT "/" PROJECT "0\n" PROJECT "/" PROJECT "1\n");

  const struct {
    Words words;
    const char* says;
  } calls[] = {
      {{"MaxMessageSize"}, "1048576\n"},
      {{"SendCommand", "no \xE9\xA1\xB9"}, "1: false\n\xE9\xA1\xB9\n"},
      {{"IsVersionCompatible", "1", "-2", "3"}, "true\n"},
      {{"IsVersionCompatible", "11", "0", "0"}, "1: false\n"},
      {{"GetProjectID", "min"}, "true\n-2147483648\n"},
      {{"GetProjectId2", "nobody"}, "1: false\n"},
      {{"GetProjectId3", PROJECT, "x"}, "true\n42\n"},
      {{"ReloadConfig"}, "true\n"},
      {{"shutdown"}, ""},
      {{"getsolutions"},
       "2: kiv remote: there is no operation 'getsolutions'; kiv remote call "
       "--help names all\n"},
      {{"GetProjects"}, "2: kiv remote: GetProjects takes 1 parameter\n"},
      {{"IsVersionCompatible", "1", "2", "99999999999"},
       "2: kiv remote: IsVersionCompatible takes three whole numbers\n"},
  };
  for (const auto& call : calls) {
    Words words{"call", service};
    words.insert(words.end(), call.words.begin(), call.words.end());
    // CLI11 takes what begins with "-" and is no number for an option.
    EXPECT_EQ(Answer(words), call.says) << call.words.front();
  }
}

TEST_F(KivRemote, CallsAnAddressFromAnyFolder) {
  const RemoteServant servant;
  const std::string service = "Svc@" + servant.Address();
  const TestFolder elsewhere;
  EXPECT_TRUE(
      Answer({"ping", service}).starts_with(service + " answers after "))
      << errors_;
  EXPECT_EQ(Run({"ping", "-s", ".", service}), 1) << "a folder was asked for";
  EXPECT_TRUE(Fails({"set", "a@b", "--ip", "h"}, ". is no service folder"))
      << errors_;
  for (const auto& entry : std::filesystem::directory_iterator("."))
    EXPECT_TRUE(entry.path().filename().string().starts_with("program"))
        << entry.path() << " was left behind";
}

TEST_F(KivRemote, SaysHostPortAndCause) {
  int closed = 0;
  {
    const Listener listener;
    closed = listener.Port();
  }
  const Listener silent;
  const RemoteServant servant;
  const auto at = [](int port) { return "127.0.0.1:" + std::to_string(port); };
  const auto fails = [&](const Words& words, const std::string& text) {
    EXPECT_TRUE(Fails(words, text)) << errors_;
  };
  fails({"ping", "Svc@" + at(closed)}, "kiv remote: Svc@" + at(closed) + ": " +
                                           at(closed) +
                                           ": connection refused\n");
  fails({"ping", "-t", "0.5", "Svc@" + at(silent.Port())},
        at(silent.Port()) + ": no answer in 0.5 s\n");
  fails({"ping", "nobody"}, "cannot be read");
  ASSERT_EQ(Run({"set", "s", "--ip", "127.0.0.1", "--port",
                 std::to_string(servant.Port()), "--svc", "Svc",
                 "--engine-version", "11"}),
            0);
  fails({"solutions", "s"},
        "kiv remote: s: " + servant.Address() +
            ": the server is not compatible with version 11.0\n");
  fails({"ping", "nobody"}, "there is no service 'nobody'\n");
  // A look at the service itself is no matter of versions.
  EXPECT_EQ(Run({"ping", "s"}), 0) << errors_;
}

}  // namespace
}  // namespace kiv::testing
