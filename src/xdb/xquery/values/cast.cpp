#include "xdb/xquery/values/cast.h"

#include <cmath>
#include <limits>

#include "util/utf8.h"
#include "xdb/xquery/values/calendar.h"
#include "xdb/xquery/values/cast_rules.h"
#include "xdb/xquery/values/fault.h"

namespace kiv::xdb::xq {
namespace {

// ------------------------------------------------------ ranges of integers

struct IntegerRange {
  Type type;
  std::int64_t least, most;  // the least and the most there are: no bound
};

constexpr std::int64_t kNoLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kNoMost = std::numeric_limits<std::int64_t>::max();

constexpr IntegerRange kRanges[] = {
    {Type::Integer, kNoLeast, kNoMost},
    {Type::NonPositiveInteger, kNoLeast, 0},
    {Type::NegativeInteger, kNoLeast, -1},
    {Type::Long, kNoLeast, kNoMost},
    {Type::Int, -2'147'483'648, 2'147'483'647},
    {Type::Short, -32'768, 32'767},
    {Type::Byte, -128, 127},
    {Type::NonNegativeInteger, 0, kNoMost},
    {Type::UnsignedLong, 0, kNoMost},
    {Type::UnsignedInt, 0, 4'294'967'295},
    {Type::UnsignedShort, 0, 65'535},
    {Type::UnsignedByte, 0, 255},
    {Type::PositiveInteger, 1, kNoMost},
};

bool IsInRangeOf(const Decimal& value, Type type) {
  const IntegerRange& range =
      kRanges[static_cast<int>(type) - static_cast<int>(Type::Integer)];
  if (value.IsSmall()) {
    return value.coefficient() >= range.least &&
           value.coefficient() <= range.most;
  }
  if (type == Type::Long) return false;
  if (type == Type::UnsignedLong) {
    static const Decimal most =
        Decimal::FromInt128(Int128{std::numeric_limits<std::uint64_t>::max()});
    return value.Sign() > 0 && value <= most;
  }
  return value.Sign() < 0 ? range.least == kNoLeast : range.most == kNoMost;
}

Fault IntegerFrom(const Decimal& value, Type target, Item& result) {
  if (!IsInRangeOf(value, target)) return Fault::NotOfType;
  result = Item::OfDecimal(value, target);
  return Fault::None;
}

// -------------------------------------------------------------- from texts

bool IsTextOfType(std::string_view text, Type type) {
  switch (type) {
    case Type::Language:
      return IsLanguage(text);
    case Type::NmToken:
      return IsNmToken(text);
    case Type::Name:
      return IsName(text);
    case Type::NcName:
    case Type::Id:
    case Type::IdRef:
    case Type::Entity:
      return IsNcName(text);
    case Type::AnyUri:
      return IsUri(text);
    default:
      return true;
  }
}

// Digits with a sign that fit 64 bits; the way of most integers.
bool ParseSmallInteger(std::string_view text, std::int64_t& value) {
  const bool has_sign = !text.empty() && (text[0] == '-' || text[0] == '+');
  const std::string_view digits = text.substr(has_sign ? 1 : 0);
  if (digits.empty() || digits.size() > 18) return false;
  value = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  if (text[0] == '-') value = -value;
  return true;
}

Fault ParseDecimal(std::string_view text, Type target, Item& result) {
  std::int64_t small;
  if (ParseSmallInteger(text, small)) {
    if (target != Type::Decimal) return IntegerFrom(small, target, result);
    result = Item::OfDecimal(small);
    return Fault::None;
  }
  const bool is_integer = target != Type::Decimal;
  if (is_integer && text.find('.') != text.npos) return Fault::NotOfType;
  if (text.find_first_not_of("+-.0123456789") != text.npos)
    return Fault::NotOfType;
  if (text.size() > Decimal::kMaxDigits)
    return is_integer ? Fault::IntegerTooLarge : Fault::DecimalTooLarge;
  const std::optional<Decimal> value = Decimal::FromText(text);
  if (!value) return Fault::NotOfType;
  if (is_integer) return IntegerFrom(*value, target, result);
  result = Item::OfDecimal(*value);
  return Fault::None;
}

Fault ParseOctets(std::string_view text, Type target, Item& result) {
  std::string octets;
  if (!(target == Type::HexBinary ? ParseHex(text, octets)
                                  : ParseBase64(text, octets)))
    return Fault::NotOfType;
  result = Item::OfOctets(octets, target);
  return Fault::None;
}

// Of a text whose white space is taken care of, to anything but a text.
Fault ParseValue(std::string_view text, Type target, Item& result) {
  if (IsDecimal(target)) return ParseDecimal(text, target, result);
  if (IsBinary(target)) return ParseOctets(text, target, result);
  if (IsCalendar(target)) {
    CalendarValue value;
    const Fault fault = ParseCalendar(text, target, value);
    if (fault == Fault::None) result = Item::OfCalendar(value, target);
    return fault;
  }
  if (IsDuration(target)) {
    Duration value;
    const Fault fault = ParseDuration(text, target, value);
    if (fault == Fault::None) result = Item::OfDuration(value, target);
    return fault;
  }
  if (target == Type::Double) {
    double value;
    if (!ParseDouble(text, value)) return Fault::NotOfType;
    result = Item::OfDouble(value);
  } else if (target == Type::Float) {
    float value;
    if (!ParseFloat(text, value)) return Fault::NotOfType;
    result = Item::OfFloat(value);
  } else {
    bool value;
    if (!ParseBoolean(text, value)) return Fault::NotOfType;
    result = Item::OfBoolean(value);
  }
  return Fault::None;
}

// `source`, when there is one, has the text; where nothing changes it is
// shared.
Fault Parse(std::string_view text, const Item* source, Type target,
            Item& result) {
  std::string room;
  const std::string_view normal = NormalizeSpace(text, target, room);
  if (!IsText(target)) return ParseValue(normal, target, result);
  if (!IsTextOfType(normal, target)) return Fault::NotOfType;
  const bool is_same = normal.size() == text.size() && normal == text;
  result = source != nullptr && is_same ? source->As(target)
                                        : Item::OfText(normal, target);
  return Fault::None;
}

// ------------------------------------------------------------ from numbers

bool IsTrue(const Item& number) {
  switch (number.type()) {
    case Type::Boolean:
      return number.AsBoolean();
    case Type::Double:
      return !std::isnan(number.AsDouble()) && number.AsDouble() != 0;
    case Type::Float:
      return !std::isnan(number.AsFloat()) && number.AsFloat() != 0;
    default:
      return !number.AsDecimal().IsZero();
  }
}

// Numbers and truth values among themselves.
Fault CastNumber(const Item& value, Type target, Item& result) {
  if (target == Type::Boolean) {
    result = Item::OfBoolean(IsTrue(value));
    return Fault::None;
  }
  if (target == Type::Double) {
    result = Item::OfDouble(ToDouble(value));
    return Fault::None;
  }
  if (target == Type::Float) {
    result = Item::OfFloat(IsDecimal(value.type())
                               ? value.AsDecimal().ToFloat()
                               : static_cast<float>(ToDouble(value)));
    return Fault::None;
  }
  Decimal number;
  if (IsDecimal(value.type())) {
    number = value.AsDecimal();
  } else {
    const double floating = ToDouble(value);
    if (!std::isfinite(floating)) return Fault::NotFinite;
    number = Decimal::FromDouble(
        target == Type::Decimal ? floating : std::trunc(floating));
  }
  if (target == Type::Decimal) {
    result = Item::OfDecimal(number);
    return Fault::None;
  }
  return IntegerFrom(number.Round(0, Decimal::Rounding::Down), target, result);
}

// ------------------------------------------------------------ all together

Fault CastDuration(const Item& value, Type target, Item& result) {
  Duration duration = value.AsDuration();
  if (target == Type::YearMonthDuration) duration.attoseconds = 0;
  if (target == Type::DayTimeDuration) duration.months = 0;
  result = Item::OfDuration(duration, target);
  return Fault::None;
}

Fault TryCast(const Item& value, Type target, Item& result) {
  const Type from = value.type();
  if (from == target) {
    result = value;
    return Fault::None;
  }
  if (RuleOfCast(from, target) == CastRule::Never) return Fault::NoCast;
  if (IsString(from) && DerivesFrom(from, target)) {
    result = value.As(target);
    return Fault::None;
  }
  if (IsString(from) || from == Type::UntypedAtomic)
    return Parse(value.AsText(), &value, target, result);
  if (IsText(target)) {
    if (from == Type::AnyUri)
      return Parse(value.AsText(), &value, target, result);
    return Parse(TextOf(value), nullptr, target, result);
  }
  if (IsNumeric(from) || from == Type::Boolean)
    return CastNumber(value, target, result);
  if (IsDuration(from)) return CastDuration(value, target, result);
  if (IsCalendar(from)) {
    result = Item::OfCalendar(FilledFor(target, value.AsCalendar()), target);
    return Fault::None;
  }
  result = value.As(target);  // octets, names
  return Fault::None;
}

[[noreturn]] void ThrowCast(Fault fault, const Item& value, Type target) {
  std::string message = NameOf(value.type());
  if (fault == Fault::NoCast) {
    message += " cannot be cast to " + NameOf(target);
  } else {
    constexpr std::size_t kMostShown = 60;
    std::string text = TextOf(value);
    const std::size_t shown = utf8::Prefix(text, kMostShown).size();
    if (shown < text.size()) text.replace(shown, text.npos, "...");
    message += " \"" + text + "\" is no " + NameOf(target);
    if (fault != Fault::NotOfType && fault != Fault::NotFinite)
      message += " that this system can hold";
  }
  ThrowFault(fault, message);
}

}  // namespace

CastRule RuleOfCast(Type from, Type to) {
  if (from == Type::AnyAtomic)
    return IsAtomic(to) && to != Type::AnyAtomic ? CastRule::Maybe
                                                 : CastRule::Never;
  const CastRule rule = kCastRules[static_cast<std::size_t>(PrimitiveOf(from))]
                                  [static_cast<std::size_t>(PrimitiveOf(to))];
  if (rule != CastRule::Always) return rule;
  // A derived type may refuse the value.
  return to == PrimitiveOf(to) || DerivesFrom(from, to) ? CastRule::Always
                                                        : CastRule::Maybe;
}

Item Cast(const Item& value, Type target) {
  Item result;
  const Fault fault = TryCast(value, target, result);
  if (fault != Fault::None) ThrowCast(fault, value, target);
  return result;
}

bool IsCastable(const Item& value, Type target) {
  Item result;
  return TryCast(value, target, result) == Fault::None;
}

Item FromText(std::string_view text, Type target) {
  if (RuleOfCast(Type::String, target) == CastRule::Never)
    ThrowCast(Fault::NoCast, Item::OfLastingText(text), target);
  Item result;
  const Fault fault = Parse(text, nullptr, target, result);
  if (fault != Fault::None) ThrowCast(fault, Item::OfLastingText(text), target);
  return result;
}

double ToDoubleBySwitch(const Item& value) {
  double number;
  if (IsDecimal(value.type())) return value.AsDecimal().ToDouble();
  if (value.type() == Type::Float) return value.AsFloat();
  if (value.type() == Type::Boolean) return value.AsBoolean() ? 1 : 0;
  if (IsText(value.type()) && ParseDouble(TrimSpace(value.AsText()), number))
    return number;
  return Cast(value, Type::Double).AsDouble();
}

Item UntypedAsDouble(const Item& value) {
  if (value.type() != Type::UntypedAtomic) return value;
  return Item::OfDouble(ToDouble(value));
}

}  // namespace kiv::xdb::xq
