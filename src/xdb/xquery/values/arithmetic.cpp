#include "xdb/xquery/values/arithmetic.h"

#include <cmath>
#include <string>

#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/date_arithmetic.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

// ---------------------------------------------------------------- two numbers

Item Made(double value) { return Item::OfDouble(value); }
Item Made(float value) { return Item::OfFloat(value); }

// xs:integer of a quotient of floating point numbers.
template <typename T>
Item IntegerQuotient(T left, T right) {
  if (right == 0) throw Error("FOAR0001", "integer division by zero");
  const T quotient = left / right;
  if (std::isnan(left) || !std::isfinite(quotient))
    throw Error("FOAR0002", "the integer quotient of NaN or infinity");
  return Item::OfDecimal(Decimal::FromDouble(std::trunc(quotient)),
                         Type::Integer);
}

template <typename T>
Item CalculateFloating(Operator op, T left, T right) {
  switch (op) {
    case Operator::Add:
      return Made(left + right);
    case Operator::Subtract:
      return Made(left - right);
    case Operator::Multiply:
      return Made(left * right);
    case Operator::Divide:
      return Made(left / right);
    case Operator::IntegerDivide:
      return IntegerQuotient(left, right);
    case Operator::Modulo:
      return Made(std::fmod(left, right));
  }
  return {};
}

// `type`: of the operands, xs:integer or xs:decimal.
Item CalculateDecimal(Operator op, const Decimal& left, const Decimal& right,
                      Type type) {
  switch (op) {
    case Operator::Add:
      return Item::OfDecimal(left + right, type);
    case Operator::Subtract:
      return Item::OfDecimal(left - right, type);
    case Operator::Multiply:
      return Item::OfDecimal(left * right, type);
    case Operator::Divide:
      return Item::OfDecimal(left / right);
    case Operator::IntegerDivide:
      return Item::OfDecimal(Decimal::IntegerQuotient(left, right),
                             Type::Integer);
    case Operator::Modulo:
      return Item::OfDecimal(Decimal::Remainder(left, right), type);
  }
  return {};
}

float ToFloat(const Item& number) {
  return number.type() == Type::Float ? number.AsFloat()
                                      : number.AsDecimal().ToFloat();
}

// Small integers whose quotient or remainder needs no decimal.
bool CalculateSmall(Operator op, const Item& left, const Item& right,
                    Item& result) {
  if (!left.IsSmallInteger() || !right.IsSmallInteger()) return false;
  const std::int64_t first = left.AsSmallInteger();
  const std::int64_t second = right.AsSmallInteger();
  // Zero is an error, and the least integer has no counterpart.
  if (second == 0 || second == -1) return false;
  if (op == Operator::IntegerDivide) {
    result = Item::OfInteger(first / second);
  } else if (op == Operator::Modulo) {
    result = Item::OfInteger(first % second);
  } else if (op == Operator::Divide && first % second == 0) {
    result = Item::OfInteger(first / second, Type::Decimal);
  } else {
    return false;
  }
  return true;
}

Item CalculateNumbers(Operator op, const Item& left, const Item& right) {
  Item result;
  if (CalculateSmall(op, left, right, result)) return result;
  const Type type = PromotedType(left.type(), right.type());
  switch (type) {
    case Type::Double:
      return CalculateFloating(op, ToDouble(left), ToDouble(right));
    case Type::Float:
      return CalculateFloating(op, ToFloat(left), ToFloat(right));
    default:
      return CalculateDecimal(op, left.AsDecimal(), right.AsDecimal(), type);
  }
}

// ----------------------------------------------------------------- one number

const Item& RequireNumber(const Item& value, const char* what) {
  if (!IsNumeric(value.type())) {
    throw Error("XPTY0004", std::string(what) + " takes a number, not " +
                                NameOf(value.type()));
  }
  return value;
}

// xs:integer or xs:decimal, whichever the value is one of.
Item OfSameKind(const Decimal& value, const Item& of) {
  return Item::OfDecimal(value,
                         IsInteger(of.type()) ? Type::Integer : Type::Decimal);
}

template <typename T>
T RoundedHalfUp(T value) {
  if (!std::isfinite(value)) return value;
  const T below = std::floor(value);
  return std::copysign(value - below >= T(0.5) ? below + 1 : below, value);
}

// Applies one of three ways to what the number is.
template <typename OfDecimals, typename OfFloats>
Item Mapped(const Item& value, const char* what, OfDecimals of_decimal,
            OfFloats of_floating) {
  switch (RequireNumber(value, what).type()) {
    case Type::Double:
      return Item::OfDouble(of_floating(value.AsDouble()));
    case Type::Float:
      return Item::OfFloat(of_floating(value.AsFloat()));
    default:
      return OfSameKind(of_decimal(value.AsDecimal()), value);
  }
}

}  // namespace

const char* SymbolOf(Operator op) {
  constexpr const char* kSymbols[] = {"+", "-", "*", "div", "idiv", "mod"};
  return kSymbols[static_cast<int>(op)];
}

Type PromotedType(Type left, Type right) {
  if (left == Type::Double || right == Type::Double) return Type::Double;
  if (left == Type::Float || right == Type::Float) return Type::Float;
  return IsInteger(left) && IsInteger(right) ? Type::Integer : Type::Decimal;
}

Type ResultOf(Operator op, Type left, Type right) {
  if (left == Type::UntypedAtomic) left = Type::Double;
  if (right == Type::UntypedAtomic) right = Type::Double;
  if (left == Type::AnyAtomic || right == Type::AnyAtomic)
    return Type::AnyAtomic;
  if (IsNumeric(left) && IsNumeric(right)) {
    if (op == Operator::IntegerDivide) return Type::Integer;
    const Type type = PromotedType(left, right);
    return op == Operator::Divide && type == Type::Integer ? Type::Decimal
                                                           : type;
  }
  const DateOperator* found = FindDateOperator(op, left, right);
  return found == nullptr ? Type::None : found->result;
}

Item Calculate(Operator op, const Item& left, const Item& right, int zone) {
  if (left.type() == Type::Double && right.type() == Type::Double)
    return CalculateFloating(op, left.AsDouble(), right.AsDouble());
  if (IsNumeric(left.type()) && IsNumeric(right.type()))
    return CalculateNumbers(op, left, right);
  if (left.type() == Type::UntypedAtomic || right.type() == Type::UntypedAtomic)
    return Calculate(op, UntypedAsDouble(left), UntypedAsDouble(right), zone);
  const DateOperator* found = FindDateOperator(op, left.type(), right.type());
  if (found == nullptr) {
    throw Error("XPTY0004", std::string("there is no operator ") +
                                SymbolOf(op) + " for " + NameOf(left.type()) +
                                " and " + NameOf(right.type()));
  }
  return found->calculate(left, right, zone);
}

Item Negate(const Item& value) {
  if (value.type() == Type::UntypedAtomic)
    return Negate(UntypedAsDouble(value));
  return Mapped(
      value, "the unary minus", [](const Decimal& number) { return -number; },
      [](auto number) { return -number; });
}

Item UnaryPlus(const Item& value) {
  if (value.type() == Type::UntypedAtomic) return UntypedAsDouble(value);
  return RequireNumber(value, "the unary plus");
}

Item Abs(const Item& value) {
  return Mapped(
      value, "abs",
      [](const Decimal& number) {
        return number.Sign() < 0 ? -number : number;
      },
      [](auto number) { return std::fabs(number); });
}

Item Ceiling(const Item& value) {
  return Mapped(
      value, "ceiling",
      [](const Decimal& number) {
        return number.Round(0, Decimal::Rounding::Ceiling);
      },
      [](auto number) { return std::ceil(number); });
}

Item Floor(const Item& value) {
  return Mapped(
      value, "floor",
      [](const Decimal& number) {
        return number.Round(0, Decimal::Rounding::Floor);
      },
      [](auto number) { return std::floor(number); });
}

Item Round(const Item& value) {
  return Mapped(
      value, "round",
      [](const Decimal& number) {
        return number.Round(0, Decimal::Rounding::HalfUp);
      },
      [](auto number) { return RoundedHalfUp(number); });
}

// A floating point number is rounded as the decimal that it is exactly.
Item RoundHalfToEven(const Item& value, std::int64_t precision) {
  const auto rounded = [precision](const Decimal& number) {
    return number.Round(precision, Decimal::Rounding::HalfEven);
  };
  const auto floating = [&rounded](auto number) {
    if (!std::isfinite(number) || number == 0) return number;
    const Decimal result = rounded(Decimal::FromDouble(number));
    if constexpr (sizeof(number) == sizeof(float))
      return std::copysign(result.ToFloat(), number);
    else
      return std::copysign(result.ToDouble(), number);
  };
  return Mapped(value, "round-half-to-even", rounded, floating);
}

}  // namespace kiv::xdb::xq
