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

using ::testing::AnyOf;
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
  EXPECT_EQ(container_->GetName(), std::string("dir\\") + kOrderGb);
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
  ASSERT_TRUE(document.setContent(std::string("<order no='2'/>")) &&
              container_->update(document));
  EXPECT_EQ(Answer("doc('orders/2')//line"), "");
  // What was made by the query stands in a document without a name.
  ASSERT_TRUE(manager_->Query("<a>{1}</a>", results, true));
  std::string content;
  ASSERT_TRUE(results.next(document) && document.getContent(content));
  EXPECT_EQ(content + document.GetName(), "<a>1</a>");
  ASSERT_TRUE(manager_->Query("1", results, true));
  EXPECT_FALSE(results.next(document));
}

TEST_F(XDbXQueryTest, GivesTheNodeInItsDocument) {
  Create("c");
  Put("d",
      "<?xml version='1.0' encoding='GB2312'?><!--c--><r xmlns:p='u'>x<a/>"
      "<b p:n='\xB6\xA9'/><?t v?>y</r>");
  constexpr const char* kNodes[][3] = {
      {"doc('c/d')/r/b", "b", ""},
      {"doc('c/d')/r/b/@*", "p:n", "\xB6\xA9"},
      {"doc('c/d')/r/text()[2]", "#text", "y"},
      {"<r><a/><b>1</b></r>/b/text()", "#text", "1"}};
  DomNode node;
  for (const auto& [query, name, text] : kNodes) {
    XDbValue value = ValueOf(query);
    ASSERT_TRUE(value.asNode(node)) << query;
    EXPECT_EQ(node.GetNodeName(), name) << query;
    EXPECT_EQ(value.asString(), text) << query;
  }
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
  EXPECT_FALSE(dead == live);
  std::string content;
  ASSERT_TRUE(dead.asDocument(document) && document.getContent(content));
  EXPECT_EQ(content, "<line>pen</line>");
  DomNode node;
  ASSERT_TRUE(dead.asNode(node));
  EXPECT_EQ(node.GetNodeName(), "line");
  // Both outlive their query and the manager.
  container_.reset();
  manager_.reset();
  EXPECT_EQ(live.asString() + dead.asString(), "penpen");
  EXPECT_TRUE(live.asDocument(document));
}

TEST_F(XDbXQueryTest, TakesNamespacesAndVariablesOfTheContext) {
  PutOrders();
  context_.SetNamespace("p", kOrderGb);
  EXPECT_EQ(Answer("namespace-uri(<p:a/>)"), kOrderGb);
  std::pair<const char*, XDbValue> variables[] = {
      {"text", XDbValue(kOrderGb)},
      {kOrderGb, XDbValue(kOrderGb)},
      {"number", XDbValue(1.5)},
      {"truth", XDbValue(true)},
      {"p:node", ValueOf("doc('orders/1')/order")},
      {"whole", ValueOf("2")}};
  for (auto& [name, value] : variables)
    EXPECT_TRUE(context_.SetVariableValue(name, value));
  EXPECT_EQ(Answer(std::string("string-length($text), $") + kOrderGb),
            std::string("2|") + kOrderGb);
  EXPECT_EQ(Answer("$number * 2, not($truth)"), "3|false");
  EXPECT_EQ(Answer("$p:node/line, $p:node is doc('orders/1')/order"),
            "pen|ink|false");
  EXPECT_EQ(Answer("$whole instance of xs:integer"), "true");
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
  EXPECT_TRUE(ValueOf("xs:date('2024-02-29')").isString());
  EXPECT_TRUE(ValueOf("1 eq 1").isBoolean());
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
  const auto start = [&](const char* query) {
    return session->engine().Prepare(query, context)->Execute(session, context);
  };
  const auto results = start("1, 2, error()");
  EXPECT_EQ(results->Next()->AsString(), "1");
  EXPECT_EQ(results->Next()->AsString(), "2");
  EXPECT_EQ(results->Previous()->AsString(), "2");
  EXPECT_EQ(results->Next()->AsString(), "2");
  EXPECT_THROW(results->Next(), std::runtime_error);
  results->Reset();
  EXPECT_EQ(results->Next()->AsString(), "1");
  // On whatever thread.
  const auto other = start("1 to 3");
  EXPECT_EQ(other->Next()->AsString(), "1");
  std::thread([&] { EXPECT_EQ(other->Next()->AsString(), "2"); }).join();
  EXPECT_EQ(other->Next()->AsString(), "3");
  EXPECT_EQ(other->Next(), nullptr);
  EXPECT_EQ(other->Previous()->AsString(), "3");
}

TEST_F(XDbXQueryTest, LazyResultsAreWalkedWithoutTheRest) {
  context_.SetEvaluationType(XDbQueryContext::Lazy);
  XDbResults results;
  XDbValue value;
  ASSERT_TRUE(manager_->Query("1 to 1000000000000", context_, results, false));
  EXPECT_TRUE(results.is_bof() && !results.is_eof());
  for (const unsigned position : {0u, 1000u, 2u}) {
    EXPECT_TRUE(results.set_pos(position) && results.next(value));
    EXPECT_EQ(value.asNumber(), position + 1);
  }
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
  EXPECT_FALSE(results.next(value) || results.has_failed());
  EXPECT_TRUE(results.is_bof() && results.is_eof());
}

TEST_F(XDbXQueryTest, LazyResultsEndWhereTheQueryFails) {
  context_.SetEvaluationType(XDbQueryContext::Lazy);
  const char query[] = "1, 2, error()";
  XDbResults results;
  XDbValue value;
  ASSERT_TRUE(manager_->Query(query, context_, results, false));
  EXPECT_TRUE(results.next(value) && results.next(value));
  EXPECT_FALSE(results.has_failed() || results.next(value));
  EXPECT_TRUE(results.has_failed() && results.is_eof());
  ExpectLogged("XDbResults::next: Xml* Inner call exception : - FOER0000");
  ASSERT_TRUE(manager_->Query(query, context_, results, false));
  EXPECT_FALSE(results.has_failed() || results.set_pos(3));
  EXPECT_TRUE(results.has_failed());
  EXPECT_EQ(results.size(), 2u);
  ASSERT_TRUE(
      manager_->Query("(1 to 3)[. > 5], error()", context_, results, false));
  EXPECT_TRUE(results.is_eof() && results.has_failed());
}

TEST_F(XDbXQueryTest, GivesValuesAsXml) {
  constexpr const char* kValues[][3] = {
      {"<a b='&lt;'>&amp;<!--c--></a>", "<a b=\"&lt;\">&amp;<!--c--></a>", "&"},
      {"<a b='&lt;&#34;'/>/@b", "b=\"&lt;&quot;\"", "<\""},
      {"<p:a xmlns:p='u'><p:b/></p:a>/*", "<p:b xmlns:p=\"u\"/>", ""},
      {"'a<b'", "a&lt;b", "a<b"},
      {"'\xB6\xA9&#x1F600;'", "\xE8\xAE\xA2\xF0\x9F\x98\x80",
       "\xE8\xAE\xA2\xF0\x9F\x98\x80"}};
  for (const auto type :
       {XDbQueryContext::LiveValues, XDbQueryContext::DeadValues}) {
    context_.SetReturnType(type);
    for (const auto& [query, xml, text] : kValues) {
      EXPECT_EQ(ValueOf(query).asXml(), xml) << query;
      EXPECT_EQ(ValueOf(query).asUtf8(), text) << query;
    }
  }
}

TEST_F(XDbXQueryTest, TellsWhatItWillDo) {
  const char query[] =
      "declare variable $limit external; "
      "for $a in collection('orders')/order, $b in collection('stock')//item "
      "where $b/@name = $a/line and $a/@no > $limit return $a";
  const auto prepared = manager_->Prepare(query, context_, false);
  ASSERT_NE(prepared, nullptr);
  for (const char* line :
       {"      collection(\"orders\")\n        index order/@no > $limit\n",
        "  where once($a/@no) > $limit\n", "  join by a table\n",
        "    where once($a/line) = $b/@name\n"})
    EXPECT_THAT(prepared->GetPlan(context_), HasSubstr(line));
  EXPECT_EQ(XDbQueryExpression().GetPlan(context_), "");
}

TEST_F(XDbXQueryTest, LogsTheCodeAndThePlaceOfAnError) {
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
  const auto answer = [&](const XDbQueryLimits& changed, const char* query) {
    EXPECT_TRUE(context_.SetLimits(changed));
    return Answer(query);
  };
  const char recursion[] =
      "declare function local:f($n) { if ($n = 0) then 0 else "
      "1 + local:f($n - 1) }; local:f(50)";
  EXPECT_EQ(answer(usual, recursion), "50");
  limits.call_depth = 20;
  EXPECT_THAT(answer(limits, recursion), HasSubstr("XPDY0130"));
  limits = usual;
  limits.time_ms = 20;
  EXPECT_THAT(answer(limits, "count(1 to 1000000000000)"),
              HasSubstr("the query takes more time than is allowed"));
  limits = usual;
  limits.memory_bytes = 1 << 20;
  // What is found, and the results themselves.
  for (const char* greedy :
       {"count(reverse(1 to 1000000000))", "1 to 1000000000"})
    EXPECT_THAT(answer(limits, greedy), HasSubstr("XPDY0130"));
}

TEST_F(XDbXQueryTest, EndsWhenAnotherThreadCancels) {
  std::atomic<bool> has_ended = false;
  std::thread other([&] {
    while (!has_ended) {
      context_.Cancel();
      std::this_thread::yield();
    }
  });
  for (const char* query :
       {"count(1 to 1000000000000)",
        // A search that doubles its time with every character.
        "matches(string-join(for $i in 1 to 40 return 'a', ''), '^(a+)+$b')"})
    EXPECT_THAT(Answer(query), AnyOf(HasSubstr("the query was cancelled"),
                                     HasSubstr("U_REGEX_STOPPED_BY_CALLER")));
  has_ended = true;
  other.join();
  EXPECT_EQ(Answer("1"), "1");
}

}  // namespace
}  // namespace kiv::xdb
