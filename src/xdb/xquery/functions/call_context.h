#ifndef XDB_XQUERY_FUNCTIONS_CALL_CONTEXT_H_
#define XDB_XQUERY_FUNCTIONS_CALL_CONTEXT_H_

#include <optional>
#include <string_view>

#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

class PatternCache;

inline constexpr std::string_view kCodepointCollation =
    "http://www.w3.org/2005/xpath-functions/collation/codepoint";

// What a function sees of the contexts besides its arguments. An execution
// makes one and keeps it; nothing in it changes while it runs, but for what
// the cache of patterns holds.
struct CallContext {
  // An xs:dateTime with a time zone, the implicit one.
  Item current_date_time;
  // In minutes east of UTC.
  int implicit_zone = 0;
  // Without: fn:static-base-uri is empty, a relative URI reference FONS0005.
  std::optional<std::string_view> base_uri;
  std::string_view default_collation = kCodepointCollation;
  // Of this execution alone. Null: every call compiles its pattern.
  PatternCache* patterns = nullptr;
};

// For functions with a collation argument, which may be none at all: returns
// when it names the collation by code points, absolutely or relative to the
// base URI; FOCH0002 for any other.
void RequireCodepointCollation(const CallContext& context,
                               const Item& collation);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_CALL_CONTEXT_H_
