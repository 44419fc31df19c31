#include "kiv/xdb_container.h"

#include <atomic>
#include <thread>

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
  EXPECT_TRUE(container_.PutDocument(
      name, "<?xml version=\"1.0\" encoding=\"GB2312\"?>" + gb));
  EXPECT_EQ(name, kOrderGb);
  EXPECT_THAT(Get(kOrderGb), HasSubstr(gb));
  EXPECT_FALSE(container_.put("<a>2</a>", name));
  ExpectLoggedOfPut("");

  XDbDocument document;
  ASSERT_TRUE(container_.GetDocument(kOrderGb, document));
  EXPECT_EQ(document.GetName(), kOrderGb);
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
  std::string first;
  std::string second;
  EXPECT_TRUE(container_.put("<a/>", first));
  EXPECT_TRUE(container_.PutDocument(second, "<b/>"));
  EXPECT_FALSE(first.empty());
  EXPECT_NE(first, second);
  EXPECT_TRUE(container_.put("<c/>"));
  EXPECT_EQ(Get(first), "<a/>");
  // A name of no document is the caller's still.
  std::string none;
  EXPECT_FALSE(container_.put("no xml", none));
  EXPECT_EQ(none, "");
  EXPECT_FALSE(container_.GetDocument("", *std::make_unique<XDbDocument>()));
}

TEST_F(XDbContainerTest, RefusesWhatIsNoXmlAndNoText) {
  EXPECT_FALSE(Put("a", "<a>"));
  EXPECT_FALSE(Put("a", ""));
  EXPECT_EQ(Names(), "");
  EXPECT_FALSE(Put("a\x81", "<a/>"));
  ExpectLoggedOfPut(
      "the name 'a\\x81' holds bytes that are no GB2312 character");
}

TEST_F(XDbContainerTest, RenamesADocumentThatWasGivenAnotherName) {
  ASSERT_TRUE(Put("old", "<a/>"));
  ASSERT_TRUE(Put("taken", "<t/>"));
  XDbDocument document;
  ASSERT_TRUE(container_.GetDocument("old", document));
  ASSERT_TRUE(document.SetName("taken"));
  ASSERT_TRUE(document.setContent("<b/>"));
  EXPECT_FALSE(container_.update(document));
  EXPECT_EQ(Get("old") + Get("taken"), "<a/><t/>");
  ASSERT_TRUE(document.SetName("new"));
  EXPECT_TRUE(container_.update(document));
  EXPECT_EQ(Names(), "new;taken;");
  EXPECT_EQ(Get("new"), "<b/>");
  // Both of it or neither.
  ASSERT_TRUE(document.SetName("newer"));
  ASSERT_TRUE(document.setContent("broken"));
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
  for (const char* const end : {"abort", "release", "commit"}) {
    SCOPED_TRACE(end);
    Changes changes(manager_);
    // The transaction sees each name that it gave.
    for (const char* const name : {"newer", "new"}) {
      ASSERT_TRUE(document.SetName(name));
      EXPECT_TRUE(container_.UpdateDocument(document, changes.context));
    }
    if (end == std::string("abort")) {
      EXPECT_TRUE(changes.transaction.Abort());
    }
    if (end == std::string("commit")) {
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
  std::string name = "f";
  EXPECT_TRUE(container_.PutDocument(name, stream, context));
  // Each time from the beginning.
  std::string again;
  EXPECT_TRUE(container_.PutDocument(again, stream, context));
  EXPECT_EQ(Get("f") + Get(again), "<f>1</f><f>1</f>");

  EXPECT_FALSE(manager_.CreateLocalFileInputStream(nullptr, stream));
  EXPECT_FALSE(manager_.CreateLocalFileInputStream("", stream));
  EXPECT_EQ(LogText(), "");
  EXPECT_FALSE(manager_.CreateLocalFileInputStream("missing", stream));
  EXPECT_FALSE(manager_.CreateLocalFileInputStream("db", stream));
  ExpectLogged(
      "XDbManager::CreateLocalFileInputStream exception: 'db': this is a "
      "folder");
  // What was bound stays.
  std::string third;
  EXPECT_TRUE(container_.PutDocument(third, stream, context));
  std::filesystem::remove("\xE8\xAE\xA2.xml");
  std::string gone = "gone";
  EXPECT_FALSE(container_.PutDocument(gone, stream, context));
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
    EXPECT_FALSE(container_.GetDocument("kept", document, transaction));
    EXPECT_TRUE(commits ? transaction.Commit() : transaction.Abort());
    EXPECT_EQ(Names(), commits ? "new;" : "kept;");
    // It is over.
    EXPECT_FALSE(transaction.Commit());
    ExpectLogged("XDbTransaction::Commit exception: ");
    EXPECT_FALSE(transaction.Abort());
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
    ASSERT_TRUE(manager_.CreateTransaction(own));
    ASSERT_TRUE(context.SetTransaction(own));
    EXPECT_TRUE(Put("a", context));
    std::string name = "a";
    EXPECT_FALSE(plain.PutDocument(name, "<a/>", context));
    ExpectLoggedOfPut("the container was opened without transactions");
  }
  EXPECT_FALSE(Put("a", context));
  ExpectLoggedOfPut("the transaction of this context was released");
  EXPECT_EQ(Names(), "");
}

// Two transactions that want what the other has: one is told to try again.
TEST_F(XDbContainerTest, SaysWhenItIsWorthTryingAgain) {
  XDbContainer other_container;
  ASSERT_TRUE(manager_.CreateContainer("other", other_container, 0x0C));
  std::atomic<int> holding = 0;
  std::atomic<int> retries = 0;
  std::atomic<int> done = 0;
  const auto put_in_both = [&](const char* name, XDbContainer& first,
                               XDbContainer& second) {
    for (;;) {
      Changes changes(manager_);
      std::string stored = name;
      bool is_done = first.PutDocument(stored, "<a/>", changes.context);
      if (is_done) {
        ++holding;
        // Until both hold one; a second round finds that so already.
        while (holding < 2) std::this_thread::yield();
        is_done = second.PutDocument(stored, "<a/>", changes.context);
      }
      if (is_done && changes.transaction.Commit()) {
        ++done;
        return;
      }
      EXPECT_TRUE(XDbManager::IsWorthRetrying());
      if (!XDbManager::IsWorthRetrying()) return;
      ++retries;
    }
  };
  std::thread other([&] { put_in_both("b", other_container, container_); });
  put_in_both("a", container_, other_container);
  other.join();
  EXPECT_EQ(done, 2);
  EXPECT_GE(retries, 1);
  XDbEnvironmentStatistics state;
  EXPECT_TRUE(manager_.GetStatistics(state));
  EXPECT_GE(state.deadlock_count, 1u);
  EXPECT_EQ(Names(), "a;b;");
  EXPECT_FALSE(container_.del("missing"));
  EXPECT_FALSE(XDbManager::IsWorthRetrying());
}

TEST_F(XDbContainerTest, OutlivesItsManager) {
  auto manager = std::make_unique<XDbManager>();
  ASSERT_TRUE(manager->Open("short", 0x0C, nullptr, nullptr));
  XDbContainer container;
  XDbDocument document;
  ASSERT_TRUE(manager->CreateContainer("c", container, 0x0C));
  Changes changes(*manager);
  ASSERT_TRUE(container.put("<a/>"));
  manager.reset();
  std::string name = "late";
  EXPECT_TRUE(container.PutDocument(name, "<b/>", changes.context));
  EXPECT_TRUE(changes.transaction.Commit());
  EXPECT_TRUE(container.GetDocument("late", document));
  EXPECT_TRUE(container.put("<c/>"));
}

TEST_F(XDbContainerTest, IsFoundByNoOtherNameBehindClosing) {
  ASSERT_TRUE(Put("a", "<a/>"));
  // Closed while the container is held, opened again beside it.
  manager_.Close();
  XDbManager again;
  ASSERT_TRUE(again.Open("db", 0x0C, nullptr, nullptr));
  XDbContainer same;
  ASSERT_TRUE(again.OpenContainer("c", same, 0x0C));
  ASSERT_TRUE(Put("b", "<b/>"));
  XDbDocument document;
  EXPECT_TRUE(same.GetDocument("a", document));
  EXPECT_TRUE(same.GetDocument("b", document));
}

TEST_F(XDbContainerTest, TellsOfItself) {
  ASSERT_TRUE(Put("a", "<a x='1'><b>t</b></a>"));
  XDbContainerStatistics state;
  EXPECT_TRUE(container_.GetStatistics(state));
  EXPECT_EQ(state.document_count, 1u);
  EXPECT_EQ(state.name_count, 3u);
  EXPECT_GT(state.file_bytes, 0u);
  std::vector<std::string> problems{"old"};
  EXPECT_TRUE(container_.Verify(problems));
  EXPECT_TRUE(problems.empty());
  // A walk that its caller ends.
  ASSERT_TRUE(Put("b", "<b/>"));
  int seen = 0;
  EXPECT_TRUE(container_.EachDocumentName(
      [&](const std::string&) { return ++seen == 0; }));
  EXPECT_EQ(seen, 1);
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
  EXPECT_FALSE(unbound.PutDocument(name, "<a/>", context));
  EXPECT_FALSE(unbound.PutDocument(name, stream, context));
  EXPECT_FALSE(unbound.DeleteDocument(name, context));
  EXPECT_FALSE(unbound.DeleteDocument(document, context));
  EXPECT_FALSE(unbound.UpdateDocument(document, context));
  EXPECT_FALSE(unbound.GetDocument(name, document));
  EXPECT_FALSE(unbound.GetDocument(name, document, transaction));
  EXPECT_EQ(unbound.GetFileName(), "");
  EXPECT_EQ(unbound.GetName(), "");
  EXPECT_EQ(unbound.XPathCollection(), "collection('')");
  EXPECT_FALSE(unbound.EachDocumentName([](const auto&) { return true; }));
  EXPECT_FALSE(unbound.GetStatistics(state));
  EXPECT_FALSE(unbound.Verify(problems));
  EXPECT_EQ(LogText(), "");
  EXPECT_FALSE(unbound.PutDocument(name, "<a/>"));
  EXPECT_FALSE(unbound.put("<a/>", name));
  EXPECT_FALSE(unbound.put("<a/>"));
  ExpectLogged(std::string("XDbContainer::PutDocument") + kNoContext);
  EXPECT_FALSE(unbound.del(name));
  EXPECT_FALSE(unbound.del(document));
  ExpectLogged(std::string("XDbContainer::del") + kNoContext);
  EXPECT_FALSE(unbound.update(document));
  ExpectLogged(std::string("XDbContainer::update") + kNoContext);
}

TEST_F(XDbContainerTest, RefusesUnboundArguments) {
  XDbDocument document;
  XDbInputStream stream;
  XDbUpdateContext unbound;
  XDbUpdateContext context;
  XDbTransaction transaction;
  ASSERT_TRUE(manager_.CreateUpdateContext(context));
  std::string name = "a";
  EXPECT_FALSE(Put(name, unbound));
  ExpectLoggedOfPut("the update context is not bound");
  EXPECT_FALSE(container_.PutDocument(name, stream, context));
  ExpectLoggedOfPut("the input stream is not bound");
  EXPECT_FALSE(container_.DeleteDocument(name, unbound));
  EXPECT_FALSE(container_.DeleteDocument(document, context));
  EXPECT_FALSE(container_.del(document));
  EXPECT_FALSE(container_.UpdateDocument(document, context));
  EXPECT_FALSE(container_.update(document));
  EXPECT_FALSE(container_.GetDocument(name, document, transaction));
  EXPECT_FALSE(context.SetTransaction(transaction));
  EXPECT_FALSE(unbound.SetTransaction(transaction));
  unbound.ClearTransaction();
  EXPECT_FALSE(transaction.Commit());
  EXPECT_FALSE(transaction.Abort());
  EXPECT_FALSE(document.SetName("a"));
  EXPECT_EQ(document.GetName(), "");
  EXPECT_FALSE(document.setContent("<a/>"));
  EXPECT_FALSE(document.getContent(name));
  DomDocument tree;
  DomNode node;
  DomElement element;
  EXPECT_FALSE(document.asDocument(tree));
  EXPECT_FALSE(document.asNode(node));
  EXPECT_FALSE(document.setContent(tree));
  EXPECT_FALSE(document.setContent(element));
  EXPECT_EQ(Names(), "");
}

}  // namespace
}  // namespace kiv::xdb
