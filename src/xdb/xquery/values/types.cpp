#include "xdb/xquery/values/types.h"

namespace kiv::xdb::xq {
namespace {

struct Row {
  Type type;
  std::string_view name;
  Type base;
};

constexpr std::array<Row, kTypeCount> kTypes = {{
    {Type::None, "", Type::None},
    {Type::Node, "", Type::None},
    {Type::AnyType, "anyType", Type::None},
    {Type::Untyped, "untyped", Type::AnyType},
    {Type::AnySimpleType, "anySimpleType", Type::AnyType},
    {Type::IdRefs, "IDREFS", Type::AnySimpleType},
    {Type::NmTokens, "NMTOKENS", Type::AnySimpleType},
    {Type::Entities, "ENTITIES", Type::AnySimpleType},
    {Type::AnyAtomic, "anyAtomicType", Type::AnySimpleType},
    {Type::UntypedAtomic, "untypedAtomic", Type::AnyAtomic},
    {Type::String, "string", Type::AnyAtomic},
    {Type::NormalizedString, "normalizedString", Type::String},
    {Type::Token, "token", Type::NormalizedString},
    {Type::Language, "language", Type::Token},
    {Type::NmToken, "NMTOKEN", Type::Token},
    {Type::Name, "Name", Type::Token},
    {Type::NcName, "NCName", Type::Name},
    {Type::Id, "ID", Type::NcName},
    {Type::IdRef, "IDREF", Type::NcName},
    {Type::Entity, "ENTITY", Type::NcName},
    {Type::AnyUri, "anyURI", Type::AnyAtomic},
    {Type::Float, "float", Type::AnyAtomic},
    {Type::Double, "double", Type::AnyAtomic},
    {Type::Decimal, "decimal", Type::AnyAtomic},
    {Type::Integer, "integer", Type::Decimal},
    {Type::NonPositiveInteger, "nonPositiveInteger", Type::Integer},
    {Type::NegativeInteger, "negativeInteger", Type::NonPositiveInteger},
    {Type::Long, "long", Type::Integer},
    {Type::Int, "int", Type::Long},
    {Type::Short, "short", Type::Int},
    {Type::Byte, "byte", Type::Short},
    {Type::NonNegativeInteger, "nonNegativeInteger", Type::Integer},
    {Type::UnsignedLong, "unsignedLong", Type::NonNegativeInteger},
    {Type::UnsignedInt, "unsignedInt", Type::UnsignedLong},
    {Type::UnsignedShort, "unsignedShort", Type::UnsignedInt},
    {Type::UnsignedByte, "unsignedByte", Type::UnsignedShort},
    {Type::PositiveInteger, "positiveInteger", Type::NonNegativeInteger},
    {Type::Boolean, "boolean", Type::AnyAtomic},
    {Type::Duration, "duration", Type::AnyAtomic},
    {Type::YearMonthDuration, "yearMonthDuration", Type::Duration},
    {Type::DayTimeDuration, "dayTimeDuration", Type::Duration},
    {Type::DateTime, "dateTime", Type::AnyAtomic},
    {Type::Date, "date", Type::AnyAtomic},
    {Type::Time, "time", Type::AnyAtomic},
    {Type::GYearMonth, "gYearMonth", Type::AnyAtomic},
    {Type::GYear, "gYear", Type::AnyAtomic},
    {Type::GMonthDay, "gMonthDay", Type::AnyAtomic},
    {Type::GDay, "gDay", Type::AnyAtomic},
    {Type::GMonth, "gMonth", Type::AnyAtomic},
    {Type::HexBinary, "hexBinary", Type::AnyAtomic},
    {Type::Base64Binary, "base64Binary", Type::AnyAtomic},
    {Type::QName, "QName", Type::AnyAtomic},
    {Type::Notation, "NOTATION", Type::AnyAtomic},
}};

constexpr std::size_t IndexOf(Type type) {
  return static_cast<std::size_t>(type);
}

static_assert([] {
  for (std::size_t i = 0; i < kTypeCount; ++i)
    if (IndexOf(kTypes[i].type) != i || IndexOf(kTypes[i].base) > i)
      return false;
  return true;
}());

// A bit for each type that a type derives from, itself included.
static_assert(kTypeCount <= 64);
constexpr auto kAncestors = [] {
  std::array<std::uint64_t, kTypeCount> ancestors{};
  for (std::size_t i = 1; i < kTypeCount; ++i) {
    ancestors[i] = std::uint64_t{1} << i | ancestors[IndexOf(kTypes[i].base)];
  }
  return ancestors;
}();

}  // namespace

bool DerivesFrom(Type type, Type ancestor) {
  return (kAncestors[IndexOf(type)] >> IndexOf(ancestor) & 1) != 0;
}

Type BaseOf(Type type) { return kTypes[IndexOf(type)].base; }

Type PrimitiveOf(Type type) {
  if (IsInteger(type)) return Type::Integer;
  if (IsString(type)) return Type::String;
  return type;
}

Type CommonAncestor(Type left, Type right) {
  while (!DerivesFrom(right, left)) left = BaseOf(left);
  return left;
}

std::string_view LocalNameOf(Type type) { return kTypes[IndexOf(type)].name; }

std::string NameOf(Type type) {
  if (type == Type::Node) return "node()";
  if (type == Type::None) return "empty-sequence()";
  return "xs:" + std::string(LocalNameOf(type));
}

Type TypeNamed(std::string_view local) {
  for (std::size_t i = IndexOf(Type::AnyType); i < kTypeCount; ++i)
    if (kTypes[i].name == local) return kTypes[i].type;
  return Type::None;
}

}  // namespace kiv::xdb::xq
