#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "cases.h"
#include "engine.h"
#include "judge.h"
#include "port/test_folder.h"
#include "workers.h"
#include "xml_equality.h"

namespace xquery_cases {
namespace {

using testing::HasSubstr;

// That cases are read, that what is right passes, and that the environment of a
// case reaches the engine, is seen from how many cases pass. Here is what would
// let too many pass, or lose one.

TEST(CaseFile, SaysWhichLineIsBroken) {
  const kiv::TestFolder folder;  // the current one
  std::ofstream("broken")
      << R"({"set": "s", "name": "a", "file": "f/x.xml", "q": "1", "env": null, "tagged": false, "res": ["assert-eq", "1", {}]})"
      << "\n\n{\"set\": 1}\n";
  try {
    ReadCases("broken");
    ADD_FAILURE() << "read";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("broken, line 3"));
  }
}

TEST(XmlTexts, Differ) {
  constexpr const char* kRows[][3] = {
      {"<a> </a>", "<a/>", "children"},
      {"<a>x</a>", "<a>y</a>", "text"},
      {"<a b='1'/>", "<a b='2'/>", "attributes"},
      {"<a><!--x--></a>", "<a><!--y--></a>", "comment"},
      {"<?a x?>", "<?b x?>", "instruction"},
      {"<a xmlns='u'/>", "<a/>", "{u}a"},
      {"<a xmlns:p='u'/>", "<a/>", "namespaces"},
      {"<p:a xmlns:p='u'/>", "<q:a xmlns:q='u'/>", "q:a"},
      {"<a/>", "<a>", "no XML"}};
  for (const auto& [expected, found, difference] : kRows) {
    EXPECT_THAT(XmlDifference(expected, found, false), HasSubstr(difference));
  }
  EXPECT_EQ(XmlDifference("<p:a xmlns:p='u' p:b='1'/>",
                          "<a xmlns='u' xmlns:q='u' q:b='1'/>", true),
            "");
}

class TextValue : public Value {
 public:
  explicit TextValue(std::string its_text) : text(std::move(its_text)) {}
  std::string text;
};

// Answers from a table; a text that begins with "!" is the code of a failure.
class ScriptedEngine : public Engine {
 public:
  explicit ScriptedEngine(std::map<std::string, std::string> answers)
      : answers_(std::move(answers)) {}

  ValuePtr Run(const Query& query) override {
    const auto answer = answers_.find(query.text);
    if (answer == answers_.end()) throw QueryFailure{"NONE0000", query.text};
    if (answer->second.starts_with('!')) {
      throw QueryFailure{answer->second.substr(1), "as scripted"};
    }
    return std::make_shared<TextValue>(answer->second);
  }
  ValuePtr Load(const Document& document) override {
    return std::make_shared<TextValue>(document.uri);
  }
  std::string Serialize(const Value& value) override {
    return dynamic_cast<const TextValue&>(value).text;
  }

 private:
  std::map<std::string, std::string> answers_;
};

Assertion Expect(const std::string& kind, const std::string& text) {
  Assertion assertion;
  assertion.kind = kind;
  (kind == "error" ? assertion.code : assertion.text) = text;
  return assertion;
}

Assertion Join(const std::string& kind, std::vector<Assertion> children) {
  Assertion assertion;
  assertion.kind = kind;
  assertion.children = std::move(children);
  return assertion;
}

TEST(JudgedCase, EndsAsItMust) {
  const Assertion right = Expect("assert-eq", "1");
  const Assertion wrong = Expect("assert-eq", "2");
  const Assertion unjudged = Expect("serialization-matches", "x");
  const Assertion error = Expect("error", "XPTY0004");
  const struct {
    const char* answer;  // of the query; "$result eq (1)" is true, (2) false
    Assertion expected;
    Outcome outcome;
  } kRows[] = {{"x", right, Outcome::Passed},
               {"x", wrong, Outcome::Failed},
               {"!XPTY0004", right, Outcome::Failed},
               {"!XPTY0004", error, Outcome::Passed},
               {"!XPST0003", error, Outcome::Failed},
               {"!XPTY0004", Expect("error", "*"), Outcome::Passed},
               {"x", Expect("error", "*"), Outcome::Failed},
               {"x", Join("any-of", {error, wrong, right}), Outcome::Passed},
               {"x", Join("any-of", {wrong, wrong}), Outcome::Failed},
               {"x", Join("any-of", {unjudged, wrong}), Outcome::Skipped},
               {"x", Join("all-of", {right, right}), Outcome::Passed},
               {"x", Join("all-of", {right, unjudged, wrong}), Outcome::Failed},
               {"x", Join("all-of", {unjudged, right}), Outcome::Skipped},
               {"x", Join("not", {wrong}), Outcome::Passed},
               {"x", Join("not", {right}), Outcome::Failed},
               {"x", Expect("assert-string-value", "a\"b&"), Outcome::Passed},
               {"<a  />", Expect("assert-xml", "<a></a>"), Outcome::Passed},
               {"x", Expect("assert-magic", "x"), Outcome::Failed}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.answer) + " for " + row.expected.kind);
    ScriptedEngine engine(
        {{"query", row.answer},
         {"$result eq (1)", "true"},
         {"$result eq (2)", "false"},
         {"string-join(for $one in $result return string($one), \" \") eq "
          "\"a\"\"b&amp;\"",
          "true"}});
    Case one;
    one.query = "query";
    one.expected = row.expected;
    const Verdict verdict = Judge(one, engine, ".");
    EXPECT_EQ(verdict.outcome, row.outcome) << verdict.reason;
    EXPECT_EQ(verdict.reason.empty(), verdict.outcome == Outcome::Passed);
  }
}

TEST(Workers, LoseNoCaseToACrashOrAHang) {
  WorkerSettings settings;
  settings.count = 3;
  settings.limit = std::chrono::milliseconds(2000);
  std::map<std::size_t, Verdict> verdicts;
  JudgeAll(
      40, settings,
      [](std::size_t number) -> Verdict {
        if (number == 3) ::raise(SIGKILL);
        if (number == 4) ::_exit(7);
        while (number == 5) std::this_thread::yield();
        return {number % 2 == 0 ? Outcome::Passed : Outcome::Skipped,
                std::string(number * 10000, 'x')};
      },
      [&](std::size_t number, const Verdict& verdict) {
        EXPECT_TRUE(verdicts.emplace(number, verdict).second);
      });
  ASSERT_EQ(verdicts.size(), 40U);
  EXPECT_THAT(verdicts[3].reason, HasSubstr("crashed: Killed"));
  EXPECT_EQ(verdicts[4].reason, "ended with 7");
  EXPECT_EQ(verdicts[5].reason, "no end after 2000 ms");
  for (const auto& [number, verdict] : verdicts) {
    if (number >= 3 && number <= 5) {
      EXPECT_EQ(verdict.outcome, Outcome::Failed);
    } else {
      EXPECT_EQ(verdict.outcome,
                number % 2 == 0 ? Outcome::Passed : Outcome::Skipped);
      EXPECT_EQ(verdict.reason.size(), number * 10000);
    }
  }
}

}  // namespace
}  // namespace xquery_cases
