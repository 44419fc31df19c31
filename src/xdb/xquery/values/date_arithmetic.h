#ifndef XDB_XQUERY_VALUES_DATE_ARITHMETIC_H_
#define XDB_XQUERY_VALUES_DATE_ARITHMETIC_H_

#include "xdb/xquery/values/arithmetic.h"

namespace kiv::xdb::xq {

// An operator on dates, times and durations. As the type of an operand, Double
// stands for any number.
struct DateOperator {
  Operator op;
  Type left, right;
  Type result;
  Item (*calculate)(const Item& left, const Item& right, int zone);
};

// Null when there is none.
const DateOperator* FindDateOperator(Operator op, Type left, Type right);

// Attoseconds between two points of which each without a zone has that one.
Int128 Difference(const CalendarValue& left, const CalendarValue& right,
                  int zone);
// A point so much later, on the clock of its zone; FODT0001.
CalendarValue Later(const CalendarValue& value, Int128 attoseconds);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_DATE_ARITHMETIC_H_
