#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "cases.h"
#include "engine.h"
#include "judge.h"
#include "workers.h"
#include "xml_equality.h"

namespace xquery_cases {
namespace {

using testing::HasSubstr;

// That cases are read, that what is right passes, and that the environment of a
// case reaches the engine, is seen from how many cases pass. Here is what would
// let too many pass, or lose one.

TEST(XmlTexts, Differ) {
  constexpr const char* kRows[][3] = {
      {"<a> </a>", "<a/>", "children"},
      {"<a b='1'/>", "<a b='2'/>", "attributes"},
      {"<a>x</a>", "<a>y</a>", "text"},
      {"<a xmlns='u'/>", "<a/>", "{u}a"},
      {"<a xmlns:p='u'/>", "<a/>", "namespaces"},
      {"<p:a xmlns:p='u'/>", "<q:a xmlns:q='u'/>", "q:a"},
      {"<a/>", "<a>", "no XML"}};
  for (const auto& [expected, found, difference] : kRows) {
    EXPECT_THAT(XmlDifference(expected, found, false), HasSubstr(difference));
  }
}

struct TextValue : Value {
  std::string text;
};

ValuePtr ValueOf(const std::string& text) {
  const auto value = std::make_shared<TextValue>();
  value->text = text;
  return value;
}

// Answers from a table; a text that begins with "!" is the code of a failure.
class ScriptedEngine : public Engine {
 public:
  explicit ScriptedEngine(std::map<std::string, std::string> answers)
      : answers_(std::move(answers)) {}

  ValuePtr Run(const Query& query) override {
    const std::string& answer = answers_[query.text];
    if (answer.starts_with('!'))
      throw QueryFailure{answer.substr(1), "as scripted"};
    return ValueOf(answer);
  }
  ValuePtr Load(const Document& document) override {
    return ValueOf(document.uri);
  }
  std::string Serialize(const Value& value) override {
    return dynamic_cast<const TextValue&>(value).text;
  }

 private:
  std::map<std::string, std::string> answers_;
};

Assertion Expect(const std::string& kind, const std::string& text,
                 std::vector<Assertion> children = {}) {
  Assertion assertion;
  assertion.kind = kind;
  (kind == "error" ? assertion.code : assertion.text) = text;
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
  } kRows[] = {
      {"x", wrong, Outcome::Failed},
      {"!XPTY0004", right, Outcome::Failed},
      {"!XPTY0004", error, Outcome::Passed},
      {"!XPTY0004", Expect("error", "*"), Outcome::Passed},
      {"x", Expect("error", "*"), Outcome::Failed},
      {"x", Expect("any-of", "", {error, wrong, right}), Outcome::Passed},
      {"x", Expect("any-of", "", {unjudged, wrong}), Outcome::Skipped},
      {"x", Expect("all-of", "", {right, unjudged, wrong}), Outcome::Failed},
      {"x", Expect("all-of", "", {unjudged, right}), Outcome::Skipped},
      {"x", Expect("not", "", {right}), Outcome::Failed},
      {"<a  />", Expect("assert-xml", "<a></a>"), Outcome::Passed},
      {"x", Expect("assert-magic", "x"), Outcome::Failed}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(std::string(row.answer) + " for " + row.expected.kind);
    ScriptedEngine engine({{"query", row.answer},
                           {"$result eq (1)", "true"},
                           {"$result eq (2)", "false"}});
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
    const bool is_lost = number >= 3 && number <= 5;
    EXPECT_EQ(verdict.outcome, is_lost           ? Outcome::Failed
                               : number % 2 == 0 ? Outcome::Passed
                                                 : Outcome::Skipped);
    EXPECT_TRUE(is_lost || verdict.reason.size() == number * 10000);
  }
}

}  // namespace
}  // namespace xquery_cases
