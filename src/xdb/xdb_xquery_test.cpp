// Queries through the published classes, over containers as they are.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "kiv/dom_document.h"
#include "kiv/dom_node.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

using ::testing::HasSubstr;

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";  // 订单
const std::string kFailed = "XDbQueryExpression::Execute exception: ";

class XDbXQueryTest : public XDbTest {
 protected:
  XDbXQueryTest() { Open(0); }

  void Open(long flags) {
    container_ = std::make_unique<XDbContainer>();
    manager_ = std::make_unique<XDbManager>();
    EXPECT_TRUE(manager_->Open("db", 0x0C | flags, nullptr, nullptr));
    EXPECT_TRUE(manager_->CreateQueryContext(context_));
  }
  void Create(const char* name) {
    EXPECT_TRUE(manager_->CreateContainer(name, *container_, 0x0C));
  }
  void Put(std::string name, const char* content) {
    EXPECT_TRUE(container_->PutDocument(name, content));
  }
  void PutOrders() {
    Create("orders");
    Put("1", "<order no='1'><line>pen</line><line>ink</line></order>");
    Put("2", "<order no='2'><line>cup</line></order>");
  }

  // The values as texts, one behind the other, or what was logged.
  std::string Answer(const std::string& query) {
    XDbResults results;
    if (!manager_->Query(query, context_, results, false))
      return XDbManager::LastError();
    std::string text;
    for (XDbValue value; results.next(value);)
      text += (text.empty() ? "" : "|") + value.asString();
    return text;
  }
  XDbValue ValueOf(const std::string& query) {
    XDbValue value;
    XDbResults results;
    EXPECT_TRUE(manager_->Query(query, context_, results, false));
    EXPECT_TRUE(results.next(value));
    return value;
  }

  XDbQueryContext context_;
  std::unique_ptr<XDbManager> manager_;
  std::unique_ptr<XDbContainer> container_;
};

TEST_F(XDbXQueryTest, FindsDocumentsByContainerAndName) {
  PutOrders();
  Put("a/50%#x", "<order no='3'/>");
  const std::string failed =
      kFailed + "FODC0002 at line 1, column 1: there is no ";
  const std::pair<std::string, std::string> kAnswers[] = {
      {container_->XPathQueryAll() + "/line/string()", "pen|ink|cup"},
      {XDbManager::XPathQueryAll("orders") + "[@no=2]/line", "cup"},
      {"doc('orders/2')//line", "cup"},
      {"doc('orders.xdb/a/50%25%23x')/order/@no", "3"},
      {"for $d in collection('orders') return doc(document-uri($d)) is $d",
       "true|true|true"},
      {"doc-available('orders/4')", "false"},
      {"collection()", failed + "default collection"},
      {"doc('orders/4')", failed + "document orders/4"},
      {"collection('offers')",
       failed + "collection offers, or it is not open"}};
  for (const auto& [query, answer] : kAnswers) EXPECT_EQ(Answer(query), answer);
  ASSERT_TRUE(context_.SetDefaultCollection("orders"));
  EXPECT_EQ(context_.GetDefaultCollection(), "orders");
  EXPECT_EQ(Answer("count(collection())"), "3");
  EXPECT_FALSE(context_.SetDefaultCollection(""));
}

TEST_F(XDbXQueryTest, FindsContainersInFoldersAndWithChineseNames) {
  std::filesystem::create_directory("db/dir");
  Create((std::string("dir\\") + kOrderGb).c_str());
  Put(kOrderGb, "<a>1</a>");
  const std::string name = std::string("dir/") + kOrderGb;
  EXPECT_EQ(Answer(XDbManager::XPathQueryAll(name)), "1");
  EXPECT_EQ(Answer(container_->XPathQueryAll()), "1");
  EXPECT_EQ(Answer("doc('" + name + "/" + kOrderGb + "')"), "1");
}

TEST_F(XDbXQueryTest, GivesDocumentsThatCanBeStoredAgain) {
  PutOrders();
  XDbResults results;
  ASSERT_TRUE(
      manager_->Query("collection('orders')/order[line='cup']", results, true));
  XDbDocument document;
  ASSERT_TRUE(results.next(document));
  EXPECT_EQ(document.GetName(), "2");
  ASSERT_TRUE(document.setContent(std::string("<order no='2'/>")));
  ASSERT_TRUE(container_->update(document));
  EXPECT_EQ(Answer("doc('orders/2')//line"), "");
  // What was made by the query stands in a document without a name.
  ASSERT_TRUE(manager_->Query("<a>{1}</a>", results, true));
  ASSERT_TRUE(results.next(document));
  std::string content;
  ASSERT_TRUE(document.getContent(content));
  EXPECT_EQ(content, "<a>1</a>");
  EXPECT_EQ(document.GetName(), "");
  ASSERT_TRUE(manager_->Query("1", results, true));
  EXPECT_FALSE(results.next(document));
}

TEST_F(XDbXQueryTest, GivesTheNodeInItsDocument) {
  Create("c");
  Put("d",
      "<?xml version='1.0' encoding='GB2312'?><!--c--><r xmlns:p='u'>x<a/>"
      "<b p:n='\xB6\xA9'/><?t v?>y</r>");
  const struct {
    const char* query;
    const char* name;
    const char* value;
  } kNodes[] = {
      {"doc('c/d')/r/b", "b", ""},
      {"doc('c/d')/r/b/@*", "p:n", "\xB6\xA9"},
      {"doc('c/d')/r/text()[2]", "#text", "y"},
      {"doc('c/d')/r/processing-instruction()", "t", "v"},
      {"<r><a/><b>1</b></r>/b/text()", "#text", "1"},
  };
  for (const auto& expected : kNodes) {
    XDbValue value = ValueOf(expected.query);
    DomNode node;
    ASSERT_TRUE(value.asNode(node)) << expected.query;
    EXPECT_EQ(node.GetNodeName(), expected.name) << expected.query;
    EXPECT_EQ(value.asString(), expected.value) << expected.query;
  }
  DomNode node;
  EXPECT_FALSE(ValueOf("attribute a {1}").asNode(node));
  XDbDocument document;
  ASSERT_TRUE(manager_->CreateDocument(document) && document.SetName("kept"));
  EXPECT_FALSE(ValueOf("text {'x'}").asDocument(document));
  EXPECT_EQ(document.GetName(), "kept");
}

TEST_F(XDbXQueryTest, LiveNodesAreTheirDocumentsAndDeadOnesCopies) {
  PutOrders();
  const char query[] = "doc('orders/1')/order/line[1]";
  XDbValue live = ValueOf(query);
  EXPECT_TRUE(live == ValueOf(query));
  EXPECT_FALSE(live == ValueOf("doc('orders/1')/order/line[2]"));
  XDbDocument document;
  ASSERT_TRUE(live.asDocument(document));
  EXPECT_EQ(document.GetName(), "1");
  context_.SetReturnType(XDbQueryContext::DeadValues);
  XDbValue dead = ValueOf(query);
  EXPECT_TRUE(dead.isNode());
  EXPECT_EQ(dead.asString(), "pen");
  EXPECT_FALSE(dead == live);
  ASSERT_TRUE(dead.asDocument(document));
  std::string content;
  ASSERT_TRUE(document.getContent(content));
  EXPECT_EQ(content, "<line>pen</line>");
  DomNode node;
  ASSERT_TRUE(dead.asNode(node));
  EXPECT_EQ(node.GetNodeName(), "line");
}

TEST_F(XDbXQueryTest, ValuesOutliveTheirQueryAndTheManager) {
  PutOrders();
  XDbValue value = ValueOf("doc('orders/1')/order/line[2]");
  container_.reset();
  manager_.reset();
  EXPECT_EQ(value.asString(), "ink");
  XDbDocument document;
  EXPECT_TRUE(value.asDocument(document));
}

TEST_F(XDbXQueryTest, TakesNamespacesAndVariablesOfTheContext) {
  PutOrders();
  context_.SetNamespace("p", kOrderGb);
  EXPECT_EQ(Answer("namespace-uri(<p:a/>)"), kOrderGb);
  XDbValue text(kOrderGb), number(1.5), truth(true);
  XDbValue node = ValueOf("doc('orders/1')/order");
  XDbValue whole = ValueOf("2");
  XDbValue date = ValueOf("xs:date('2024-02-29')");
  context_.SetVariableValue("text", text);
  context_.SetVariableValue(kOrderGb, text);
  context_.SetVariableValue("number", number);
  context_.SetVariableValue("truth", truth);
  context_.SetVariableValue("p:node", node);
  context_.SetVariableValue("whole", whole);
  context_.SetVariableValue("date", date);
  EXPECT_EQ(Answer(std::string("string-length($text), $") + kOrderGb),
            std::string("2|") + kOrderGb);
  EXPECT_EQ(Answer("$number * 2, not($truth)"), "3|false");
  EXPECT_EQ(Answer("$p:node/line, $p:node is doc('orders/1')/order"),
            "pen|ink|false");
  EXPECT_EQ(Answer("declare variable $whole as xs:integer external; "
                   "$whole instance of xs:integer"),
            "true");
  EXPECT_EQ(Answer("$date + xs:dayTimeDuration('P1D')"), "2024-03-01");
  EXPECT_EQ(Answer("declare variable $text as xs:integer external; $text"),
            kFailed +
                "XPTY0004 at line 1, column 1: the value of $text must "
                "be xs:integer");
  EXPECT_EQ(Answer("$none"),
            "XDbManager::Prepare exception: XPST0008 at line 1, column 1: "
            "there is no variable $none");
}

TEST_F(XDbXQueryTest, AnswersTheKindsOfValues) {
  for (const char* number : {"1", "1.5", "1e0", "xs:float(2)"})
    EXPECT_TRUE(ValueOf(number).isNumber()) << number;
  EXPECT_TRUE(ValueOf("'a'").isString());
  EXPECT_TRUE(ValueOf("xs:date('2024-02-29')").isString());
  EXPECT_TRUE(ValueOf("1 eq 1").isBoolean());
  EXPECT_TRUE(ValueOf("<a/>").isNode());
  EXPECT_DOUBLE_EQ(ValueOf("123456789012345678901234567890").asNumber(),
                   123456789012345678901234567890.0);
  EXPECT_TRUE(ValueOf("2") == ValueOf("2.0"));
  EXPECT_FALSE(ValueOf("2") == ValueOf("'2'"));
  EXPECT_EQ(ValueOf("<a> 5 </a>").asNumber(), 5);
}

TEST_F(XDbXQueryTest, OpensContainersWhereItMay) {
  PutOrders();
  container_->put("<order no='3'/>");
  container_ = std::make_unique<XDbContainer>();
  EXPECT_THAT(Answer("collection('orders')"), HasSubstr("or it is not open"));
  Open(0x40);
  EXPECT_EQ(Answer("count(collection('orders'))"), "3");
  EXPECT_EQ(Answer("doc-available('offers/1')"), "false");
  // Nothing outside of the home.
  EXPECT_NE(Answer("collection('../db/orders')"), "3");
  EXPECT_TRUE(manager_->RenameContainer("orders", "offers"));
  EXPECT_EQ(Answer("count(collection('offers'))"), "3");
  EXPECT_TRUE(manager_->RemoveContainer("offers"));
  EXPECT_EQ(Answer("doc-available('offers/1')"), "false");
}

TEST_F(XDbXQueryTest, ReadsFilesWhereItMay) {
  std::ofstream("a b.xml") << "<a>1</a>";
  std::ofstream("bad.xml") << "<a>";
  const std::string folder =
      "file://" + std::filesystem::current_path().string() + "/";
  const std::string query = "doc('" + folder + "a%20b.xml')/a";
  EXPECT_NE(Answer(query), "1");
  Open(0x80);
  EXPECT_EQ(Answer(query), "1");
  EXPECT_EQ(Answer("doc-available('" + folder + "bad.xml')"), "false");
  EXPECT_EQ(Answer("doc-available('" + folder + "none.xml')"), "false");
}

TEST_F(XDbXQueryTest, ReadsInsideTheTransaction) {
  PutOrders();
  Changes changes(*manager_);
  ASSERT_TRUE(container_->DeleteDocument(std::string("1"), changes.context));
  ASSERT_TRUE(context_.SetTransaction(changes.transaction));
  EXPECT_EQ(Answer("count(collection('orders'))"), "1");
  ASSERT_TRUE(changes.transaction.Abort());
  EXPECT_EQ(Answer("1"), kFailed + "the transaction of this context has ended");
  context_.ClearTransaction();
  EXPECT_EQ(Answer("count(collection('orders'))"), "2");
}

TEST_F(XDbXQueryTest, LazyResultsComeAsTheyAreAskedFor) {
  const auto session = std::make_shared<Session>(nullptr, false, false);
  QueryContext context;
  context.evaluation_type = 1;
  const auto query = session->engine().Prepare("1, 2, error()", context);
  const auto results = query->Execute(session, context);
  EXPECT_EQ(results->Next()->AsString(), "1");
  EXPECT_EQ(results->Next()->AsString(), "2");
  EXPECT_EQ(results->Previous()->AsString(), "2");
  EXPECT_EQ(results->Next()->AsString(), "2");
  EXPECT_THROW(results->Next(), std::runtime_error);
  results->Reset();
  EXPECT_EQ(results->Next()->AsString(), "1");
  // On whatever thread, and two at a time.
  const auto first = session->engine().Prepare("1 to 3", context);
  const auto one = first->Execute(session, context);
  const auto other = first->Execute(session, context);
  EXPECT_EQ(one->Next()->AsString(), "1");
  std::thread([&] { EXPECT_EQ(one->Next()->AsString(), "2"); }).join();
  EXPECT_EQ(other->Size(), 3u);
  EXPECT_EQ(one->Next()->AsString(), "3");
  EXPECT_EQ(one->Next(), nullptr);
  EXPECT_EQ(one->Previous()->AsString(), "3");

  context_.SetEvaluationType(XDbQueryContext::Lazy);
  EXPECT_EQ(Answer("(1 to 3)[. > 1]"), "2|3");
}

TEST_F(XDbXQueryTest, LazyResultsAreWalkedWithoutTheRest) {
  context_.SetEvaluationType(XDbQueryContext::Lazy);
  XDbResults results;
  XDbValue value;
  ASSERT_TRUE(manager_->Query("1 to 1000000000000", context_, results, false));
  EXPECT_FALSE(results.is_eof());
  EXPECT_TRUE(results.is_bof());
  ASSERT_TRUE(results.next(value));
  EXPECT_EQ(value.asString(), "1");
  EXPECT_TRUE(results.set_pos(1000));
  ASSERT_TRUE(results.next(value));
  EXPECT_EQ(value.asString(), "1001");
  EXPECT_TRUE(results.set_pos(2));
  ASSERT_TRUE(results.next(value));
  EXPECT_EQ(value.asString(), "3");
  // And to the end where that is asked for.
  ASSERT_TRUE(manager_->Query("1 to 3", context_, results, false));
  EXPECT_FALSE(results.set_pos(4));
  EXPECT_TRUE(results.is_bof());
  EXPECT_EQ(results.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(results.next(value));
  EXPECT_FALSE(results.is_eof());
  EXPECT_FALSE(results.next(value));
  EXPECT_TRUE(results.is_eof());
  EXPECT_EQ(results.get_pos(), 4u);
  ASSERT_TRUE(manager_->Query("()", context_, results, false));
  EXPECT_FALSE(results.next(value));
  EXPECT_TRUE(results.is_bof() && results.is_eof());
  EXPECT_FALSE(results.has_failed());
}

TEST_F(XDbXQueryTest, LazyResultsEndWhereTheQueryFails) {
  context_.SetEvaluationType(XDbQueryContext::Lazy);
  const char query[] = "1, 2, error()";
  XDbResults results;
  XDbValue value;
  ASSERT_TRUE(manager_->Query(query, context_, results, false));
  EXPECT_TRUE(results.next(value) && results.next(value));
  EXPECT_FALSE(results.has_failed());
  EXPECT_FALSE(results.next(value));
  EXPECT_TRUE(results.has_failed());
  EXPECT_TRUE(results.is_eof());
  ExpectLogged("XDbResults::next: Xml* Inner call exception : - FOER0000");
  ASSERT_TRUE(manager_->Query(query, context_, results, false));
  EXPECT_FALSE(results.has_failed());
  EXPECT_FALSE(results.set_pos(3));
  EXPECT_TRUE(results.has_failed());
  EXPECT_EQ(results.size(), 2u);
  ASSERT_TRUE(
      manager_->Query("(1 to 3)[. > 5], error()", context_, results, false));
  EXPECT_TRUE(results.is_eof());
  EXPECT_TRUE(results.has_failed());
  EXPECT_FALSE(results.next(value));
}

TEST_F(XDbXQueryTest, GivesValuesAsXml) {
  const struct {
    const char* query;
    const char* xml;
    const char* text;
  } kValues[] = {
      {"<a b='&lt;'>&amp;<!--c--></a>", "<a b=\"&lt;\">&amp;<!--c--></a>", "&"},
      {"<a b='&lt;&#34;'/>/@b", "b=\"&lt;&quot;\"", "<\""},
      {"<a>x&lt;y</a>/text()", "x&lt;y", "x<y"},
      {"document { <a/>, <b/> }", "<a/><b/>", ""},
      {"<p:a xmlns:p='u'><p:b/></p:a>/*", "<p:b xmlns:p=\"u\"/>", ""},
      {"'a<b'", "a&lt;b", "a<b"},
      {"1.50", "1.5", "1.5"},
      {"'\xB6\xA9&#x1F600;'", "\xE8\xAE\xA2\xF0\x9F\x98\x80",
       "\xE8\xAE\xA2\xF0\x9F\x98\x80"},
  };
  for (const auto type :
       {XDbQueryContext::LiveValues, XDbQueryContext::DeadValues}) {
    context_.SetReturnType(type);
    for (const auto& expected : kValues) {
      const XDbValue value = ValueOf(expected.query);
      EXPECT_EQ(value.asXml(), expected.xml) << expected.query;
      EXPECT_EQ(value.asUtf8(), expected.text) << expected.query;
    }
  }
  EXPECT_EQ(XDbValue().asXml() + XDbValue().asUtf8(), "");
}

TEST_F(XDbXQueryTest, TellsWhatItWillDo) {
  const char query[] =
      "declare variable $limit external; "
      "declare function local:line($o) { $o/line[1] }; "
      "for $a in collection('orders')/order, $b in collection('stock')//item "
      "where $b/@name = $a/line and $a/@no > $limit "
      "order by $a/@no descending return local:line($a)";
  const auto prepared = manager_->Prepare(query, context_, false);
  ASSERT_NE(prepared, nullptr);
  const std::string plan = prepared->GetPlan(context_);
  for (const char* line :
       {"variable $limit external\n",
        "function local:line#1\n  sort($o/line[1])\n",
        "      collection(\"orders\")\n        index order/@no > $limit\n",
        "  where once($a/@no) > $limit\n", "  join by a table\n",
        "    where once($a/line) = $b/@name\n",
        "  order by once($a/@no) descending\n", "  return local:line($a)\n"})
    EXPECT_NE(plan.find(line), std::string::npos) << line << "--\n" << plan;
  XDbQueryExpression unbound;
  EXPECT_EQ(unbound.GetPlan(context_), "");
}

TEST_F(XDbXQueryTest, LogsTheCodeAndThePlaceOfAnError) {
  EXPECT_EQ(
      Answer("1 +\n +"),
      "XDbManager::Prepare exception: XPST0003 at line 2, column 3: expected "
      "an expression, found the end of the query");
  for (const auto& [query, text] :
       {std::pair("count()", "count of 0 arguments"),
        std::pair("length(1)", "length of 1 argument")})
    EXPECT_EQ(Answer(query),
              std::string("XDbManager::Prepare exception: XPST0017 at line 1, "
                          "column 1: there is no function ") +
                  text);
  EXPECT_EQ(Answer("1 + <a>\xB6\xA9</a>"),
            kFailed +
                "FORG0001 at line 1, column 3: xs:untypedAtomic \"\xB6\xA9\" "
                "is no xs:double");
  EXPECT_EQ(Answer("error((), 'a&#10;b')"),
            kFailed + "FOER0000 at line 1, column 1: a\\nb");
}

TEST_F(XDbXQueryTest, EndsAtTheLimitsOfTheContext) {
  XDbQueryLimits limits;
  ASSERT_TRUE(context_.GetLimits(limits));
  const XDbQueryLimits usual = limits;
  const char recursion[] =
      "declare function local:f($n) { if ($n = 0) then 0 else "
      "1 + local:f($n - 1) }; local:f(50)";
  EXPECT_EQ(Answer(recursion), "50");
  limits.call_depth = 20;
  ASSERT_TRUE(context_.SetLimits(limits));
  EXPECT_THAT(Answer(recursion), HasSubstr("XPDY0130"));
  limits = usual;
  limits.time_ms = 20;
  context_.SetLimits(limits);
  EXPECT_THAT(Answer("count(1 to 1000000000000)"),
              HasSubstr("the query takes more time than is allowed"));
  limits = usual;
  limits.memory_bytes = 1 << 20;
  context_.SetLimits(limits);
  // What is found, and the results themselves.
  for (const char* greedy :
       {"count(reverse(1 to 1000000000))", "1 to 1000000000"})
    EXPECT_NE(Answer(greedy).find("XPDY0130"), std::string::npos) << greedy;
}

TEST_F(XDbXQueryTest, EndsWhenAnotherThreadCancels) {
  std::atomic<bool> has_ended = false;
  std::thread other([&] {
    while (!has_ended) {
      context_.Cancel();
      std::this_thread::yield();
    }
  });
  const std::string answer = Answer("count(1 to 1000000000000)");
  has_ended = true;
  other.join();
  EXPECT_THAT(answer, HasSubstr("the query was cancelled"));
  EXPECT_EQ(Answer("1"), "1");
}

}  // namespace
}  // namespace kiv::xdb
