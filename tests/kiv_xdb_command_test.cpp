// kiv xdb as users run it.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "kiv/startup.h"
#include "kiv_session.h"
#include "xdb/container/container.h"
#include "xdb/container/container_reading.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

#define ORDER "\xE8\xAE\xA2\xE5\x8D\x95"  // 订单
#define PEN "\xE7\xAC\x94"                // 笔
#define ORDER_GB "\xB6\xA9\xB5\xA5"

// All with the database db.
class KivXdb : public KivSession<> {
 protected:
  KivXdb() : KivSession("xdb -d db") {}

  const TestFolder folder_;
};

TEST_F(KivXdb, MakesAFolderOnlyWhenToldTo) {
  Expect({{"ls", "1: ! *'db' holds no XML database; kiv xdb create*"}});
  EXPECT_FALSE(fs::exists("db"));
  Expect({{"create " ORDER " a", ""},
          {"ls", "a\n" ORDER "\n"},
          {"create a", "1: ! *there is a container 'a' already*"},
          {"create 0xa", "1: ! *cannot name a container*"},
          {"create \xF0\x9F\x98\x80", "1: ! *code page 936*"},
          {"ls oders", "1: ! *there is no container 'oders'*"}});
  EXPECT_FALSE(fs::exists("Logfiles"));
}

TEST_F(KivXdb, StoresFilesAndFolders) {
  fs::create_directories("in/" ORDER);
  WriteTestFile("one.xml", "<one/>");
  WriteTestFile("in/b.XML", "<b/>");
  WriteTestFile("in/" ORDER "/c.xml", "<c/>");
  WriteTestFile("in/notes.txt", "no xml");
  // Without a name one gets one, which is printed.
  Expect({{"create other", ""},
          {"put c one.xml", "1: ! *there is no container 'c'*"},
          {"put -c c one.xml in",
           "! *left out 1 file without .xml*3 documents stored*"},
          {"ls c", "b.XML\none.xml\n" ORDER "/c.xml\n"},
          {"put c - -n s < one.xml", "*"},
          {"get c s", "<one/>"},
          {"get c $($KIV xdb -d db put c - < one.xml)", "<one/>*"}});
}

TEST_F(KivXdb, PrintsBytesAndShowsText) {
  WriteTestFile("gb",
                "<?xml version='1.0' encoding='GB2312'?><a>" ORDER_GB "</a>");
  Expect({{"put -c c gb", "*"},
          {"get c gb", "*" ORDER_GB "*"},
          {"get c gb -o out && cat out", "*" ORDER_GB "*"},
          {"get c gb -o /dev/full", "1: ! */dev/full cannot be written*"},
          {"get c gb other -o out", "2: ! *"}});
  const PseudoTerminal terminal;
  RunningProgram kiv(KIV_PROGRAM, {"xdb", "-d", "db", "get", "c", "gb"},
                     {.terminal = &terminal});
  EXPECT_TRUE(kiv.WaitForOutput("<a>" ORDER "</a>")) << kiv.Output();
}

TEST_F(KivXdb, NamesTheFileThatFailsAndTakesItsBatchBack) {
  fs::create_directory("in");
  for (const char* name : {"in/1.xml", "in/2.xml", "in/3.xml", "in/5.xml"})
    WriteTestFile(name, "<a/>");
  WriteTestFile("in/4.xml", "<a>");
  Expect({{"put -c c in --batch 2",
           "1: ! *in/4.xml: *stored before it: 2, nothing of its batch*"},
          {"ls c", "1.xml\n2.xml\n"}});
  // All that are there are replaced, and all that are not are stored.
  WriteTestFile("in/4.xml", "<b/>");
  WriteTestFile("in/1.xml", "<b/>");
  Expect({{"put c in", "1: ! *in/1.xml: *"},
          {"put -r c in", "! 5 documents stored*"},
          {"get c 1.xml", "<b/>"},
          {"get c 5.xml", "<a/>"},
          {"put c /dev/zero", "1: ! *no regular file*"}});
}

TEST_F(KivXdb, RemovesAndRenames) {
  WriteTestFile("a", "<a/>");
  WriteTestFile("b", "<b/>");
  Expect({{"put -c c a b", "*"},
          {"del c a missing", "1: ! *nothing removed*"},
          {"ls c", "a\nb\n"},
          {"rename c a " ORDER, ""},
          {"rename c b " ORDER, "1: ! *cannot be renamed*"},
          {"del c b", "*"},
          {"rename c d", ""},
          {"ls d", ORDER "\n"},
          {"del d --container", "2: ! *add --yes*"},
          {"del d --container --yes", "*"},
          {"ls", ""}});
}

TEST_F(KivXdb, TakesAnyNameThroughADump) {
  WriteTestFile("d", "<d/>");
  for (const std::string& name : Words{
           "plain", "with.xml", ".xml", "x.XML", "a%2Fb", "a/b", "../../etc/x",
           "..", ".hidden", "a\\b:c*?<>|\"", " blank ", "line\nfeed\x01", ORDER,
           "%.xml", std::string(700, 'n') + ".xml", std::string(200, '/')}) {
    RunningProgram kiv(KIV_PROGRAM,
                       {"xdb", "-d", "db", "put", "-c", "c", "d", "-n", name},
                       {});
    EXPECT_EQ(kiv.WaitForEnd(), 0) << name;
  }
  const std::string names = Kiv("ls c");
  // Nothing of anybody's is removed for it. A shell completes the name of an
  // empty folder with a slash.
  fs::create_directory("empty");
  fs::create_directory("mine.part");
  WriteTestFile("mine.part/kept");
  Expect({{"dump c out", "*"},
          {"load again out", "*"},
          {"get again ../../etc/x", "<d/>"},
          {"load again out", "1: ! *already*"},
          {"dump again empty/ && diff -r out empty", "! *"},
          {"dump --salvage c saved && diff -r out saved", "! *"},
          {"dump c out", "1: ! *is there already, and not empty*"},
          {"dump c mine", "1: ! *mine.part is in the way*"}});
  EXPECT_EQ(Kiv("ls again"), names);
  EXPECT_TRUE(fs::exists("mine.part/kept"));
  for (const char* const file : {"with.xml", "plain%.xml", ORDER "%.xml"})
    EXPECT_TRUE(fs::exists(fs::path("out") / file)) << file;
  WriteTestFile("out/strange%file.xml", "<a/>");
  Expect({{"load more out", "1: ! *strange%file.xml is not named*"}});
}

// Others are in the way of its index, which is written with the commit.
TEST_F(KivXdb, StoresABatchAgainThatOthersWereInTheWayOf) {
  fs::create_directory("db");
  WriteTestFile("db/DB_CONFIG", "set_lock_timeout 200000\n");
  WriteTestFile("a", "<a>1</a>");
  WriteTestFile("b", "<a>2</a>");
  Expect({{"put -c c a", "*"}});
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
  Expect({{"ls c", "a\nb\n"}});
}

TEST_F(KivXdb, LooksAfterContainers) {
  WriteTestFile("a", "<a x='1'>t</a>");
  Expect({{"create c d", ""},
          {"put c a", "*"},
          {"verify", "c: sound\nd: sound\n"},
          {"stat", "container  documents*\nc    * 1 *\nlog files: 1, *"},
          {"ls -l", "*index entries*"},
          {"checkpoint --list", ""},
          {"recover", "recovered\n"},
          {"recover --catastrophic", "recovered\n"},
          {"ls c", "a\n"}});
}

TEST_F(KivXdb, SavesWhatCanBeReadOfADamagedContainer) {
  const std::string text(2000, 't');
  WriteTestFile("a", "<a>" + text + "</a>");
  WriteTestFile("b", "<b>" + text + "</b>");
  Expect({{"create sound", ""}, {"put -c c a b", "*"}});
  // What is in front of the text.
  std::string bytes = ReadTestFile("db/c.xdb");
  bytes.replace(bytes.find(text) - 4, 5, "\xA5\xA5\xA5\xA5\xA5");
  WriteTestFile("db/c.xdb", bytes);
  // Whole or not at all.
  Expect({{"verify", "1: c: fault: document '*\nsound: sound\n"},
          {"dump c out", "1: ! *is damaged*"},
          {"dump --salvage c out && cmp out/* b", "*"}});
}

TEST_F(KivXdb, RunsScripts) {
  WriteTestFile("a b.xml", "<a/>");
  const char* const scripts[][2] = {
      {"create c # new\n\n  put c \"a b.xml\"\r\nput c a\\ b.xml -n 'x'\nls c\n"
       "recover\nverify\n",
       "a b.xml\nx\nrecovered\nc: sound\n*"},
      {"ls\nls missing\nls\n", "1: c\n! *line 2 failed*"},
      {"frobnicate\n", "2: ! kiv xdb: there is no command 'frobnicate'*"},
      {"ls \"c\n", "2: ! *a quote is not closed*"}};
  for (const auto& [script, answer] : scripts) {
    WriteTestFile("script", script);
    Expect({{"script < script", answer}});
  }
  Expect({{"script <&-", "1: ! *standard input*"},
          {"stat > /dev/full", "1: ! *standard output cannot be written*"}});
}

TEST_F(KivXdb, TakesAPasswordFromAFile) {
  WriteTestFile("secret", "open sesame\r\nsecond line\n");
  fs::permissions("secret", fs::perms(0600));
  WriteTestFile("wrong", "open\n");
  fs::permissions("wrong", fs::perms::all);
  // What is wrong, and nothing of the library's insides.
  Expect({{"create c --password-file secret", ""},
          {"ls --password-file secret", "c\n"},
          {"ls", "1: ! *'db' cannot be opened: cannot open the environment '*"},
          {"ls --password-file wrong",
           "1: ! *warning: others may read*cannot be opened: *"},
          {"ls 2>/dev/null; setsid -w $KIV xdb -d db ls -p",
           "1: ! *no terminal to ask at*"}});
}

TEST_F(KivXdb, AsksForAPasswordWithoutEcho) {
  // On a terminal of its own session, as a login has it.
  const auto ask = [](const std::string& words, const Words& answers) {
    AtTerminal shell(
        {"-c", "stty sane; setsid -c -w $KIV xdb -p " + words + " >said 2>&1"},
        {"KIV=" KIV_PROGRAM}, "/bin/sh");
    std::string prompt = "Password: ";
    for (const std::string& answer : answers) {
      shell.Type("", std::exchange(prompt, "Again: "));
      shell.Type(answer + "\n", "");
    }
    const int exit_code = shell.WaitForEnd();
    EXPECT_FALSE(Matches(shell.Output(), "*sesam*")) << shell.Output();
    return std::to_string(exit_code) + ": " + ReadTestFile("said");
  };
  EXPECT_EQ(ask("-d db create c", {"sesame", "sesame"}), "0: ");
  EXPECT_EQ(ask("-d db ls", {"sesame"}), "0: c\n");
  ExpectMatch(ask("-d db ls", {"sesam"}), "1: *cannot be opened*");
  for (const char* const none : {"", "\x03"})
    ExpectMatch(ask("-d db ls", {none}), "1: *no password was given*");
  ExpectMatch(ask("-d new create c", {"a", "b"}), "1: *two passwords differ*");
  EXPECT_FALSE(fs::exists("new"));
}

#define ENDLESS "\"begun\", count(1 to 1000000000000)"
class KivXdbQuery : public KivXdb {
 protected:
  KivXdbQuery() {
    variable_ = "KIV_HISTORY=";
    fs::create_directory("in");
    WriteTestFile("in/1.xml",
                  "<order no='1'><line>" PEN "</line><line>ink</line></order>");
    WriteTestFile("in/2.xml", "<order no='2'><line>cup</line></order>");
    Expect({{"put -c orders in", "! 2 documents stored\n"}});
  }
};

#define LINES R"( 'collection("orders")/order/line, 1 + 1, "a<b"')"
TEST_F(KivXdbQuery, PrintsItemsAsXmlOrPlain) {
  Expect({{"query" LINES,
           "<line>" PEN "</line>\n<line>ink</line>\n<line>cup</line>\n2\n"
           "a&lt;b\n"},
          {"query -o plain -s ," LINES, PEN ",ink,cup,2,a<b"},
          // What the library's encoding lacks is not lost.
          {"query '\"&#x1F600;\"'", "\xF0\x9F\x98\x80\n"}});
  EXPECT_FALSE(fs::exists("Logfiles"));
}

TEST_F(KivXdbQuery, TakesQueriesVariablesAndNamespaces) {
  WriteTestFile("q.xq",
                "for $o in collection('orders')/order\n"
                "order by $o/@no descending return string($o/@no)");
  // A later variable may use an earlier one.
  Expect(
      {{"query -f q.xq", "2\n1\n"},
       {R"(query -v no=2 -v 'by:=1 + 2' )"
        R"('collection("orders")/order[@no = $no]/line, $by * 2')",
        "<line>cup</line>\n6\n"},
       {R"(query -v 'a:=xs:date("2026-01-31")' )"
        R"(-v 'b:=$a + xs:dayTimeDuration("P1D")' )"
        R"('declare variable $b as xs:date external; $b')",
        "2026-02-01\n"},
       {"query -n p=urn:x 'namespace-uri(<p:a/>)'", "urn:x\n"},
       {"query -f none.xq", "1: ! kiv xdb query: none.xq cannot be read\n"},
       {"query 1 -f q.xq", "2: ! *ask a query, or name its file by --file\n"},
       {"query -v 'a:=(1, 2)' '$a'",
        "1: ! *$a takes one item, and * gives 2\n"},
       {"query -v a '$a'", "1: ! *'a' is neither NAME=TEXT nor NAME:=QUERY\n"},
       {"query -n p 1", "1: ! *'p' is not PREFIX=URI\n"}});
}

TEST_F(KivXdbQuery, ShowsWhereAQueryIsWrong) {
  // A character of two columns before the place; what came before it.
  Expect({{"query '1 +\n  2 * $x'",
           "1: ! kiv xdb query: XPST0008 at line 2, column 7: there is no "
           "variable $x\n    2 [*] $x\n        ^\n"},
          {"query '\"" PEN "\" + 1'",
           "1: ! kiv xdb query: XPTY0004 at line 1, column 5: *\n"
           "  \"" PEN "\" + 1\n       ^\n"},
          {"query '1, 2, error()'",
           "1: 1\n2\n! kiv xdb query: FOER0000 at line 1, column 7*"}});
}

TEST_F(KivXdbQuery, ExplainsTellsTheTimeAndEndsAtItsLimits) {
  Expect(
      {{R"(query --explain 'for $o in collection("orders")/order )"
        R"(return $o/line')",
        "flwor\n  for $o in *\n  return $o/line\n"},
       {"query --time '1 to 3'", "1\n2\n3\n! prepared in * ms: 3 items\n"},
       {"query --time-limit 50 '" ENDLESS "'",
        "1: begun\n! *the query takes more time than is allowed*"},
       {"query --memory 4 'count(reverse(1 to 100000000))'", "1: ! *XPDY0130*"},
       {"query --depth 10 'declare function local:f($n) "
        "{ 1 + local:f($n) }; local:f(1)'",
        "1: ! *XPDY0130*"},
       {R"(query "doc('file://$PWD/in/2.xml')//line")", "1: ! *FODC0002*"},
       {R"(query --files "doc('file://$PWD/in/2.xml')//line")",
        "<line>cup</line>\n"}});
}

TEST_F(KivXdbQuery, ShellAsksOneQueryAfterTheOther) {
  const char* const sessions[][2] = {
      {"for $o in collection('orders')/order\nreturn\n  string($o/@no)\n\n"
       ":var no=2\n:ns p=urn:x\n:plain\n"
       "collection('orders')/order[@no = $no]/line\n"
       ":ls\n:xml\n<p:a/>\n:explain 1 + $no\n",
       "1\n2\ncup\norders\n<p:a xmlns:p=\"urn:x\"/>\n"
       "variable $no external\n1 + $no\n"},
      // An empty line asks what is not whole; the others go on.
      {"<a>\n\n1 + 1\n:put orders none.xml\n:nonsense\n3\n",
       "1: 2\n3\n! *the element \"a\" has no end*none.xml*"},
      {"1\n:quit\n2\n", "1\n"},
      // The end asks what is left.
      {"1 to\n2", "1\n2\n"}};
  for (const auto& [lines, answer] : sessions) {
    WriteTestFile("lines", lines);
    Expect({{"shell < lines", answer}});
  }
}

TEST_F(KivXdbQuery, ShellEditsLinesAtATerminal) {
  AtTerminal kiv({"xdb", "-d", "db", "shell"},
                 {"TERM=xterm", "KIV_HISTORY=history", "HOME=."});
  kiv.Type("", "kiv> ");
  // "2 + 40", with the 2 put in front last, by Ctrl+A.
  kiv.Type(" + 40\x01", "");
  kiv.Type("2\r", "\n42");
  // The line before, by the arrow, with something behind it.
  kiv.Type("\x1B[A00\r", "\n4002");
  kiv.Type("(1,\r", "...> ");
  kiv.Type("'" PEN "')\r", "\n" PEN);
  // Ctrl+C gives a line up, and the lines before it.
  kiv.Type("(1, 7777\r", "...> ");
  kiv.Type("2 + \x03", "");
  kiv.Type("3 * 11\r", "\n33");
  // It ends a query that runs, and that alone.
  kiv.Type(ENDLESS "\r", "\nbegun");
  kiv.Send(SIGINT);
  kiv.Type("", "the query was cancelled");
  kiv.Type("6 * 7\r", "\n42");
  kiv.Type("\x04", "");
  EXPECT_EQ(kiv.WaitForEnd(), 1);
  EXPECT_NE(ReadTestFile("history").find("40"), std::string::npos);
  EXPECT_EQ(fs::status("history").permissions(), fs::perms(0600));
}

}  // namespace
}  // namespace kiv::testing
