#include <date/date.h>

#include <cstdint>
#include <random>
#include <vector>

#include "compare.h"
#include "kiv/date_time.h"

namespace {

constexpr std::size_t kDates = 4096;

// Any day of the years 1900 to 2100, any time of it.
const std::vector<long long>& Ticks() {
  static const std::vector<long long> ticks = [] {
    std::mt19937_64 random(366);
    std::vector<long long> values(kDates);
    for (long long& value : values) {
      const long long day = 693595 + static_cast<long long>(random() % 73049);
      value = day * kiv::TimeSpan::TicksPerDay +
              static_cast<long long>(random() % kiv::TimeSpan::TicksPerDay);
    }
    return values;
  }();
  return ticks;
}

using Tick = std::chrono::duration<long long, std::ratio<1, 10'000'000>>;

date::sys_days DayOf(long long ticks) {
  return date::floor<date::days>(
      date::sys_time<Tick>(Tick(ticks - kiv::DateTime::UnixEpoch)));
}

void OurFields(benchmark::State& state, std::size_t /*size*/) {
  std::vector<kiv::DateTime> dates(Ticks().begin(), Ticks().end());
  for (auto _ : state) {
    int sum = 0;
    for (const kiv::DateTime& date : dates) {
      sum += date.Year() + date.Month() + date.Day();
    }
    benchmark::DoNotOptimize(sum);
  }
}

void PeerFields(benchmark::State& state, std::size_t /*size*/) {
  for (auto _ : state) {
    int sum = 0;
    for (const long long ticks : Ticks()) {
      const date::year_month_day day(DayOf(ticks));
      sum += int(day.year()) + int(unsigned(day.month())) +
             int(unsigned(day.day()));
    }
    benchmark::DoNotOptimize(sum);
  }
}

int MonthsFor(std::size_t index) { return static_cast<int>(index % 241) - 120; }

void OurAddMonths(benchmark::State& state, std::size_t /*size*/) {
  std::vector<kiv::DateTime> dates(Ticks().begin(), Ticks().end());
  for (auto _ : state) {
    long long sum = 0;
    for (std::size_t i = 0; i < dates.size(); ++i) {
      sum += dates[i].AddMonths(MonthsFor(i)).Ticks();
    }
    benchmark::DoNotOptimize(sum);
  }
}

// The same rule: the day cut to the month's length, the time of day kept.
void PeerAddMonths(benchmark::State& state, std::size_t /*size*/) {
  const std::vector<long long>& ticks = Ticks();
  for (auto _ : state) {
    long long sum = 0;
    for (std::size_t i = 0; i < kDates; ++i) {
      const date::sys_days start = DayOf(ticks[i]);
      const auto time_of_day =
          date::sys_time<Tick>(Tick(ticks[i] - kiv::DateTime::UnixEpoch)) -
          start;
      date::year_month_day day =
          date::year_month_day(start) + date::months(MonthsFor(i));
      if (!day.ok()) day = day.year() / day.month() / date::last;
      sum += (date::sys_days(day) + time_of_day).time_since_epoch().count() +
             kiv::DateTime::UnixEpoch;
    }
    benchmark::DoNotOptimize(sum);
  }
}

bench::Growth None() {
  return bench::Constant{"a date is 64 bits, whichever it is"};
}

const bool fields = bench::Compare(
    {"time/year_month_day", "dates/s", bench::Always(kDates), "date", 1.0},
    None(), OurFields, PeerFields);
const bool months = bench::Compare(
    {"time/add_months", "dates/s", bench::Always(kDates), "date", 1.0}, None(),
    OurAddMonths, PeerAddMonths);

}  // namespace
