#ifndef XDB_XQUERY_VALUES_CAST_H_
#define XDB_XQUERY_VALUES_CAST_H_

#include <string>
#include <string_view>

#include "xdb/xquery/values/item.h"
#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb::xq {

// What a cast from one atomic type to another comes to, known before any value
// is: the static typing uses it.
enum class CastRule { Never, Maybe, Always };
CastRule RuleOfCast(Type from, Type to);

// The value as one of `target`, an atomic type other than xs:anyAtomicType and
// xs:NOTATION. Errors: XPTY0004 where no cast exists, FORG0001 for text that is
// no such value or a value outside the type, FOCA0001 and FOCA0003 for numbers
// too large, FOCA0002 for NaN and infinities, FODT0001 and FODT0002 for dates
// and durations too large.
//
// Text becomes an xs:QName by the namespaces in scope, which are the
// compiler's: see SplitQName; here it is XPTY0004.
Item Cast(const Item& value, Type target);
// Whether Cast would give a value; throws nothing.
bool IsCastable(const Item& value, Type target);

// The value that the text means, with the white space of the type taken care
// of: Cast of an xs:string.
Item FromText(std::string_view text, Type target);

// As fn:string and a cast to xs:string give it; of atomic values only.
void AppendTextOf(const Item& value, std::string& text);
inline std::string TextOf(const Item& value) {
  std::string text;
  AppendTextOf(value, text);
  return text;
}
// The same as an item, without a copy where the value is text.
Item StringOf(const Item& value);

// Numbers of any type and truth values as xs:double; texts as they say
// (FORG0001).
double ToDoubleBySwitch(const Item& value);
inline double ToDouble(const Item& value) {
  if (value.type() == Type::Double) return value.AsDouble();
  if (value.IsSmallInteger())
    return static_cast<double>(value.AsSmallInteger());
  return ToDoubleBySwitch(value);
}
// An untyped value as xs:double, anything else as it is: what operators do with
// their operands.
Item UntypedAsDouble(const Item& value);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_CAST_H_
