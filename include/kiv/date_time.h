#ifndef KIV_DATE_TIME_H_
#define KIV_DATE_TIME_H_

#include "kiv/export.h"
#include "kiv/time_span.h"

namespace kiv {

enum class DayOfWeek {
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
// its fields mean nothing. Every failed check throws std::out_of_range.
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

  DateTime();
  // 0 to MaxValue.
  DateTime(long long ticks);
  // The millisecond has no range: any value is folded in.
  DateTime(int year, int month, int day, int hour, int minute, int second,
           int millisecond);

  // This type keeps no zone: does nothing.
  void SetZone(int zone);

  long long Ticks() const { return ticks_.ticks_; }
  long long* Inner() { return ticks_.Inner(); }

  int Year() const;
  int Month() const;
  int Day() const;
  int DayOfYear() const;
  int Hour() const;
  int Minute() const;
  int Second() const;
  int Millisecond() const;
  TimeSpan TimeOfDay() const;
  DayOfWeek getDayOfWeek() const;
  DateTime Date() const;

  static bool IsLeapYear(int year);
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
  void Set(bool local, long long ticks);
  void Set(int year, int month, int day, int hour, int minute, int second,
           int millisecond);
  static long long GetNow();

 private:
  enum class Which { Day, DayYear, Month, Year };
  int FromTicks(Which which) const;
  static int AbsoluteDays(int year, int month, int day);

  TimeSpan ticks_;
};

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
