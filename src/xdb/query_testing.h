#ifndef XDB_QUERY_TESTING_H_
#define XDB_QUERY_TESTING_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
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

// A fresh folder, the XML platform and the library's log, which is shown when
// the test fails.
class XDbTest : public XmlTest {
 protected:
  ~XDbTest() override {
    if (HasFailure()) std::cout << LogText();
  }

  static bool Logged(const std::string& text) {
    return LogText().find("dbxml: " + text) != std::string::npos;
  }
  static void ExpectLogged(const std::string& text) {
    EXPECT_TRUE(Logged(text)) << text;
  }

  // A manager's inside without an environment.
  const std::shared_ptr<Session> session_ =
      std::make_shared<Session>(nullptr, false, false);
};

// An open manager in the folder db.
class OpenedXDbTest : public XDbTest {
 protected:
  OpenedXDbTest() { EXPECT_TRUE(manager_.Open("db", 0x0C, nullptr, nullptr)); }

  XDbManager manager_;
};

// A transaction, and a context whose changes are part of it.
struct Changes {
  explicit Changes(XDbManager& manager) {
    EXPECT_TRUE(manager.CreateTransaction(transaction) &&
                manager.CreateUpdateContext(context) &&
                context.SetTransaction(transaction));
  }

  XDbTransaction transaction;
  XDbUpdateContext context;
};

}  // namespace kiv::xdb

#endif  // XDB_QUERY_TESTING_H_
