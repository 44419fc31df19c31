#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "xdb/xquery/run/calls.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/compare.h"

namespace kiv::xdb::xq {
namespace {

void CheckCollation(const Frame& frame, const Plans& arguments,
                    std::size_t index) {
  if (arguments.size() > index) {
    RequireCodepointCollation(frame.run->call_context(),
                              arguments[index]->One(frame));
  }
}

Item Boolean(const Frame& frame, const Plans& arguments) {
  return Item::OfBoolean(arguments[0]->Test(frame));
}

Item Not(const Frame& frame, const Plans& arguments) {
  return Item::OfBoolean(!arguments[0]->Test(frame));
}

bool HasItem(const Frame& frame, const Plans& arguments) {
  Item item;
  return arguments[0]->Open(frame)->Next(item);
}

Item Empty(const Frame& frame, const Plans& arguments) {
  return Item::OfBoolean(!HasItem(frame, arguments));
}

Item Exists(const Frame& frame, const Plans& arguments) {
  return Item::OfBoolean(HasItem(frame, arguments));
}

class IndexOfIterator final : public Iterator {
 public:
  IndexOfIterator(Execution& run, IteratorPtr items, Item wanted)
      : run_(run), items_(std::move(items)), wanted_(std::move(wanted)) {}

  bool Next(Item& item) override {
    while (items_->Next(item)) {
      run_.Tick();
      ++place_;
      if (HasComparison(Comparison::Eq, item.type(), wanted_.type()) &&
          CompareValues(Comparison::Eq, item, wanted_, run_.zone())) {
        item = Item::OfInteger(place_);
        return true;
      }
    }
    item = {};
    return false;
  }

 private:
  Execution& run_;
  const IteratorPtr items_;
  const Item wanted_;
  std::int64_t place_ = 0;
};

IteratorPtr IndexOf(const Frame& frame, const Plans& arguments) {
  CheckCollation(frame, arguments, 2);
  Item wanted = arguments[1]->One(frame);
  return std::make_unique<IndexOfIterator>(
      *frame.run, arguments[0]->Open(frame), std::move(wanted));
}

class DistinctIterator final : public Iterator {
 public:
  DistinctIterator(IteratorPtr items, int zone)
      : items_(std::move(items)), zone_(zone) {}

  // Floats are equal to values that are not equal to each other: all numbers
  // go by their float value.
  bool Next(Item& item) override {
    while (items_->Next(item)) {
      const std::size_t hash = HashOfKey(item, zone_, true);
      const auto [first, last] = met_.equal_range(hash);
      const bool is_known = std::any_of(first, last, [&](const auto& entry) {
        return IsSameKey(entry.second, item, zone_);
      });
      if (is_known) continue;
      charge_.Add(kEntryBytes);
      met_.emplace(hash, item);
      return true;
    }
    return false;
  }

 private:
  static constexpr std::size_t kEntryBytes = 64;

  const IteratorPtr items_;
  const int zone_;
  std::unordered_multimap<std::size_t, Item> met_;
  MemoryCharge charge_;
};

IteratorPtr DistinctValues(const Frame& frame, const Plans& arguments) {
  CheckCollation(frame, arguments, 1);
  return std::make_unique<DistinctIterator>(arguments[0]->Open(frame),
                                            frame.run->zone());
}

IteratorPtr InsertBefore(const Frame& frame, const Plans& arguments) {
  Sequence items = ItemsOf(*arguments[0], frame);
  const Item place = arguments[1]->One(frame);
  Sequence more = ItemsOf(*arguments[2], frame);
  const double wanted = std::max(ToDouble(place) - 1, 0.0);
  const auto index = static_cast<std::ptrdiff_t>(
      std::min(wanted, static_cast<double>(items.size())));
  items.insert(items.begin() + index, more.begin(), more.end());
  return IterateItems(std::move(items));
}

IteratorPtr Remove(const Frame& frame, const Plans& arguments) {
  Sequence items = ItemsOf(*arguments[0], frame);
  const Item place = arguments[1]->One(frame);
  if (place.IsSmallInteger() && place.AsSmallInteger() >= 1 &&
      place.AsSmallInteger() <= static_cast<std::int64_t>(items.size())) {
    items.erase(items.begin() + place.AsSmallInteger() - 1);
  }
  return IterateItems(std::move(items));
}

IteratorPtr Reverse(const Frame& frame, const Plans& arguments) {
  Sequence items = ItemsOf(*arguments[0], frame);
  std::reverse(items.begin(), items.end());
  return IterateItems(std::move(items));
}

class SubsequenceIterator final : public Iterator {
 public:
  // From `first` up to but not `end`.
  SubsequenceIterator(IteratorPtr items, double first, double end)
      : items_(std::move(items)), first_(first), end_(end) {}

  bool Next(Item& item) override {
    while (place_ + 1 < end_ && items_->Next(item)) {
      ++place_;
      if (place_ >= first_) return true;
    }
    return false;
  }

 private:
  const IteratorPtr items_;
  const double first_;
  const double end_;
  double place_ = 0;
};

// As fn:round does: halves go up.
double RoundDouble(double value) {
  const double below = std::floor(value);
  return value - below < 0.5 ? below : below + 1;
}

IteratorPtr Subsequence(const Frame& frame, const Plans& arguments) {
  const double first = RoundDouble(arguments[1]->One(frame).AsDouble());
  double end = HUGE_VAL;
  if (arguments.size() > 2)
    end = first + RoundDouble(arguments[2]->One(frame).AsDouble());
  if (std::isnan(first) || std::isnan(end)) return IterateItem({});
  return std::make_unique<SubsequenceIterator>(arguments[0]->Open(frame), first,
                                               end);
}

IteratorPtr Unordered(const Frame& frame, const Plans& arguments) {
  return arguments[0]->Open(frame);
}

Item ZeroOrOne(const Frame& frame, const Plans& arguments) {
  const IteratorPtr items = arguments[0]->Open(frame);
  Item item, more;
  if (items->Next(item) && items->Next(more))
    throw Error("FORG0003", "zero-or-one has more than one item");
  return item;
}

IteratorPtr OneOrMore(const Frame& frame, const Plans& arguments) {
  Sequence items = ItemsOf(*arguments[0], frame);
  if (items.empty()) throw Error("FORG0004", "one-or-more has no item");
  return IterateItems(std::move(items));
}

Item ExactlyOne(const Frame& frame, const Plans& arguments) {
  const IteratorPtr items = arguments[0]->Open(frame);
  Item item, more;
  if (!items->Next(item) || items->Next(more))
    throw Error("FORG0005", "exactly-one has no item or several");
  return item;
}

Item DeepEqual(const Frame& frame, const Plans& arguments) {
  CheckCollation(frame, arguments, 2);
  const IteratorPtr lefts = arguments[0]->Open(frame);
  const IteratorPtr rights = arguments[1]->Open(frame);
  for (;;) {
    Item left, right;
    const bool has_left = lefts->Next(left);
    const bool has_right = rights->Next(right);
    if (has_left != has_right) return Item::OfBoolean(false);
    if (!has_left) return Item::OfBoolean(true);
    if (!IsDeepEqual(*frame.run, left, right)) return Item::OfBoolean(false);
  }
}

Item PositionOf(const Frame& frame, const Plans&) {
  if (frame.focus == nullptr)
    throw Error("XPDY0002", "the context position is undefined");
  return Item::OfInteger(frame.focus->position);
}

Item Last(const Frame& frame, const Plans&) {
  if (frame.focus == nullptr)
    throw Error("XPDY0002", "the context size is undefined");
  return Item::OfInteger(frame.focus->size);
}

IteratorPtr ErrorFunction(const Frame& frame, const Plans& arguments) {
  std::string uri(kErrorNamespace), code = "FOER0000", message = "fn:error";
  const Item name = arguments.empty() ? Item() : arguments[0]->One(frame);
  if (!name.IsNone()) {
    uri = name.AsQName().uri;
    code = name.AsQName().local;
  } else if (arguments.size() == 1) {
    throw Error("XPTY0004", "the code of an error is empty");
  }
  if (arguments.size() > 1) message = arguments[1]->One(frame).AsText();
  throw Error(uri, code, message);
}

IteratorPtr Trace(const Frame& frame, const Plans& arguments) {
  Sequence items = ItemsOf(*arguments[0], frame);
  if (frame.run->surroundings().trace) {
    std::string text(arguments[1]->One(frame).AsText());
    for (const Item& item : items) {
      text += ' ';
      text += StringOfItem(item).AsText();
    }
    frame.run->surroundings().trace(text);
  }
  return IterateItems(std::move(items));
}

}  // namespace

EngineImplementation SequenceFunction(EngineFunction function) {
  using F = EngineFunction;
  switch (function) {
    case F::Boolean:
      return {Boolean, nullptr};
    case F::Not:
      return {Not, nullptr};
    case F::IndexOf:
      return {nullptr, IndexOf};
    case F::Empty:
      return {Empty, nullptr};
    case F::Exists:
      return {Exists, nullptr};
    case F::DistinctValues:
      return {nullptr, DistinctValues};
    case F::InsertBefore:
      return {nullptr, InsertBefore};
    case F::Remove:
      return {nullptr, Remove};
    case F::Reverse:
      return {nullptr, Reverse};
    case F::Subsequence:
      return {nullptr, Subsequence};
    case F::Unordered:
      return {nullptr, Unordered};
    case F::ZeroOrOne:
      return {ZeroOrOne, nullptr};
    case F::OneOrMore:
      return {nullptr, OneOrMore};
    case F::ExactlyOne:
      return {ExactlyOne, nullptr};
    case F::DeepEqual:
      return {DeepEqual, nullptr};
    case F::Position:
      return {PositionOf, nullptr};
    case F::Last:
      return {Last, nullptr};
    case F::Error:
      return {nullptr, ErrorFunction};
    case F::Trace:
      return {nullptr, Trace};
    default:
      return {};
  }
}

}  // namespace kiv::xdb::xq
