#ifndef XDB_XQUERY_VALUES_CAST_RULES_H_
#define XDB_XQUERY_VALUES_CAST_RULES_H_

#include <array>

#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {

// From and to primitive types, as PrimitiveOf names them.
using CastRules = std::array<std::array<CastRule, kTypeCount>, kTypeCount>;
extern const CastRules kCastRules;

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_CAST_RULES_H_
