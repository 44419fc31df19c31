#ifndef XQUERY_CASES_XML_EQUALITY_H_
#define XQUERY_CASES_XML_EQUALITY_H_

#include <string>

namespace xquery_cases {

// Empty when both texts, each a row of elements, text, comments and processing
// instructions in UTF-8, say the same: names with their prefixes, attributes in
// any order, the namespaces in scope, all characters. Else the first
// difference.
//
// Without prefixes, namespaces in scope do not count either.
std::string XmlDifference(const std::string& expected, const std::string& found,
                          bool ignore_prefixes);

}  // namespace xquery_cases

#endif  // XQUERY_CASES_XML_EQUALITY_H_
