// kiv queue as users run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "kiv_session.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

#define ORDER "\xE8\xAE\xA2\xE5\x8D\x95"  // 订单
#define ORDER_GB "\xB6\xA9\xB5\xA5"

class KivQueue : public KivSession<> {
 protected:
  KivQueue() : KivSession("queue") {
    GlobalInit();
    service_.WriteQueues(
        "<q type='msmq' name='.\\private$\\orders'/><q type='com' "
        "name='COM1'/><q type='msmq' name='later'/>");
  }
  ~KivQueue() override { GlobalUninit(); }

  std::string Received() {
    const auto queue =
        queues_.OpenQueue("orders", mq::QueueInfo::ACCESS_RECEIVE);
    std::string all;
    while (queue != nullptr) {
      const auto message = queue->ReceiveMessage();
      std::string body;
      if (message == nullptr || !message->GetBody(body)) break;
      message->GetLabel(label_);
      all += "[" + body + "]";
    }
    return all;
  }

  const ServiceFolder service_;
  mq::MsmqQueueInfo queues_;
  std::string label_;  // of the last one received
};

TEST_F(KivQueue, SendsBytesAsTheyAre) {
  const std::string bytes("\0\n\xFF\r\n", 5);
  const std::string body = "[" + bytes + "]";
  WriteTestFile("body", bytes);
  WriteTestFile("lines", "x\n\ny");
  const struct {
    const char* words;
    const char* count;
    std::string received;
  } sends[] = {
      {ORDER " '' -f body --file body", "4", "[" ORDER "][]" + body + body},
      {"-s .. < body", "1", body},
      {"--lines -f - < lines", "3", "[x][][y]"},
      // Nothing is an empty message, and no line.
      {"</dev/null", "1", "[]"},
      {"-f /dev/null", "1", "[]"},
      {"-l </dev/null", "0", ""}};
  for (const auto& [words, count, received] : sends) {
    Expect({{std::string("send orders ") + words,
             std::string(count) + " message* sent\n"}});
    EXPECT_EQ(Received(), received) << words;
  }
}

TEST_F(KivQueue, SendsInGb2312WhenToldTo) {
  Expect(
      {{"send orders --gb2312 --label " ORDER " a" ORDER, "1 message sent\n"}});
  EXPECT_EQ(Received(), "[a" ORDER_GB "]");
  EXPECT_EQ(label_, ORDER_GB);
  // Nothing is changed silently.
  Expect({{"send orders --gb2312 good \xF0\x9F\x98\x80",
           "1: ! * message 2 *; sent before it: 1\n"},
          {"send orders --gb2312 \xB6\xA9", "1: *"}});
  EXPECT_EQ(Received(), "[good]");
}

TEST_F(KivQueue, CreatesOnlyWhatIsDeclaredOrAskedFor) {
  Expect({{"send oders x", "1: ! *there is no such queue*--create*"},
          {"send oders x --create", "1 message sent\n"},
          {"send later x", "1 message sent\n"},
          {"receive nothing", "1: ! *there is no such queue*"}});
}

TEST_F(KivQueue, PeeksAndReceives) {
  const std::string told = "1: \xB6\xA9\xFF\xB6! *was written as it is\n";
  // Fewer than asked for: those, and 1.
  Expect({{"send orders --gb2312 " ORDER " two three", "3 messages sent\n"},
          {"peek orders", ORDER_GB},
          {"peek orders --gb2312 --info", ORDER "! *bytes 4  label -\n"},
          {"receive orders --gb2312 --lines -n 2", ORDER "\ntwo\n"},
          {"receive orders -n 2", "1: three! *queue orders is empty\n"},
          {"peek orders", "1: ! *is empty\n"},
          {"receive orders --all", ""},
          // What cannot be converted is written as it is.
          {"send orders \xB6\xA9\xFF\xB6", "*"},
          {"peek orders --gb2312", told},
          {"receive orders --gb2312", told},
          {"receive orders --all", ""}});
}

TEST_F(KivQueue, KeepsAMessageThatCannotBeWritten) {
  Expect({{"send orders precious", "*"},
          {"receive orders > /dev/full", "1: ! *is back at the end of the *"},
          {"peek orders > /dev/full", "1: ! *could not be written\n"}});
  EXPECT_EQ(Received(), "[precious]");
  // Another program may have sent more than the queue takes from us.
  Expect({{"send orders first && python3 -c \"import sqlite3\n"
           "with sqlite3.connect('../queues/orders.queue') as queue:\n"
           " queue.execute('UPDATE message SET"
           " body = zeroblob((128 << 20) + 1)')\"",
           "1 message sent\n"},
          {"receive orders > /dev/full",
           "1: ! *its body is in kiv-receive-1.body\n"}});
  EXPECT_EQ(fs::file_size("kiv-receive-1.body"), (128u << 20) + 1);
}

// A file that is opened next must not get the number of a closed stream.
TEST_F(KivQueue, TakesNothingFromWhereNothingCanBeReadOrWritten) {
  Expect({{"send orders < /tmp", "1: ! *message 1 cannot be read*"},
          {"send orders -l < /tmp", "1: ! *message 1 cannot be read*"},
          {"send orders -f none", "1: ! *none; sent before it: 0\n"},
          {"send orders -f - <&-", "1: ! *standard input is closed*"},
          {"send orders precious", "1 message sent\n"},
          {"receive orders >&-", "1: *"},
          {"receive nothing <&- >&- 2>&-", "1: "}});
  EXPECT_EQ(Received(), "[precious]");
  EXPECT_FALSE(service_.log.Has("precious"));
  EXPECT_FALSE(service_.log.Has("kiv queue"));
}

TEST_F(KivQueue, ListsWhatIsThereAndWhatIsDeclared) {
  Expect({{"send orders one two", "*"},
          {"send extra x --create", "*"},
          {"list -s ..",
           "*\nextra *\norders * 2  20*\nlater *not created yet\n"}});
  EXPECT_FALSE(Shows("COM1"));
  WriteTestFile("../queues/extra.queue", "broken");
  // One bad queue does not hide the others.
  Expect({{"list", "1: *damaged*\norders * 2  20*"}});
}

TEST_F(KivQueue, AsksAtATerminalBeforeAPurge) {
  Expect({{"send orders one two", "*"}, {"purge orders", "2: ! *add --yes\n"}});
  const struct {
    const char* answer;
    const char* shown;
    int exit_code;
  } purges[] = {{"", "nothing removed", 1},
                {" y", "nothing removed", 1},
                {"Y", "2 messages removed", 0},
                {"yes", "1 message removed", 0}};
  for (const auto& [answer, shown, exit_code] : purges) {
    AtTerminal kiv({"queue", "purge", "orders"});
    kiv.Type("", "of queue orders? [y/N] ");
    kiv.Type(std::string(answer) + "\n", shown);
    EXPECT_EQ(kiv.WaitForEnd(), exit_code) << answer;
    if (exit_code == 0) Expect({{"send orders three", "*"}});
  }
  Expect({{"purge orders --yes", "1 message removed\n"}});
  // Nothing to ask about.
  AtTerminal kiv({"queue", "purge", "orders"});
  EXPECT_EQ(kiv.WaitForEnd(), 0);
  EXPECT_EQ(kiv.Output(), "0 messages removed\n");
}

TEST_F(KivQueue, AsksAtATerminalForAMessageAndShowsNoControlBytesThere) {
  AtTerminal send({"queue", "send", "orders", "--lines", "--gb2312"});
  send.Type("", "Ctrl-D");
  send.Type("\x1B[2J" ORDER "\n", "");
  EXPECT_TRUE(Eventually([this] { return Kiv("peek orders")[0] != '1'; }));
  AtTerminal peek({"queue", "peek", "orders"});
  EXPECT_EQ(peek.WaitForEnd(), 0);
  EXPECT_EQ(peek.Output(), "\\x1B[2J" ORDER "\n");
}

TEST_F(KivQueue, ShowsTheProgressOfALongSendAtATerminalAlone) {
  Expect({{"send orders first", "*"}});
  const std::string send =
      "for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15; do echo x; sleep 0.2; "
      "done "
      "| $KIV queue send orders -l";
  AtTerminal seen({"-c", send}, {"KIV=" KIV_PROGRAM}, "/bin/sh");
  EXPECT_EQ(Shell(send), 0);
  EXPECT_EQ(output_ + errors_, "15 messages sent\n");
  EXPECT_EQ(seen.WaitForEnd(), 0);
  ExpectMatch(seen.Output(), "\r\033[[]K* sent*\r\033[[]K15 messages sent\n");
}

}  // namespace
}  // namespace kiv::testing
