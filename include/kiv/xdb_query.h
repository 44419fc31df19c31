#ifndef KIV_XDB_QUERY_H_
#define KIV_XDB_QUERY_H_

#include <cstdint>
#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/xdb_value.h"

namespace kiv {

class XDbDocument;
class XDbTransaction;

namespace xdb {
class PreparedQuery;
class QueryResults;
class Session;
struct QueryContext;
struct XDbAccess;
}  // namespace xdb

// What a query may take; one that takes more fails. It never ends its process:
// where the stack of its thread is nearly used up, it fails as well.
struct XDbQueryLimits {
  unsigned call_depth = 100'000;  // calls of functions in each other
  std::uint64_t memory_bytes = std::uint64_t{2} << 30;  // for its values
  unsigned time_ms = 0;  // from its execution on; 0: as long as it takes
};

// Namespaces, variables and manner of a query. Bound by
// XDbManager::CreateQueryContext; every setter answers false while unbound.
class KIV_API XDbQueryContext {
 public:
  // Whether results are the documents as they are, or copies that later changes
  // do not reach.
  enum ReturnType : int { LiveValues = 0, DeadValues = 1 };
  // Whether a query runs to its end when executed, or as results are asked for.
  enum EvaluationType : int { Eager = 0, Lazy = 1 };

  XDbQueryContext();
  ~XDbQueryContext();
  XDbQueryContext(const XDbQueryContext&) = delete;
  XDbQueryContext& operator=(const XDbQueryContext&) = delete;

  // False for any value but the two.
  bool SetReturnType(ReturnType type);
  bool SetEvaluationType(EvaluationType type);
  // LiveValues and Eager while unbound. Throw std::runtime_error when the query
  // language knows a type that this interface does not.
  ReturnType GetReturnType() const;
  EvaluationType GetEvaluationType() const;

  // False for an empty prefix or URI.
  bool SetNamespace(const char* prefix, const char* uri);
  // "" when there is none.
  std::string GetNamespace(const char* prefix) const;

  // False for an empty name or value.
  bool SetVariableValue(const char* name, XDbValue& value);
  // False, and `value` untouched, when it has none.
  bool GetVariableValue(const char* name, XDbValue& value) const;

  // The container that collection() without a name stands for. False for an
  // empty name.
  bool SetDefaultCollection(const char* container);
  // "" when there is none.
  std::string GetDefaultCollection() const;

  // Queries executed with this context read inside the transaction, and see
  // what it changed. False when either is unbound.
  bool SetTransaction(const XDbTransaction& transaction);
  void ClearTransaction();

  // Of queries that are executed from now on.
  bool SetLimits(const XDbQueryLimits& limits);
  bool GetLimits(XDbQueryLimits& limits) const;
  // Ends what is being executed with this context; it fails. From any thread,
  // unlike all else, for as long as the context lives.
  bool Cancel();

 protected:
  // Takes an xdb::QueryContext*, of which it keeps a copy. False for null.
  bool Construct(const void* context);

 private:
  friend class XDbManager;
  friend class XDbQueryExpression;
  friend struct xdb::XDbAccess;

  std::unique_ptr<xdb::QueryContext> context_;
};

// The items of a query's result and a position among them. get_pos() is 0
// before the first item and k after the k-th next(). A lazy query runs as items
// are asked for: to its end for size(), to an item for next() and set_pos().
class KIV_API XDbResults {
 public:
  XDbResults();
  ~XDbResults();
  XDbResults(const XDbResults&) = delete;
  XDbResults& operator=(const XDbResults&) = delete;

  // 0, and logged, when a lazy query fails on the way.
  unsigned size() const;
  unsigned get_pos() const { return position_ + 1; }
  bool is_bof() const { return position_ == kBeforeFirst; }
  // True at once when there are no items.
  bool is_eof() const;
  // Whether the query has failed on the way, which was logged: a lazy one then
  // ends with the items before.
  bool has_failed() const { return has_failed_; }
  void reset();

  // After success the next item is that behind the k-th. False, and nothing
  // moved, for a position behind the last item. A position one lower than
  // get_pos() is taken for the current one and does not move: callers rely on
  // it.
  bool set_pos(unsigned position);

  bool next(XDbValue& value);
  // False, and logged, for an item that stands in no document.
  bool next(XDbDocument& document);

 protected:
  // Takes a std::shared_ptr<xdb::QueryResults>*, of which it keeps a copy.
  // False for null.
  bool Construct(const std::shared_ptr<xdb::Session>& session,
                 const void* results);
  void set_eof() { position_ = size(); }

 private:
  friend class XDbQueryExpression;
  friend struct xdb::XDbAccess;
  static constexpr unsigned kBeforeFirst = ~0U;

  template <class Take>
  bool Next(Take take);
  // Whether there are at least so many items; a failure is logged so.
  bool Has(unsigned count, const char* message) const;
  bool StepBackTo(unsigned position);
  bool StepForwardTo(unsigned position);

  std::shared_ptr<xdb::Session> session_;
  std::shared_ptr<xdb::QueryResults> results_;
  unsigned position_ = kBeforeFirst;
  // kBeforeFirst: a lazy query that may have more.
  mutable unsigned size_ = 0;
  mutable bool has_failed_ = false;
  // Items before the cursor of the results; kBeforeFirst when a failure left
  // that unknown.
  unsigned passed_ = 0;
};

// A prepared query. Copies share it. It does not keep its environment open;
// executing it after that was closed fails.
class KIV_API XDbQueryExpression {
 public:
  XDbQueryExpression();
  virtual ~XDbQueryExpression();
  XDbQueryExpression(const XDbQueryExpression& other);
  XDbQueryExpression& operator=(const XDbQueryExpression& other);

  // An unbound context counts as a new one.
  bool Execute(XDbQueryContext& context, XDbResults& results) const;
  // Empty on failure.
  std::shared_ptr<XDbResults> Execute(XDbQueryContext& context) const;
  std::string GetQuery() const;
  // What executing it would do, for people: the query as it is carried out, and
  // what each index look-up is expected to find. "" on failure.
  std::string GetPlan(XDbQueryContext& context) const;
  void close();

 protected:
  // Takes a std::shared_ptr<xdb::PreparedQuery>*, of which it keeps a copy.
  // False for null.
  bool Construct(const std::shared_ptr<xdb::Session>& session,
                 const void* expression);

 private:
  friend class XDbManager;
  friend struct xdb::XDbAccess;
  std::shared_ptr<xdb::Session> OpenedSession() const;
  bool Run(XDbQueryContext& context, XDbResults& results) const;

  std::shared_ptr<xdb::PreparedQuery> expression_;
  std::weak_ptr<xdb::Session> session_;
};

}  // namespace kiv

#endif  // KIV_XDB_QUERY_H_
