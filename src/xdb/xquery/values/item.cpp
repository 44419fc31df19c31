#include "xdb/xquery/values/item.h"

#include <cstring>
#include <limits>

#include "xdb/xquery/values/big_decimal.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

// The bytes lie behind it.
class TextBytes final : public Counted {
 public:
  char* bytes() { return reinterpret_cast<char*>(this + 1); }
  const char* bytes() const { return reinterpret_cast<const char*>(this + 1); }
};

template <typename T>
class Boxed final : public Counted {
 public:
  explicit Boxed(T value) : value_(std::move(value)) {}
  const T& value() const { return value_; }

 private:
  const T value_;
};

template <typename T>
const T& Unbox(const Counted* box) {
  return static_cast<const Boxed<T>*>(box)->value();
}

constexpr Int128 kPerNanosecond = 1'000'000'000;
constexpr Int128 kPerSecond = kAttoseconds;
constexpr std::int64_t kPerMicrosecond = 1'000'000'000'000;

// A calendar value's zone and microseconds share 32 bits.
constexpr int kZoneShift = 20;
constexpr std::uint32_t kMicrosecondMask = (1u << kZoneShift) - 1;
constexpr std::uint32_t kNoZoneBits = 0xFFF;

}  // namespace

Item Item::Outside(Type type, const Counted* payload, std::uint32_t extra) {
  Item item = Inside(type, {.outside = payload}, extra);
  item.flags_ = kIsCounted | kIsOutside;
  return item;
}

Item Item::OfDecimal(const Decimal& value, Type type) {
  if (value.IsSmall()) {
    return Inside(type, {.integer = value.coefficient()},
                  static_cast<std::uint32_t>(value.scale()));
  }
  value.big()->Keep();
  return Outside(type, value.big());
}

Decimal Item::AsDecimal() const {
  if (IsOutside()) {
    const auto* big = static_cast<const BigDecimal*>(payload_.outside);
    return IsCounted() ? Decimal(big) : Decimal::CopyOf(*big);
  }
  return Decimal::Canonical(payload_.integer, static_cast<int>(extra_));
}

Item Item::OfText(std::string_view text, Type type) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max())
    throw Error("XPDY0130", "a text of 4 GiB or more");
  if (text.empty()) return OfLastingText({}, type);
  auto* copy = Counted::Make<TextBytes>(text.size());
  std::memcpy(copy->bytes(), text.data(), text.size());
  return Outside(type, copy, static_cast<std::uint32_t>(text.size()));
}

Item Item::OfLastingText(std::string_view text, Type type) {
  return Inside(type, {.text = text.data()},
                static_cast<std::uint32_t>(text.size()));
}

Item Item::OfTreeText(const HeldTree* tree, std::uint32_t node, Type type) {
  Item item = OfNode(tree, node);
  item.type_ = type;
  return item;
}

Item Item::OfOctets(std::string_view octets, Type type) {
  return OfText(octets, type);
}

std::string_view Item::AsText() const {
  if (!IsOutside()) return {payload_.text, extra_};
  if (flags_ & kIsTree) return TextInTree(tree(), extra_);
  return {static_cast<const TextBytes*>(payload_.outside)->bytes(), extra_};
}

Item Item::OfQName(QName name, Type type) {
  return Outside(type, Counted::Make<Boxed<QName>>(0, std::move(name)));
}

const QName& Item::AsQName() const { return Unbox<QName>(payload_.outside); }

// Months of an xs:yearMonthDuration, seconds and nanoseconds of an
// xs:dayTimeDuration lie inside; the nanoseconds are not negative.
Item Item::OfDuration(const Duration& value, Type type) {
  if (type == Type::YearMonthDuration)
    return Inside(type, {.integer = value.months});
  if (type == Type::DayTimeDuration &&
      value.attoseconds % kPerNanosecond == 0) {
    Int128 seconds = value.attoseconds / kPerSecond;
    Int128 rest = value.attoseconds % kPerSecond;
    if (rest < 0) {
      --seconds;
      rest += kPerSecond;
    }
    if (FitsInt64(seconds)) {
      return Inside(type, {.integer = static_cast<std::int64_t>(seconds)},
                    static_cast<std::uint32_t>(rest / kPerNanosecond));
    }
  }
  return Outside(type, Counted::Make<Boxed<Duration>>(0, value));
}

Duration Item::AsDuration() const {
  if (IsOutside()) return Unbox<Duration>(payload_.outside);
  if (type_ == Type::YearMonthDuration) return {payload_.integer, 0};
  return {0, payload_.integer * kPerSecond + extra_ * kPerNanosecond};
}

Item Item::OfCalendar(const CalendarValue& value, Type type) {
  if (value.attoseconds % kPerMicrosecond != 0)
    return Outside(type, Counted::Make<Boxed<CalendarValue>>(0, value));
  const std::uint32_t zone =
      value.zone == kNoZone ? kNoZoneBits
                            : static_cast<std::uint32_t>(value.zone + kMaxZone);
  return Inside(type, {.integer = value.seconds},
                zone << kZoneShift | static_cast<std::uint32_t>(
                                         value.attoseconds / kPerMicrosecond));
}

CalendarValue Item::AsCalendar() const {
  if (IsOutside()) return Unbox<CalendarValue>(payload_.outside);
  const std::uint32_t zone = extra_ >> kZoneShift;
  return {payload_.integer, (extra_ & kMicrosecondMask) * kPerMicrosecond,
          zone == kNoZoneBits
              ? kNoZone
              : static_cast<std::int16_t>(static_cast<int>(zone) - kMaxZone)};
}

}  // namespace kiv::xdb::xq
