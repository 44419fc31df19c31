#ifndef XDB_XQUERY_VALUES_ITEM_H_
#define XDB_XQUERY_VALUES_ITEM_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/xquery/values/calendar.h"
#include "xdb/xquery/values/counted.h"
#include "xdb/xquery/values/decimal.h"
#include "xdb/xquery/values/held_tree.h"
#include "xdb/xquery/values/types.h"

namespace kiv::xdb::xq {

// An expanded name with the prefix that it was written with. Two names are the
// same when uri and local name are.
struct QName {
  std::string prefix;
  std::string uri;
  std::string local;

  friend bool operator==(const QName& left, const QName& right) {
    return left.local == right.local && left.uri == right.uri;
  }
};

// As it is written.
inline std::string ToText(const QName& name) {
  return name.prefix.empty() ? name.local : name.prefix + ":" + name.local;
}

// A node or an atomic value: an item of a sequence, in 16 bytes.
//
// Numbers that fit 64 bits, truth values, dates to the microsecond and
// durations to the nanosecond lie in the item itself; longer ones, texts, names
// and trees outside, counted. Copying costs one branch and, at most, one
// increment. A default-made item is none at all (Type::None), as for an empty
// optional argument.
//
// What an accessor hands out by reference or as a view lives as long as an item
// of that value.
//
// The operations on values:
//   types.h          names, derivation
//   sequence_type.h  "xs:integer+", element(a): matching, subtypes, printing
//   cast.h           Cast, Castable, FromText, TextOf: lexical forms, all casts
//   arithmetic.h     + - * div idiv mod, unary, rounding, on numbers, dates and
//                    durations, and their static types
//   compare.h        eq to ge, one pair of a general comparison, keys for
//                    distinct values, grouping and joins, order by, effective
//                    boolean value
//   date_time.h      components, time zones, fn:dateTime
class Item {
 public:
  constexpr Item() noexcept : payload_{} {}
  Item(const Item& other) noexcept
      : type_(other.type_),
        flags_(other.flags_),
        extra_(other.extra_),
        payload_(other.payload_) {
    if (flags_ & kIsCounted) payload_.outside->Keep();
  }
  Item(Item&& other) noexcept
      : type_(other.type_),
        flags_(other.flags_),
        extra_(other.extra_),
        payload_(other.payload_) {
    other.Forget();
  }
  Item& operator=(const Item& other) noexcept {
    Item copy(other);
    swap(copy);
    return *this;
  }
  Item& operator=(Item&& other) noexcept {
    Item moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~Item() {
    if (flags_ & kIsCounted) payload_.outside->Drop();
  }
  void swap(Item& other) noexcept {
    std::swap(type_, other.type_);
    std::swap(flags_, other.flags_);
    std::swap(extra_, other.extra_);
    std::swap(payload_, other.payload_);
  }

  // `type` may be any that derives from the one a maker is named after; the
  // value must be one of that type: nothing is checked here.
  static Item OfBoolean(bool value);
  static Item OfInteger(std::int64_t value, Type type = Type::Integer);
  static Item OfDecimal(const Decimal& value, Type type = Type::Decimal);
  static Item OfDouble(double value);
  static Item OfFloat(float value);
  // xs:string and what derives from it, xs:untypedAtomic, xs:anyURI; UTF-8,
  // copied. Throws Error when it is 4 GiB or longer.
  static Item OfText(std::string_view text, Type type = Type::String);
  // Not copied: the text outlives every item made of this one.
  static Item OfLastingText(std::string_view text, Type type = Type::String);
  // What TextInTree says, not copied: the item keeps the tree.
  static Item OfTreeText(const HeldTree* tree, std::uint32_t node,
                         Type type = Type::UntypedAtomic);
  // The octets themselves: xs:hexBinary or xs:base64Binary.
  static Item OfOctets(std::string_view octets, Type type);
  // xs:QName or xs:NOTATION.
  static Item OfQName(QName name, Type type = Type::QName);
  static Item OfDuration(const Duration& value, Type type);
  static Item OfCalendar(const CalendarValue& value, Type type);
  static Item OfNode(const HeldTree* tree, std::uint32_t node);

  Type type() const { return type_; }
  bool IsNone() const { return type_ == Type::None; }
  bool IsNode() const { return type_ == Type::Node; }
  bool IsAtomic() const { return xq::IsAtomic(type_); }

  // Each for its own types only.
  bool AsBoolean() const { return payload_.boolean; }
  double AsDouble() const { return payload_.number; }
  float AsFloat() const { return payload_.single; }
  // xs:decimal and what derives from it, integers included.
  Decimal AsDecimal() const;
  // An integer that lies in the item: AsSmallInteger then is its value. Every
  // integer that fits 64 bits does.
  bool IsSmallInteger() const { return IsInteger(type_) && !IsOutside(); }
  std::int64_t AsSmallInteger() const { return payload_.integer; }
  // Text of a text type, octets of a binary one.
  std::string_view AsText() const;
  const QName& AsQName() const;
  Duration AsDuration() const;
  CalendarValue AsCalendar() const;
  const HeldTree* held_tree() const {
    return static_cast<const HeldTree*>(payload_.outside);
  }
  const Tree& tree() const { return held_tree()->tree(); }
  std::uint32_t node() const { return extra_; }

  // The same value under another type of the same primitive type, or text as
  // another text type; nothing is checked.
  Item As(Type type) const {
    Item same(*this);
    same.type_ = type;
    return same;
  }

  // The same value without a count, for the constants of a compiled query that
  // several threads execute: this item outlives all those made of the borrowed
  // one.
  Item Borrowed() const {
    Item same;
    same.type_ = type_;
    same.flags_ = static_cast<std::uint16_t>(flags_ & ~kIsCounted);
    same.extra_ = extra_;
    same.payload_ = payload_;
    return same;
  }
  bool IsCounted() const { return (flags_ & kIsCounted) != 0; }

 private:
  enum : std::uint16_t {
    kIsCounted = 1,  // the payload is a pointer whose count this item holds
    kIsOutside = 2,  // the payload points to a Counted
    kIsTree = 4,     // to a HeldTree: a node, or its text
  };

  union Payload {
    bool boolean;
    std::int64_t integer;
    double number;
    float single;
    const char* text;
    const Counted* outside;
  };

  static Item Inside(Type type, Payload payload, std::uint32_t extra = 0) {
    Item item;
    item.type_ = type;
    item.extra_ = extra;
    item.payload_ = payload;
    return item;
  }
  // Takes over the reference.
  static Item Outside(Type type, const Counted* payload,
                      std::uint32_t extra = 0);

  bool IsOutside() const { return (flags_ & kIsOutside) != 0; }
  void Forget() noexcept {
    type_ = Type::None;
    flags_ = 0;
  }
  Type type_ = Type::None;
  std::uint16_t flags_ = 0;
  // Length of a text in bytes, scale of a decimal, number of a node, zone and
  // fraction of a date, fraction of a duration.
  std::uint32_t extra_ = 0;
  Payload payload_;
};

static_assert(sizeof(Item) == 16);

using Sequence = std::vector<Item>;

inline Item Item::OfBoolean(bool value) {
  return Inside(Type::Boolean, {.boolean = value});
}

inline Item Item::OfInteger(std::int64_t value, Type type) {
  return Inside(type, {.integer = value});
}

inline Item Item::OfDouble(double value) {
  return Inside(Type::Double, {.number = value});
}

inline Item Item::OfFloat(float value) {
  return Inside(Type::Float, {.single = value});
}

inline Item Item::OfNode(const HeldTree* tree, std::uint32_t node) {
  tree->Keep();
  Item item = Inside(Type::Node, {.outside = tree}, node);
  item.flags_ = kIsCounted | kIsOutside | kIsTree;
  return item;
}

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_ITEM_H_
