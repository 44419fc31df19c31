#ifndef XDB_XQUERY_VALUES_TYPES_H_
#define XDB_XQUERY_VALUES_TYPES_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace kiv::xdb::xq {

inline constexpr std::string_view kSchemaNamespace =
    "http://www.w3.org/2001/XMLSchema";

// The types of the namespace xs that XQuery knows, a type behind the one that
// it derives from. Every atomic value carries one of them; the numbers and the
// texts each lie in one run.
//
// None is the type of no item, Node that of every node: what kind of node, the
// tree says.
enum class Type : std::uint16_t {
  None,
  Node,

  AnyType,
  Untyped,
  AnySimpleType,
  IdRefs,
  NmTokens,
  Entities,
  AnyAtomic,

  UntypedAtomic,
  String,
  NormalizedString,
  Token,
  Language,
  NmToken,
  Name,
  NcName,
  Id,
  IdRef,
  Entity,
  AnyUri,

  Float,
  Double,
  Decimal,
  Integer,
  NonPositiveInteger,
  NegativeInteger,
  Long,
  Int,
  Short,
  Byte,
  NonNegativeInteger,
  UnsignedLong,
  UnsignedInt,
  UnsignedShort,
  UnsignedByte,
  PositiveInteger,

  Boolean,
  Duration,
  YearMonthDuration,
  DayTimeDuration,
  DateTime,
  Date,
  Time,
  GYearMonth,
  GYear,
  GMonthDay,
  GDay,
  GMonth,
  HexBinary,
  Base64Binary,
  QName,
  Notation,
};

inline constexpr std::size_t kTypeCount =
    static_cast<std::size_t>(Type::Notation) + 1;

// Whether a value of `type` is one of `ancestor`; true for the same type.
bool DerivesFrom(Type type, Type ancestor);

// The type that `type` derives from; None for AnyType.
Type BaseOf(Type type);

// The primitive type below which `type` lies, itself when it is primitive.
// UntypedAtomic counts as primitive, and so do Integer and the two kinds of
// duration, which have operations of their own. AnyAtomic and what is not
// atomic stays as it is.
Type PrimitiveOf(Type type);

// The nearest type from which both derive; of types with a name.
Type CommonAncestor(Type left, Type right);

// "integer", "yearMonthDuration".
std::string_view LocalNameOf(Type type);
// "xs:integer", for messages.
std::string NameOf(Type type);
// The type of that local name in the namespace xs; None when there is none.
Type TypeNamed(std::string_view local);

constexpr bool IsBetween(Type type, Type first, Type last) {
  return static_cast<unsigned>(type) - static_cast<unsigned>(first) <=
         static_cast<unsigned>(last) - static_cast<unsigned>(first);
}
constexpr bool IsAtomic(Type type) { return type >= Type::AnyAtomic; }
// xs:untypedAtomic, xs:string and what derives from it, xs:anyURI.
constexpr bool IsText(Type type) {
  return IsBetween(type, Type::UntypedAtomic, Type::AnyUri);
}
constexpr bool IsString(Type type) {
  return IsBetween(type, Type::String, Type::Entity);
}
constexpr bool IsNumeric(Type type) {
  return IsBetween(type, Type::Float, Type::PositiveInteger);
}
constexpr bool IsInteger(Type type) {
  return IsBetween(type, Type::Integer, Type::PositiveInteger);
}
constexpr bool IsDecimal(Type type) {
  return IsBetween(type, Type::Decimal, Type::PositiveInteger);
}
constexpr bool IsDuration(Type type) {
  return IsBetween(type, Type::Duration, Type::DayTimeDuration);
}
// Dates, times and the parts of dates.
constexpr bool IsCalendar(Type type) {
  return IsBetween(type, Type::DateTime, Type::GMonth);
}
constexpr bool IsBinary(Type type) {
  return IsBetween(type, Type::HexBinary, Type::Base64Binary);
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_TYPES_H_
