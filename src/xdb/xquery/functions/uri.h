#ifndef XDB_XQUERY_FUNCTIONS_URI_H_
#define XDB_XQUERY_FUNCTIONS_URI_H_

#include <optional>
#include <string>
#include <string_view>

namespace kiv::xdb::xq {

// Whether the reference begins with a scheme.
bool IsAbsoluteUri(std::string_view reference);

// The absolute URI that the reference means beside the base; the reference
// itself when it is absolute. None when the base is not absolute, or cannot be
// one for references because its path is no path, as in mailto:a@b.
std::optional<std::string> ResolveReference(std::string_view reference,
                                            std::string_view base);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_URI_H_
