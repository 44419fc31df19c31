#include <algorithm>
#include <limits>
#include <optional>
#include <string>

#include "xdb/xquery/functions/implementations.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/date_time.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq::functions {
namespace {

// The operation on the first argument, nothing on nothing.
template <typename Operation>
Item OfFirst(Arguments arguments, Operation operation) {
  if (arguments[0].IsNone()) return {};
  return operation(arguments[0]);
}

// A precision past this changes nothing more: no number has as many digits.
constexpr std::int64_t kMaxPrecision = 1'000'000;

std::int64_t PrecisionOf(const Item& value) {
  if (value.IsSmallInteger()) {
    return std::clamp(value.AsSmallInteger(), -kMaxPrecision, kMaxPrecision);
  }
  return value.AsDecimal().Sign() * kMaxPrecision;
}

}  // namespace

Item True(const CallContext&, Arguments) { return Item::OfBoolean(true); }
Item False(const CallContext&, Arguments) { return Item::OfBoolean(false); }

Item Number(const CallContext&, Arguments arguments) {
  const Item& value = arguments[0];
  if (value.IsNone() || !IsCastable(value, Type::Double))
    return Item::OfDouble(std::numeric_limits<double>::quiet_NaN());
  return Cast(value, Type::Double);
}

Item AbsOf(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, Abs);
}
Item CeilingOf(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, Ceiling);
}
Item FloorOf(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, Floor);
}
Item RoundOf(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, Round);
}
Item RoundHalfToEvenOf(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, [&](const Item& value) {
    return RoundHalfToEven(
        value, arguments.size() > 1 ? PrecisionOf(arguments[1]) : 0);
  });
}

Item YearPart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, YearOf);
}
Item MonthPart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, MonthOf);
}
Item DayPart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, DayOf);
}
Item HoursPart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, HoursOf);
}
Item MinutesPart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, MinutesOf);
}
Item SecondsPart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, SecondsOf);
}
Item TimezonePart(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, TimezoneOf);
}

Item AdjustTimezone(const CallContext& context, Arguments arguments) {
  return OfFirst(arguments, [&](const Item& value) {
    if (arguments.size() == 1)
      return AdjustToTimezone(value, context.implicit_zone);
    if (arguments[1].IsNone()) return AdjustToTimezone(value, std::nullopt);
    return AdjustToTimezone(value, ZoneOf(arguments[1]));
  });
}

Item DateTime(const CallContext&, Arguments arguments) {
  if (arguments[0].IsNone() || arguments[1].IsNone()) return {};
  return JoinDateAndTime(arguments[0], arguments[1]);
}

Item CurrentDateTime(const CallContext& context, Arguments) {
  return context.current_date_time;
}
Item CurrentDate(const CallContext& context, Arguments) {
  return Cast(context.current_date_time, Type::Date);
}
Item CurrentTime(const CallContext& context, Arguments) {
  return Cast(context.current_date_time, Type::Time);
}
Item ImplicitTimezone(const CallContext& context, Arguments) {
  return Item::OfDuration(
      {0, context.implicit_zone * Int128{60} * kAttoseconds},
      Type::DayTimeDuration);
}

Item MakeQName(const CallContext&, Arguments arguments) {
  const std::string_view uri =
      arguments[0].IsNone() ? std::string_view{} : arguments[0].AsText();
  const std::string_view text = arguments[1].AsText();
  std::string_view prefix, local;
  if (!SplitQName(text, prefix, local)) {
    throw Error("FOCA0002", "'" + std::string(text) + "' is no QName");
  }
  if (uri.empty() && !prefix.empty()) {
    throw Error("FOCA0002", "the prefix of '" + std::string(text) +
                                "' stands for no namespace");
  }
  return Item::OfQName(
      {std::string(prefix), std::string(uri), std::string(local)});
}

Item PrefixFromQName(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, [](const Item& name) {
    const std::string& prefix = name.AsQName().prefix;
    return prefix.empty() ? Item{} : Item::OfText(prefix, Type::NcName);
  });
}
Item LocalNameFromQName(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, [](const Item& name) {
    return Item::OfText(name.AsQName().local, Type::NcName);
  });
}
Item NamespaceUriFromQName(const CallContext&, Arguments arguments) {
  return OfFirst(arguments, [](const Item& name) {
    return Item::OfText(name.AsQName().uri, Type::AnyUri);
  });
}

}  // namespace kiv::xdb::xq::functions
