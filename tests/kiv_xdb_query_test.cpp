// kiv xdb query and kiv xdb shell as users run them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>
#include <vector>

#include "testing/pseudo_terminal.h"
#include "testing/running_program.h"

namespace kiv::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr char kPen[] = "\xE7\xAC\x94";  // 笔
constexpr char kEndless[] = "count(1 to 1000000000000)";

class KivXdbQuery : public ::testing::Test {
 protected:
  KivXdbQuery() {
    fs::create_directory("in");
    WriteTestFile("in/1.xml", std::string("<order no='1'><line>") + kPen +
                                  "</line><line>ink</line></order>");
    WriteTestFile("in/2.xml", "<order no='2'><line>cup</line></order>");
    EXPECT_EQ(Run({"put", "-c", "orders", "in"}), 0) << errors_;
  }

  int Run(const Words& words) {
    Words all{"xdb", "-d", "db"};
    all.insert(all.end(), words.begin(), words.end());
    RunningProgram kiv(KIV_PROGRAM, all, {.variables = {"KIV_HISTORY="}});
    return Keep(kiv);
  }
  // What is printed, or what is said of the failure.
  std::string Answer(Words words) {
    words.insert(words.begin(), "query");
    return Run(words) == 0 ? output_ : errors_;
  }
  // What the lines, one after the other from a pipe, get.
  int Shell(const std::string& lines) {
    WriteTestFile("lines", lines);
    RunningProgram shell("/bin/sh", {"-c", "$KIV xdb -d db shell < lines"},
                         {.variables = {"KIV=" KIV_PROGRAM}});
    return Keep(shell);
  }
  int Keep(RunningProgram& program) {
    const int exit_code = program.WaitForEnd();
    output_ = program.Output();
    errors_ = program.Errors();
    return exit_code;
  }

  const TestFolder folder_;
  std::string output_;
  std::string errors_;
};

TEST_F(KivXdbQuery, PrintsItemsAsXmlOrPlain) {
  const std::string query = "collection('orders')/order/line, 1 + 1, 'a<b'";
  EXPECT_EQ(Answer({query}), std::string("<line>") + kPen +
                                 "</line>\n<line>ink</line>\n"
                                 "<line>cup</line>\n2\na&lt;b\n");
  EXPECT_EQ(Answer({query, "-o", "plain"}),
            std::string(kPen) + "\nink\ncup\n2\na<b\n");
  EXPECT_EQ(Answer({query, "-o", "plain", "-s", ","}),
            std::string(kPen) + ",ink,cup,2,a<b");
  EXPECT_EQ(Answer({"()"}), "");
  // What the library's encoding lacks is not lost.
  EXPECT_EQ(Answer({"'&#x1F600;'"}), "\xF0\x9F\x98\x80\n");
  EXPECT_FALSE(fs::exists("Logfiles"));
}

TEST_F(KivXdbQuery, TakesTheQueryFromAFile) {
  WriteTestFile("q.xq",
                "for $o in collection('orders')/order\n"
                "order by $o/@no descending return string($o/@no)");
  EXPECT_EQ(Answer({"-f", "q.xq"}), "2\n1\n");
  EXPECT_EQ(Answer({"-f", "none.xq"}),
            "kiv xdb query: none.xq cannot be read\n");
  EXPECT_EQ(Run({"query"}), 2);
  EXPECT_EQ(Run({"query", "1", "-f", "q.xq"}), 2);
  EXPECT_EQ(Run({"query", "1", "-o", "json"}), 2);
}

TEST_F(KivXdbQuery, TakesVariablesAndNamespaces) {
  EXPECT_EQ(Answer({"-v", "no=2", "-v", "by:=1 + 2",
                    "collection('orders')/order[@no = $no]/line, $by * 2"}),
            "<line>cup</line>\n6\n");
  // A later one may use an earlier one.
  EXPECT_EQ(Answer({"-v", "a:=xs:date('2026-01-31')", "-v",
                    "b:=$a + xs:dayTimeDuration('P1D')",
                    "declare variable $b as xs:date external; $b"}),
            "2026-02-01\n");
  EXPECT_EQ(Answer({"-n", "p=urn:x", "namespace-uri(<p:a/>)"}), "urn:x\n");
  EXPECT_EQ(Answer({"-v", "a:=(1, 2)", "$a"}),
            "kiv xdb query: $a takes one item, and the query gives 2\n");
  EXPECT_EQ(Answer({"-v", "a", "$a"}),
            "kiv xdb query: 'a' is neither NAME=TEXT nor NAME:=QUERY\n");
  EXPECT_EQ(Answer({"-n", "p", "1"}), "kiv xdb query: 'p' is not PREFIX=URI\n");
}

TEST_F(KivXdbQuery, ShowsWhereAQueryIsWrong) {
  EXPECT_EQ(Answer({"1 +\n  2 * $x"}),
            "kiv xdb query: XPST0008 at line 2, column 7: there is no variable "
            "$x\n"
            "    2 * $x\n"
            "        ^\n");
  // A character of two columns before the place.
  EXPECT_EQ(Answer({std::string("'") + kPen + "' + 1"}),
            std::string("kiv xdb query: XPTY0004 at line 1, column 5: there is "
                        "no operator + for xs:string and xs:integer\n  '") +
                kPen + "' + 1\n       ^\n");
  // What came before it was printed.
  EXPECT_EQ(Run({"query", "1, 2, error()"}), 1);
  EXPECT_EQ(output_, "1\n2\n");
  EXPECT_EQ(errors_.find("kiv xdb query: FOER0000 at line 1, column 7"), 0u)
      << errors_;
}

TEST_F(KivXdbQuery, ExplainsAndTellsTheTime) {
  const std::string plan =
      Answer({"--explain",
              "for $o in collection('orders')/order where $o/@no > 1 return "
              "$o/line"});
  EXPECT_THAT(plan, HasSubstr("return $o/line"));
  EXPECT_THAT(plan, Not(HasSubstr("cup")));
  EXPECT_EQ(Run({"query", "--time", "1 to 3"}), 0);
  EXPECT_EQ(output_, "1\n2\n3\n");
  EXPECT_EQ(errors_.find("prepared in "), 0u);
  EXPECT_THAT(errors_, HasSubstr(" ms: 3 items\n"));
}

TEST_F(KivXdbQuery, EndsAtItsLimits) {
  EXPECT_THAT(Answer({"--time-limit", "50", kEndless}),
              HasSubstr("the query takes more time than is allowed"));
  EXPECT_THAT(Answer({"--memory", "4", "count(reverse(1 to 100000000))"}),
              HasSubstr("XPDY0130"));
  EXPECT_NE(Answer({"--depth", "10",
                    "declare function local:f($n) { 1 + local:f($n) }; "
                    "local:f(1)"})
                .find("XPDY0130"),
            std::string::npos);
}

TEST_F(KivXdbQuery, ReadsFilesWhenToldTo) {
  const std::string query =
      "doc('file://" + (fs::current_path() / "in/2.xml").string() + "')//line";
  EXPECT_THAT(Answer({query}), HasSubstr("FODC0002"));
  EXPECT_EQ(Answer({"--files", query}), "<line>cup</line>\n");
}

TEST_F(KivXdbQuery, IsEndedByCtrlC) {
  const PseudoTerminal terminal;
  RunningProgram kiv(
      KIV_PROGRAM,
      {"xdb", "-d", "db", "query", std::string("'begun', ") + kEndless},
      {.terminal = &terminal});
  // The one printed first tells that the query runs.
  ASSERT_TRUE(kiv.WaitForOutput("begun")) << kiv.Errors();
  kiv.Send(SIGINT);
  EXPECT_EQ(kiv.WaitForEnd(), 1);
  EXPECT_THAT(kiv.Errors(), HasSubstr("the query was cancelled"));
}

TEST_F(KivXdbQuery, ShellAsksOneQueryAfterTheOther) {
  EXPECT_EQ(Shell("for $o in collection('orders')/order\n"
                  "return\n"
                  "  string($o/@no)\n"
                  "\n"
                  ":var no=2\n"
                  ":ns p=urn:x\n"
                  ":plain\n"
                  "collection('orders')/order[@no = $no]/line\n"
                  ":ls\n"
                  ":xml\n"
                  "<p:a/>\n"
                  ":explain 1 + $no\n"),
            0)
      << errors_;
  EXPECT_EQ(output_,
            "1\n2\ncup\norders\n<p:a xmlns:p=\"urn:x\"/>\n"
            "variable $no external\n1 + $no\n");
  // An empty line asks what is not whole; the others go on.
  EXPECT_EQ(Shell("<a>\n\n1 + 1\n:put orders none.xml\n:nonsense\n3\n"), 1);
  EXPECT_EQ(output_, "2\n3\n");
  EXPECT_THAT(errors_, HasSubstr("the element \"a\" has no end"));
  EXPECT_THAT(errors_, HasSubstr("none.xml"));
  EXPECT_EQ(Shell("1\n:quit\n2\n"), 0);
  EXPECT_EQ(output_, "1\n");
  // The end asks what is left.
  EXPECT_EQ(Shell("1 to\n2"), 0) << errors_;
  EXPECT_EQ(output_, "1\n2\n");
}

TEST_F(KivXdbQuery, ShellEditsLinesAtATerminal) {
  PseudoTerminal terminal;
  RunningProgram kiv(
      KIV_PROGRAM, {"xdb", "-d", "db", "shell"},
      {.terminal = &terminal,
       .is_interactive = true,
       .variables = {"TERM=xterm", "KIV_HISTORY=history", "HOME=."}});
  ASSERT_TRUE(kiv.WaitForOutput("kiv> ")) << kiv.Output();
  // "2 + 40", with the 2 put in front last, by Ctrl+A.
  terminal.Send(
      " + 40\x01"
      "2\r");
  EXPECT_TRUE(kiv.WaitForOutput("42")) << kiv.Output();
  // The line before, by the arrow, with something behind it.
  terminal.Send("\x1B[A00\r");
  EXPECT_TRUE(kiv.WaitForOutput("4002")) << kiv.Output();
  terminal.Send("(1,\r");
  EXPECT_TRUE(kiv.WaitForOutput("...> ")) << kiv.Output();
  terminal.Send(std::string("'") + kPen + "')\r");
  // Behind it, where it was typed, stands a quote.
  EXPECT_TRUE(Eventually([&] {
    const std::string output = kiv.Output();
    return output.find(std::string(kPen) + "\n") != std::string::npos ||
           output.find(std::string(kPen) + "\r\n") != std::string::npos;
  })) << kiv.Output();
  // Ctrl+C gives a line up, and the lines before it.
  terminal.Send("(1, 7777\r");
  EXPECT_TRUE(Eventually([&] {
    const std::string output = kiv.Output();
    const std::size_t typed = output.rfind("7777");
    return typed != std::string::npos &&
           output.find("...> ", typed) != std::string::npos;
  })) << kiv.Output();
  terminal.Send("2 + \x03");
  terminal.Send("3 * 11\r");
  EXPECT_TRUE(kiv.WaitForOutput("33")) << kiv.Output();
  terminal.Send(":quit\r");
  EXPECT_EQ(kiv.WaitForEnd(), 0) << kiv.Output();
  const std::string history = ReadTestFile("history");
  EXPECT_THAT(history, HasSubstr("40"));
  EXPECT_EQ(fs::status("history").permissions() & fs::perms(0077),
            fs::perms::none);
}

TEST_F(KivXdbQuery, ShellGoesOnWhenCtrlCEndsAQuery) {
  PseudoTerminal terminal;
  RunningProgram kiv(KIV_PROGRAM, {"xdb", "-d", "db", "shell"},
                     {.terminal = &terminal,
                      .is_interactive = true,
                      .variables = {"TERM=xterm", "KIV_HISTORY="}});
  ASSERT_TRUE(kiv.WaitForOutput("kiv> ")) << kiv.Output();
  // The one printed first tells that the query runs.
  terminal.Send(std::string("'begun', ") + kEndless + "\r");
  ASSERT_TRUE(kiv.WaitForOutput("\nbegun")) << kiv.Output();
  kiv.Send(SIGINT);
  EXPECT_TRUE(kiv.WaitForOutput("the query was cancelled")) << kiv.Output();
  terminal.Send("6 * 7\r");
  EXPECT_TRUE(kiv.WaitForOutput("42")) << kiv.Output();
  terminal.Send("\x04");
  EXPECT_EQ(kiv.WaitForEnd(), 1);
}

}  // namespace
}  // namespace kiv::testing
