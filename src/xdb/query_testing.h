#ifndef XDB_QUERY_TESTING_H_
#define XDB_QUERY_TESTING_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kiv/xdb.h"
#include "xdb/atomic_value.h"
#include "xdb/query_engine.h"
#include "xdb/session.h"
#include "xdb/xdb_access.h"
#include "xml/xml_testing.h"

// For tests: a query language whose results are lists.
namespace kiv::xdb {

using Item = std::shared_ptr<const QueryValue>;
using Items = std::vector<Item>;

class ListResults : public QueryResults {
 public:
  explicit ListResults(Items items) : items_(std::move(items)) {}

  std::uint64_t Size() override { return items_.size(); }
  Item Next() override { return at_ < items_.size() ? items_[at_++] : nullptr; }
  Item Previous() override { return at_ > 0 ? items_[--at_] : nullptr; }
  void Reset() override { at_ = 0; }

 private:
  const Items items_;
  std::size_t at_ = 0;
};

// A node of a document, whose text is its string value.
class NodeItem : public QueryValue {
 public:
  NodeItem(NodePlace place, std::string text)
      : place_(std::move(place)), text_(std::move(text)) {}

  Kind kind() const override { return Kind::Node; }
  std::string AsString() const override { return text_; }
  double AsNumber() const override { return NumberOfText(text_); }
  bool AsBoolean() const override { return true; }
  bool Equals(const QueryValue& other) const override { return this == &other; }
  NodePlace Place() const override { return place_; }

 private:
  const NodePlace place_;
  const std::string text_;
};

inline std::shared_ptr<const StoredDocument> MakeDocument(
    const std::string& name, const std::string& content) {
  auto document = std::make_shared<StoredDocument>();
  document->name = name;
  document->content = content;
  return document;
}

// Answers every query with what `answer` makes of it.
class ListEngine : public QueryEngine {
 public:
  using Answer = std::function<std::shared_ptr<QueryResults>(
      const std::string& text, const QueryContext& context)>;

  explicit ListEngine(Answer answer) : answer_(std::move(answer)) {}

  std::shared_ptr<PreparedQuery> Prepare(const std::string& text,
                                         const QueryContext&) override {
    if (text == "nonsense") throw std::runtime_error("line 1: nonsense");
    return std::make_shared<Query>(text, answer_);
  }

 private:
  class Query final : public PreparedQuery {
   public:
    Query(std::string text, Answer answer)
        : text_(std::move(text)), answer_(std::move(answer)) {}
    const std::string& Text() const override { return text_; }
    std::shared_ptr<QueryResults> Execute(
        const std::shared_ptr<Session>&,
        const QueryContext& context) const override {
      return answer_(text_, context);
    }
    std::string Explain(const std::shared_ptr<Session>&,
                        const QueryContext&) const override {
      return text_;
    }

   private:
    const std::string text_;
    const Answer answer_;
  };

  const Answer answer_;
};

// A fresh folder, the XML platform and the library's log.
class XDbTest : public XmlTest {
 protected:
  static bool Logged(const std::string& text) {
    return LogText().find("dbxml: " + text) != std::string::npos;
  }

  // A manager's inside without an environment.
  const std::shared_ptr<Session> session_ =
      std::make_shared<Session>(nullptr, false, false);
};

// An open manager in the folder db.
class OpenedXDbTest : public XDbTest {
 protected:
  OpenedXDbTest() {
    EXPECT_TRUE(manager_.Open("db", 0x0C, nullptr, nullptr))
        << manager_.LastError();
  }

  void Answer(const ListEngine::Answer& answer) {
    static_cast<Session*>(manager_.inner_mnr())
        ->SetEngine(std::make_shared<ListEngine>(answer));
  }
  void AnswerItems(const Items& items) {
    Answer([items](const std::string&, const QueryContext&) {
      return std::make_shared<ListResults>(items);
    });
  }

  XDbManager manager_;
};

}  // namespace kiv::xdb

#endif  // XDB_QUERY_TESTING_H_
