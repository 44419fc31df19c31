#ifndef XDB_XQUERY_RUN_CALLS_H_
#define XDB_XQUERY_RUN_CALLS_H_

#include <string>
#include <string_view>
#include <vector>

#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

using Plans = std::vector<PlanPtr>;

// A call of a function that takes values: every argument is converted.
PlanPtr CallOfScalar(const Function& function, Plans arguments,
                     const SequenceType& result);

// A function that the engine carries out itself: of one item at most, or of
// any sequence.
using SingleFunction = Item (*)(const Frame& frame, const Plans& arguments);
using StreamFunction = IteratorPtr (*)(const Frame& frame,
                                       const Plans& arguments);

struct EngineImplementation {
  SingleFunction single = nullptr;
  StreamFunction stream = nullptr;
};

// An argument of doc() or collection(); `code` for what is no URI.
std::string AbsoluteUri(const Frame& frame, std::string_view uri,
                        std::string_view code);

// By the groups of the table.
EngineImplementation NodeFunction(EngineFunction function);
EngineImplementation SequenceFunction(EngineFunction function);
EngineImplementation AggregateFunction(EngineFunction function);

PlanPtr CallOfEngine(const Function& function, Plans arguments,
                     const SequenceType& result);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_CALLS_H_
