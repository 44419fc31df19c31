#ifndef XDB_ATOMIC_VALUE_H_
#define XDB_ATOMIC_VALUE_H_

#include <memory>
#include <string>

#include "xdb/query_engine.h"

// Values that need no query language. Texts are UTF-8.
namespace kiv::xdb {

std::shared_ptr<const QueryValue> MakeString(std::string value);
std::shared_ptr<const QueryValue> MakeNumber(double value);
std::shared_ptr<const QueryValue> MakeBoolean(bool value);

// As xs:double is cast from and to xs:string: "1.5", "1.0E6", "INF", "NaN";
// not a number for any other text.
std::string NumberText(double value);
double NumberOfText(const std::string& text);

}  // namespace kiv::xdb

#endif  // XDB_ATOMIC_VALUE_H_
