// kiv queue as users run it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"
#include "testing/kiv_command.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

constexpr char kOrderUtf8[] = "\xE8\xAE\xA2\xE5\x8D\x95";  // 订单
constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";

class KivQueue : public KivCommand<> {
 protected:
  KivQueue() : KivCommand("queue") {
    GlobalInit();
    service_.WriteQueues(
        "<q type='msmq' name='.\\private$\\orders'/><q type='com' "
        "name='COM1'/><q type='msmq' name='later'/>");
  }
  ~KivQueue() override { GlobalUninit(); }

  std::string Received(const std::string& name = "orders") {
    const auto queue =
        queues_.OpenQueue(name.c_str(), mq::QueueInfo::ACCESS_RECEIVE);
    std::string all;
    std::string body;
    while (queue != nullptr) {
      const auto message = queue->Receive();
      if (message == nullptr || !message->GetBody(body)) break;
      all += "[" + body + "]";
    }
    return all;
  }

  const ServiceFolder service_;
  mq::MsmqQueueInfo queues_;
};

TEST_F(KivQueue, SendsBytesAsTheyAre) {
  EXPECT_EQ(Run({"send", "orders", "one", "", kOrderUtf8}), 0) << errors_;
  EXPECT_EQ(output_, "3 messages sent\n");
  EXPECT_EQ(Received(), "[one][][" + std::string(kOrderUtf8) + "]");
  const std::string bytes("\0\n\xFF\r\n", 5);
  WriteTestFile("body", bytes);
  EXPECT_EQ(Run({"send", "orders", "a", "-f", "body", "--file", "body"}), 0)
      << errors_;
  EXPECT_EQ(Received(), "[a][" + bytes + "][" + bytes + "]");
  const std::pair<const char*, std::string> sends[] = {
      {"cat body | $KIV queue send orders -s ..", "[" + bytes + "]"},
      {"printf 'x\\n\\ny' | $KIV queue send orders --lines -f -", "[x][][y]"},
      // Nothing is an empty message, and no line.
      {"$KIV queue send orders </dev/null", "[]"},
      {"$KIV queue send orders -f /dev/null", "[]"},
      {"$KIV queue send orders -l </dev/null", ""}};
  for (const auto& [command, received] : sends) {
    EXPECT_EQ(Shell(command), 0) << command << errors_;
    EXPECT_EQ(Received(), received) << command;
  }
  EXPECT_EQ(output_, "0 messages sent\n");
}

TEST_F(KivQueue, SendsInGb2312WhenToldTo) {
  EXPECT_EQ(Run({"send", "orders", "--gb2312", "--label", kOrderUtf8,
                 std::string("a") + kOrderUtf8}),
            0);
  const auto queue = queues_.OpenQueue("orders", mq::QueueInfo::ACCESS_RECEIVE);
  const auto message = queue->ReceiveMessage();
  ASSERT_NE(message, nullptr);
  std::string text;
  EXPECT_TRUE(message->GetBody(text));
  EXPECT_EQ(text, std::string("a") + kOrderGb);
  EXPECT_TRUE(message->GetLabel(text));
  EXPECT_EQ(text, kOrderGb);
  // Nothing is changed silently.
  EXPECT_TRUE(Fails({"send", "orders", "--gb2312", "good", "\xF0\x9F\x98\x80"},
                    "message 2 "))
      << errors_;
  EXPECT_TRUE(Says("sent before it: 1")) << errors_;
  EXPECT_EQ(Run({"send", "orders", "--gb2312", "\xB6\xA9"}), 1);
  EXPECT_EQ(Received(), "[good]");
}

TEST_F(KivQueue, CreatesOnlyWhatIsDeclaredOrAskedFor) {
  EXPECT_TRUE(Fails({"send", "oders", "x"}, "there is no such queue"))
      << errors_;
  EXPECT_TRUE(Says("--create"));
  EXPECT_EQ(Run({"send", "oders", "x", "--create"}), 0);
  EXPECT_EQ(Run({"send", "later", "x"}), 0) << errors_;
  EXPECT_EQ(Run({"send", "orders", "-f", "missing"}), 1);
  EXPECT_TRUE(Says("missing; sent before it: 0")) << errors_;
  EXPECT_TRUE(Fails({"receive", "nothing"}, "there is no such queue"))
      << errors_;
}

TEST_F(KivQueue, PeeksAndReceives) {
  ASSERT_EQ(Run({"send", "orders", "--gb2312", kOrderUtf8, "two", "three"}), 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Run({"peek", "orders"}), 0) << errors_;
    EXPECT_EQ(output_, kOrderGb);
  }
  EXPECT_EQ(Run({"peek", "orders", "--gb2312", "--info"}), 0);
  EXPECT_EQ(output_, kOrderUtf8);
  EXPECT_TRUE(Says("bytes 4  label -")) << errors_;
  EXPECT_EQ(Run({"receive", "orders", "--gb2312", "--lines", "-n", "2"}), 0);
  EXPECT_EQ(output_, std::string(kOrderUtf8) + "\ntwo\n");
  // Fewer than asked for: those, and 1.
  EXPECT_EQ(Run({"receive", "orders", "-n", "2"}), 1);
  EXPECT_EQ(output_, "three");
  EXPECT_TRUE(Says("queue orders is empty"));
  EXPECT_EQ(Run({"receive", "orders"}), 1);
  EXPECT_EQ(Run({"peek", "orders"}), 1);
  EXPECT_EQ(Run({"receive", "orders", "--all"}), 0);
  EXPECT_EQ(output_ + errors_, "");
}

TEST_F(KivQueue, KeepsAMessageThatCannotBeWritten) {
  ASSERT_EQ(Run({"send", "orders", "precious"}), 0);
  EXPECT_EQ(Shell("$KIV queue receive orders > /dev/full"), 1);
  EXPECT_TRUE(Says("back at the end of the queue")) << errors_;
  EXPECT_EQ(Shell("$KIV queue peek orders > /dev/full"), 1);
  EXPECT_EQ(Received(), "[precious]");
  // Another program may have sent more than the queue takes from us.
  ASSERT_EQ(Run({"send", "orders", "first"}), 0);
  ASSERT_EQ(Shell("python3 -c \"import sqlite3\n"
                  "with sqlite3.connect('../queues/orders.queue') as queue:\n"
                  " queue.execute('UPDATE message SET"
                  " body = zeroblob((128 << 20) + 1)')\""),
            0)
      << errors_;
  EXPECT_EQ(Shell("$KIV queue receive orders > /dev/full"), 1);
  EXPECT_TRUE(Says("its body is in kiv-receive-1.body")) << errors_;
  EXPECT_EQ(std::filesystem::file_size("kiv-receive-1.body"), (128u << 20) + 1);
}

TEST_F(KivQueue, WritesWhatItCannotConvertAsItIsAndSaysSo) {
  const std::string bytes = "\xB6\xA9\xFF\xB6";
  WriteTestFile("body", bytes);
  ASSERT_EQ(Run({"send", "orders", "-f", "body"}), 0);
  ASSERT_EQ(Run({"send", "orders", "next"}), 0);
  for (const char* const command : {"peek", "receive"}) {
    EXPECT_EQ(Run({command, "orders", "--gb2312"}), 1);
    EXPECT_EQ(output_, bytes);
    EXPECT_TRUE(Says("written as it is")) << errors_;
  }
  EXPECT_EQ(Received(), "[next]");
}

// A file that is opened next must not get the number of a closed stream.
TEST_F(KivQueue, TakesNothingFromWhereNothingCanBeReadOrWritten) {
  const std::pair<const char*, const char*> sends[] = {
      {"< /tmp", "cannot be read"},
      {"-l < /tmp", "cannot be read"},
      {"-f /tmp", "cannot be read"},
      {"<&-", "standard input is closed"},
      {"-l <&-", "standard input is closed"},
      {"-f - <&-", "standard input is closed"}};
  for (const auto& [end, reason] : sends) {
    EXPECT_EQ(Shell(std::string("$KIV queue send orders ") + end), 1) << end;
    EXPECT_TRUE(Says(reason)) << end << errors_;
  }
  EXPECT_EQ(Received(), "");
  ASSERT_EQ(Run({"send", "orders", "precious"}), 0);
  EXPECT_EQ(Shell("$KIV queue receive orders >&-"), 1);
  EXPECT_EQ(Shell("$KIV queue receive nothing <&- >&- 2>&-"), 1);
  EXPECT_EQ(Received(), "[precious]");
  EXPECT_FALSE(service_.log.Has("precious"));
  EXPECT_FALSE(service_.log.Has("kiv queue"));
}

TEST_F(KivQueue, ListsWhatIsThereAndWhatIsDeclared) {
  ASSERT_EQ(Run({"send", "orders", "one", "two"}), 0);
  ASSERT_EQ(Run({"send", "extra", "x", "--create"}), 0);
  EXPECT_EQ(Run({"list", "-s", ".."}), 0) << errors_;
  const std::size_t line = output_.find("\norders");
  ASSERT_NE(line, std::string::npos) << output_;
  EXPECT_NE(output_.substr(line, 40).find("  2  20"), std::string::npos)
      << output_;
  EXPECT_TRUE(Shows("\nextra ")) << output_;
  EXPECT_TRUE(Shows("not created yet")) << output_;
  EXPECT_FALSE(Shows("COM1"));
  WriteTestFile("../queues/extra.queue", "broken");
  EXPECT_EQ(Run({"list"}), 1);
  EXPECT_TRUE(Shows("damaged")) << output_;
  EXPECT_TRUE(Shows("\norders")) << "one bad queue hides the others";
}

TEST_F(KivQueue, PurgesWhenToldTwice) {
  ASSERT_EQ(Run({"send", "orders", "one", "two"}), 0);
  EXPECT_EQ(Run({"purge", "orders"}), 2);
  EXPECT_TRUE(Says("--yes")) << errors_;
  EXPECT_EQ(Run({"purge", "orders", "--yes"}), 0);
  EXPECT_EQ(output_, "2 messages removed\n");
  EXPECT_EQ(Run({"purge", "nothing", "--yes"}), 1);
  EXPECT_EQ(Received(), "");
}

TEST_F(KivQueue, ShowsNoControlBytesToATerminal) {
  ASSERT_EQ(
      Run({"send", "orders", "--gb2312", std::string("\x1B[2J") + kOrderUtf8}),
      0);
  const PseudoTerminal terminal;
  EXPECT_EQ(Run({"peek", "orders"}, &terminal), 0);
  EXPECT_EQ(output_, "\\x1B[2J" + std::string(kOrderUtf8) + "\n");
}

class KivQueueTerminal : public KivQueue {
 protected:
  // Standard input, output and errors are the terminal.
  std::unique_ptr<RunningProgram> Start(const Words& words) const {
    return std::make_unique<RunningProgram>(
        KIV_PROGRAM, words,
        RunningProgram::Surroundings{.terminal = &terminal_,
                                     .is_interactive = true});
  }
  // The exit code of a purge that is answered so.
  int Purge(const std::string& answer) {
    const auto kiv = Start({"queue", "purge", "orders"});
    EXPECT_TRUE(kiv->WaitForOutput("[y/N] ")) << kiv->Output();
    terminal_.Send(answer + "\n");
    const int exit_code = kiv->WaitForEnd();
    output_ = kiv->Output();
    return exit_code;
  }

  PseudoTerminal terminal_;
};

TEST_F(KivQueueTerminal, IsAskedBeforeAPurge) {
  ASSERT_EQ(Run({"send", "orders", "one", "two"}), 0);
  for (const char* const no : {"", "n", "yesterday", " y"}) {
    EXPECT_EQ(Purge(no), 1) << no;
    EXPECT_EQ(output_,
              "Remove 2 messages of queue orders? [y/N] nothing removed\n");
  }
  EXPECT_EQ(Received(), "[one][two]");
  for (const char* const yes : {"y", "Y", "yes"}) {
    ASSERT_EQ(Run({"send", "orders", "one"}), 0);
    EXPECT_EQ(Purge(yes), 0) << yes;
    EXPECT_TRUE(Shows("[y/N] 1 message removed\n")) << output_;
  }
  EXPECT_EQ(Received(), "");
  const auto kiv = Start({"queue", "purge", "orders"});
  EXPECT_EQ(kiv->WaitForEnd(), 0) << "nothing to ask about";
  EXPECT_EQ(kiv->Output(), "0 messages removed\n");
}

TEST_F(KivQueueTerminal, IsAskedForAMessageThatNobodyGave) {
  const auto kiv = Start({"queue", "send", "orders", "--lines"});
  ASSERT_TRUE(kiv->WaitForOutput("Ctrl-D")) << kiv->Output();
  terminal_.Send("typed\n");
  EXPECT_TRUE(Eventually([&] { return Received() == "[typed]"; }));
}

// Two sends of the same lines that come one by one, for longer than a second.
TEST_F(KivQueueTerminal, IsShownTheProgressOfALongSendAndNobodyElse) {
  ASSERT_TRUE(queues_.Create("orders", nullptr, false));
  ASSERT_EQ(::mkfifo("seen", 0600), 0);
  ASSERT_EQ(::mkfifo("unseen", 0600), 0);
  const auto seen = Start({"queue", "send", "orders", "-l", "-f", "seen"});
  RunningProgram unseen(KIV_PROGRAM,
                        {"queue", "send", "orders", "-l", "-f", "unseen"}, {});
  std::ofstream seen_lines("seen");
  std::ofstream unseen_lines("unseen");
  int lines = 0;
  EXPECT_TRUE(Eventually([&] {
    seen_lines << "x\n" << std::flush;
    unseen_lines << "x\n" << std::flush;
    ++lines;
    return seen->Output().find(" sent") != std::string::npos;
  })) << seen->Output();
  seen_lines.close();
  unseen_lines.close();
  EXPECT_EQ(seen->WaitForEnd(), 0);
  EXPECT_EQ(unseen.WaitForEnd(), 0);
  const std::string end = std::to_string(lines) + " messages sent\n";
  const std::string shown = seen->Output();
  EXPECT_TRUE(shown.starts_with("\r\033[K")) << shown;
  EXPECT_TRUE(shown.ends_with("\r\033[K" + end)) << shown;
  EXPECT_EQ(unseen.Output(), end);
  EXPECT_EQ(unseen.Errors(), "");
}

TEST_F(KivQueue, ExplainsItsUse) {
  const struct {
    Words words;
    int exit_code;
    const char* part;  // of what is said
  } uses[] = {{{"--help"}, 0, "KIV_MSMQ_URL"},
              {{"send", "--help"}, 0, "empty message"},
              {{"receive", "--help"}, 0, "empty queue"},
              {{"purge", "--help"}, 0, "--yes"},
              {{}, 2, "subcommand"},
              {{"grow"}, 2, "kiv queue: there is no command 'grow'"},
              {{"send"}, 2, "name"},
              {{"receive", "orders", "-n", "0"}, 2, "count"},
              {{"receive", "orders", "--all", "-n", "2"}, 2, "excludes"},
              {{"list", "-s", "nowhere"}, 1, "is not a folder"}};
  for (const auto& use : uses) {
    EXPECT_EQ(Run(use.words), use.exit_code) << use.part;
    EXPECT_TRUE(Says(use.part) || Shows(use.part)) << output_ << errors_;
  }
}

}  // namespace
}  // namespace kiv::testing
