#ifndef XDB_XQUERY_RUN_URIS_H_
#define XDB_XQUERY_RUN_URIS_H_

#include <optional>
#include <string>
#include <string_view>

namespace kiv::xdb::xq {

// The reference as an absolute URI, none where either text is no URI or both
// are relative.
std::optional<std::string> ResolveUri(std::string_view reference,
                                      std::string_view base);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_URIS_H_
