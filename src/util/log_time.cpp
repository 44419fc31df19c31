#include "util/log_time.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "port/clock.h"

namespace kiv {
namespace {

constexpr char kNameWithoutDate[] = "log.txt";

}  // namespace

void LogTime::Read() {
  const port::Clock& clock = port::CurrentClock();
  const std::time_t second = clock.UnixSecond();
  if (second == second_ && &clock == clock_) return;
  Convert(clock, second);
  second_ = second;
  clock_ = &clock;
}

void LogTime::Convert(const port::Clock& clock, std::time_t second) {
  std::tm local{};
  if (!clock.LocalTime(second, local)) {
    std::memcpy(name_, kNameWithoutDate, sizeof kNameWithoutDate);
    name_size_ = sizeof kNameWithoutDate - 1;
    stamp_size_ = date_size_ = 0;
    return;
  }
  const int year = local.tm_year + 1900;
  const int month = local.tm_mon + 1;
  name_size_ = static_cast<std::size_t>(std::snprintf(
      name_, sizeof name_, "%d%02d%02d.txt", year, month, local.tm_mday));
  date_size_ = static_cast<std::size_t>(std::snprintf(
      stamp_, sizeof stamp_, "%4d-%02d-%02d ", year, month, local.tm_mday));
  stamp_size_ = date_size_ + static_cast<std::size_t>(std::snprintf(
                                 stamp_ + date_size_,
                                 sizeof stamp_ - date_size_, "%02d:%02d:%02d ",
                                 local.tm_hour, local.tm_min, local.tm_sec));
}

}  // namespace kiv
