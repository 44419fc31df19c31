#ifndef XDB_XQUERY_VALUES_COMPARE_H_
#define XDB_XQUERY_VALUES_COMPARE_H_

#include <cstddef>

#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

enum class Comparison { Eq, Ne, Lt, Le, Gt, Ge };

// "b op a" for "a op b".
constexpr Comparison Turned(Comparison comparison) {
  switch (comparison) {
    case Comparison::Lt:
      return Comparison::Gt;
    case Comparison::Le:
      return Comparison::Ge;
    case Comparison::Gt:
      return Comparison::Lt;
    case Comparison::Ge:
      return Comparison::Le;
    default:
      return comparison;
  }
}

// "eq" and so on, for messages.
const char* SymbolOf(Comparison comparison);

// Whether values of these types have that comparison; untyped counts as string.
// AnyAtomic has whatever one of its types has. False is XPTY0004.
bool HasComparison(Comparison comparison, Type left, Type right);

// `zone` everywhere: the implicit time zone in minutes, for dates without one.
//
// eq, ne, lt, le, gt, ge of two atomic values: untyped ones are strings. Texts
// compare by code points. XPTY0004 where the types have no such comparison.
bool CompareValues(Comparison comparison, const Item& left, const Item& right,
                   int zone);

// One pair of =, !=, <, <=, >, >=: an untyped value becomes an xs:double beside
// a number, an xs:string beside another untyped value or a string, else the
// other's type (FORG0001).
bool CompareGeneral(Comparison comparison, const Item& left, const Item& right,
                    int zone);

// The xs:double or xs:float that is not a number.
bool IsNan(const Item& item);

// Whether two atomic values are one for fn:distinct-values, grouping and
// fn:index-of (which leaves NaN out): eq, with untyped as string, NaN the same
// as itself, and values that have no eq different.
bool IsSameKey(const Item& left, const Item& right, int zone);
// Equal for values that are the same key. An xs:float equals decimals and
// doubles that do not equal each other: where a float may be among the values,
// say so for all of them, and numbers go by their float value.
std::size_t HashOfKey(const Item& value, int zone, bool with_floats = false);

// For order by: below 0, 0, above 0. Untyped as string. None (Type::None) and
// NaN lie together at one end: below all else, none first, or above all else,
// none last. XPTY0004 where there is no lt.
int CompareForOrder(const Item& left, const Item& right, bool is_none_least,
                    int zone);

// Of one item; true for a node. A sequence of more begins with a node or is
// FORG0006, as is any type not named in the rules.
bool EffectiveBoolean(const Item& item);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_COMPARE_H_
