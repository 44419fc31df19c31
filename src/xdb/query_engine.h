#ifndef XDB_QUERY_ENGINE_H_
#define XDB_QUERY_ENGINE_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "xdb/container/environment.h"
#include "xdb/stored_document.h"

// What the published classes ask of a query language. Texts are UTF-8.
// Everything may throw std::exception, whose text, in the local encoding, then
// ends up in the log.
namespace kiv::xdb {

class Session;

// Where a node stands: the whole document, and the way down to the node.
struct NodePlace {
  std::shared_ptr<const StoredDocument> document;
  // From the document node, the child's number at every level, from 0.
  // Elements, comments and processing instructions count as one each; so does a
  // run of text and CDATA sections, which is one text node to queries.
  std::vector<std::uint32_t> steps;
  // Of an attribute, which is none of its element's children.
  bool is_attribute = false;
  std::string attribute_uri;
  std::string attribute_name;  // without a prefix
};

// One item, or a variable's value. Immutable; any thread.
class QueryValue {
 public:
  enum class Kind { Null, Boolean, Number, String, Node };

  virtual ~QueryValue() = default;
  virtual Kind kind() const = 0;
  virtual std::string AsString() const = 0;
  // Not a number where it is none.
  virtual double AsNumber() const = 0;
  virtual bool AsBoolean() const = 0;
  // Of a node what is written of it, an attribute as name="value"; of any other
  // value its text, as it stands in an element.
  virtual std::string AsXml() const;
  // False for a value of another kind. Two nodes are equal when they are the
  // same.
  virtual bool Equals(const QueryValue& other) const = 0;
  // Without a document for what is no node, and for a node outside any.
  virtual NodePlace Place() const { return {}; }
};

// Items with a cursor between them, which stands before the first at first.
class QueryResults {
 public:
  virtual ~QueryResults() = default;
  // How many items there are, wherever the cursor stands. A lazy query runs to
  // its end for it.
  virtual std::uint64_t Size() = 0;
  // False while a lazy query may have more.
  virtual bool KnowsSize() const { return true; }
  // Whether there are at least so many; a lazy query runs no further.
  virtual bool Has(std::uint64_t count) { return Size() >= count; }
  // The item behind the cursor, which then stands behind it; null at the end.
  virtual std::shared_ptr<const QueryValue> Next() = 0;
  // The item before the cursor, which then stands before it; null at the
  // beginning.
  virtual std::shared_ptr<const QueryValue> Previous() = 0;
  // The cursor before the first item again.
  virtual void Reset() = 0;
};

// Beyond one of them a query fails.
struct QueryLimits {
  std::uint32_t call_depth = 100'000;  // of functions in each other
  std::uint64_t memory_bytes = std::uint64_t{2} << 30;
  std::uint32_t time_ms = 0;  // 0: as long as it takes
};

struct QueryContext {
  int return_type = 0;                            // 0 live values, 1 dead ones
  int evaluation_type = 0;                        // 0 eager, 1 lazy
  std::map<std::string, std::string> namespaces;  // by prefix
  std::map<std::string, std::shared_ptr<const QueryValue>> variables;
  std::string default_collection;
  TransactionChoice transaction;
  QueryLimits limits;
  // Ends, when it grows, the queries that began before; from any thread. Shared
  // by the copies of a context.
  std::shared_ptr<std::atomic<std::uint32_t>> cancels =
      std::make_shared<std::atomic<std::uint32_t>>(0);
};

// Any thread, also at the same time.
class PreparedQuery {
 public:
  virtual ~PreparedQuery() = default;
  virtual const std::string& Text() const = 0;
  // Of the session that it was prepared by; results may outlive both.
  virtual std::shared_ptr<QueryResults> Execute(
      const std::shared_ptr<Session>& session,
      const QueryContext& context) const = 0;
  // What it does, for people, with figures of the session's containers.
  virtual std::string Explain(const std::shared_ptr<Session>& session,
                              const QueryContext& context) const = 0;
};

class QueryEngine {
 public:
  virtual ~QueryEngine() = default;
  virtual std::shared_ptr<PreparedQuery> Prepare(
      const std::string& text, const QueryContext& context) = 0;
};

// XQuery.
std::shared_ptr<QueryEngine> MakeQueryEngine();

}  // namespace kiv::xdb

#endif  // XDB_QUERY_ENGINE_H_
