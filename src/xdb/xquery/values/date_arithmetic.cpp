#include "xdb/xquery/values/date_arithmetic.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

[[noreturn]] void ThrowDateTooLarge() {
  throw Error("FODT0001", "a date outside the years that can be held");
}
[[noreturn]] void ThrowDurationTooLarge() {
  throw Error("FODT0002", "a duration too large to be held");
}

Int128 SecondsAtUtc(const CalendarValue& value, int zone) {
  return Int128{value.seconds} -
         Int128{60} * (value.zone == kNoZone ? zone : value.zone);
}

Item MonthSpan(const std::optional<std::int64_t>& months) {
  if (!months) ThrowDurationTooLarge();
  return Item::OfDuration({*months, 0}, Type::YearMonthDuration);
}

Item TimeSpan(const std::optional<Int128>& attoseconds) {
  if (!attoseconds || !FitsInt64(*attoseconds / kAttoseconds))
    ThrowDurationTooLarge();
  return Item::OfDuration({0, *attoseconds}, Type::DayTimeDuration);
}

std::int64_t MonthsOf(const Item& item) { return item.AsDuration().months; }
Int128 AttosecondsOf(const Item& item) { return item.AsDuration().attoseconds; }
Decimal SecondsIn(const Item& item) {
  return Decimal::FromInt128(AttosecondsOf(item), 18);
}

// ---------------------------------------------------- durations and durations

template <int sign>
Item AddMonths(const Item& left, const Item& right, int) {
  return MonthSpan(
      (Decimal(MonthsOf(left)) + Decimal(MonthsOf(right)) * sign).ToInt64());
}

template <int sign>
Item AddTimes(const Item& left, const Item& right, int) {
  return TimeSpan(AttosecondsOf(left) + sign * AttosecondsOf(right));
}

Item DivideMonthsByMonths(const Item& left, const Item& right, int) {
  return Item::OfDecimal(Decimal(MonthsOf(left)) / Decimal(MonthsOf(right)));
}

Item DivideTimesByTimes(const Item& left, const Item& right, int) {
  return Item::OfDecimal(SecondsIn(left) / SecondsIn(right));
}

// ------------------------------------------------------ durations and numbers

// A factor or divisor as a decimal; none when it is infinite. Floating point
// numbers count as what they print as, so that PT1S times 0.1e0 is PT0.1S.
std::optional<Decimal> FactorOf(const Item& number) {
  if (IsDecimal(number.type())) return number.AsDecimal();
  const bool is_float = number.type() == Type::Float;
  const double value = is_float ? number.AsFloat() : number.AsDouble();
  if (std::isnan(value))
    throw Error("FOCA0005", "a duration times or divided by NaN");
  if (std::isinf(value)) return std::nullopt;
  return is_float ? Decimal::FromFloatShortest(number.AsFloat())
                  : Decimal::FromDoubleShortest(value);
}

Item MultiplyMonths(const Item& left, const Item& right, int) {
  const std::optional<Decimal> factor = FactorOf(right);
  if (!factor) ThrowDurationTooLarge();
  return MonthSpan((Decimal(MonthsOf(left)) * *factor)
                       .Round(0, Decimal::Rounding::HalfUp)
                       .ToInt64());
}

Item MultiplyTimes(const Item& left, const Item& right, int) {
  const std::optional<Decimal> factor = FactorOf(right);
  if (!factor) ThrowDurationTooLarge();
  return TimeSpan((SecondsIn(left) * *factor).ToScaledInt128(18));
}

Item DivideMonths(const Item& left, const Item& right, int) {
  const std::optional<Decimal> divisor = FactorOf(right);
  if (!divisor) return MonthSpan(0);
  if (divisor->IsZero()) ThrowDurationTooLarge();
  return MonthSpan((Decimal(MonthsOf(left)) / *divisor)
                       .Round(0, Decimal::Rounding::HalfUp)
                       .ToInt64());
}

Item DivideTimes(const Item& left, const Item& right, int) {
  const std::optional<Decimal> divisor = FactorOf(right);
  if (!divisor) return TimeSpan(Int128{0});
  if (divisor->IsZero()) ThrowDurationTooLarge();
  return TimeSpan((SecondsIn(left) / *divisor).ToScaledInt128(18));
}

// -------------------------------------------------------- dates and durations

// The same day of a month before or after, or its last one.
template <int sign>
Item AddMonthsTo(const Item& left, const Item& right, int) {
  CalendarValue value = left.AsCalendar();
  CivilDate date = DateOf(value);
  const Int128 month = Int128{date.year} * 12 + (date.month - 1) +
                       sign * Int128{MonthsOf(right)};
  const Int128 year = month / 12 - (month % 12 < 0 ? 1 : 0);
  if (year > kMaxYear || year < -kMaxYear) ThrowDateTooLarge();
  date.year = static_cast<std::int64_t>(year);
  date.month = static_cast<int>(month - year * 12) + 1;
  date.day = std::min(date.day, DaysInMonth(date.year, date.month));
  value.seconds = DaysOf(date) * kSecondsPerDay + SecondOfDay(value);
  if (!IsInRange(value.seconds)) ThrowDateTooLarge();
  return Item::OfCalendar(value, left.type());
}

// A date drops the time that comes of it, a time the day.
template <int sign>
Item AddTimeTo(const Item& left, const Item& right, int) {
  const Type type = left.type();
  const CalendarValue later =
      Later(left.AsCalendar(), sign * AttosecondsOf(right));
  return Item::OfCalendar(
      type == Type::DateTime ? later : FilledFor(type, later), type);
}

Item SubtractDates(const Item& left, const Item& right, int zone) {
  return TimeSpan(Difference(left.AsCalendar(), right.AsCalendar(), zone));
}

// ------------------------------------------------------------------ the table

using Calculation = Item (*)(const Item&, const Item&, int);

template <Calculation calculate>
Item Swapped(const Item& left, const Item& right, int zone) {
  return calculate(right, left, zone);
}

constexpr Type kMonths = Type::YearMonthDuration;
constexpr Type kTimes = Type::DayTimeDuration;
constexpr Type kNumber = Type::Double;

constexpr DateOperator kOperators[] = {
    {Operator::Add, kMonths, kMonths, kMonths, AddMonths<1>},
    {Operator::Add, kTimes, kTimes, kTimes, AddTimes<1>},
    {Operator::Add, Type::DateTime, kMonths, Type::DateTime, AddMonthsTo<1>},
    {Operator::Add, Type::Date, kMonths, Type::Date, AddMonthsTo<1>},
    {Operator::Add, Type::DateTime, kTimes, Type::DateTime, AddTimeTo<1>},
    {Operator::Add, Type::Date, kTimes, Type::Date, AddTimeTo<1>},
    {Operator::Add, Type::Time, kTimes, Type::Time, AddTimeTo<1>},
    {Operator::Add, kMonths, Type::DateTime, Type::DateTime,
     Swapped<AddMonthsTo<1>>},
    {Operator::Add, kMonths, Type::Date, Type::Date, Swapped<AddMonthsTo<1>>},
    {Operator::Add, kTimes, Type::DateTime, Type::DateTime,
     Swapped<AddTimeTo<1>>},
    {Operator::Add, kTimes, Type::Date, Type::Date, Swapped<AddTimeTo<1>>},
    {Operator::Add, kTimes, Type::Time, Type::Time, Swapped<AddTimeTo<1>>},

    {Operator::Subtract, kMonths, kMonths, kMonths, AddMonths<-1>},
    {Operator::Subtract, kTimes, kTimes, kTimes, AddTimes<-1>},
    {Operator::Subtract, Type::DateTime, Type::DateTime, kTimes, SubtractDates},
    {Operator::Subtract, Type::Date, Type::Date, kTimes, SubtractDates},
    {Operator::Subtract, Type::Time, Type::Time, kTimes, SubtractDates},
    {Operator::Subtract, Type::DateTime, kMonths, Type::DateTime,
     AddMonthsTo<-1>},
    {Operator::Subtract, Type::Date, kMonths, Type::Date, AddMonthsTo<-1>},
    {Operator::Subtract, Type::DateTime, kTimes, Type::DateTime, AddTimeTo<-1>},
    {Operator::Subtract, Type::Date, kTimes, Type::Date, AddTimeTo<-1>},
    {Operator::Subtract, Type::Time, kTimes, Type::Time, AddTimeTo<-1>},

    {Operator::Multiply, kMonths, kNumber, kMonths, MultiplyMonths},
    {Operator::Multiply, kTimes, kNumber, kTimes, MultiplyTimes},
    {Operator::Multiply, kNumber, kMonths, kMonths, Swapped<MultiplyMonths>},
    {Operator::Multiply, kNumber, kTimes, kTimes, Swapped<MultiplyTimes>},

    {Operator::Divide, kMonths, kNumber, kMonths, DivideMonths},
    {Operator::Divide, kTimes, kNumber, kTimes, DivideTimes},
    {Operator::Divide, kMonths, kMonths, Type::Decimal, DivideMonthsByMonths},
    {Operator::Divide, kTimes, kTimes, Type::Decimal, DivideTimesByTimes},
};

}  // namespace

const DateOperator* FindDateOperator(Operator op, Type left, Type right) {
  if (IsNumeric(left)) left = kNumber;
  if (IsNumeric(right)) right = kNumber;
  const auto* found = std::find_if(std::begin(kOperators), std::end(kOperators),
                                   [=](const DateOperator& row) {
                                     return row.op == op && row.left == left &&
                                            row.right == right;
                                   });
  return found == std::end(kOperators) ? nullptr : found;
}

Int128 Difference(const CalendarValue& left, const CalendarValue& right,
                  int zone) {
  return (SecondsAtUtc(left, zone) - SecondsAtUtc(right, zone)) * kAttoseconds +
         (left.attoseconds - right.attoseconds);
}

CalendarValue Later(const CalendarValue& value, Int128 attoseconds) {
  const Int128 sum = value.attoseconds + attoseconds;
  Int128 seconds = sum / kAttoseconds;
  Int128 rest = sum % kAttoseconds;
  if (rest < 0) {
    --seconds;
    rest += kAttoseconds;
  }
  seconds += value.seconds;
  if (!IsInRange(seconds)) ThrowDateTooLarge();
  return {static_cast<std::int64_t>(seconds), static_cast<std::int64_t>(rest),
          value.zone};
}

}  // namespace kiv::xdb::xq
