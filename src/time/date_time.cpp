#include "kiv/date_time.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "kiv/environment.h"
#include "time/wrapping.h"

namespace kiv {
namespace {

constexpr const char* kUnrepresentable =
    "Parameters describe an unrepresentable DateTime.";

constexpr bool IsValid(long long ticks) {
  return ticks >= DateTime::MinValue && ticks <= DateTime::MaxValue;
}

// The months of an ordinary or a leap year, index 1 to 12.
struct Months {
  std::array<int, 13> length{};
  std::array<int, 14> days_before{};  // index 13 is the whole year
};

constexpr Months MonthsOf(const int (&lengths)[13]) {
  Months months;
  for (int month = 1; month <= 12; ++month) {
    months.length[month] = lengths[month];
    months.days_before[month + 1] = months.days_before[month] + lengths[month];
  }
  return months;
}

constexpr Months kMonths[2] = {MonthsOf(DateTime::daysmonth),
                               MonthsOf(DateTime::daysmonthleap)};

constexpr long long DaysBeforeYear(long long year) {
  const long long years = year - 1;
  return years * 365 + years / 4 - years / 100 + years / 400;
}

}  // namespace

const char* const DateTime::formats[15] = {"yyyy-MM-ddTHH:mm:sszzz",
                                           "F",
                                           "G",
                                           "r",
                                           "s",
                                           "u",
                                           "U",
                                           "f",
                                           "g",
                                           "d",
                                           "D",
                                           "T",
                                           "t",
                                           "m",
                                           "y"};

DateTime::DateTime(long long ticks) { Set(false, ticks); }

DateTime::DateTime(bool check, TimeSpan value) : ticks_(value) {
  if (check && !IsValid(Ticks())) {
    throw std::out_of_range(
        "ArgumentOutOfRangeException in DateTime::DateTime( bool check, "
        "TimeSpan value)");
  }
}

DateTime::DateTime(int year, int month, int day, int hour, int minute,
                   int second, int millisecond) {
  Set(year, month, day, hour, minute, second, millisecond);
}

void DateTime::Set(bool local, long long ticks) {
  if (local) {
    throw std::invalid_argument(
        "DateTime::Set exception: bool local must be false");
  }
  ticks_ = TimeSpan(ticks);
  if (!IsValid(ticks)) {
    throw std::out_of_range(
        "ArgumentOutOfRange in DateTime::Set( local, newticks )");
  }
}

void DateTime::Set(int year, int month, int day, int hour, int minute,
                   int second, int millisecond) {
  ticks_ = TimeSpan(AbsoluteDays(year, month, day), hour, minute, second,
                    millisecond);
  // The millisecond is left out on purpose: any value is folded in.
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 ||
      minute > 59 || second < 0 || second > 59) {
    throw std::out_of_range(kUnrepresentable);
  }
}

void DateTime::SetZone(int) {}

TimeSpan DateTime::TimeOfDay() const {
  return TimeSpan(Ticks() % TimeSpan::TicksPerDay);
}

DayOfWeek DateTime::getDayOfWeek() const {
  const auto days =
      static_cast<unsigned long long>(Ticks()) / TimeSpan::TicksPerDay;
  return static_cast<DayOfWeek>((days + 1) % 7);
}

DateTime DateTime::Date() const {
  if (!IsValid(Ticks())) throw std::out_of_range(kUnrepresentable);
  return DateTime(false, TimeSpan(Ticks() - TimeOfDay().Ticks()));
}

int DateTime::DaysInMonth(int year, int month) {
  if (month < 1 || month > 12) {
    throw std::out_of_range("Out of range in DateTime::DaysInMonth");
  }
  return kMonths[IsLeapYear(year)].length[month];
}

// Comes before the fields are checked, so that it must stand any numbers.
int DateTime::AbsoluteDays(int year, int month, int day) {
  const Months& months = kMonths[IsLeapYear(year)];
  return static_cast<int>(DaysBeforeYear(year) +
                          months.days_before[std::clamp(month, 1, 13)] + day -
                          1);
}

int DateTime::Compare(const DateTime& a, const DateTime& b) {
  return TimeSpan::Compare(a.ticks_, b.ticks_);
}

DateTime DateTime::operator+(const TimeSpan& span) const {
  return DateTime(true, ticks_ + span);
}

DateTime DateTime::operator-(const TimeSpan& span) const {
  return DateTime(true, ticks_ - span);
}

DateTime DateTime::Add(const TimeSpan& span) const { return *this + span; }

DateTime DateTime::AddTicks(long long ticks) const {
  const long long sum = WrappedAdd(Ticks(), ticks);
  // Only two numbers of one sign can wrap, and then the sum has the other.
  const bool wrapped = ((Ticks() ^ sum) & (ticks ^ sum)) < 0;
  if (wrapped || !IsValid(sum)) {
    throw std::out_of_range("Argument Out Of Range in DateTime::AddTicks");
  }
  return DateTime(false, TimeSpan(sum));
}

DateTime DateTime::AddMilliseconds(double milliseconds) const {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  const double rounded = milliseconds > 0 ? milliseconds + 0.5  //
                                          : milliseconds - 0.5;
  const double ticks = rounded * TimeSpan::TicksPerMillisecond;
  // Written so that NaN fails.
  if (!(ticks > -kTwoTo63 && ticks < kTwoTo63)) {
    throw std::out_of_range(
        "Argument Out Of Range in DateTime::AddMilliseconds");
  }
  return AddTicks(static_cast<long long>(rounded) *
                  TimeSpan::TicksPerMillisecond);
}

DateTime DateTime::AddSeconds(double seconds) const {
  return AddMilliseconds(seconds * 1000.0);
}

DateTime DateTime::AddMinutes(double minutes) const {
  return AddMilliseconds(minutes * 60000.0);
}

DateTime DateTime::AddHours(double hours) const {
  return AddMilliseconds(hours * 3600000.0);
}

DateTime DateTime::AddDays(double days) const {
  return AddMilliseconds(days * 86400000.0);
}

DateTime DateTime::AddMonths(int months) const { return PlusMonths(months); }

DateTime DateTime::AddYears(int years) const {
  return PlusMonths(years * 12LL);
}

// Months are counted from January of the year 0.
DateTime DateTime::PlusMonths(long long months) const {
  constexpr long long kFirst = 12;
  constexpr long long kLast = 9999LL * 12 + 11;
  const long long sum = Year() * 12LL + (Month() - 1) + months;
  if (sum < kFirst || sum > kLast || !IsValid(Ticks())) {
    throw std::out_of_range(kUnrepresentable);
  }
  const auto count = static_cast<unsigned>(sum);
  const auto year = static_cast<int>(count / 12);
  const unsigned month = count % 12 + 1;
  const Months& lengths = kMonths[IsLeapYear(year)];
  const int day = std::min(Day(), lengths.length[month]);
  const long long days =
      DaysBeforeYear(year) + lengths.days_before[month] + day - 1;
  DateTime result;
  result.ticks_ =
      TimeSpan(days * TimeSpan::TicksPerDay + Ticks() % TimeSpan::TicksPerDay);
  return result;
}

DateTime DateTime::Now() { return DateTime(true, TimeSpan(GetNow())); }

DateTime DateTime::UtcNow() { return Now(); }

DateTime DateTime::Today() { return Now().Date(); }

DateTime DateTime::NowTime() { return DateTime(true, Now().TimeOfDay()); }

long long DateTime::GetNow() { return now(); }

DateTime DateTime::FromFileTime(long long file_time) {
  return DateTime(true, TimeSpan(WrappedAdd(file_time, w32file_epoch)));
}

DateTime DateTime::FromOADate(double days) {
  // Written so that NaN fails.
  if (!(days >= -657435.0 && days <= 2958466.0)) {
    throw std::out_of_range("Overflow in DateTime::FromOADate");
  }
  return DateTime(1899, 12, 30, 0, 0, 0, 0).AddMilliseconds(days * 86400000.0);
}

}  // namespace kiv
