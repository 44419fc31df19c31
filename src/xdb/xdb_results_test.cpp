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

  // Which of its ends it is at, and its position.
  std::string State() const {
    return std::string(results_.is_bof() ? "bof " : "") +
           (results_.is_eof() ? "eof " : "") +
           std::to_string(results_.get_pos());
  }

  XDbResults results_;
};

TEST_F(XDbResultsTest, WalkFromBeforeTheFirstToBehindTheLast) {
  Bind(Texts({"a", "b"}));
  EXPECT_EQ(results_.size(), 2u);
  EXPECT_EQ(State(), "bof 0");
  for (const char* text : {"a", "b"}) EXPECT_EQ(Next(), text);
  EXPECT_EQ(State(), "2");
  EXPECT_EQ(Next(), "-");
  EXPECT_EQ(State(), "eof 3");
  results_.reset();
  EXPECT_EQ(State(), "bof 0");
  EXPECT_EQ(Next(), "a");

  Bind({});
  EXPECT_EQ(State(), "bof eof 0");
  EXPECT_EQ(Next(), "-");
  EXPECT_TRUE(results_.is_bof());
  ExpectAllFalse(results_.set_pos(0), results_.set_pos(1));
}

TEST_F(XDbResultsTest, GoToAPosition) {
  Bind(Texts({"a", "b", "c", "d", "e"}));
  constexpr struct {
    unsigned position;
    const char* state;
    const char* next;
  } kSteps[] = {{3, "3", "d"},
                {1, "1", "b"},
                {5, "5", "-"},
                {4, "4", "e"},
                {0, "bof 0", "a"}};
  for (const auto& [position, state, next] : kSteps) {
    EXPECT_TRUE(results_.set_pos(position));
    EXPECT_EQ(State(), state);
    EXPECT_EQ(Next(), next);
  }
  // It stays where it is for a position behind the last.
  ExpectAllFalse(results_.set_pos(6), results_.set_pos(~0u));
  EXPECT_EQ(State(), "1");
  // The position is compared with one that counts from 0: one lower is taken
  // for the current one.
  EXPECT_TRUE(results_.set_pos(0));
  EXPECT_EQ(State(), "1");
  EXPECT_EQ(Next(), "b");
  EXPECT_TRUE(results_.set_pos(5) && results_.set_pos(4));
  EXPECT_EQ(State(), "5");
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
  std::uint64_t Size() override { return May("size").ListResults::Size(); }
  Item Next() override { return May("next").ListResults::Next(); }
  Item Previous() override { return May("previous").ListResults::Previous(); }
  FailingResults& May(const std::string& operation) {
    if (operation == failing && calls_before-- == 0)
      throw std::runtime_error(operation + " broke");
    return *this;
  }

  std::string failing;
  int calls_before = 0;
};

TEST_F(XDbResultsTest, LogWhatTheQueryLanguageThrows) {
  const auto inside =
      std::make_shared<FailingResults>(Texts({"a", "b", "c", "d"}));
  const auto let_fail = [&](const char* operation, int calls_before = 0) {
    inside->failing = operation;
    inside->calls_before = calls_before;
  };
  let_fail("size");
  EXPECT_FALSE(XDbAccess::Bind(results_, session_, inside));
  ExpectLogged(
      "XDbResults::Construct: Inner size() call exception : - size broke");
  EXPECT_EQ(results_.size(), 0u);

  let_fail("");
  ASSERT_TRUE(XDbAccess::Bind(results_, session_, inside));
  // Where it got to counts.
  let_fail("next", 2);
  EXPECT_FALSE(results_.set_pos(4));
  ExpectLogged(
      "XDbResults::set_pos: Xml* Inner next() call exception : - next broke");
  let_fail("previous");
  EXPECT_EQ(State(), "2");
  EXPECT_EQ(Next(), "c");
  EXPECT_FALSE(results_.set_pos(1));
  ExpectLogged(
      "XDbResults::set_pos: Xml* Inner previous() call exception : - previous "
      "broke");
  EXPECT_EQ(State(), "3");
  let_fail("next");
  EXPECT_EQ(Next(), "-");
  ExpectLogged("XDbResults::next: Xml* Inner call exception : - next broke");
  EXPECT_TRUE(results_.is_eof());
  let_fail("");
  EXPECT_TRUE(results_.set_pos(2));
  EXPECT_EQ(Next(), "c");
}

TEST_F(XDbResultsTest, AnswerAtBestFalseWhileUnbound) {
  EXPECT_EQ(results_.size(), 0u);
  EXPECT_EQ(State(), "bof eof 0");
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
