#include "xdb/xquery/run/uris.h"

#include <array>

#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {

std::optional<std::string> ResolveUri(std::string_view reference,
                                      std::string_view base) {
  static const Function* const resolve = FindFunction("resolve-uri", 2);
  try {
    const std::array arguments = {Item::OfText(reference), Item::OfText(base)};
    return std::string(resolve->scalar(CallContext{}, arguments).AsText());
  } catch (const Error&) {
    return std::nullopt;
  }
}

}  // namespace kiv::xdb::xq
