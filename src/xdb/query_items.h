#ifndef XDB_QUERY_ITEMS_H_
#define XDB_QUERY_ITEMS_H_

#include <memory>

#include "xdb/query_engine.h"
#include "xdb/xquery/values/item.h"

// Between the items of an execution, which belong to its thread, and the values
// that are handed out.
namespace kiv::xdb {

// A live node stays in its document, of which it keeps the state that the query
// has read; a dead one is a copy of the node alone.
std::shared_ptr<const QueryValue> ValueOfItem(const xq::Item& item,
                                              bool is_dead);

// None for a null value. Throws xq::Error for a node that no query gave.
xq::Sequence ItemsOfValue(const QueryValue& value);

}  // namespace kiv::xdb

#endif  // XDB_QUERY_ITEMS_H_
