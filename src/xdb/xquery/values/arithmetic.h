#ifndef XDB_XQUERY_VALUES_ARITHMETIC_H_
#define XDB_XQUERY_VALUES_ARITHMETIC_H_

#include <cstdint>

#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

enum class Operator {
  Add,
  Subtract,
  Multiply,
  Divide,
  IntegerDivide,
  Modulo,
};

// "+", "idiv", for messages.
const char* SymbolOf(Operator op);

// What Calculate gives for operands of these types: None when there is no such
// operator (XPTY0004), AnyAtomic when it depends on the values' own types. An
// untyped operand counts as xs:double.
Type ResultOf(Operator op, Type left, Type right);

// Two atomic values; an untyped one counts as xs:double. Errors: XPTY0004,
// FOAR0001 division by zero, FOAR0002 overflow, FODT0001 and FODT0002 dates and
// durations too large, FOCA0005 a NaN factor; `zone`: the implicit time zone in
// minutes, for the difference of dates of which one has none.
Item Calculate(Operator op, const Item& left, const Item& right, int zone);

// The same without a call for two small integers or two doubles.
inline Item Add(const Item& left, const Item& right, int zone) {
  std::int64_t sum;
  if (left.IsSmallInteger() && right.IsSmallInteger() &&
      !__builtin_add_overflow(left.AsSmallInteger(), right.AsSmallInteger(),
                              &sum)) {
    return Item::OfInteger(sum);
  }
  if (left.type() == Type::Double && right.type() == Type::Double)
    return Item::OfDouble(left.AsDouble() + right.AsDouble());
  return Calculate(Operator::Add, left, right, zone);
}
inline Item Subtract(const Item& left, const Item& right, int zone) {
  std::int64_t difference;
  if (left.IsSmallInteger() && right.IsSmallInteger() &&
      !__builtin_sub_overflow(left.AsSmallInteger(), right.AsSmallInteger(),
                              &difference)) {
    return Item::OfInteger(difference);
  }
  if (left.type() == Type::Double && right.type() == Type::Double)
    return Item::OfDouble(left.AsDouble() - right.AsDouble());
  return Calculate(Operator::Subtract, left, right, zone);
}
inline Item Multiply(const Item& left, const Item& right, int zone) {
  std::int64_t product;
  if (left.IsSmallInteger() && right.IsSmallInteger() &&
      !__builtin_mul_overflow(left.AsSmallInteger(), right.AsSmallInteger(),
                              &product)) {
    return Item::OfInteger(product);
  }
  if (left.type() == Type::Double && right.type() == Type::Double)
    return Item::OfDouble(left.AsDouble() * right.AsDouble());
  return Calculate(Operator::Multiply, left, right, zone);
}

// Of numbers, untyped ones as xs:double; XPTY0004 for anything else. An integer
// of a derived type becomes an xs:integer.
Item Negate(const Item& value);
Item UnaryPlus(const Item& value);

// Of numbers only (fn:abs and so on have cast before); the type of the result
// is the nearest of xs:integer, xs:decimal, xs:float and xs:double.
Item Abs(const Item& value);
Item Ceiling(const Item& value);
Item Floor(const Item& value);
Item Round(const Item& value);
Item RoundHalfToEven(const Item& value, std::int64_t precision = 0);

// The type to which two numbers are promoted: Integer, Decimal, Float, Double.
Type PromotedType(Type left, Type right);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_ARITHMETIC_H_
