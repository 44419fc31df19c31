#include "kiv/xdb_container.h"

#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

using ::testing::HasSubstr;

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";  // 订单
// " : 无法创建更新上下文对象。"
constexpr char kNoContext[] =
    " : \xCE\xDE\xB7\xA8\xB4\xB4\xBD\xA8\xB8\xFC\xD0\xC2\xC9\xCF\xCF\xC2\xCE"
    "\xC4\xB6\xD4\xCF\xF3\xA1\xA3\r";
// "XDbContainer::GetDocument 异常: "
constexpr char kGetException[] = "XDbContainer::GetDocument \xD2\xEC\xB3\xA3: ";

class XDbContainerTest : public OpenedXDbTest {
 protected:
  XDbContainerTest() {
    EXPECT_TRUE(manager_.CreateContainer("c", container_, 0x0C));
  }

  // "-" when there is none.
  std::string Get(const std::string& name) const {
    XDbDocument document;
    std::string content;
    return container_.GetDocument(name, document) &&
                   document.getContent(content)
               ? content
               : "-";
  }
  bool Put(std::string name, const std::string& content) {
    return container_.PutDocument(name, content);
  }
  bool Put(std::string name, XDbUpdateContext& context) {
    return container_.PutDocument(name, "<a/>", context);
  }
  static void ExpectLoggedOfPut(const std::string& text) {
    ExpectLogged("XDbContainer::PutDocument exception: " + text);
  }
  std::string Names() const {
    std::string names;
    EXPECT_TRUE(container_.EachDocumentName([&](const std::string& name) {
      names += name + ";";
      return true;
    }));
    return names;
  }

  XDbContainer container_;
};

TEST_F(XDbContainerTest, StoresReplacesAndDeletes) {
  std::string name = kOrderGb;
  // Bytes stay in the encoding that they declare.
  const std::string gb = std::string("<a>") + kOrderGb + "</a>";
  EXPECT_TRUE(Put(name, "<?xml version='1.0' encoding='GB2312'?>" + gb));
  EXPECT_THAT(Get(kOrderGb), HasSubstr(gb));
  EXPECT_FALSE(container_.put("<a>2</a>", name));
  ExpectLoggedOfPut("");

  XDbDocument document;
  ASSERT_TRUE(container_.GetDocument(kOrderGb, document));
  ASSERT_TRUE(document.setContent("<a>3</a>"));
  EXPECT_TRUE(container_.update(document));
  EXPECT_EQ(Get(kOrderGb), "<a>3</a>");
  EXPECT_TRUE(container_.del(document));
  EXPECT_EQ(Get(kOrderGb), "-");
  ExpectLogged(kGetException);
  EXPECT_FALSE(container_.del(kOrderGb));
  ExpectLogged("XDbContainer::DeleteDocument exception: ");
  EXPECT_FALSE(container_.update(document));
  ExpectLogged("XDbContainer::UpdateDocument exception: ");
}

TEST_F(XDbContainerTest, MakesUpNamesThatNoDocumentHas) {
  std::string first, second, none;
  EXPECT_TRUE(container_.put("<a/>", first));
  EXPECT_TRUE(container_.PutDocument(second, "<b/>"));
  EXPECT_NE(first, second);
  EXPECT_TRUE(container_.put("<c/>"));
  EXPECT_EQ(Get(first), "<a/>");
  // A name of no document is the caller's still.
  EXPECT_FALSE(container_.put("no xml", none));
  EXPECT_EQ(none, "");
  EXPECT_EQ(Get(""), "-");
  EXPECT_FALSE(Put("a", "") || Put("a\x81", "<a/>"));
  ExpectLoggedOfPut(
      "the name 'a\\x81' holds bytes that are no GB2312 character");
}

TEST_F(XDbContainerTest, RenamesADocumentThatWasGivenAnotherName) {
  ASSERT_TRUE(Put("old", "<a/>") && Put("taken", "<t/>"));
  int seen = 0;
  EXPECT_TRUE(
      container_.EachDocumentName([&](const auto&) { return ++seen == 0; }));
  EXPECT_EQ(seen, 1);
  XDbDocument document;
  ASSERT_TRUE(container_.GetDocument("old", document));
  ASSERT_TRUE(document.SetName("taken") && document.setContent("<b/>"));
  EXPECT_FALSE(container_.update(document));
  EXPECT_EQ(Get("old") + Get("taken"), "<a/><t/>");
  ASSERT_TRUE(document.SetName("new"));
  EXPECT_TRUE(container_.update(document));
  EXPECT_EQ(Names(), "new;taken;");
  EXPECT_EQ(Get("new"), "<b/>");
  // Both of it or neither.
  ASSERT_TRUE(document.SetName("newer") && document.setContent("broken"));
  EXPECT_FALSE(container_.update(document));
  EXPECT_EQ(Names(), "new;taken;");
  // A name that it does not have yet does not hide where it is.
  EXPECT_TRUE(container_.del(document));
  EXPECT_EQ(Names(), "taken;");

  XDbDocument made;
  ASSERT_TRUE(manager_.CreateDocument(made));
  ASSERT_TRUE(made.SetName("taken") && made.setContent("<u/>"));
  EXPECT_TRUE(container_.update(made));
  EXPECT_EQ(Get("taken"), "<u/>");
}

// A transaction that is given up for others is made again.
TEST_F(XDbContainerTest, RenamesADocumentAgainAfterAnAbort) {
  ASSERT_TRUE(Put("old", "<a/>"));
  XDbDocument document;
  ASSERT_TRUE(container_.GetDocument("old", document));
  for (const std::string end : {"abort", "release", "commit"}) {
    SCOPED_TRACE(end);
    Changes changes(manager_);
    // The transaction sees each name that it gave.
    for (const char* const name : {"newer", "new"}) {
      ASSERT_TRUE(document.SetName(name));
      EXPECT_TRUE(container_.UpdateDocument(document, changes.context));
    }
    if (end == "abort") {
      EXPECT_TRUE(changes.transaction.Abort());
    } else if (end == "commit") {
      EXPECT_TRUE(changes.transaction.Commit());
    }
  }
  EXPECT_EQ(Names(), "new;");
  ASSERT_TRUE(document.SetName("last"));
  EXPECT_TRUE(container_.update(document));
  EXPECT_EQ(Names(), "last;");
}

TEST_F(XDbContainerTest, ReadsFiles) {
  WriteTestFile("\xE8\xAE\xA2.xml", "<f>1</f>");
  XDbInputStream stream;
  XDbUpdateContext context;
  ASSERT_TRUE(manager_.CreateUpdateContext(context));
  ASSERT_TRUE(manager_.CreateLocalFileInputStream(".\\\xB6\xA9.xml", stream));
  // Each time from the beginning.
  const auto put_file = [&](std::string name) {
    return container_.PutDocument(name, stream, context);
  };
  EXPECT_TRUE(put_file("f") && put_file("g"));
  EXPECT_EQ(Get("f") + Get("g"), "<f>1</f><f>1</f>");

  const auto open = [&](const char* file) {
    return manager_.CreateLocalFileInputStream(file, stream);
  };
  ExpectAllFalse(open(nullptr), open(""));
  EXPECT_EQ(LogText(), "");
  ExpectAllFalse(open("missing"), open("db"));
  ExpectLogged(
      "XDbManager::CreateLocalFileInputStream exception: 'db': this is a "
      "folder");
  // What was bound stays.
  EXPECT_TRUE(put_file("h"));
  std::filesystem::remove("\xE8\xAE\xA2.xml");
  EXPECT_FALSE(put_file("gone"));
}

TEST_F(XDbContainerTest, ChangesTogetherOrNotAtAll) {
  ASSERT_TRUE(Put("kept", "<k/>"));
  for (const bool commits : {false, true}) {
    Changes changes(manager_);
    XDbTransaction& transaction = changes.transaction;
    EXPECT_TRUE(Put("new", changes.context));
    EXPECT_TRUE(container_.DeleteDocument("kept", changes.context));
    // Seen inside it.
    XDbDocument document;
    EXPECT_TRUE(container_.GetDocument("new", document, transaction));
    EXPECT_TRUE(commits ? transaction.Commit() : transaction.Abort());
    EXPECT_EQ(Names(), commits ? "new;" : "kept;");
    // It is over.
    EXPECT_FALSE(transaction.Commit() || transaction.Abort());
    ExpectLogged("XDbTransaction::Commit exception: ");
    ExpectLogged("XDbTransaction::Abort exception: ");
    EXPECT_FALSE(Put("late", changes.context));
    changes.context.ClearTransaction();
    EXPECT_TRUE(Put("late", changes.context));
    EXPECT_TRUE(container_.del("late"));
  }
}

TEST_F(XDbContainerTest, RefusesTransactionsThatAreNotItsOwn) {
  XDbManager other;
  ASSERT_TRUE(other.Open("other", 0x0C, nullptr, nullptr));
  Changes foreign(other);
  EXPECT_FALSE(Put("a", foreign.context));
  ExpectLoggedOfPut(
      "the transaction of this context belongs to another environment");
  // Nor any in a container that was opened without.
  XDbContainer plain;
  ASSERT_TRUE(manager_.CreateContainer("plain", plain, 0x04));
  XDbUpdateContext context;
  ASSERT_TRUE(manager_.CreateUpdateContext(context));
  {
    XDbTransaction own;
    ASSERT_TRUE(manager_.CreateTransaction(own) && context.SetTransaction(own));
    EXPECT_TRUE(Put("a", context));
    std::string name = "a";
    EXPECT_FALSE(plain.PutDocument(name, "<a/>", context));
    ExpectLoggedOfPut("the container was opened without transactions");
  }
  EXPECT_FALSE(Put("a", context));
  ExpectLoggedOfPut("the transaction of this context was released");
  EXPECT_EQ(Names(), "");
}

TEST_F(XDbContainerTest, OutlivesItsManager) {
  Changes changes(manager_);
  manager_.Close();
  EXPECT_TRUE(Put("a", changes.context));
  EXPECT_TRUE(changes.transaction.Commit());
  EXPECT_EQ(Get("a"), "<a/>");
  // Closed while the container is held, opened again beside it.
  XDbManager again;
  XDbContainer same;
  XDbDocument document;
  ASSERT_TRUE(again.Open("db", 0x0C, nullptr, nullptr));
  ASSERT_TRUE(again.OpenContainer("c", same, 0x0C));
  EXPECT_TRUE(Put("b", "<b/>"));
  EXPECT_TRUE(same.GetDocument("a", document));
  EXPECT_TRUE(same.GetDocument("b", document));
}

TEST_F(XDbContainerTest, AnswersFalseWhileUnbound) {
  XDbContainer unbound;
  XDbDocument document;
  XDbInputStream stream;
  XDbUpdateContext context;
  XDbTransaction transaction;
  XDbContainerStatistics state;
  std::vector<std::string> problems;
  std::string name = "a";
  ExpectAllFalse(unbound.PutDocument(name, "<a/>", context),
                 unbound.PutDocument(name, stream, context),
                 unbound.DeleteDocument(name, context),
                 unbound.DeleteDocument(document, context),
                 unbound.UpdateDocument(document, context),
                 unbound.GetDocument(name, document),
                 unbound.GetDocument(name, document, transaction),
                 unbound.EachDocumentName([](const auto&) { return true; }),
                 unbound.GetStatistics(state), unbound.Verify(problems));
  EXPECT_EQ(unbound.GetFileName() + unbound.GetName(), "");
  EXPECT_EQ(unbound.XPathCollection(), "collection('')");
  EXPECT_EQ(LogText(), "");
  ExpectAllFalse(unbound.PutDocument(name, "<a/>"), unbound.put("<a/>", name),
                 unbound.put("<a/>"), unbound.del(name), unbound.del(document),
                 unbound.update(document));
  for (const char* const call : {"PutDocument", "del", "update"})
    ExpectLogged(std::string("XDbContainer::") + call + kNoContext);
}

TEST_F(XDbContainerTest, RefusesUnboundArguments) {
  XDbDocument document;
  XDbInputStream stream;
  XDbUpdateContext unbound, context;
  XDbTransaction transaction;
  DomDocument tree;
  DomNode node;
  DomElement element;
  ASSERT_TRUE(manager_.CreateUpdateContext(context));
  std::string name = "a";
  EXPECT_FALSE(Put(name, unbound));
  ExpectLoggedOfPut("the update context is not bound");
  EXPECT_FALSE(container_.PutDocument(name, stream, context));
  ExpectLoggedOfPut("the input stream is not bound");
  ExpectAllFalse(
      container_.DeleteDocument(name, unbound),
      container_.DeleteDocument(document, context), container_.del(document),
      container_.UpdateDocument(document, context), container_.update(document),
      container_.GetDocument(name, document, transaction),
      context.SetTransaction(transaction), unbound.SetTransaction(transaction),
      transaction.Commit(), transaction.Abort(), document.SetName("a"),
      document.setContent("<a/>"), document.getContent(name),
      document.asDocument(tree), document.asNode(node),
      document.setContent(tree), document.setContent(element));
  unbound.ClearTransaction();
  EXPECT_EQ(document.GetName() + Names(), "");
}

}  // namespace
}  // namespace kiv::xdb
