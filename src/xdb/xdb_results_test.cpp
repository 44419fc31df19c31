#include <stdexcept>

#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

Items Texts(std::initializer_list<const char*> texts) {
  Items items;
  for (const char* text : texts) items.push_back(MakeString(text));
  return items;
}

class XDbResultsTest : public XDbTest {
 protected:
  void Bind(const Items& items) {
    ASSERT_TRUE(XDbAccess::Bind(results_, session_,
                                std::make_shared<ListResults>(items)));
  }
  // The next item's text, "-" when there is none.
  std::string Next() {
    XDbValue value;
    return results_.next(value) ? value.asString() : "-";
  }

  XDbResults results_;
};

TEST_F(XDbResultsTest, WalkFromBeforeTheFirstToBehindTheLast) {
  Bind(Texts({"a", "b", "c"}));
  EXPECT_EQ(results_.size(), 3u);
  EXPECT_TRUE(results_.is_bof());
  EXPECT_FALSE(results_.is_eof());
  EXPECT_EQ(results_.get_pos(), 0u);
  for (const char* text : {"a", "b", "c"}) EXPECT_EQ(Next(), text);
  EXPECT_EQ(results_.get_pos(), 3u);
  EXPECT_FALSE(results_.is_eof());
  EXPECT_EQ(Next(), "-");
  EXPECT_TRUE(results_.is_eof());
  EXPECT_FALSE(results_.is_bof());
  EXPECT_EQ(results_.get_pos(), 4u);
  results_.reset();
  EXPECT_TRUE(results_.is_bof());
  EXPECT_EQ(Next(), "a");
}

TEST_F(XDbResultsTest, AreAtBothEndsWhenEmpty) {
  Bind({});
  EXPECT_TRUE(results_.is_eof());
  EXPECT_TRUE(results_.is_bof());
  EXPECT_EQ(Next(), "-");
  EXPECT_TRUE(results_.is_bof());
  EXPECT_FALSE(results_.set_pos(0));
  EXPECT_FALSE(results_.set_pos(1));
}

TEST_F(XDbResultsTest, GoToAPosition) {
  Bind(Texts({"a", "b", "c", "d", "e"}));
  constexpr struct {
    unsigned position;
    const char* next;
  } kSteps[] = {{3, "d"}, {1, "b"}, {5, "-"}, {4, "e"}, {0, "a"}};
  for (const auto& step : kSteps) {
    EXPECT_TRUE(results_.set_pos(step.position));
    EXPECT_EQ(results_.get_pos(), step.position);
    EXPECT_EQ(results_.is_bof(), step.position == 0);
    EXPECT_EQ(Next(), step.next);
  }
  // It stays where it is for a position behind the last.
  for (const unsigned behind : {6u, ~0u}) {
    EXPECT_FALSE(results_.set_pos(behind));
    EXPECT_EQ(results_.get_pos(), 1u);
  }
  EXPECT_EQ(Next(), "b");
}

// The position is compared with one that counts from 0.
TEST_F(XDbResultsTest, TakeOneLowerForTheCurrentPosition) {
  Bind(Texts({"a", "b", "c"}));
  Next();
  EXPECT_TRUE(results_.set_pos(0));
  EXPECT_EQ(results_.get_pos(), 1u);
  EXPECT_EQ(Next(), "b");
  Next();
  EXPECT_TRUE(results_.set_pos(2));
  EXPECT_EQ(results_.get_pos(), 3u);
  EXPECT_EQ(Next(), "-");
  EXPECT_TRUE(results_.set_pos(3));
  EXPECT_EQ(results_.get_pos(), 4u);
}

TEST_F(XDbResultsTest, HandOutDocuments) {
  NodePlace place;
  place.document = MakeDocument("4711", "<a>x</a>");
  Bind({std::make_shared<NodeItem>(place, "x"), MakeNumber(1),
        std::make_shared<NodeItem>(place, "x")});
  XDbDocument document;
  std::string content;
  EXPECT_TRUE(results_.next(document));
  EXPECT_EQ(document.GetName(), "4711");
  EXPECT_TRUE(document.getContent(content));
  EXPECT_EQ(content, "<a>x</a>");
  // What is no document ends the walk, and says so.
  EXPECT_FALSE(results_.next(document));
  EXPECT_TRUE(results_.is_eof());
  ExpectLogged(
      "XDbResults::next: Xml* Inner call exception : - the item stands in no "
      "document");
  // From there to the item behind it.
  EXPECT_TRUE(results_.set_pos(2));
  EXPECT_EQ(results_.get_pos(), 2u);
  EXPECT_TRUE(results_.next(document));
}

class FailingResults final : public ListResults {
 public:
  using ListResults::ListResults;
  std::uint64_t Size() override {
    Fail("size");
    return ListResults::Size();
  }
  Item Next() override {
    Fail("next");
    return ListResults::Next();
  }
  Item Previous() override {
    Fail("previous");
    return ListResults::Previous();
  }
  void Fail(const std::string& operation) {
    if (operation != failing) return;
    if (calls_before == 0) throw std::runtime_error(operation + " broke");
    --calls_before;
  }

  std::string failing;
  int calls_before = 0;
};

TEST_F(XDbResultsTest, LogWhatTheQueryLanguageThrows) {
  const auto inside =
      std::make_shared<FailingResults>(Texts({"a", "b", "c", "d"}));
  inside->failing = "size";
  EXPECT_FALSE(XDbAccess::Bind(results_, session_, inside));
  ExpectLogged(
      "XDbResults::Construct: Inner size() call exception : - size broke");
  EXPECT_EQ(results_.size(), 0u);

  inside->failing = "";
  ASSERT_TRUE(XDbAccess::Bind(results_, session_, inside));
  // Where it got to counts.
  inside->failing = "next";
  inside->calls_before = 2;
  EXPECT_FALSE(results_.set_pos(4));
  ExpectLogged(
      "XDbResults::set_pos: Xml* Inner next() call exception : - next broke");
  inside->failing = "";
  EXPECT_EQ(results_.get_pos(), 2u);
  EXPECT_EQ(Next(), "c");
  inside->failing = "previous";
  EXPECT_FALSE(results_.set_pos(1));
  ExpectLogged(
      "XDbResults::set_pos: Xml* Inner previous() call exception : - previous "
      "broke");
  EXPECT_EQ(results_.get_pos(), 3u);
  inside->failing = "next";
  EXPECT_EQ(Next(), "-");
  ExpectLogged("XDbResults::next: Xml* Inner call exception : - next broke");
  EXPECT_TRUE(results_.is_eof());
  inside->failing = "";
  EXPECT_TRUE(results_.set_pos(2));
  EXPECT_EQ(Next(), "c");
}

TEST_F(XDbResultsTest, AnswerAtBestFalseWhileUnbound) {
  EXPECT_EQ(results_.size(), 0u);
  EXPECT_TRUE(results_.is_bof());
  EXPECT_TRUE(results_.is_eof());
  EXPECT_FALSE(results_.set_pos(0));
  results_.reset();
  EXPECT_EQ(Next(), "-");
  EXPECT_FALSE(results_.is_bof());
  XDbDocument document;
  EXPECT_FALSE(results_.next(document));
  EXPECT_EQ(LogText(), "");
}

}  // namespace
}  // namespace kiv::xdb
