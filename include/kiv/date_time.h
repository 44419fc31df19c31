#ifndef KIV_DATE_TIME_H_
#define KIV_DATE_TIME_H_

#include <cstdint>

#include "kiv/export.h"
#include "kiv/time_span.h"

namespace kiv {

// Counts from 0, which callers use as a number and as an index.
enum DayOfWeek {
  Sunday,
  Monday,
  Tuesday,
  Wednesday,
  Thursday,
  Friday,
  Saturday
};

// Calendar date and time: ticks of 100 ns since 0001-01-01 00:00 in the
// proleptic Gregorian calendar, local wall-clock time without a zone.
//
// A default-made value marks a missing one: it compares below every date and
// its fields mean nothing. Every failed range check throws std::out_of_range.
class KIV_API DateTime {
 public:
  static constexpr long long MinValue = 0;
  static constexpr long long MaxValue = 3155378975999999999;
  static constexpr long long MAX_VALUE_TICKS = MaxValue;
  static constexpr long long UnixEpoch = 621355968000000000;
  static constexpr long long w32file_epoch = 504911232000000000;
  static constexpr int dp4 = 1461;
  static constexpr int dp100 = 36524;
  static constexpr int dp400 = 146097;
  // Index 1 to 12.
  static constexpr int daysmonth[13] = {0,  31, 28, 31, 30, 31, 30,
                                        31, 31, 30, 31, 30, 31};
  static constexpr int daysmonthleap[13] = {0,  31, 29, 31, 30, 31, 30,
                                            31, 31, 30, 31, 30, 31};
  // Kept with the class; nothing here formats through them.
  static const char* const formats[15];

  DateTime() = default;
  // 0 to MaxValue.
  DateTime(long long ticks);
  // The millisecond has no range: any value is folded in.
  DateTime(int year, int month, int day, int hour, int minute, int second,
           int millisecond);

  // This type keeps no zone: does nothing.
  void SetZone(int zone);

  long long Ticks() const { return ticks_.ticks_; }
  long long* Inner() { return ticks_.Inner(); }

  int Year() const { return FromTicks(Which::Year); }
  int Month() const { return FromTicks(Which::Month); }
  int Day() const { return FromTicks(Which::Day); }
  int DayOfYear() const { return FromTicks(Which::DayYear); }
  int Hour() const { return ticks_.Hours(); }
  int Minute() const { return ticks_.Minutes(); }
  int Second() const { return ticks_.Seconds(); }
  int Millisecond() const { return ticks_.Milliseconds(); }
  TimeSpan TimeOfDay() const;
  DayOfWeek getDayOfWeek() const;
  DateTime Date() const;

  // Of a century, the years that 16 divides are those that 400 divides: a test
  // without a jump that the processor would guess wrong.
  static bool IsLeapYear(int year) {
    return (year & (year % 100 == 0 ? 15 : 3)) == 0;
  }
  static int DaysInMonth(int year, int month);

  static int Compare(const DateTime& a, const DateTime& b);
  bool operator==(const DateTime& other) const {
    return ticks_ == other.ticks_;
  }
  bool operator!=(const DateTime& other) const {
    return ticks_ != other.ticks_;
  }
  bool operator<(const DateTime& other) const { return ticks_ < other.ticks_; }
  bool operator<=(const DateTime& other) const {
    return ticks_ <= other.ticks_;
  }
  bool operator>(const DateTime& other) const { return ticks_ > other.ticks_; }
  bool operator>=(const DateTime& other) const {
    return ticks_ >= other.ticks_;
  }

  DateTime operator+(const TimeSpan& span) const;
  DateTime operator-(const TimeSpan& span) const;
  DateTime Add(const TimeSpan& span) const;
  DateTime AddTicks(long long ticks) const;
  // Rounded half away from zero to whole milliseconds, as are the four below.
  DateTime AddMilliseconds(double milliseconds) const;
  DateTime AddSeconds(double seconds) const;
  DateTime AddMinutes(double minutes) const;
  DateTime AddHours(double hours) const;
  DateTime AddDays(double days) const;
  // The day is cut to the new month's length.
  DateTime AddMonths(int months) const;
  DateTime AddYears(int years) const;

  static DateTime Now();
  // The same local clock as Now: this library never converts to UTC, and
  // callers rely on both agreeing.
  static DateTime UtcNow();
  static DateTime Today();
  // The time of day on 0001-01-01, so that times compare without their date.
  static DateTime NowTime();

  // 100 ns ticks since 1601-01-01; no zone conversion.
  static DateTime FromFileTime(long long file_time);
  // Days since 1899-12-30. A negative date is taken linearly: its fraction
  // counts backwards, simpler than the OLE convention and meant so.
  static DateTime FromOADate(double days);

 protected:
  DateTime(bool check, TimeSpan value);
  // Both store before they check. `local` must be false, else
  // std::invalid_argument.
  void Set(bool local, long long ticks);
  void Set(int year, int month, int day, int hour, int minute, int second,
           int millisecond);
  static long long GetNow();

 private:
  enum class Which { Day, DayYear, Month, Year };
  // In the header, so that a caller that reads year, month and day of one value
  // pays for a single reading.
  int FromTicks(Which which) const;
  static int AbsoluteDays(int year, int month, int day);
  DateTime PlusMonths(long long months) const;

  TimeSpan ticks_;
};

// Days to calendar without loops or tables, after C. Neri and L. Schneider,
// "Euclidean affine functions and their application to calendar algorithms",
// Software: Practice and Experience 53 (2023), 937-970.
//
// Days are counted from 0000-03-01 and years begin in March, so that a leap day
// is the last of its year and the months' lengths lie on a line. Then
//   century = (4 days + 3) / 146097, and from its remainder
//   year    = (4 rest + 3) / 1461,
//   month   = (5 rest + 461) / 153,
// where the last two divisions are done as a multiplication and a shift, exact
// over the range of a remainder. Every step works on unsigned numbers: the
// fields of a missing value mean nothing but do no harm.
inline int DateTime::FromTicks(Which which) const {
  constexpr std::uint32_t kDaysToYearOne = 306;
  constexpr std::uint32_t kDaysBeforeJanuary = 306;
  constexpr std::uint32_t kDaysFromMarch = 60;

  const auto whole_days = static_cast<std::uint32_t>(
      static_cast<std::uint64_t>(Ticks()) / TimeSpan::TicksPerDay);
  const std::uint32_t days = whole_days + kDaysToYearOne;

  const std::uint32_t in_quarters = 4 * days + 3;
  const std::uint32_t century = in_quarters / dp400;
  const std::uint32_t day_of_century = in_quarters % dp400 / 4;

  const std::uint64_t scaled =
      std::uint64_t{2939745} * (4 * day_of_century + 3);
  const auto year_of_century = static_cast<std::uint32_t>(scaled >> 32);
  const std::uint32_t day_of_year =
      static_cast<std::uint32_t>(scaled) / 2939745 / 4;

  const bool in_next_year = day_of_year >= kDaysBeforeJanuary;
  const auto year =
      static_cast<int>(100 * century + year_of_century + in_next_year);
  if (which == Which::Year) return year;
  if (which == Which::DayYear) {
    return static_cast<int>(in_next_year ? day_of_year - kDaysBeforeJanuary + 1
                                         : day_of_year + kDaysFromMarch +
                                               IsLeapYear(year));
  }

  const std::uint32_t month_and_day = 2141 * day_of_year + 197913;
  if (which == Which::Month) {
    const std::uint32_t month = month_and_day >> 16;
    return static_cast<int>(in_next_year ? month - 12 : month);
  }
  return static_cast<int>((month_and_day & 0xFFFF) / 2141 + 1);
}

// A closed interval; the start never lies after the stop.
class KIV_API DateTimeDuration {
 public:
  DateTimeDuration(const DateTime& a, const DateTime& b);

  // Takes the two in either order; always true.
  bool SetDuration(const DateTime& a, const DateTime& b);
  DateTime GetStart() const { return start_; }
  DateTime GetStop() const { return stop_; }
  // Both ends are inside.
  bool IsInScope(const DateTime& time) const;

 private:
  DateTime start_;
  DateTime stop_;
};

}  // namespace kiv

#endif  // KIV_DATE_TIME_H_
