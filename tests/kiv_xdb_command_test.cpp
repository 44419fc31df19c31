// kiv xdb as users run it.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kiv/encoding.h"
#include "kiv/startup.h"
#include "kiv/xdb.h"
#include "testing/eventually.h"
#include "testing/kiv_command.h"
#include "testing/pseudo_terminal.h"
#include "testing/running_program.h"
#include "xdb/container/container.h"
#include "xdb/container/container_reading.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kOrder[] = "\xE8\xAE\xA2\xE5\x8D\x95";  // 订单
constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";

class KivXdb : public KivCommand<::testing::Test> {
 protected:
  KivXdb() : KivCommand("xdb") {}

  int Run(Words words, const PseudoTerminal* terminal = nullptr) {
    words.insert(words.begin(), {"-d", "db"});
    return KivCommand::Run(words, terminal);
  }
  // The documents of a container, a line each.
  std::string Listed(const std::string& container) {
    EXPECT_EQ(Run({"ls", container}), 0) << errors_;
    return output_;
  }
  std::string Content(const std::string& container, const std::string& name) {
    return Run({"get", container, name}) == 0 ? output_ : "-";
  }
  bool Fails(const Words& words, const std::string& error) {
    return Run(words) == 1 && KivCommand::Says(error);
  }
  static bool Says(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  const TestFolder folder_;
};

TEST_F(KivXdb, MakesAFolderOnlyWhenToldTo) {
  EXPECT_TRUE(Fails({"ls"}, "'db' holds no XML database; kiv xdb create"));
  EXPECT_TRUE(Fails({"put", "c", "x"}, "holds no XML database"));
  EXPECT_FALSE(fs::exists("db"));
  EXPECT_EQ(Run({"create", kOrder, "a"}), 0) << errors_;
  EXPECT_EQ(Run({"ls"}), 0);
  EXPECT_EQ(output_, std::string("a\n") + kOrder + "\n");
  EXPECT_TRUE(Fails({"create", "a"}, "there is a container 'a' already"));
  EXPECT_TRUE(Fails({"create", "0xa"}, "cannot name a container"));
  EXPECT_TRUE(Fails({"create", "\xF0\x9F\x98\x80"}, "code page 936"));
  EXPECT_TRUE(Fails({"ls", "oders"}, "there is no container 'oders'"));
  EXPECT_FALSE(fs::exists("Logfiles"));
}

TEST_F(KivXdb, StoresFilesAndFolders) {
  fs::create_directories(std::string("in/") + kOrder);
  WriteTestFile("one.xml", "<one/>");
  WriteTestFile("in/b.XML", "<b/>");
  WriteTestFile(std::string("in/") + kOrder + "/c.xml", "<c/>");
  WriteTestFile("in/notes.txt", "no xml");
  ASSERT_EQ(Run({"create", "other"}), 0);
  EXPECT_TRUE(Fails({"put", "c", "one.xml"}, "there is no container 'c'"));
  EXPECT_EQ(Run({"put", "-c", "c", "one.xml", "in"}), 0) << errors_;
  EXPECT_TRUE(Says(errors_, "left out 1 file without .xml")) << errors_;
  EXPECT_TRUE(Says(errors_, "3 documents stored"));
  EXPECT_EQ(Listed("c"), std::string("b.XML\none.xml\n") + kOrder + "/c.xml\n");
  EXPECT_EQ(Shell("echo '<s/>' | $KIV xdb -d db put c - -n s"), 0) << errors_;
  EXPECT_EQ(Content("c", "s"), "<s/>");
  // Without a name it gets one, which is printed.
  EXPECT_EQ(Shell("echo '<t/>' | $KIV xdb -d db put c -"), 0) << errors_;
  ASSERT_FALSE(output_.empty());
  output_.pop_back();
  EXPECT_EQ(Content("c", output_), "<t/>");
}

TEST_F(KivXdb, PrintsBytesAndShowsText) {
  ASSERT_EQ(Run({"create", "c"}), 0);
  const std::string gb =
      std::string("<?xml version=\"1.0\" encoding=\"GB2312\"?><a>") + kOrderGb +
      "</a>";
  WriteTestFile("gb.xml", gb);
  ASSERT_EQ(Run({"put", "c", "gb.xml"}), 0) << errors_;
  EXPECT_TRUE(Says(Content("c", "gb.xml"), kOrderGb));
  EXPECT_EQ(Run({"get", "c", "gb.xml", "-o", "out"}), 0);
  EXPECT_TRUE(Says(ReadTestFile("out"), kOrderGb));
  EXPECT_EQ(Run({"get", "c", "gb.xml", "-o", "/dev/full"}), 1);
  EXPECT_TRUE(Says(errors_, "/dev/full cannot be written")) << errors_;
  const PseudoTerminal terminal;
  EXPECT_EQ(Run({"get", "c", "gb.xml"}, &terminal), 0);
  EXPECT_TRUE(Says(output_, std::string("<a>") + kOrder + "</a>")) << output_;
  EXPECT_EQ(Run({"get", "c", "gb.xml", "other", "-o", "out"}), 2);
  EXPECT_TRUE(Fails({"get", "c", "missing"}, "missing")) << errors_;
  EXPECT_EQ(Shell("$KIV xdb -d db get c gb.xml > /dev/full"), 1);
}

TEST_F(KivXdb, NamesTheFileThatFailsAndTakesItsBatchBack) {
  ASSERT_EQ(Run({"create", "c"}), 0);
  fs::create_directory("in");
  for (const char* name : {"1", "2", "3", "5"})
    WriteTestFile(std::string("in/") + name + ".xml", "<a/>");
  WriteTestFile("in/4.xml", "<a>");
  EXPECT_TRUE(Fails({"put", "c", "in", "--batch", "2"}, "in/4.xml: "))
      << errors_;
  EXPECT_TRUE(Says(errors_, "stored before it: 2, nothing of its batch"));
  EXPECT_EQ(Listed("c"), "1.xml\n2.xml\n");
  // All that are there are replaced, and all that are not are stored.
  WriteTestFile("in/4.xml", "<b/>");
  EXPECT_TRUE(Fails({"put", "c", "in"}, "in/1.xml: "));
  WriteTestFile("in/1.xml", "<b/>");
  EXPECT_EQ(Run({"put", "-r", "c", "in"}), 0) << errors_;
  EXPECT_EQ(Content("c", "1.xml") + Content("c", "5.xml"), "<b/><a/>");
  EXPECT_TRUE(Fails({"put", "c", "missing.xml"}, "missing.xml: No such file"));
  EXPECT_TRUE(Fails({"put", "c", "/dev/zero"}, "no regular file"));
}

TEST_F(KivXdb, RemovesAndRenames) {
  WriteTestFile("a.xml", "<a/>");
  WriteTestFile("b.xml", "<b/>");
  ASSERT_EQ(Run({"create", "c"}), 0);
  ASSERT_EQ(Run({"put", "c", "a.xml", "b.xml"}), 0) << errors_;
  EXPECT_TRUE(Fails({"del", "c", "a.xml", "missing"}, "nothing removed"));
  EXPECT_EQ(Listed("c"), "a.xml\nb.xml\n");
  EXPECT_EQ(Run({"rename", "c", "a.xml", kOrder}), 0) << errors_;
  EXPECT_TRUE(Fails({"rename", "c", "b.xml", kOrder}, "cannot be renamed"));
  EXPECT_EQ(Run({"del", "c", "b.xml"}), 0) << errors_;
  EXPECT_EQ(Listed("c"), std::string(kOrder) + "\n");
  EXPECT_EQ(Run({"del", "c"}), 2);

  ASSERT_EQ(Run({"create", "taken"}), 0);
  EXPECT_TRUE(Fails({"rename", "c", "taken"}, "already"));
  EXPECT_EQ(Run({"rename", "c", "d"}), 0) << errors_;
  EXPECT_EQ(Listed("d"), std::string(kOrder) + "\n");
  EXPECT_EQ(Run({"del", "d", "--container"}), 2);
  EXPECT_TRUE(Says(errors_, "add --yes"));
  EXPECT_EQ(Run({"del", "d", "--container", "--yes"}), 0) << errors_;
  EXPECT_TRUE(Fails({"ls", "d"}, "no container"));
}

TEST_F(KivXdb, TakesAnyNameThroughADump) {
  const Words names = {"plain",
                       "with.xml",
                       ".xml",
                       "x.XML",
                       "a%2Fb",
                       "a/b",
                       "../../etc/x",
                       ".",
                       "..",
                       ".hidden",
                       "a\\b:c*?<>|\"",
                       " blank ",
                       "line\nfeed\x01",
                       kOrder,
                       "%.xml",
                       std::string(700, 'n') + ".xml",
                       std::string(200, '/')};
  GlobalInit();
  {
    XDbManager manager;
    XDbContainer container;
    ASSERT_TRUE(manager.Open("db", 0x0C, nullptr, nullptr));
    ASSERT_TRUE(manager.CreateContainer("c", container, 0x0C));
    for (const std::string& name : names) {
      std::string local = utf8ToString(name.c_str(), 0).get();
      std::string content = "<d n='" + std::to_string(name.size()) + "'/>";
      ASSERT_TRUE(container.PutDocument(local, content)) << manager.LastError();
    }
  }
  GlobalUninit();
  EXPECT_EQ(Run({"dump", "c", "out"}), 0) << errors_;
  EXPECT_TRUE(fs::is_regular_file("out/with.xml"));
  EXPECT_TRUE(fs::is_regular_file("out/plain%.xml"));
  EXPECT_TRUE(fs::is_regular_file(std::string("out/") + kOrder + "%.xml"));
  EXPECT_FALSE(fs::exists("out.part"));
  const std::string before = Listed("c");
  EXPECT_EQ(Run({"load", "again", "out"}), 0) << errors_;
  EXPECT_EQ(Listed("again"), before);
  EXPECT_EQ(Content("again", "../../etc/x"), Content("c", "../../etc/x"));
  EXPECT_TRUE(Fails({"load", "again", "out"}, "already"));
  EXPECT_EQ(Run({"load", "again", "out", "-r"}), 0) << errors_;
  EXPECT_EQ(Run({"dump", "--salvage", "c", "saved"}), 0) << errors_;
  EXPECT_EQ(Shell("diff -r out saved"), 0) << output_;

  EXPECT_TRUE(Fails({"dump", "c", "out"}, "is there already, and not empty"));
  // As a shell completes the name of an empty folder.
  fs::create_directory("empty");
  EXPECT_EQ(Run({"dump", "c", "empty/"}), 0) << errors_;
  EXPECT_EQ(Shell("diff -r out empty"), 0) << output_;
  // Nothing of anybody's is removed for it.
  fs::create_directory("mine.part");
  WriteTestFile("mine.part/kept", "");
  EXPECT_TRUE(Fails({"dump", "c", "mine"}, "mine.part is in the way"));
  EXPECT_TRUE(fs::exists("mine.part/kept"));
  WriteTestFile("out/strange%file.xml", "<a/>");
  EXPECT_TRUE(Fails({"load", "more", "out"}, "strange%file.xml is not named"));
  EXPECT_TRUE(Fails({"load", "more", "nowhere"}, "nowhere: "));
}

// Others are in the way of its index, which is written with the commit.
TEST_F(KivXdb, StoresABatchAgainThatOthersWereInTheWayOf) {
  fs::create_directory("db");
  WriteTestFile("db/DB_CONFIG", "set_lock_timeout 200000\n");
  WriteTestFile("a", "<a>1</a>");
  WriteTestFile("b", "<a>2</a>");
  ASSERT_EQ(Run({"put", "-c", "c", "a"}), 0) << errors_;
  GlobalInit();
  {
    const auto environment = std::make_shared<xdb::Environment>();
    ASSERT_EQ(
        environment->Open("db", {.thread = true, .transactions = true}, ""), 0);
    const auto container = xdb::OpenContainer(
        environment, "c.xdb", {.thread = true, .transactional = true});
    const auto transaction = environment->Begin();
    const xdb::ContainerReading reading(*container, transaction.get());
    xdb::IndexHits hits = reading.Find(xdb::ValueRange::All(1));
    xdb::IndexHit hit;
    ASSERT_TRUE(hits.Next(hit));
    RunningProgram kiv(KIV_PROGRAM, {"xdb", "-d", "db", "put", "c", "b"}, {});
    // For longer than it waits for a lock.
    EXPECT_FALSE(Eventually([&] { return !kiv.Errors().empty(); },
                            std::chrono::seconds(3)));
    transaction->Abort();
    EXPECT_EQ(kiv.WaitForEnd(), 0) << kiv.Errors();
  }
  GlobalUninit();
  EXPECT_EQ(Listed("c"), "a\nb\n");
}

TEST_F(KivXdb, LooksAfterContainers) {
  WriteTestFile("a.xml", "<a x='1'>t</a>");
  ASSERT_EQ(Run({"create", "c", "d"}), 0);
  ASSERT_EQ(Run({"put", "c", "a.xml"}), 0) << errors_;
  EXPECT_EQ(Run({"verify"}), 0) << output_;
  EXPECT_EQ(output_, "c: sound\nd: sound\n");
  EXPECT_EQ(Run({"stat"}), 0) << errors_;
  EXPECT_TRUE(Says(output_, "container  documents"));
  EXPECT_TRUE(Says(output_, "\nc                  1"));
  EXPECT_TRUE(Says(output_, "\nlog files: 1, "));
  EXPECT_EQ(Run({"ls", "-l"}), 0);
  EXPECT_TRUE(Says(output_, "index entries"));
  EXPECT_EQ(Run({"checkpoint", "--list"}), 0) << errors_;
  EXPECT_EQ(Run({"recover"}), 0) << errors_;
  EXPECT_EQ(Run({"recover", "--catastrophic"}), 0) << errors_;
  EXPECT_EQ(Listed("c"), "a.xml\n");
}

TEST_F(KivXdb, SavesWhatCanBeReadOfADamagedContainer) {
  fs::create_directory("in");
  const std::string text(2000, 't');
  for (int i = 0; i < 300; ++i)
    WriteTestFile("in/" + std::to_string(i) + ".xml", "<a>" + text + "</a>");
  ASSERT_EQ(Run({"create", "sound"}), 0);
  ASSERT_EQ(Run({"put", "-c", "c", "in"}), 0) << errors_;
  // What is in front of the text in some documents.
  std::string bytes = ReadTestFile("db/c.xdb");
  int damaged = 0;
  for (std::size_t at = bytes.find(text); at != std::string::npos;
       at = bytes.find(text, at + text.size()))
    if (++damaged % 10 == 0) bytes.replace(at - 4, 5, "\xA5\xA5\xA5\xA5\xA5");
  ASSERT_GE(damaged, 300);
  WriteTestFile("db/c.xdb", bytes);
  EXPECT_EQ(Run({"verify"}), 1);
  EXPECT_TRUE(Says(output_, "c: fault: document '")) << output_;
  EXPECT_TRUE(Says(output_, "sound: sound")) << output_;
  // Whole or not at all.
  EXPECT_EQ(Run({"dump", "c", "out"}), 1);
  EXPECT_TRUE(Says(errors_, "is damaged")) << errors_;
  EXPECT_FALSE(fs::exists("out") || fs::exists("out.part"));
  EXPECT_EQ(Run({"dump", "--salvage", "c", "out"}), 0) << errors_;
  int saved = 0;
  for (const auto& file : fs::directory_iterator("out")) {
    ++saved;
    EXPECT_EQ(ReadTestFile(file.path()), "<a>" + text + "</a>");
  }
  EXPECT_GE(saved, 270);
  EXPECT_LT(saved, 300);
}

TEST_F(KivXdb, RunsScripts) {
  WriteTestFile("a b.xml", "<a/>");
  EXPECT_EQ(Shell("printf 'create c # new\n\n  put c \"a b.xml\"\\r\nput c "
                  "a\\\\ b.xml -n \"x\"\nls c\nrecover\nverify\n' | "
                  "$KIV xdb -d db script"),
            0)
      << errors_;
  EXPECT_EQ(output_, "a b.xml\nx\nrecovered\nc: sound\n");
  EXPECT_EQ(Shell("printf 'ls\nls missing\nls\n' | $KIV xdb script -d db"), 1);
  EXPECT_EQ(output_, "c\n");
  EXPECT_TRUE(Says(errors_, "line 2 failed")) << errors_;
  EXPECT_EQ(Shell("printf 'frobnicate\n' | $KIV xdb -d db script"), 2);
  EXPECT_TRUE(Says(errors_, "kiv xdb: there is no command 'frobnicate'"))
      << errors_;
  EXPECT_EQ(Shell("printf 'ls \"c\n' | $KIV xdb -d db script"), 2);
  EXPECT_TRUE(Says(errors_, "a quote is not closed"));
  EXPECT_EQ(Shell("$KIV xdb -d db script <&-"), 1);
  EXPECT_EQ(Shell("$KIV xdb -d db put c - -n y <&-"), 1);
  EXPECT_EQ(Shell("$KIV xdb -d db stat > /dev/full"), 1);
  EXPECT_TRUE(Says(errors_, "standard output cannot be written"));
}

TEST_F(KivXdb, TakesAPasswordFromAFile) {
  WriteTestFile("secret", "open sesame\r\nsecond line\n");
  fs::permissions("secret", fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(Run({"create", "c", "--password-file", "secret"}), 0) << errors_;
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(Run({"ls", "--password-file", "secret"}), 0) << errors_;
  // What is wrong, and nothing of the library's insides.
  EXPECT_TRUE(Fails({"ls"},
                    "'db' cannot be opened: cannot open the "
                    "environment '"))
      << errors_;
  WriteTestFile("wrong", "open\n");
  fs::permissions("wrong", fs::perms::all);
  EXPECT_TRUE(Fails({"ls", "--password-file", "wrong"}, "cannot be opened: "));
  EXPECT_TRUE(Says(errors_, "warning: others may read")) << errors_;
  WriteTestFile("empty");
  EXPECT_TRUE(Fails({"ls", "--password-file", "empty"}, "empty"));
  EXPECT_TRUE(Fails({"ls", "--password-file", "nowhere"}, "nowhere: No such"));
  EXPECT_EQ(Run({"ls", "--password-file", "secret", "-p"}), 2);
  // Nobody to ask.
  EXPECT_EQ(Shell("setsid -w $KIV xdb -d db ls -p"), 1);
  EXPECT_TRUE(Says(errors_, "no terminal to ask at")) << errors_;
}

// A shell with the terminal as its own, as a login has it.
class KivXdbAtATerminal : public KivXdb {
 protected:
  KivXdbAtATerminal() {
    termios2 mode{};
    ::ioctl(terminal_.FarEnd(), TCGETS2, &mode);
    mode.c_lflag = ECHO | ICANON | ISIG;
    mode.c_iflag = ICRNL;
    ::ioctl(terminal_.FarEnd(), TCSETS2, &mode);
    ::fcntl(terminal_.FarEnd(), F_SETFL, O_NONBLOCK);
  }

  // Runs it and answers the prompts, in their order.
  int Ask(const std::string& words,
          const std::vector<std::pair<std::string, std::string>>& answers) {
    shown_.clear();
    RunningProgram shell("/bin/sh",
                         {"-c", "setsid -c -w $KIV xdb -d db " + words + " < " +
                                    terminal_.Device()},
                         {.variables = {"KIV=" KIV_PROGRAM}});
    std::size_t seen = 0;
    for (const auto& [prompt, answer] : answers) {
      EXPECT_TRUE(Eventually([&, &prompt = prompt] {
        Take();
        return shown_.find(prompt, seen) != std::string::npos;
      })) << shown_
          << shell.Errors();
      seen = shown_.size();
      terminal_.Send(answer + "\n");
    }
    const int exit_code = shell.WaitForEnd();
    Take();
    output_ = shell.Output();
    errors_ = shell.Errors();
    return exit_code;
  }

  std::string shown_;

 private:
  void Take() {
    char bytes[512];
    ssize_t size = 0;
    while ((size = ::read(terminal_.FarEnd(), bytes, sizeof bytes)) > 0)
      shown_.append(bytes, static_cast<std::size_t>(size));
  }

  PseudoTerminal terminal_;
};

TEST_F(KivXdbAtATerminal, AsksForAPasswordWithoutEcho) {
  EXPECT_EQ(
      Ask("-p create c", {{"Password: ", "sesame"}, {"Again: ", "sesame"}}), 0)
      << errors_;
  EXPECT_FALSE(Says(shown_, "sesame")) << shown_;
  EXPECT_EQ(Ask("-p ls", {{"Password: ", "sesame"}}), 0) << errors_;
  EXPECT_EQ(output_, "c\n");
  EXPECT_EQ(Ask("-p ls", {{"Password: ", "sesam"}}), 1);
  EXPECT_TRUE(Says(errors_, "cannot be opened")) << errors_;
  EXPECT_EQ(Ask("-p ls", {{"Password: ", ""}}), 1);
  EXPECT_TRUE(Says(errors_, "no password was given"));
  EXPECT_EQ(Ask("-p ls", {{"Password: ", "\x03"}}), 1);
  fs::rename("db", "other");
  EXPECT_EQ(Ask("-p create c", {{"Password: ", "a"}, {"Again: ", "b"}}), 1);
  EXPECT_TRUE(Says(errors_, "the two passwords differ"));
  EXPECT_FALSE(fs::exists("db"));
}

}  // namespace
}  // namespace kiv::testing
