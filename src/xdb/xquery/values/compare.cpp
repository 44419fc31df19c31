#include "xdb/xquery/values/compare.h"

#include <cmath>
#include <compare>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/date_arithmetic.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

using Order = std::partial_ordering;

// Types whose values compare with each other have one family.
Type FamilyOf(Type type) {
  if (IsText(type)) return Type::String;
  if (IsNumeric(type)) return Type::Double;
  if (IsDuration(type)) return Type::Duration;
  return type;
}

bool HasOrder(Type left, Type right) {
  switch (FamilyOf(left)) {
    case Type::String:
    case Type::Double:
    case Type::Boolean:
    case Type::DateTime:
    case Type::Date:
    case Type::Time:
      return true;
    case Type::Duration:
      return left == right && left != Type::Duration;
    default:
      return false;
  }
}

bool IsForEquality(Comparison comparison) {
  return comparison == Comparison::Eq || comparison == Comparison::Ne;
}

bool Holds(Comparison comparison, Order order) {
  switch (comparison) {
    case Comparison::Eq:
      return std::is_eq(order);
    case Comparison::Ne:
      return std::is_neq(order);
    case Comparison::Lt:
      return std::is_lt(order);
    case Comparison::Le:
      return std::is_lteq(order);
    case Comparison::Gt:
      return std::is_gt(order);
    case Comparison::Ge:
      return std::is_gteq(order);
  }
  return false;
}

// UTF-8 sorts by bytes as its characters do.
Order OrderOfTexts(std::string_view left, std::string_view right) {
  return left.compare(right) <=> 0;
}

float FloatOf(const Item& number) {
  return IsDecimal(number.type()) ? number.AsDecimal().ToFloat()
                                  : number.AsFloat();
}

Order OrderOfNumbers(const Item& left, const Item& right) {
  if (left.IsSmallInteger() && right.IsSmallInteger())
    return left.AsSmallInteger() <=> right.AsSmallInteger();
  switch (PromotedType(left.type(), right.type())) {
    case Type::Double:
      return ToDouble(left) <=> ToDouble(right);
    case Type::Float:
      return FloatOf(left) <=> FloatOf(right);
    default:
      return left.AsDecimal() <=> right.AsDecimal();
  }
}

Order OrderOfDurations(const Item& left, const Item& right) {
  const Duration first = left.AsDuration(), second = right.AsDuration();
  if (first == second) return Order::equivalent;
  // Months and seconds have no order among each other; only one kind of them is
  // there where anybody asks for it.
  const auto months = first.months <=> second.months;
  return std::is_neq(months) ? months
                             : first.attoseconds <=> second.attoseconds;
}

// Of one family. Where there is no order, not equal is unordered.
Order OrderOf(const Item& left, const Item& right, int zone) {
  const auto equality = [](bool is_equal) {
    return is_equal ? Order::equivalent : Order::unordered;
  };
  switch (FamilyOf(left.type())) {
    case Type::String:
      return OrderOfTexts(left.AsText(), right.AsText());
    case Type::Double:
      return OrderOfNumbers(left, right);
    case Type::Duration:
      return OrderOfDurations(left, right);
    case Type::Boolean:
      return left.AsBoolean() <=> right.AsBoolean();
    case Type::HexBinary:
    case Type::Base64Binary:
      return equality(left.AsText() == right.AsText());
    case Type::QName:
    case Type::Notation:
      return equality(left.AsQName() == right.AsQName());
    default:
      return Difference(left.AsCalendar(), right.AsCalendar(), zone) <=> 0;
  }
}

[[noreturn]] void ThrowNoComparison(Comparison comparison, const Item& left,
                                    const Item& right) {
  throw Error("XPTY0004", std::string("there is no comparison ") +
                              SymbolOf(comparison) + " for " +
                              NameOf(left.type()) + " and " +
                              NameOf(right.type()));
}

// ------------------------------------------------------------------------ keys

std::size_t Mix(std::uint64_t bits) {
  bits ^= bits >> 30;
  bits *= 0xBF58476D1CE4E5B9;
  bits ^= bits >> 27;
  bits *= 0x94D049BB133111EB;
  return bits ^ bits >> 31;
}

std::size_t Mix(Int128 bits) {
  return Mix(static_cast<std::uint64_t>(bits) ^
             Mix(static_cast<std::uint64_t>(bits >> 64)));
}

std::size_t HashOfNumber(const Item& value, bool with_floats) {
  double number = ToDouble(value);
  if (std::isnan(number)) return 1;
  if (with_floats) number = static_cast<float>(number);
  if (number == 0) number = 0;  // minus zero is equal
  std::uint64_t bits;
  std::memcpy(&bits, &number, sizeof bits);
  return Mix(bits);
}

}  // namespace

bool IsNan(const Item& item) {
  return (item.type() == Type::Double && std::isnan(item.AsDouble())) ||
         (item.type() == Type::Float && std::isnan(item.AsFloat()));
}

const char* SymbolOf(Comparison comparison) {
  constexpr const char* kSymbols[] = {"eq", "ne", "lt", "le", "gt", "ge"};
  return kSymbols[static_cast<int>(comparison)];
}

bool HasComparison(Comparison comparison, Type left, Type right) {
  if (left == Type::AnyAtomic || right == Type::AnyAtomic) return true;
  if (FamilyOf(left) != FamilyOf(right)) return false;
  return IsForEquality(comparison) || HasOrder(left, right);
}

bool CompareValues(Comparison comparison, const Item& left, const Item& right,
                   int zone) {
  if (left.IsSmallInteger() && right.IsSmallInteger())
    return Holds(comparison, left.AsSmallInteger() <=> right.AsSmallInteger());
  if (left.type() == Type::Double && right.type() == Type::Double)
    return Holds(comparison, left.AsDouble() <=> right.AsDouble());
  if (IsText(left.type()) && IsText(right.type())) {
    if (comparison == Comparison::Eq) return left.AsText() == right.AsText();
    return Holds(comparison, OrderOfTexts(left.AsText(), right.AsText()));
  }
  if (!HasComparison(comparison, left.type(), right.type()))
    ThrowNoComparison(comparison, left, right);
  return Holds(comparison, OrderOf(left, right, zone));
}

bool CompareGeneral(Comparison comparison, const Item& left, const Item& right,
                    int zone) {
  const bool is_left_untyped = left.type() == Type::UntypedAtomic;
  const bool is_right_untyped = right.type() == Type::UntypedAtomic;
  if (is_left_untyped == is_right_untyped)
    return CompareValues(comparison, left, right, zone);
  const Type typed = is_left_untyped ? right.type() : left.type();
  if (IsString(typed)) return CompareValues(comparison, left, right, zone);
  if (IsNumeric(typed))
    return Holds(comparison, ToDouble(left) <=> ToDouble(right));
  if (is_left_untyped)
    return CompareValues(comparison, Cast(left, typed), right, zone);
  return CompareValues(comparison, left, Cast(right, typed), zone);
}

bool IsSameKey(const Item& left, const Item& right, int zone) {
  if (FamilyOf(left.type()) != FamilyOf(right.type())) return false;
  if (std::is_eq(OrderOf(left, right, zone))) return true;
  return IsNan(left) && IsNan(right);
}

std::size_t HashOfKey(const Item& value, int zone, bool with_floats) {
  const Type family = FamilyOf(value.type());
  switch (family) {
    case Type::Double:
      return HashOfNumber(value, with_floats);
    case Type::String:
    case Type::HexBinary:
    case Type::Base64Binary:
      return std::hash<std::string_view>()(value.AsText());
    case Type::Duration: {
      const Duration duration = value.AsDuration();
      return Mix(duration.attoseconds) ^ Mix(Int128{duration.months} << 64);
    }
    case Type::Boolean:
      return Mix(std::uint64_t{value.AsBoolean() ? 2u : 3u});
    case Type::QName:
    case Type::Notation:
      return std::hash<std::string_view>()(value.AsQName().local);
    default:
      return Mix(Difference(value.AsCalendar(), {0, 0, 0}, zone));
  }
}

int CompareForOrder(const Item& left, const Item& right, bool is_none_least,
                    int zone) {
  // 0 for values, further out for NaN and none.
  const auto rank = [is_none_least](const Item& item) {
    const int distance = item.IsNone() ? 2 : IsNan(item) ? 1 : 0;
    return is_none_least ? -distance : distance;
  };
  const int left_rank = rank(left), right_rank = rank(right);
  if (left_rank != right_rank) return left_rank < right_rank ? -1 : 1;
  if (left_rank != 0) return 0;
  if (!HasComparison(Comparison::Gt, left.type(), right.type()))
    ThrowNoComparison(Comparison::Gt, left, right);
  const Order order = OrderOf(left, right, zone);
  return std::is_lt(order) ? -1 : std::is_gt(order) ? 1 : 0;
}

bool EffectiveBoolean(const Item& item) {
  const Type type = item.type();
  if (type == Type::Node) return true;
  if (type == Type::Boolean) return item.AsBoolean();
  if (IsText(type)) return !item.AsText().empty();
  if (IsDecimal(type)) return !item.AsDecimal().IsZero();
  if (IsNumeric(type)) {
    const double number = ToDouble(item);
    return number != 0 && !std::isnan(number);
  }
  throw Error("FORG0006", NameOf(type) + " has no effective boolean value");
}

}  // namespace kiv::xdb::xq
