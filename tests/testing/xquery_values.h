#ifndef TESTING_XQUERY_VALUES_H_
#define TESTING_XQUERY_VALUES_H_

#include <algorithm>
#include <string>
#include <string_view>

#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/error.h"

namespace kiv::testing {

// The value that "integer 5" or "dateTime 2000-01-01T00:00:00Z" names: a type
// and, behind one blank, a lexical form as it stands.
inline xdb::xq::Item ValueOf(std::string_view text) {
  const std::size_t blank = std::min(text.find(' '), text.size());
  return xdb::xq::FromText(text.substr(std::min(blank + 1, text.size())),
                           xdb::xq::TypeNamed(text.substr(0, blank)));
}

// The other way; "none" for no item.
inline std::string Shown(const xdb::xq::Item& value) {
  if (value.IsNone()) return "none";
  return std::string(xdb::xq::LocalNameOf(value.type())) + " " +
         xdb::xq::TextOf(value);
}

// What `calculate` gives, as Shown, or the code of its error.
template <typename Calculate>
std::string ShownOrCode(Calculate calculate) {
  try {
    return Shown(calculate());
  } catch (const xdb::xq::Error& error) {
    return error.code();
  }
}

}  // namespace kiv::testing

#endif  // TESTING_XQUERY_VALUES_H_
