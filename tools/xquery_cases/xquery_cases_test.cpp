#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

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

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

const auto kName = [](const auto& info) { return info.param.name; };

// ----------------------------------------------------------------------- cases

constexpr const char* kLines =
    R"({"set": "s", "name": "a", "file": "f/x.xml", "q": "1 + 1", "env": null, "tagged": false, "res": ["assert-eq", "2", {}]}

{"set": "s", "name": "b", "file": "f/x.xml", "q": "$v", "env": {"sources": [[".", "d.xml", null, null], ["$w", "e.xml", "http://e", "strict"]], "params": [["v", "3", "true"], ["u", "4", null]], "ns": [["p", "http://p"]], "colls": [["", ["d.xml", "e.xml"]]], "base": "http://b", "other": []}, "tagged": true, "res": ["any-of", [["error", "", {"code": "XPST0003"}], ["all-of", [["assert-xml", null, {"file": "o.out", "ignore-prefixes": "true"}], ["assert-string-value", " x ", {"normalize-space": "true"}]]]]]}
)";

class CaseFile : public testing::Test {
 protected:
  void Check(const std::string& file) {
    const std::vector<Case> cases = ReadCases(file);
    ASSERT_EQ(cases.size(), 2U);
    EXPECT_EQ(cases[0].FullName(), "s/a");
    EXPECT_EQ(cases[0].query, "1 + 1");
    EXPECT_EQ(cases[0].expected.kind, "assert-eq");
    const Environment& environment = cases[1].environment;
    ASSERT_EQ(environment.sources.size(), 2U);
    EXPECT_EQ(environment.sources[1].role, "$w");
    EXPECT_EQ(environment.sources[1].uri, "http://e");
    ASSERT_EQ(environment.parameters.size(), 2U);
    EXPECT_TRUE(environment.parameters[0].is_declared);
    EXPECT_FALSE(environment.parameters[1].is_declared);
    EXPECT_THAT(environment.namespaces, ElementsAre(Pair("p", "http://p")));
    EXPECT_THAT(environment.collections,
                ElementsAre(Pair("", ElementsAre("d.xml", "e.xml"))));
    EXPECT_EQ(environment.base_uri, "http://b");
    const Assertion& expected = cases[1].expected;
    ASSERT_EQ(expected.children.size(), 2U);
    EXPECT_EQ(expected.children[0].code, "XPST0003");
    ASSERT_EQ(expected.children[1].children.size(), 2U);
    EXPECT_EQ(expected.children[1].children[0].file, "o.out");
    EXPECT_TRUE(expected.children[1].children[0].ignore_prefixes);
    EXPECT_TRUE(expected.children[1].children[1].normalize_space);
  }

  kiv::TestFolder folder_;  // the current one
};

TEST_F(CaseFile, IsReadPlain) {
  std::ofstream("plain") << kLines;
  Check("plain");
}

TEST_F(CaseFile, IsReadCompressed) {
  const gzFile out = gzopen("packed.gz", "wb");
  gzputs(out, kLines);
  gzclose(out);
  Check("packed.gz");
}

TEST_F(CaseFile, SaysWhichLineIsBroken) {
  std::ofstream("broken") << kLines << "{\"set\": 1}\n";
  try {
    ReadCases("broken");
    ADD_FAILURE() << "read";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("broken, line 4"));
  }
}

// ------------------------------------------------------------------------- XML

struct XmlCase {
  const char* name;
  const char* expected;
  const char* found;
  const char* difference;
  bool ignore_prefixes = false;
};

class XmlTexts : public testing::TestWithParam<XmlCase> {};

TEST_P(XmlTexts, AreEqualOrDiffer) {
  const XmlCase& one = GetParam();
  const std::string difference =
      XmlDifference(one.expected, one.found, one.ignore_prefixes);
  if (*one.difference == '\0') {
    EXPECT_EQ(difference, "");
  } else {
    EXPECT_THAT(difference, HasSubstr(one.difference));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Result, XmlTexts,
    testing::Values(
        XmlCase{"AttributesInAnyOrder", "<a b='1' c='2'/>",
                "<a c=\"2\" b=\"1\"></a>", ""},
        XmlCase{"ReferencesAndCdata", "<a>&lt;&#65;</a>",
                "<a><![CDATA[<]]>A</a>", ""},
        XmlCase{"DeclarationInFront", "<?xml version='1.0'?><a/>", "<a/>", ""},
        XmlCase{"RowsOfNodes", "<a/>x<b/>", "<a></a>x<b></b>", ""},
        XmlCase{"Space", "<a> </a>", "<a/>", "children"},
        XmlCase{"Text", "<a>x</a>", "<a>y</a>", "text"},
        XmlCase{"AttributeValue", "<a b='1'/>", "<a b='2'/>", "attributes"},
        XmlCase{"Comment", "<a><!--x--></a>", "<a><!--y--></a>", "comment"},
        XmlCase{"Instruction", "<?a x?>", "<?b x?>", "instruction"},
        XmlCase{"Namespace", "<a xmlns='u'/>", "<a/>", "{u}a"},
        XmlCase{"UnusedNamespace", "<a xmlns:p='u'/>", "<a/>", "namespaces"},
        XmlCase{"DeclaredAgain", "<a xmlns='u'><b/></a>",
                "<a xmlns='u'><b xmlns='u'/></a>", ""},
        XmlCase{"Prefix", "<p:a xmlns:p='u'/>", "<q:a xmlns:q='u'/>", "q:a"},
        XmlCase{"PrefixIgnored", "<p:a xmlns:p='u' p:b='1'/>",
                "<a xmlns='u' xmlns:q='u' q:b='1'/>", "", true},
        XmlCase{"NoXml", "<a/>", "<a>", "no XML"}),
    kName);

// ----------------------------------------------------------------------- judge

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
    queries.push_back(query);
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

  std::vector<Query> queries;

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

struct JudgeCase {
  const char* name;
  const char* answer;  // of the query; "$result eq (1)" is true, (2) false
  Assertion expected;
  Outcome outcome;
};

class JudgedCase : public testing::TestWithParam<JudgeCase> {};

TEST_P(JudgedCase, EndsAsItMust) {
  ScriptedEngine engine(
      {{"query", GetParam().answer},
       {"$result eq (1)", "true"},
       {"$result eq (2)", "false"},
       {"string-join(for $one in $result return string($one), \" \") eq "
        "\"a\"\"b&amp;\"",
        "true"}});
  Case one;
  one.query = "query";
  one.expected = GetParam().expected;
  const Verdict verdict = Judge(one, engine, ".");
  EXPECT_EQ(verdict.outcome, GetParam().outcome) << verdict.reason;
  EXPECT_EQ(verdict.reason.empty(), verdict.outcome == Outcome::Passed);
}

const Assertion kRight = Expect("assert-eq", "1");
const Assertion kWrong = Expect("assert-eq", "2");
const Assertion kUnjudged = Expect("serialization-matches", "x");

INSTANTIATE_TEST_SUITE_P(
    Of, JudgedCase,
    testing::Values(
        JudgeCase{"Right", "x", kRight, Outcome::Passed},
        JudgeCase{"Wrong", "x", kWrong, Outcome::Failed},
        JudgeCase{"FailureForAValue", "!XPTY0004", kRight, Outcome::Failed},
        JudgeCase{"Error", "!XPTY0004", Expect("error", "XPTY0004"),
                  Outcome::Passed},
        JudgeCase{"OtherError", "!XPTY0004", Expect("error", "XPST0003"),
                  Outcome::Failed},
        JudgeCase{"AnyError", "!XPTY0004", Expect("error", "*"),
                  Outcome::Passed},
        JudgeCase{"ValueForAnError", "x", Expect("error", "*"),
                  Outcome::Failed},
        JudgeCase{"AnyOf", "x",
                  Join("any-of", {Expect("error", "A"), kWrong, kRight}),
                  Outcome::Passed},
        JudgeCase{"NoneOfAny", "x", Join("any-of", {kWrong, kWrong}),
                  Outcome::Failed},
        JudgeCase{"UnjudgedOfAny", "x", Join("any-of", {kUnjudged, kWrong}),
                  Outcome::Skipped},
        JudgeCase{"AllOf", "x", Join("all-of", {kRight, kRight}),
                  Outcome::Passed},
        JudgeCase{"OneOfAllWrong", "x",
                  Join("all-of", {kRight, kUnjudged, kWrong}), Outcome::Failed},
        JudgeCase{"UnjudgedOfAll", "x", Join("all-of", {kUnjudged, kRight}),
                  Outcome::Skipped},
        JudgeCase{"Not", "x", Join("not", {kWrong}), Outcome::Passed},
        JudgeCase{"NotRight", "x", Join("not", {kRight}), Outcome::Failed},
        JudgeCase{"TextWithMarks", "x", Expect("assert-string-value", "a\"b&"),
                  Outcome::Passed},
        JudgeCase{"Xml", "<a  />", Expect("assert-xml", "<a></a>"),
                  Outcome::Passed},
        JudgeCase{"UnknownKind", "x", Expect("assert-magic", "x"),
                  Outcome::Failed}),
    kName);

TEST(CaseEnvironment, ReachesTheEngine) {
  ScriptedEngine engine({{"query", "x"}, {"3", "three"}, {"true", "true"}});
  Case one;
  one.file = "f/x.xml";
  one.query = "query";
  one.environment.sources = {{".", "d.xml", ""},
                             {"$w", "e f.xml", "http://e"},
                             {"", "g.xml", "http://g"}};
  one.environment.parameters = {{"v", "3", true}};
  one.environment.namespaces = {{"p", "http://p"}};
  one.environment.collections = {{"http://c", {"d.xml"}}};
  one.expected = Expect("assert-xml", "x");
  EXPECT_EQ(Judge(one, engine, "/sources").outcome, Outcome::Passed);
  ASSERT_EQ(engine.queries.size(), 2U);
  const Query& query = engine.queries[1];
  EXPECT_EQ(query.base_uri, "file:///sources/f/x.xml");
  EXPECT_EQ(dynamic_cast<const TextValue&>(*query.context).text,
            "file:///sources/d.xml");
  ASSERT_EQ(query.variables.size(), 2U);
  EXPECT_EQ(query.variables[0].name, "w");
  EXPECT_EQ(query.variables[1].name, "v");
  EXPECT_EQ(dynamic_cast<const TextValue&>(*query.variables[1].value).text,
            "three");
  ASSERT_EQ(query.documents.size(), 3U);
  EXPECT_EQ(query.documents[1].file, "/sources/e f.xml");
  EXPECT_EQ(query.documents[2].uri, "http://g");
  ASSERT_EQ(query.collections.size(), 1U);
  EXPECT_EQ(query.collections[0].documents[0].uri, "file:///sources/d.xml");
  EXPECT_THAT(query.namespaces, ElementsAre(Pair("p", "http://p")));
}

// --------------------------------------------------------------------- workers

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
