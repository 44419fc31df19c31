#include "xdb/xquery/functions/implementations.h"
#include "xdb/xquery/run/calls.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/compare.h"

namespace kiv::xdb::xq {
namespace {

Item Count(const Frame& frame, const Plans& arguments) {
  const IteratorPtr items = arguments[0]->Open(frame);
  std::int64_t count = 0;
  for (Item item; items->Next(item); ++count) frame.run->Tick();
  return Item::OfInteger(count);
}

[[noreturn]] void ThrowNoAggregate(const char* name, const Item& item) {
  throw Error("FORG0006",
              std::string(name) + " of a value of " + NameOf(item.type()));
}

bool IsAddable(Type type) {
  return IsNumeric(type) || type == Type::YearMonthDuration ||
         type == Type::DayTimeDuration;
}

// Numbers of any type, or durations of one.
Item Summand(const char* name, const Item& first, Item item) {
  item = UntypedAsDouble(item);
  if (!IsAddable(item.type()) ||
      (!first.IsNone() &&
       (IsNumeric(first.type()) ? !IsNumeric(item.type())
                                : first.type() != item.type()))) {
    ThrowNoAggregate(name, item);
  }
  return item;
}

Item Total(const Frame& frame, const Plan& plan, const char* name,
           std::int64_t& count) {
  const IteratorPtr items = plan.Open(frame);
  Item total, item;
  for (count = 0; items->Next(item); ++count) {
    frame.run->Tick();
    item = Summand(name, total, std::move(item));
    total = total.IsNone() ? IsNumeric(item.type()) ? UnaryPlus(item) : item
                           : Add(total, item, frame.run->zone());
  }
  return total;
}

Item Avg(const Frame& frame, const Plans& arguments) {
  std::int64_t count;
  Item total = Total(frame, *arguments[0], "avg", count);
  if (total.IsNone()) return total;
  return Calculate(Operator::Divide, total, Item::OfInteger(count),
                   frame.run->zone());
}

Item Sum(const Frame& frame, const Plans& arguments) {
  std::int64_t count;
  Item total = Total(frame, *arguments[0], "sum", count);
  if (!total.IsNone()) return total;
  return arguments.size() > 1 ? arguments[1]->One(frame) : Item::OfInteger(0);
}

// The greatest or the least; values of which any two can be compared. Numbers
// become one type, and texts.
Item Extreme(const Frame& frame, const Plans& arguments, Comparison wanted,
             const char* name) {
  if (arguments.size() > 1) {
    RequireCodepointCollation(frame.run->call_context(),
                              arguments[1]->One(frame));
  }
  const IteratorPtr items = arguments[0]->Open(frame);
  const int zone = frame.run->zone();
  Item best, item;
  Type promoted = Type::None;
  bool is_string = false;
  while (items->Next(item)) {
    frame.run->Tick();
    item = UntypedAsDouble(item);
    if (!HasComparison(Comparison::Lt, item.type(), item.type()) ||
        IsBinary(item.type())) {
      ThrowNoAggregate(name, item);
    }
    if (!best.IsNone() &&
        !HasComparison(Comparison::Lt, best.type(), item.type())) {
      ThrowNoAggregate(name, item);
    }
    is_string = is_string || IsString(item.type());
    if (IsNumeric(item.type())) {
      promoted = promoted == Type::None ? PromotedType(item.type(), item.type())
                                        : PromotedType(promoted, item.type());
    }
    if (best.IsNone() || (IsNan(item) && !IsNan(best)) ||
        (!IsNan(best) && CompareValues(wanted, item, best, zone))) {
      best = item;
    }
  }
  if (promoted == Type::Float || promoted == Type::Double)
    return Cast(best, promoted);
  if (is_string && best.type() == Type::AnyUri) return best.As(Type::String);
  return best;
}

Item Max(const Frame& frame, const Plans& arguments) {
  return Extreme(frame, arguments, Comparison::Gt, "max");
}

Item Min(const Frame& frame, const Plans& arguments) {
  return Extreme(frame, arguments, Comparison::Lt, "min");
}

Item StringJoin(const Frame& frame, const Plans& arguments) {
  const Item separator = arguments[1]->One(frame);
  const IteratorPtr items = arguments[0]->Open(frame);
  std::string text;
  MemoryCharge charge;
  Item item;
  for (bool is_first = true; items->Next(item); is_first = false) {
    frame.run->Tick();
    if (!is_first) text += separator.AsText();
    text += item.AsText();
    charge.GrowTo(text.capacity());
  }
  return Item::OfText(text);
}

Item CodepointsToString(const Frame& frame, const Plans& arguments) {
  const IteratorPtr numbers = arguments[0]->Open(frame);
  std::string text;
  MemoryCharge charge;
  for (Item number; numbers->Next(number);) {
    functions::AppendCodepoint(number, text);
    charge.GrowTo(text.capacity());
  }
  return Item::OfText(text);
}

}  // namespace

EngineImplementation AggregateFunction(EngineFunction function) {
  using F = EngineFunction;
  switch (function) {
    case F::Count:
      return {Count, nullptr};
    case F::Avg:
      return {Avg, nullptr};
    case F::Max:
      return {Max, nullptr};
    case F::Min:
      return {Min, nullptr};
    case F::Sum:
      return {Sum, nullptr};
    case F::StringJoin:
      return {StringJoin, nullptr};
    case F::CodepointsToString:
      return {CodepointsToString, nullptr};
    default:
      return {};
  }
}

}  // namespace kiv::xdb::xq
