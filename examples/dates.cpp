// Dates: reading fields, moving through the calendar, working hours, and the
// text form that queues and records carry.
#include <iostream>
#include <string>

#include "kiv/date_time.h"
#include "kiv/parser/parser.h"

using kiv::DateTime;
using kiv::DateTimeDuration;
using kiv::TimeSpan;
using kiv::parser::Parser;

namespace {

int faults = 0;

void Show(const std::string& what, const DateTime& time,
          const std::string& expected) {
  std::string text;
  Parser::DateTimeToRFC867(time, text);
  std::cout << what << ": " << text << '\n';
  if (text != expected) {
    std::cout << "  expected " << expected << '\n';
    ++faults;
  }
}

void Check(const std::string& what, bool holds) {
  std::cout << what << ": " << (holds ? "yes" : "no") << '\n';
  if (!holds) ++faults;
}

bool ReadTime(const std::string& text, DateTime& out) {
  unsigned consumed;
  return Parser::ParseTime(text.data(), text.data() + text.size(), out,
                           consumed);
}

}  // namespace

int main() {
  const DateTime weighed(2004, 1, 31, 9, 5, 7, 0);
  Show("weighed", weighed, "Sat,31 Jan 2004 9:5:7");
  Show("a month later", weighed.AddMonths(1), "Sun,29 Feb 2004 9:5:7");
  Show("90 minutes earlier", weighed - TimeSpan(1, 30, 0),
       "Sat,31 Jan 2004 7:35:7");
  Show("end of the day", weighed.Date().AddDays(1).AddSeconds(-1),
       "Sat,31 Jan 2004 23:59:59");

  // Daily hours lie on 0001-01-01, as does NowTime().
  DateTime open, close;
  if (!ReadTime("08:00:00", open) || !ReadTime("18:30:00", close)) return 1;
  const DateTimeDuration hours(open, close);
  const DateTime time_of_day(weighed.TimeOfDay().Ticks());
  Check("within the hours", hours.IsInScope(time_of_day));
  Check("closing time counts", hours.IsInScope(close));

  try {
    DateTime(2003, 2, 29, 0, 0, 0, 0);
    ++faults;
  } catch (const std::exception& e) {
    std::cout << "29 Feb 2003: " << e.what() << '\n';
  }
  return faults == 0 ? 0 : 1;
}
