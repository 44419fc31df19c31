#ifndef XDB_XQUERY_COMPILE_QUERY_H_
#define XDB_XQUERY_COMPILE_QUERY_H_

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/plan.h"
#include "xdb/xquery/run/variables.h"
#include "xdb/xquery/syntax/parser.h"

namespace kiv::xdb::xq {

// The static context that a query begins with.
struct StaticSettings {
  std::string base_uri;  // empty: undefined
  // Prefix and URI; the empty prefix is the default for elements.
  std::vector<std::pair<std::string, std::string>> namespaces;
  // Variables that the query may use without declaring them.
  std::vector<QName> variables;
  ParseLimits parsing;
};

// A query that is ready to be executed, by any number of threads at a time.
struct CompiledQuery {
  PlanPtr body;
  std::size_t slot_count = 0;
  // Both are referred to by plans and stay where they are.
  std::deque<GlobalVariable> variables;
  std::deque<UserFunction> functions;
  std::string base_uri;
};

// Throws Error: what Parse throws, and all codes of names, types and values
// that are known without data.
std::shared_ptr<const CompiledQuery> Compile(std::string_view query,
                                             const StaticSettings& settings);

// What the query does, a line each: what is kept, joined, looked up in an index
// and how many it finds there.
std::string Explain(const CompiledQuery& query,
                    const Surroundings& surroundings);

struct BoundVariable {
  QName name;
  Sequence value;
};

// The state of one execution, whose items may be pulled one by one; on one
// thread at a time.
class RunningQuery {
 public:
  // Throws Error: XPTY0004 for a value of another type than the query declares.
  RunningQuery(std::shared_ptr<const CompiledQuery> query,
               const Surroundings& surroundings, const Item& context,
               const std::vector<BoundVariable>& variables);

  ~RunningQuery();

  // Items count against the memory of the execution: what outlives it is copied
  // out.
  bool Next(Item& item);
  Execution& execution() { return run_; }

 private:
  void Bind(const BoundVariable& bound);

  const std::shared_ptr<const CompiledQuery> query_;
  Execution run_;
  std::vector<Value> slots_;
  IteratorPtr items_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_COMPILE_QUERY_H_
