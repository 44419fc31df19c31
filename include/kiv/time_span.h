#ifndef KIV_TIME_SPAN_H_
#define KIV_TIME_SPAN_H_

#include <cstdint>

#include "kiv/export.h"

namespace kiv {

// A signed length of time in ticks of 100 ns.
//
// A default-made span is MinValue and means "no value"; an empty span is
// TimeSpan(TimeSpan::Zero). Sums and differences wrap without a check.
class KIV_API TimeSpan {
 public:
  static constexpr long long TicksPerMillisecond = 10000;
  static constexpr long long TicksPerSecond = 10000000;
  static constexpr long long TicksPerMinute = 600000000;
  static constexpr long long TicksPerHour = 36000000000;
  static constexpr long long TicksPerDay = 864000000000;
  static constexpr long long MinValue = INT64_MIN;
  static constexpr long long MaxValue = INT64_MAX;
  static constexpr long long Zero = 0;

  TimeSpan() : ticks_(MinValue) {}
  TimeSpan(long long ticks) : ticks_(ticks) {}
  // No component has a range: 70 minutes and -3 hours are folded in.
  TimeSpan(int hours, int minutes, int seconds);
  TimeSpan(int days, int hours, int minutes, int seconds);
  TimeSpan(int days, int hours, int minutes, int seconds, int milliseconds);

  long long Ticks() const { return ticks_; }
  long long* Inner() { return &ticks_; }

  // Each is cut toward zero and has the sign of the span; all but Days stay
  // within their unit, -59..59 for Seconds.
  int Days() const { return static_cast<int>(ticks_ / TicksPerDay); }
  int Hours() const {
    return static_cast<int>(ticks_ % TicksPerDay / TicksPerHour);
  }
  int Minutes() const {
    return static_cast<int>(ticks_ % TicksPerHour / TicksPerMinute);
  }
  int Seconds() const {
    return static_cast<int>(ticks_ % TicksPerMinute / TicksPerSecond);
  }
  int Milliseconds() const {
    return static_cast<int>(ticks_ % TicksPerSecond / TicksPerMillisecond);
  }

  double TotalDays() const;
  double TotalHours() const;
  double TotalMinutes() const;
  double TotalSeconds() const;
  double TotalMilliseconds() const;

  TimeSpan Add(const TimeSpan& other) const;
  TimeSpan Subtract(const TimeSpan& other) const;
  TimeSpan operator+(const TimeSpan& other) const { return Add(other); }
  TimeSpan operator-(const TimeSpan& other) const { return Subtract(other); }
  // MinValue stays MinValue.
  TimeSpan Duration() const;
  // Throws std::out_of_range for MinValue, which has no positive counterpart.
  TimeSpan Negate() const;

  static int Compare(const TimeSpan& a, const TimeSpan& b);
  int CompareTo(const TimeSpan& other) const { return Compare(*this, other); }
  bool operator==(const TimeSpan& other) const {
    return ticks_ == other.ticks_;
  }
  bool operator!=(const TimeSpan& other) const {
    return ticks_ != other.ticks_;
  }
  bool operator<(const TimeSpan& other) const { return ticks_ < other.ticks_; }
  bool operator<=(const TimeSpan& other) const {
    return ticks_ <= other.ticks_;
  }
  bool operator>(const TimeSpan& other) const { return ticks_ > other.ticks_; }
  bool operator>=(const TimeSpan& other) const {
    return ticks_ >= other.ticks_;
  }

  // 32 bits on every platform; the constructor takes more.
  static TimeSpan FromTicks(std::int32_t ticks);
  // Cut toward zero at one millisecond: FromSeconds(1.0009) is 1000 ms. The
  // whole part must fit in 32 bits; beyond them it is cut to the nearest number
  // that does, and NaN counts as 0.
  static TimeSpan FromMilliseconds(double milliseconds);
  static TimeSpan FromSeconds(double seconds);
  static TimeSpan FromMinutes(double minutes);
  static TimeSpan FromHours(double hours);
  static TimeSpan FromDays(double days);

 protected:
  void Set(bool negative, int days, int hours, int minutes, int seconds,
           int milliseconds, long long ticks);

 private:
  friend class DateTime;
  long long ticks_;
};

}  // namespace kiv

#endif  // KIV_TIME_SPAN_H_
