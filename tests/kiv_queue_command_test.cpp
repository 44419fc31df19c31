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
#include "testing/pseudo_terminal.h"
#include "testing/running_program.h"
#include "testing/service_folder.h"

namespace kiv::testing {
namespace {

using Words = std::vector<std::string>;

constexpr char kOrderUtf8[] = "\xE8\xAE\xA2\xE5\x8D\x95";  // 订单
constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";

class KivQueue : public ::testing::Test {
 protected:
  KivQueue() {
    GlobalInit();
    service_.WriteQueues(
        "<q type='msmq' name='.\\private$\\orders'/><q type='com' "
        "name='COM1'/><q type='msmq' name='later'/>");
  }
  ~KivQueue() override { GlobalUninit(); }

  // The exit code; output and errors are kept.
  int Run(const Words& words, const PseudoTerminal* terminal = nullptr) {
    Words all{"queue"};
    all.insert(all.end(), words.begin(), words.end());
    RunningProgram kiv(KIV_PROGRAM, all, {.terminal = terminal});
    const int exit_code = kiv.WaitForEnd();
    output_ = kiv.Output();
    errors_ = kiv.Errors();
    return exit_code;
  }
  // With redirections.
  int Shell(const std::string& command) {
    RunningProgram shell("/bin/sh", {"-c", command},
                         {.variables = {"KIV=" KIV_PROGRAM}});
    const int exit_code = shell.WaitForEnd();
    output_ = shell.Output();
    errors_ = shell.Errors();
    return exit_code;
  }
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
  bool Says(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  const ServiceFolder service_;
  mq::MsmqQueueInfo queues_;
  std::string output_;
  std::string errors_;
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
  EXPECT_EQ(Shell("cat body | $KIV queue send orders -s .."), 0) << errors_;
  EXPECT_EQ(Received(), "[" + bytes + "]");
  EXPECT_EQ(Shell("printf 'x\\n\\ny' | $KIV queue send orders --lines -f -"),
            0);
  EXPECT_EQ(Received(), "[x][][y]");
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
  EXPECT_EQ(Run({"send", "orders", "--gb2312", "good", "\xF0\x9F\x98\x80"}), 1);
  EXPECT_TRUE(Says(errors_, "message 2 ")) << errors_;
  EXPECT_TRUE(Says(errors_, "sent before it: 1")) << errors_;
  EXPECT_EQ(Run({"send", "orders", "--gb2312", "\xB6\xA9"}), 1);
  EXPECT_EQ(Received(), "[good]");
}

TEST_F(KivQueue, CreatesOnlyWhatIsDeclaredOrAskedFor) {
  EXPECT_EQ(Run({"send", "oders", "x"}), 1);
  EXPECT_TRUE(Says(errors_, "there is no such queue")) << errors_;
  EXPECT_TRUE(Says(errors_, "--create"));
  EXPECT_EQ(Run({"send", "oders", "x", "--create"}), 0);
  EXPECT_EQ(Run({"send", "later", "x"}), 0) << errors_;
  EXPECT_EQ(Run({"send", "orders", "-f", "missing"}), 1);
  EXPECT_TRUE(Says(errors_, "missing; sent before it: 0")) << errors_;
  EXPECT_EQ(Run({"receive", "nothing"}), 1);
  EXPECT_TRUE(Says(errors_, "there is no such queue")) << errors_;
}

TEST_F(KivQueue, PeeksAndReceives) {
  ASSERT_EQ(Run({"send", "orders", "--gb2312", kOrderUtf8, "two", "three"}), 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Run({"peek", "orders"}), 0) << errors_;
    EXPECT_EQ(output_, kOrderGb);
  }
  EXPECT_EQ(Run({"peek", "orders", "--gb2312", "--info"}), 0);
  EXPECT_EQ(output_, kOrderUtf8);
  EXPECT_TRUE(Says(errors_, "bytes 4  label -")) << errors_;
  EXPECT_EQ(Run({"receive", "orders", "--gb2312", "--lines", "-n", "2"}), 0);
  EXPECT_EQ(output_, std::string(kOrderUtf8) + "\ntwo\n");
  // Fewer than asked for: those, and 1.
  EXPECT_EQ(Run({"receive", "orders", "-n", "2"}), 1);
  EXPECT_EQ(output_, "three");
  EXPECT_TRUE(Says(errors_, "queue orders is empty"));
  EXPECT_EQ(Run({"receive", "orders"}), 1);
  EXPECT_EQ(Run({"peek", "orders"}), 1);
  EXPECT_EQ(Run({"receive", "orders", "--all"}), 0);
  EXPECT_EQ(output_ + errors_, "");
}

TEST_F(KivQueue, KeepsAMessageThatCannotBeWritten) {
  ASSERT_EQ(Run({"send", "orders", "precious"}), 0);
  EXPECT_EQ(Shell("$KIV queue receive orders > /dev/full"), 1);
  EXPECT_TRUE(Says(errors_, "back at the end of the queue")) << errors_;
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
  EXPECT_TRUE(Says(errors_, "its body is in kiv-receive-1.body")) << errors_;
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
    EXPECT_TRUE(Says(errors_, "written as it is")) << errors_;
  }
  EXPECT_EQ(Received(), "[next]");
}

TEST_F(KivQueue, SendsNothingOfWhatCannotBeRead) {
  for (const char* const command :
       {"$KIV queue send orders < /tmp", "$KIV queue send orders -l < /tmp",
        "$KIV queue send orders -f /tmp"}) {
    EXPECT_EQ(Shell(command), 1) << command;
    EXPECT_TRUE(Says(errors_, "cannot be read")) << command << errors_;
  }
  EXPECT_EQ(Received(), "");
}

// A file that is opened next must not get their numbers.
TEST_F(KivQueue, TakesNoOtherFileForAStreamThatIsClosed) {
  for (const char* const command :
       {"$KIV queue send orders <&-", "$KIV queue send orders -l <&-",
        "$KIV queue send orders -f - <&-"}) {
    EXPECT_EQ(Shell(command), 1) << command;
    EXPECT_TRUE(Says(errors_, "standard input is closed")) << errors_;
  }
  EXPECT_EQ(Received(), "");
  ASSERT_EQ(Run({"send", "orders", "precious"}), 0);
  EXPECT_EQ(Shell("$KIV queue receive orders >&-"), 1);
  EXPECT_EQ(Shell("$KIV queue receive nothing <&- >&- 2>&-"), 1);
  EXPECT_EQ(Received(), "[precious]");
  EXPECT_FALSE(service_.log.Has("precious"));
  EXPECT_FALSE(service_.log.Has("kiv queue"));
}

TEST_F(KivQueue, SendsNothingAsAnEmptyMessage) {
  EXPECT_EQ(Shell("$KIV queue send orders </dev/null"), 0) << errors_;
  EXPECT_EQ(Shell("$KIV queue send orders -f /dev/null"), 0) << errors_;
  EXPECT_EQ(Received(), "[][]");
  EXPECT_EQ(Shell("$KIV queue send orders -l </dev/null"), 0) << errors_;
  EXPECT_EQ(output_, "0 messages sent\n");
  EXPECT_EQ(Received(), "");
}

TEST_F(KivQueue, ListsWhatIsThereAndWhatIsDeclared) {
  ASSERT_EQ(Run({"send", "orders", "one", "two"}), 0);
  ASSERT_EQ(Run({"send", "extra", "x", "--create"}), 0);
  EXPECT_EQ(Run({"list", "-s", ".."}), 0) << errors_;
  const std::size_t line = output_.find("\norders");
  ASSERT_NE(line, std::string::npos) << output_;
  EXPECT_TRUE(Says(output_.substr(line, 40), "  2  20")) << output_;
  EXPECT_TRUE(Says(output_, "\nextra ")) << output_;
  EXPECT_TRUE(Says(output_, "not created yet")) << output_;
  EXPECT_FALSE(Says(output_, "COM1"));
  WriteTestFile("../queues/extra.queue", "broken");
  EXPECT_EQ(Run({"list"}), 1);
  EXPECT_TRUE(Says(output_, "damaged")) << output_;
  EXPECT_TRUE(Says(output_, "\norders")) << "one bad queue hides the others";
}

TEST_F(KivQueue, PurgesWhenToldTwice) {
  ASSERT_EQ(Run({"send", "orders", "one", "two"}), 0);
  EXPECT_EQ(Run({"purge", "orders"}), 2);
  EXPECT_TRUE(Says(errors_, "--yes")) << errors_;
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
    EXPECT_TRUE(Says(output_, "[y/N] 1 message removed\n")) << output_;
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
    return Says(seen->Output(), " sent");
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

struct Usage {
  const char* name;
  Words words;
  int exit_code;
  const char* part;  // of what is said
};

class KivQueueUsage : public KivQueue,
                      public ::testing::WithParamInterface<Usage> {};

TEST_P(KivQueueUsage, IsExplained) {
  EXPECT_EQ(Run(GetParam().words), GetParam().exit_code);
  EXPECT_TRUE(Says(output_ + errors_, GetParam().part)) << output_ << errors_;
}

INSTANTIATE_TEST_SUITE_P(
    Command, KivQueueUsage,
    ::testing::Values(
        Usage{"Help", {"--help"}, 0, "KIV_MSMQ_URL"},
        Usage{"SendHelp", {"send", "--help"}, 0, "empty message"},
        Usage{"ReceiveHelp", {"receive", "--help"}, 0, "empty queue"},
        Usage{"PurgeHelp", {"purge", "--help"}, 0, "--yes"},
        Usage{"Nothing", {}, 2, "subcommand"},
        Usage{"OtherCommand",
              {"grow"},
              2,
              "kiv queue: there is no command 'grow'"},
        Usage{"NoName", {"send"}, 2, "name"},
        Usage{"NoCount", {"receive", "orders", "-n", "0"}, 2, "count"},
        Usage{"AllAndCount",
              {"receive", "orders", "--all", "-n", "2"},
              2,
              "excludes"},
        Usage{"NoService", {"list", "-s", "nowhere"}, 1, "is not a folder"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace kiv::testing
